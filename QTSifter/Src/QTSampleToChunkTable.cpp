#include "QTSampleToChunkTable.h"

namespace QT
{

uint32_t SampleToChunkTable::RunChunks(uint32_t inRun, uint32_t inChunkCount,
                                       uint32_t& ioChunksSeen) const noexcept
{
    if (inRun >= mRunCount)
        return 0;
    if (mRunCount - inRun > 1)
    {
        const uint32_t chunks = FirstChunk(inRun + 1) - FirstChunk(inRun);
        ioChunksSeen += chunks;
        return chunks;
    }
    return inChunkCount - ioChunksSeen;
}

// The run the cursor now stands in, as the next lookup will see it: with a fresh count of chunks.
void SampleToChunkCursor::HoldRun()
{
    uint32_t counted = 0;
    mHeldSamplesPerChunk = mRuns.SamplesPerChunk(mRunIndex);
    mHeldFirstChunk = mRuns.FirstChunk(mRunIndex);
    mHeldEnd = mRunFirstSample + mHeldSamplesPerChunk * mRuns.RunChunks(mRunIndex, mChunkCount, counted);
    mHolding = mHeldSamplesPerChunk != 0;
    mHaveLast = false;
}

bool SampleToChunkCursor::PlaceByWalk(uint32_t inSample, ChunkPlace& outPlace)
{
    mHolding = false;
    if (mRunIndex >= mRuns.RunCount())
        return false;
    // The samples per chunk of the run where the lookup starts stay in force, also after a step.
    const uint32_t samplesPerChunk = mRuns.SamplesPerChunk(mRunIndex);
    // Counted afresh for each sample, so that the last run usually counts every chunk: its range
    // comes out wider than the run, never narrower.
    uint32_t counted = 0;
    for (int tried = 0;; ++tried)
    {
        const uint32_t chunks = mRuns.RunChunks(mRunIndex, mChunkCount, counted);
        const uint32_t runSamples = samplesPerChunk * chunks;
        if (inSample >= mRunFirstSample && inSample < mRunFirstSample + runSamples)
        {
            const uint32_t distance = inSample - mRunFirstSample;
            const uint32_t chunkInRun = chunks > 1 ? distance / samplesPerChunk : 0;
            outPlace = {mRuns.FirstChunk(mRunIndex) - 1 + chunkInRun, mRunFirstSample, samplesPerChunk,
                        distance % samplesPerChunk};
            return true;
        }
        mRunFirstSample += runSamples;
        ++mRunIndex;
        if (mRunIndex >= mRuns.RunCount() || tried == 1)
            return false;
    }
}

} // namespace QT
