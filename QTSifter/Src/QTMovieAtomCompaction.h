#pragma once

#include <cstdint>

namespace QT
{

enum class LoadRoute
{
    File,
    Provider,
};

// Drops the free atoms of a loaded moov (in place) from the levels the track walk passes through,
// shortening the trak, mdia, minf and stbl size words that the removal affects. Gives 0 and the
// number of bytes to cut from the end in outRemoved, or 99 where the provider's bytes would
// make the pass stall or leave the block.
uint32_t CompactMovieAtom(uint8_t* ioWork, uint32_t inSize, LoadRoute inRoute, uint32_t& outRemoved);

} // namespace QT
