#include "QTVideoSamplePass.h"

#include <algorithm>
#include <cstdint>

#include "QTShared.h"

namespace QT
{

namespace
{

// A duration with its top bit set counts as negative in the running times.
uint64_t Widened(uint32_t inDuration)
{
    return uint64_t(int64_t(int32_t(inDuration)));
}

// What one sample's step did.
enum class Step
{
    Kept,
    LeftOut,
    TablesEnded, // the time-to-sample table ran out: the pass ends, successfully
    PlaceFailed, // the sample-to-chunk lookup failed: the pass ends with 0xFFFFFFFF
};

// The samples of a stretch: they share a duration and a sync state, and the edit either keeps
// every one of them whole or leaves every one out.
struct Stretch
{
    uint32_t first = 0;
    uint32_t count = 0;
    uint32_t duration = 0;
    bool isSync = false;
    bool leftOut = false;
    // Where the first sample lies in the run in hand (unused for one sample a chunk), and the
    // signed sum of the sizes before it in its chunk.
    RunAhead ahead;
    int64_t bytesBefore = 0;
};

class VideoSamplePass
{
public:
    VideoSamplePass(const TrackItem& inItem, const ByteRange& inBuffer, uint32_t inSampleCount,
                    const SamplePassEdit& inEdit, uint32_t inMaxSamples, VideoSampleTable& ioSamples)
        : mChunks(inItem, inBuffer), mSizes(TableAtom(inItem.stsz, inBuffer)),
          mConstantSize(mSizes.ConstantSize()), mRuns(TableAtom(inItem.stsc, inBuffer)),
          mOneSamplePerChunk(IsOneSamplePerChunk(mSizes, mRuns, mChunks.EntryCount(), inSampleCount)),
          mSync(TableAtom(inItem.stss, inBuffer)), mDurations(TableAtom(inItem.stts, inBuffer)),
          mPlaces(mRuns, mChunks.EntryCount()), mInChunk(mSizes), mSampleCount(inSampleCount), mEdit(inEdit),
          mMaxSamples(inMaxSamples), mSamples(ioSamples)
    {
    }

    [[nodiscard]] bool SizesCoverEverySample() const { return mSizes.CoversSamples(mSampleCount); }

    uint32_t Run(SamplePassStride inStride)
    {
        uint32_t sample = 0;
        while (sample < mSampleCount && mKeptCount != mMaxSamples)
        {
            Stretch stretch;
            if (inStride == SamplePassStride::RunByRun && FindStretch(sample, stretch))
            {
                if (stretch.leftOut)
                    PassOverStretch(stretch);
                else
                    KeepStretch(stretch);
                mDecodeTime += Widened(stretch.duration) * stretch.count;
                ++mCounts.stretches;
                sample += stretch.count;
                continue;
            }
            const Step step = StepOne(sample);
            ++mCounts.singleSteps;
            if (step == Step::TablesEnded)
                break;
            if (step == Step::PlaceFailed)
                return kQTErrInvalid;
            ++sample;
        }
        return kQTSuccess;
    }

    bool Variable() const { return mVariable; }
    const SamplePassCounts& Counts() const { return mCounts; }

private:
    uint32_t SizeOf(uint32_t inSample) const
    {
        // Every entry below the sample count was found inside the size table.
        return mConstantSize != 0 ? mConstantSize : mSizes.VouchedEntrySize(inSample);
    }

    // One sample through every cursor, as the tables answer it.
    Step StepOne(uint32_t inSample)
    {
        VideoSampleRecord record;
        // The sync table never ends the pass; the time-to-sample table does when it runs out.
        if (!mSync.Next(inSample, record.isSync))
            return Step::TablesEnded;
        record.size = SizeOf(inSample);
        uint32_t duration = 0;
        if (!mDurations.Next(inSample, duration))
            return Step::TablesEnded;
        if (!PlaceOne(inSample, record))
            return Step::PlaceFailed;
        if (mEdit.apply)
        {
            if (inSample < mEdit.firstIndex || mDecodeTime >= mEdit.endTime)
            {
                mDecodeTime += Widened(duration);
                return Step::LeftOut;
            }
            if (mEdit.firstDuration != 0 && inSample == mEdit.firstIndex)
                duration = mEdit.firstDuration;
            else if (mDecodeTime + Widened(duration) > mEdit.endTime)
                duration = uint32_t(mEdit.endTime - mDecodeTime);
        }
        record.duration = duration;
        record.startTime = mKeptTime;
        mSamples.push_back(record);
        NoteKept(duration, 1);
        mDecodeTime += Widened(duration);
        return Step::Kept;
    }

