#pragma once

#include <cstdint>

#include "QTByteRange.h"

namespace QT
{

// The entries of an stsd in order, each tested as the validated walk tests it: its size may not
// exceed what remains of the atom's size, the 16 header bytes included, and its size word must lie
// inside the buffer. An entry of size 0 does not move the walk.
class SampleDescriptionWalk
{
public:
    SampleDescriptionWalk(const ByteRange& inBytes, const uint8_t* inStsd)
        : mBytes(inBytes), mStsd(inStsd), mCount(inBytes.U32Or0(inStsd, 12)),
          mRemaining(inBytes.U32Or0(inStsd, 0))
    {
    }

    uint32_t Count() const noexcept { return mCount; }

    // The entry at the walk's position, or null when the table is corrupt there. Entries are
    // walked by offset from the atom, so that no pointer is formed outside the buffer.
    const uint8_t* Entry() const noexcept
    {
        if (mOffset < 0 || !mBytes.Contains(mStsd, uint64_t(mOffset), 4) ||
            BE::U32(mStsd + mOffset) > mRemaining)
            return nullptr;
        return mStsd + mOffset;
    }

    // The entry in hand has size 0: every later position gives it again.
    [[nodiscard]] bool Stalled() const noexcept { return BE::U32(mStsd + mOffset) == 0; }

    // To the next position; only after Entry() gave an entry.
    void Next() noexcept
    {
        const uint32_t size = BE::U32(mStsd + mOffset);
        mRemaining -= size;
        mOffset += int32_t(size);
    }

private:
    ByteRange mBytes;
    const uint8_t* mStsd;
    uint32_t mCount;
    uint32_t mRemaining;
    int64_t mOffset = 16;
};

} // namespace QT
