#pragma once

#include <cstdint>

#include "QTBigEndian.h"

namespace QT
{

// One child atom as a scan met it: where it starts in the buffer, its size word and its type.
struct ChildAtom
{
    uint32_t position = 0;
    uint32_t size = 0;
    uint32_t type = 0;

    uint64_t End() const noexcept { return uint64_t(position) + size; }
};

// What a size word from 1 to 7 does. Such a child cannot hold its own header; some walks step
// over it by its size all the same, others stop there.
enum class ShortAtom
{
    Steps,
    EndsScan,
};

// What a child that runs past the scan's limit does: ends the scan, or is given to the caller,
// who decides what its overrun means.
enum class Overrun
{
    EndsScan,
    Given,
};

// The quirks of one walk, spelled out where the walk starts rather than buried in its loop.
struct ScanRules
{
    // Fewer bytes than this between a child and the limit end the scan. The walks of the index
    // want 9, so that a last atom of exactly 8 bytes is never looked at.
    uint32_t minBytesLeft = 9;
    ShortAtom shortAtom = ShortAtom::Steps;
    Overrun overrun = Overrun::EndsScan;
};

// The children of one container, in order. The scan visits positions below `end`; a child's room
// (bytes left, whether its size fits) is measured to `limit`, which a walk may set to its
// container's end or to the buffer's. Whatever the rules, a size of 0 ends the scan, since such a
// child would never move it on, and no header is read outside the buffer.
class ChildAtomScanner
{
public:
    ChildAtomScanner(const uint8_t* inData, uint32_t inBufferSize, uint64_t inBegin, uint64_t inEnd,
                     uint64_t inLimit, ScanRules inRules = {}) noexcept
        : mData(inData), mBufferSize(inBufferSize), mPos(inBegin), mEnd(inEnd), mLimit(inLimit),
          mRules(inRules)
    {
    }

    // The children of the whole buffer from inBegin: the walks over moov's own children.
    static ChildAtomScanner InBuffer(const uint8_t* inData, uint32_t inBufferSize, uint64_t inBegin,
                                     ScanRules inRules = {}) noexcept
    {
        return {inData, inBufferSize, inBegin, inBufferSize, inBufferSize, inRules};
    }

    // The children from inBegin up to inEnd, measured to inEnd: the walks inside one atom.
    static ChildAtomScanner InContainer(const uint8_t* inData, uint32_t inBufferSize, uint64_t inBegin,
                                        uint64_t inEnd, ScanRules inRules = {}) noexcept
    {
        return {inData, inBufferSize, inBegin, inEnd, inEnd, inRules};
    }

    // The header at the scan's position, valid or not, when there is room for one: a walk that
    // decides by type before validity looks here first.
    [[nodiscard]] bool Peek(ChildAtom& outChild) const noexcept
    {
        if (mPos >= mEnd || mPos > mLimit || mLimit - mPos < mRules.minBytesLeft || !HeaderReadable())
            return false;
        outChild = {uint32_t(mPos), BE::U32(mData + mPos), BE::U32(mData + mPos + 4)};
        return true;
    }

    // The child at the scan's position, stepping past it; false at the end or at a child the
    // rules do not accept, where the position stays.
    [[nodiscard]] bool Next(ChildAtom& outChild) noexcept
    {
        ChildAtom child;
        if (!Peek(child) || child.size == 0)
            return false;
        if (child.size < 8 && mRules.shortAtom == ShortAtom::EndsScan)
            return false;
        if (child.size > mLimit - mPos && mRules.overrun == Overrun::EndsScan)
            return false;
        outChild = child;
        mPos += child.size;
        return true;
    }

    // True when the child at hand runs past the limit; for scans whose rules give such children.
    [[nodiscard]] bool Overruns(const ChildAtom& inChild) const noexcept
    {
        return inChild.position > mLimit || inChild.size > mLimit - inChild.position;
    }

    uint64_t Position() const noexcept { return mPos; }
    // Goes on from elsewhere: into a child, or past what a walk read by other means.
    void MoveTo(uint64_t inPos) noexcept { mPos = inPos; }

private:
    [[nodiscard]] bool HeaderReadable() const noexcept
    {
        return mPos <= mBufferSize && mBufferSize - mPos >= 8;
    }

    const uint8_t* mData;
    uint32_t mBufferSize;
    uint64_t mPos;
    uint64_t mEnd;
    uint64_t mLimit;
    ScanRules mRules;
};

} // namespace QT