    bool PlaceOne(uint32_t inSample, VideoSampleRecord& ioRecord)
    {
        if (mOneSamplePerChunk)
        {
            ioRecord.fileOffset = mChunks.GetEntry(inSample);
            return true;
        }
        ChunkPlace place;
        uint64_t offsetInChunk = 0;
        if (!mPlaces.Next(inSample, place) || !mInChunk.Next(inSample, ioRecord.size, place, offsetInChunk))
            return false;
        ioRecord.fileOffset = mChunks.GetEntry(place.chunkIndex) + offsetInChunk;
        return true;
    }

    void NoteKept(uint32_t inDuration, uint32_t inCount)
    {
        if (mKeptCount == 0)
            mFirstKeptDuration = inDuration;
        else if (inDuration != mFirstKeptDuration)
            mVariable = true;
        mKeptCount += inCount;
        mKeptTime += Widened(inDuration) * inCount;
    }

    // The longest stretch from inSample that every table and the edit answer alike, with every
    // sample kept whole or every one left out; false when there is none, and the sample takes a
    // step of its own.
    bool FindStretch(uint32_t inSample, Stretch& outStretch) const
    {
        uint64_t count = mSampleCount - inSample;
        uint32_t duration = 0;
        bool isSync = false;
        count = std::min<uint64_t>(count, mDurations.SamplesLeftInEntry(inSample, duration));
        count = std::min<uint64_t>(count, mSync.SamplesAlike(inSample, isSync));
        if (count == 0 || (mEdit.apply && inSample == mEdit.firstIndex))
            return false;
        const bool leftOut = mEdit.apply && (inSample < mEdit.firstIndex || mDecodeTime >= mEdit.endTime);
        if (leftOut)
            count = std::min<uint64_t>(count, SamplesLeftOut(inSample, duration));
        else
        {
            // A negative duration could take a kept sample's decode time out of the edit and back.
            if ((duration & 0x80000000u) != 0)
                return false;
            if (mEdit.apply && duration != 0)
                count = std::min<uint64_t>(count, (mEdit.endTime - mDecodeTime) / duration);
            count = std::min<uint64_t>(count, mMaxSamples - mKeptCount);
        }
        outStretch = {inSample, 0, duration, isSync, leftOut, {}, 0};
        count =
            std::min<uint64_t>(count, SamplesPlaceable(inSample, outStretch.ahead, outStretch.bytesBefore));
        outStretch.count = uint32_t(count);
        return count != 0;
    }

    // How many samples from inSample, the edit leaving it out, are left out in a row when each
    // lasts inDuration: all up to the edit's first sample; past the edit's end, until the decode
    // time comes back under the end (a negative duration) or wraps past 2^64.
    uint64_t SamplesLeftOut(uint32_t inSample, uint32_t inDuration) const
    {
        if (inSample < mEdit.firstIndex)
            return mEdit.firstIndex - inSample;
        if (inDuration == 0)
            return UINT64_MAX;
        if ((inDuration & 0x80000000u) != 0)
            return (mDecodeTime - mEdit.endTime) / (0 - Widened(inDuration)) + 1;
        return (UINT64_MAX - mDecodeTime) / inDuration + 1;
    }

