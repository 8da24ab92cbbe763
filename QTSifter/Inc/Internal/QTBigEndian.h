#pragma once

#include <cstddef>
#include <cstdint>

namespace QT::BE
{

// Reads of big-endian fields where they lie. Callers check the bounds first.
inline uint16_t U16(const uint8_t* inP)
{
    return uint16_t((uint16_t(inP[0]) << 8) | inP[1]);
}

inline uint32_t U32(const uint8_t* inP)
{
    return (uint32_t(inP[0]) << 24) | (uint32_t(inP[1]) << 16) | (uint32_t(inP[2]) << 8) | uint32_t(inP[3]);
}

inline uint64_t U64(const uint8_t* inP)
{
    return (uint64_t(U32(inP)) << 32) | U32(inP + 4);
}

inline int16_t I16(const uint8_t* inP)
{
    return int16_t(U16(inP));
}

inline int32_t I32(const uint8_t* inP)
{
    return int32_t(U32(inP));
}

inline void PutU32(uint8_t* outP, uint32_t inValue)
{
    outP[0] = uint8_t(inValue >> 24);
    outP[1] = uint8_t(inValue >> 16);
    outP[2] = uint8_t(inValue >> 8);
    outP[3] = uint8_t(inValue);
}

} // namespace QT::BE
