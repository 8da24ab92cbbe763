#pragma once

// How the library reads the movie buffer. Every read goes through one of these:
// - BE::U16/U32/U64 (QTBigEndian.h): a field whose bounds the caller has already established.
// - ByteRange: a field at an offset that a hostile size or count may have put anywhere; reads
//   outside the buffer give 0 (U32Or0 and its kin), Contains tells first when 0 would be wrong.
// - ByteReader: fields in order from one range (a record, an entry, a payload); a read past the
//   range's end fails and reads nothing.
// - ChildAtomScanner (QTAtomScan.h, library-internal): the children of a container atom, with the
//   quirks of each walk given as arguments.
// - TableAtom and the sample-table views (QTShared.h): entries of a sample table by index.
// - SampleDescriptionWalk (QTSampleDescriptionWalk.h): the entries of stsd by index.

#include <cstddef>
#include <cstdint>
#include <functional>

#include "QTBigEndian.h"

namespace QT
{

// The bytes of one loaded buffer. Field reads that would leave it are refused, so that a
// hostile size or count can never take a reader outside its memory.
class ByteRange
{
public:
    ByteRange() = default;
    ByteRange(const uint8_t* inBegin, size_t inSize) : mBegin(inBegin), mEnd(inBegin + inSize) {}

    const uint8_t* Begin() const noexcept { return mBegin; }
    const uint8_t* End() const noexcept { return mEnd; }

    // Bytes from inP to the end of the range; 0 for a pointer outside it.
    size_t Available(const uint8_t* inP) const noexcept
    {
        if (!inP || std::less<const uint8_t*>()(inP, mBegin) || std::less<const uint8_t*>()(mEnd, inP))
            return 0;
        return size_t(mEnd - inP);
    }

    // True when inWidth bytes at inP + inOffset lie inside the range.
    [[nodiscard]] bool Contains(const uint8_t* inP, size_t inOffset, size_t inWidth) const noexcept
    {
        const size_t available = Available(inP);
        return inOffset <= available && inWidth <= available - inOffset;
    }

    uint8_t U8Or0(const uint8_t* inP, size_t inOffset) const noexcept
    {
        return Contains(inP, inOffset, 1) ? inP[inOffset] : 0;
    }
    uint16_t U16Or0(const uint8_t* inP, size_t inOffset) const noexcept
    {
        return Contains(inP, inOffset, 2) ? BE::U16(inP + inOffset) : 0;
    }
    uint32_t U32Or0(const uint8_t* inP, size_t inOffset) const noexcept
    {
        return Contains(inP, inOffset, 4) ? BE::U32(inP + inOffset) : 0;
    }
    uint64_t U64Or0(const uint8_t* inP, size_t inOffset) const noexcept
    {
        return Contains(inP, inOffset, 8) ? BE::U64(inP + inOffset) : 0;
    }

private:
    const uint8_t* mBegin = nullptr;
    const uint8_t* mEnd = nullptr;
};

// Big-endian fields read in order from one range. A read that would pass the end reads nothing,
// fails, and leaves the reader failed, so that a chain of reads can be checked once at its end.
class ByteReader
{
public:
    ByteReader(const uint8_t* inBegin, size_t inSize) noexcept : mBegin(inBegin), mSize(inBegin ? inSize : 0)
    {
    }

    size_t Offset() const noexcept { return mOffset; }
    size_t Remaining() const noexcept { return mSize - mOffset; }
    [[nodiscard]] bool Failed() const noexcept { return mFailed; }

    [[nodiscard]] bool U8(uint8_t& outValue) noexcept
    {
        return Read(1, [&](const uint8_t* p) { outValue = *p; });
    }
    [[nodiscard]] bool U16(uint16_t& outValue) noexcept
    {
        return Read(2, [&](const uint8_t* p) { outValue = BE::U16(p); });
    }
    [[nodiscard]] bool U32(uint32_t& outValue) noexcept
    {
        return Read(4, [&](const uint8_t* p) { outValue = BE::U32(p); });
    }
    [[nodiscard]] bool U64(uint64_t& outValue) noexcept
    {
        return Read(8, [&](const uint8_t* p) { outValue = BE::U64(p); });
    }
    [[nodiscard]] bool I16(int16_t& outValue) noexcept
    {
        return Read(2, [&](const uint8_t* p) { outValue = BE::I16(p); });
    }
    [[nodiscard]] bool I32(int32_t& outValue) noexcept
    {
        return Read(4, [&](const uint8_t* p) { outValue = BE::I32(p); });
    }
    // The next inCount bytes in place.
    [[nodiscard]] bool Bytes(size_t inCount, const uint8_t*& outBytes) noexcept
    {
        return Read(inCount, [&](const uint8_t* p) { outBytes = p; });
    }
    [[nodiscard]] bool Skip(size_t inCount) noexcept
    {
        return Read(inCount, [](const uint8_t*) {});
    }

private:
    template <class Take>
    bool Read(size_t inCount, Take inTake) noexcept
    {
        if (mFailed || inCount > mSize - mOffset)
        {
            mFailed = true;
            return false;
        }
        inTake(mBegin + mOffset);
        mOffset += inCount;
        return true;
    }

    const uint8_t* mBegin;
    size_t mSize;
    size_t mOffset = 0;
    bool mFailed = false;
};

} // namespace QT