    // How many samples from inSample on can be placed without the cursors: inside the run in hand,
    // and either all in chunks that the offset table holds or all in chunks that it lacks (up to
    // where the chunk index wraps to 0), so that a stretch meets at most one kind. Gives where
    // inSample lies and the bytes before it in its chunk.
    uint64_t SamplesPlaceable(uint32_t inSample, RunAhead& outAhead, int64_t& outBytesBefore) const
    {
        const uint32_t chunkCount = mChunks.EntryCount();
        if (mOneSamplePerChunk)
            return inSample < chunkCount ? chunkCount - inSample : 0;
        RunAhead& ahead = outAhead;
        if (!mPlaces.LookAhead(inSample, ahead))
            return 0;
        outBytesBefore = 0;
        if (ahead.positionInChunk != 0)
        {
            if (mConstantSize != 0)
                outBytesBefore = int64_t(uint64_t(ahead.positionInChunk) * mConstantSize);
            else if (!mInChunk.RunningTotal(inSample, ahead.positionInChunk, outBytesBefore))
                return 0;
        }
        const uint32_t lastChunk = ahead.chunkIndex < chunkCount ? chunkCount - 1 : 0xFFFFFFFFu;
        // The rest of this chunk and every later chunk of the same kind.
        const uint64_t inChunks = uint64_t(ahead.samplesPerChunk - ahead.positionInChunk) +
                                  uint64_t(ahead.samplesPerChunk) * (lastChunk - ahead.chunkIndex);
        return std::min<uint64_t>(inChunks, ahead.samplesLeftInRun);
    }

    void KeepStretch(const Stretch& inStretch)
    {
        if (mOneSamplePerChunk)
            KeepOneSampleChunks(inStretch);
        else
            KeepChunkedSamples(inStretch);
        NoteKept(inStretch.duration, inStretch.count);
    }

    // Samples the edit leaves out still pass through the chunk cursors; a stretch of them moves
    // each cursor to its last sample at once, as the steps would have left it. With one sample a
    // chunk there are no chunk cursors: a sample's chunk is its index.
    void PassOverStretch(const Stretch& inStretch)
    {
        if (mOneSamplePerChunk)
            return;
        const RunAhead& ahead = inStretch.ahead;
        // A stretch in chunks the offset table lacks lies wholly in them: the steps would have
        // reported the first.
        if (ahead.chunkIndex >= mChunks.EntryCount())
            (void)mChunks.GetEntry(ahead.chunkIndex);
        const uint32_t last = inStretch.first + inStretch.count - 1;
        const uint32_t lastPosition =
            uint32_t((uint64_t(ahead.positionInChunk) + inStretch.count - 1) % ahead.samplesPerChunk);
        mPlaces.Skip(inStretch.count);
        mInChunk.Resume(last, lastPosition, SizeOf(last), BytesBeforeInChunk(inStretch, last, lastPosition));
    }

    // The signed sum of the sizes before inLast in its chunk, as the steps would have run it.
    int64_t BytesBeforeInChunk(const Stretch& inStretch, uint32_t inLast, uint32_t inLastPosition) const
    {
        if (mConstantSize != 0)
            return int64_t(uint64_t(inLastPosition) * mConstantSize);
        const uint32_t chunkFirst = inLast - inLastPosition;
        int64_t total = 0;
        uint32_t from = chunkFirst;
        if (chunkFirst < inStretch.first) // still the chunk the stretch began in
        {
            from = inStretch.first;
            total = inStretch.bytesBefore;
        }
        // Each size lies inside the table, and a pass sums each at most once.
        const uint8_t* entry = mSizes.VouchedEntry(from);
        for (uint32_t sample = from; sample != inLast; ++sample, entry += kStszEntrySize)
            total += int32_t(BE::U32(entry));
        return total;
    }

    void KeepOneSampleChunks(const Stretch& inStretch)
    {
        uint64_t time = mKeptTime;
        const uint32_t end = inStretch.first + inStretch.count;
        for (uint32_t sample = inStretch.first; sample != end; ++sample)
        {
            mSamples.push_back(
                {mChunks.GetEntry(sample), inStretch.duration, time, mConstantSize, inStretch.isSync});
            time += inStretch.duration;
        }
    }

