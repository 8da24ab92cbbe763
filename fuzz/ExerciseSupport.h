#pragma once

#include <algorithm>
#include <cstdint>

#include "IQTMovie.h"
#include "IQTTrack.h"
#include "MK/BinaryData.h"

namespace qtfuzz
{

// Keeps a hostile movie's thousands of tracks or items from slowing every run to a crawl.
inline constexpr uint64_t kMaxItems = 256;
// Enough sample descriptions to reach every layout; a hostile count could ask for billions.
inline constexpr int32_t kMaxDescriptions = 8;

// The answers are folded into a sink that the optimiser cannot drop.
inline volatile uint64_t gSink = 0;

inline void Keep(uint64_t inValue)
{
    gSink = gSink + inValue;
}

// A value that depends on a block's length and its end bytes.
inline uint64_t Fold(const MK::BinaryData& inData)
{
    uint64_t value = inData.GetSize();
    if (inData.GetSize() > 0)
        value += inData.GetData()[0] + inData.GetData()[inData.GetSize() - 1];
    return value;
}

// Asks inAsk of each of the movie's first kMaxItems tracks, each through a track object of its own
// as a host gets it, and adds up the answers.
template <typename Ask>
uint64_t ForEachTrack(QT::IQTMovie& inMovie, Ask&& inAsk)
{
    uint64_t value = 0;
    const uint32_t trackCount = inMovie.GetTrackCount();
    for (uint64_t index = 0; index < std::min<uint64_t>(trackCount, kMaxItems); ++index)
    {
        tenacore::classref::InterfaceRef<QT::IQTTrack> track;
        inMovie.GetIndTrack(track, index);
        value += inAsk(*track);
    }
    return value;
}

} // namespace qtfuzz
