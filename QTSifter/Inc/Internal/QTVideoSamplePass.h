#pragma once

#include <cstdint>
#include <vector>

#include "QTByteRange.h"
#include "QTMooVAtom.h"
#include "QTVideo.h"

namespace QT
{

// The edit as the video sample pass honours it. Samples before firstIndex, and those that start at
// or past endTime in decode time, are left out; the sample at firstIndex takes firstDuration when
// that isn't 0, and a sample that runs past endTime is cut there.
struct SamplePassEdit
{
    bool apply = false;
    uint32_t firstIndex = 0;
    uint32_t firstDuration = 0;
    uint32_t endTime = 0;
};

// How the pass walks: every sample through every cursor, or stretches of samples that every table
// answers alike (a run of chunks, a stts entry, the samples between two sync samples) taken in one
// tight loop. Both give the same records; the first is the reference the second is tested against.
enum class SamplePassStride
{
    SampleBySample,
    RunByRun,
};

// How a pass went: the samples that took a step of their own through every cursor, and the
// stretches taken whole. A file's claims can make the first large only with samples that are kept.
struct SamplePassCounts
{
    uint64_t singleSteps = 0;
    uint64_t stretches = 0;
};

// Appends a record for each sample below inSampleCount that the edit keeps, at most inMaxSamples,
// in decode order. The size table must cover every sample (checked: 0xA0800007 otherwise). A lookup
// in the sample-to-chunk table that fails ends the pass with 0xFFFFFFFF, what was appended staying.
// outVariableDuration says whether the kept durations differ; outCounts, when given, how the pass
// went.
[[nodiscard]] uint32_t RunVideoSamplePass(const TrackItem& inItem, const ByteRange& inBuffer,
                                          uint32_t inSampleCount, const SamplePassEdit& inEdit,
                                          uint32_t inMaxSamples, SamplePassStride inStride,
                                          VideoSampleTable& ioSamples, bool& outVariableDuration,
                                          SamplePassCounts* outCounts = nullptr);

} // namespace QT