    // The samples of a stretch, chunk by chunk: inside a chunk each one starts where the one before
    // ended, its size taken as signed as the cursor sums it, or a constant size as it multiplies it.
    void KeepChunkedSamples(const Stretch& inStretch)
    {
        const RunAhead& ahead = inStretch.ahead;
        int64_t total = inStretch.bytesBefore;
        uint32_t chunk = ahead.chunkIndex;
        uint32_t position = ahead.positionInChunk;
        uint32_t sample = inStretch.first;
        uint32_t left = inStretch.count;
        uint64_t time = mKeptTime;
        uint32_t lastSize = mConstantSize;
        int64_t lastTotal = 0;
        for (;;)
        {
            const uint32_t inThisChunk = std::min(left, ahead.samplesPerChunk - position);
            const uint64_t chunkOffset = mChunks.GetEntry(chunk);
            const ChunkStretch part{chunkOffset, inStretch.duration, inStretch.isSync, sample, inThisChunk};
            if (mConstantSize != 0)
                KeepInChunk<true>(part, total, time, lastTotal, lastSize);
            else
                KeepInChunk<false>(part, total, time, lastTotal, lastSize);
            sample += inThisChunk;
            left -= inThisChunk;
            if (left == 0)
            {
                position += inThisChunk;
                break;
            }
            ++chunk;
            position = 0;
            total = 0;
        }
        mPlaces.Skip(inStretch.count);
        mInChunk.Resume(sample - 1, position - 1, lastSize, lastTotal);
    }

    // Samples inside one chunk, from the first of inPart.
    struct ChunkStretch
    {
        uint64_t chunkOffset;
        uint32_t duration;
        bool isSync;
        uint32_t first;
        uint32_t count;
    };

    // The loop that every listed sample goes through, kept free of anything it need not do.
    template <bool ConstantSize>
    void KeepInChunk(const ChunkStretch& inPart, int64_t& ioTotal, uint64_t& ioTime, int64_t& outLastTotal,
                     uint32_t& outLastSize)
    {
        VideoSampleTable& samples = mSamples;
        const uint32_t constantSize = mConstantSize;
        const uint8_t* sizeEntry = ConstantSize ? nullptr : mSizes.VouchedEntry(inPart.first);
        int64_t total = ioTotal;
        uint64_t time = ioTime;
        uint32_t size = constantSize;
        for (uint32_t left = inPart.count; left != 0; --left)
        {
            if constexpr (!ConstantSize)
            {
                size = BE::U32(sizeEntry);
                sizeEntry += kStszEntrySize;
            }
            samples.push_back(
                {inPart.chunkOffset + uint64_t(total), inPart.duration, time, size, inPart.isSync});
            outLastTotal = total;
            total += ConstantSize ? int64_t(constantSize) : int64_t(int32_t(size));
            time += inPart.duration;
        }
        outLastSize = size;
        ioTotal = total;
        ioTime = time;
    }

    ChunkOffsetHelper mChunks;
    SampleSizeTable mSizes;
    uint32_t mConstantSize;
    SampleToChunkTable mRuns;
    bool mOneSamplePerChunk;
    SyncSampleCursor mSync;
    TimeToSampleCursor mDurations;
    SampleToChunkCursor mPlaces;
    ChunkOffsetCursor mInChunk;
    uint32_t mSampleCount;
    SamplePassEdit mEdit;
    uint32_t mMaxSamples;
    VideoSampleTable& mSamples;

    uint64_t mDecodeTime = 0;
    uint64_t mKeptTime = 0;
    uint32_t mKeptCount = 0;
    uint32_t mFirstKeptDuration = 0;
    bool mVariable = false;
    SamplePassCounts mCounts;
};

} // namespace

uint32_t RunVideoSamplePass(const TrackItem& inItem, const ByteRange& inBuffer, uint32_t inSampleCount,
                            const SamplePassEdit& inEdit, uint32_t inMaxSamples, SamplePassStride inStride,
                            VideoSampleTable& ioSamples, bool& outVariableDuration,
                            SamplePassCounts* outCounts)
{
    outVariableDuration = false;
    VideoSamplePass pass(inItem, inBuffer, inSampleCount, inEdit, inMaxSamples, ioSamples);
    if (!pass.SizesCoverEverySample())
        return kQTErrBadSampleTable;
    const uint32_t result = pass.Run(inStride);
    if (outCounts)
        *outCounts = pass.Counts();
    if (result == kQTSuccess)
        outVariableDuration = pass.Variable();
    return result;
}

} // namespace QT
