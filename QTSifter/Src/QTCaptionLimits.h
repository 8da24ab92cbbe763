#pragma once

#include <cstdint>

namespace QT
{

// How much one caption map may do. A constant sample size lets a few bytes of table claim billions
// of samples, and one sample size may claim a billion byte pairs; nothing in the movie backs either.
// Past these bounds, far beyond any real caption track, the map ends as it does at an unusable size
// table, keeping what it made.
struct CaptionMapLimits
{
    // Samples of a constant size (2^27: 25 days at 60 a second).
    uint64_t maxConstantSizeSamples = uint64_t(1) << 27;
    // Entries offered to the map, whether or not their key was new (2^23: 38 hours of two fields at
    // 60 pairs a second).
    uint64_t maxEntries = uint64_t(1) << 23;
};

// The bounds in force; tests and the fuzz target lower them to reach them cheaply. Returns the
// bounds that were in force.
CaptionMapLimits SetCaptionMapLimits(const CaptionMapLimits& inLimits);
CaptionMapLimits GetCaptionMapLimits();

} // namespace QT
