#pragma once

#include <cstdint>

namespace qtsifter
{

// Big-endian reads of description fields; the library's own helpers are not part of its interface.
template <int N>
uint64_t ReadBE(const uint8_t* inBytes)
{
    uint64_t value = 0;
    for (int i = 0; i < N; ++i)
        value = (value << 8) | inBytes[i];
    return value;
}

inline uint16_t BE16(const uint8_t* inBytes)
{
    return uint16_t(ReadBE<2>(inBytes));
}
inline uint32_t BE32(const uint8_t* inBytes)
{
    return uint32_t(ReadBE<4>(inBytes));
}
inline uint64_t BE64(const uint8_t* inBytes)
{
    return ReadBE<8>(inBytes);
}

} // namespace qtsifter
