#pragma once

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
    bool Contains(const uint8_t* inP, size_t inOffset, size_t inWidth) const noexcept
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

} // namespace QT
