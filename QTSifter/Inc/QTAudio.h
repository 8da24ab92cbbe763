#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "tenacore/allocator.h"

namespace QT
{

// One run of audio frames in the file: a chunk, or the part of one that lies inside the edit.
struct AudioSampleRange
{
    uint64_t mSampleCount = 0; // frames in the run
    uint64_t mPosition = 0;    // frames of the edited sequence before this run
    uint64_t mFileOffset = 0;  // byte offset of the run's first frame in the media file
};

// Runs keyed by their file offset or by their position, as the caller asks.
using AudioSampleRangeMap =
    std::map<uint64_t, AudioSampleRange, std::less<uint64_t>,
             tenacore::allocator::STLAllocator<std::pair<const uint64_t, AudioSampleRange>>>;

} // namespace QT
