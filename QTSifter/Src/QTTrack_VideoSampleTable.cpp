#include <algorithm>

#include "QTTrack.h"
#include "QTVideoSamplePass.h"

namespace QT
{

namespace
{

// More samples than any video track plausibly holds (25 days at 60 frames a second). A constant
// sample size lets a few bytes of table claim billions of samples; such a track is refused rather
// than listed.
constexpr uint32_t kMaxVideoSamples = 1u << 27;
// The vector is reserved once for the records a pass can keep. A size table holds four bytes for
// each of them, so that reserve is bounded by the movie buffer; with a constant size nothing in
// the file backs the count, and past this many the vector grows as records come.
constexpr uint32_t kMostUnbackedRecordsReserved = 1u << 20;

} // namespace

uint32_t QTTrack::MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, VideoSampleTable& outSamples,
                                       bool* outHasVariableDuration)
{
    return MakeVideoSampleTable(inSort, inIgnoreEdits, 0xFFFFFFFF, outSamples, outHasVariableDuration);
}

uint32_t QTTrack::MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, uint32_t inMaxSamples,
                                       VideoSampleTable& outSamples, bool* outHasVariableDuration)
{
    if (outHasVariableDuration)
        *outHasVariableDuration = false;
    const uint32_t mediaType = GetTrackMediaType();
    if (mediaType != kVideoMediaType && mediaType != kMetadataMediaType)
        return kQTErrBadSampleTable;
    if (!IsEditListSupported(true) && !inIgnoreEdits)
        return kQTErrComplexEditList;
    const uint32_t sampleCount = GetSampleCount();
    if (sampleCount == 0 || sampleCount > kMaxVideoSamples)
        return kQTErrBadSampleTable;

    const TrackItem& item = Item();
    const SampleSizeTable sizes(Table(item.stsz));
    if (!sizes.CoversSamples(sampleCount))
        return kQTErrBadSampleTable;
    const size_t reserved = std::min(
        {sampleCount, inMaxSamples, sizes.ConstantSize() != 0 ? kMostUnbackedRecordsReserved : sampleCount});
    if (outSamples.capacity() < reserved)
        outSamples.reserve(reserved);

    // Read once: the record stores of the pass could otherwise be taken to change them.
    const SamplePassEdit edit{!inIgnoreEdits, mFirstSampleIndex, mFirstSampleDuration,
                              mEditedMediaDuration + mMediaStartTime};
    bool variable = false;
    const uint32_t result = RunVideoSamplePass(item, Bytes(), sampleCount, edit, inMaxSamples,
                                               SamplePassStride::RunByRun, outSamples, variable);
    if (result != kQTSuccess)
        return result; // what was appended stays
    if (inSort)
        std::sort(outSamples.begin(), outSamples.end(),
                  [](const VideoSampleRecord& inA, const VideoSampleRecord& inB)
                  { return inA.startTime < inB.startTime; });
    if (outHasVariableDuration)
        *outHasVariableDuration = variable;
    return outSamples.empty() ? kQTErrBadSampleTable : kQTSuccess;
}

} // namespace QT
