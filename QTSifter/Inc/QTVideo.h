#pragma once

#include <cstdint>
#include <vector>

#include "tenacore/allocator.h"

namespace QT
{

// One video sample: where it lies in the file and when it is due.
struct VideoSampleRecord
{
    uint64_t fileOffset = 0;
    uint32_t duration = 0;  // media ticks, after trimming by the edit
    uint64_t startTime = 0; // media ticks from the first record kept
    uint32_t size = 0;
    bool isSync = false;
};

// The records of a sample table. Their memory comes from the recycling allocator: a table of
// millions of records given back is reused by the next, its pages already in place.
using VideoSampleTable = std::vector<VideoSampleRecord, tenacore::allocator::STLAllocator<VideoSampleRecord>>;

// Decode order and references of one frame. The first three fields are of the frame shown at this
// record's position; dependencyFlags is of the frame decoded at this position. Distances are
// 8-bit and wrap.
struct VideoTemporalReference
{
    int8_t decodeOffset = 0;
    int8_t backwardReference = 0;
    int8_t forwardReference = 0;
    uint16_t dependencyFlags = 0;
};

} // namespace QT
