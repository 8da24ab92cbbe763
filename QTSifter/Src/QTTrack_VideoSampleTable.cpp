#include <algorithm>

#include "QTTrack.h"

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

// A duration with its top bit set counts as negative in the running times.
uint64_t Widened(uint32_t inDuration)
{
    return uint64_t(int64_t(int32_t(inDuration)));
}

} // namespace

uint32_t QTTrack::MakeVideoSampleTable(bool inSort, bool inIgnoreEdits,
                                       std::vector<VideoSampleRecord>& outSamples,
                                       bool* outHasVariableDuration)
{
    return MakeVideoSampleTable(inSort, inIgnoreEdits, 0xFFFFFFFF, outSamples, outHasVariableDuration);
}

uint32_t QTTrack::MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, uint32_t inMaxSamples,
                                       std::vector<VideoSampleRecord>& outSamples,
                                       bool* outHasVariableDuration)
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
    const ChunkOffsetHelper chunks(item, Bytes());
    const SampleSizeTable sizes(Table(item.stsz));
    const uint32_t constantSize = sizes.ConstantSize();
    // A size table must cover every sample, and its entries must lie inside it.
    if (sizes.StatedCount() < sampleCount || (constantSize == 0 && !sizes.HasEntry(sampleCount - 1)))
        return kQTErrBadSampleTable;
    const size_t reserved =
        std::min({sampleCount, inMaxSamples, constantSize != 0 ? kMostUnbackedRecordsReserved : sampleCount});
    if (outSamples.capacity() < reserved)
        outSamples.reserve(reserved);

    const SampleToChunkTable runs(Table(item.stsc));
    const bool oneSamplePerChunk = IsOneSamplePerChunk(sizes, runs, chunks.EntryCount(), sampleCount);
    SyncSampleCursor sync(Table(item.stss));
    TimeToSampleCursor durations(Table(item.stts));
    SampleToChunkCursor places(runs, chunks.EntryCount());
    ChunkOffsetCursor inChunk(sizes);

    const uint32_t endTime = mEditedMediaDuration + mMediaStartTime;
    // Read once: the record stores below could otherwise be taken to change them.
    const uint32_t firstIndex = mFirstSampleIndex;
    const uint32_t firstDuration = mFirstSampleDuration;
    uint64_t decodeTime = 0;
    uint64_t keptTime = 0;
    uint32_t keptCount = 0;
    uint32_t firstKeptDuration = 0;
    bool variable = false;
    for (uint32_t sample = 0; sample < sampleCount && keptCount != inMaxSamples; ++sample)
    {
        VideoSampleRecord record;
        // The sync table never ends the pass; the time-to-sample table does when it runs out.
        if (!sync.Next(sample, record.isSync))
            break;
        // Every entry below the sample count was found inside the size table above.
        record.size = constantSize != 0 ? constantSize : sizes.VouchedEntrySize(sample);
        uint32_t duration = 0;
        if (!durations.Next(sample, duration))
            break;
        if (oneSamplePerChunk)
            record.fileOffset = chunks.GetEntry(sample);
        else
        {
            ChunkPlace place;
            uint64_t offsetInChunk = 0;
            if (!places.Next(sample, place) || !inChunk.Next(sample, record.size, place, offsetInChunk))
                return kQTErrInvalid; // what was appended stays
            record.fileOffset = chunks.GetEntry(place.chunkIndex) + offsetInChunk;
        }
        if (!inIgnoreEdits)
        {
            if (sample < firstIndex || decodeTime >= endTime)
            {
                decodeTime += Widened(duration);
                continue;
            }
            if (firstDuration != 0 && sample == firstIndex)
                duration = firstDuration;
            else if (decodeTime + Widened(duration) > endTime)
                duration = uint32_t(endTime - decodeTime);
        }
        record.duration = duration;
        record.startTime = keptTime;
        outSamples.push_back(record);
        if (keptCount == 0)
            firstKeptDuration = duration;
        else if (duration != firstKeptDuration)
            variable = true;
        ++keptCount;
        keptTime += Widened(duration);
        decodeTime += Widened(duration);
    }
    if (inSort)
        std::sort(outSamples.begin(), outSamples.end(),
                  [](const VideoSampleRecord& inA, const VideoSampleRecord& inB)
                  { return inA.startTime < inB.startTime; });
    if (outHasVariableDuration)
        *outHasVariableDuration = variable;
    return outSamples.empty() ? kQTErrBadSampleTable : kQTSuccess;
}

} // namespace QT
