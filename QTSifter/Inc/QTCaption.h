#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "tenacore/allocator.h"

namespace QT
{

// Where one caption's bytes lie in the media file and when they are due. A CEA-608 sample of two
// fields gives both ranges in one location.
struct CaptionSampleLocation
{
    uint64_t mTime = 0;             // media ticks
    uint64_t mFileOffset = 0;       // where the data begins in the file
    uint32_t mLength = 0;           // bytes at mFileOffset
    bool mHasSecondField = false;   // a second byte range follows
    uint64_t mSecondFileOffset = 0; // the second field's data, else 0
    uint32_t mSecondLength = 0;     // bytes at mSecondFileOffset, else 0
};

// Locations keyed by their file offset or by their time, as the caller asks.
using CaptionSampleMap =
    std::map<uint64_t, CaptionSampleLocation, std::less<uint64_t>,
             tenacore::allocator::STLAllocator<std::pair<const uint64_t, CaptionSampleLocation>>>;

} // namespace QT
