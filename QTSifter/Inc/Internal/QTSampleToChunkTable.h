#pragma once

#include <cstdint>

#include "QTTableAtom.h"

namespace QT
{

// stsc: runs of chunks that hold the same number of samples, each entry naming the run's first
// chunk, 1-based, its samples per chunk and a description ID that nothing here reads.
inline constexpr uint64_t kStscEntriesFromAtom = kTableEntriesFromAtom;
inline constexpr uint32_t kStscEntrySize = 12;
inline constexpr uint64_t kStscFirstChunkFromEntry = 0;
inline constexpr uint64_t kStscSamplesPerChunkFromEntry = 4;

// The runs of stsc, read where they lie. Runs are numbered from 0; first chunks are 1-based, as
// the file writes them. Only runs whose entries lie whole inside the atom are read, so no count
// in the file can take a reader outside it.
class SampleToChunkTable
{
public:
    SampleToChunkTable() = default;
    explicit SampleToChunkTable(const TableAtom& inStsc)
        : mStsc(inStsc), mRunCount(inStsc.TrustedCount(kStscEntrySize))
    {
    }

    // The entry count as the file states it, which may claim runs that are not there.
    uint32_t StatedRunCount() const noexcept { return mStsc.StatedCount(); }
    // The runs that can be read: the stated count, cut at the atom's end.
    uint32_t RunCount() const noexcept { return mRunCount; }
    // 1-based; 0 for a run at or past RunCount.
    uint32_t FirstChunk(uint32_t inRun) const noexcept { return Field(inRun, kStscFirstChunkFromEntry); }
    // 0 for a run at or past RunCount.
    uint32_t SamplesPerChunk(uint32_t inRun) const noexcept
    {
        return Field(inRun, kStscSamplesPerChunkFromEntry);
    }
    // The chunks of run inRun, for a walk that visits runs from the first. A run before the last
    // spans up to the next run's first chunk, the difference wrapping in 32 bits as the file gives
    // it, and adds its chunks to ioChunksSeen. The last run holds inChunkCount less ioChunksSeen,
    // also wrapping. A run at or past RunCount holds none.
    uint32_t RunChunks(uint32_t inRun, uint32_t inChunkCount, uint32_t& ioChunksSeen) const noexcept;

private:
    uint32_t Field(uint32_t inRun, uint64_t inFromEntry) const noexcept
    {
        // A run below the trusted count lies whole inside the atom.
        return inRun < mRunCount ? BE::U32(mStsc.Atom() + kStscEntriesFromAtom +
                                           kStscEntrySize * uint64_t(inRun) + inFromEntry)
                                 : 0;
    }

    TableAtom mStsc;
    uint32_t mRunCount = 0;
};

// Where one sample lies by the sample-to-chunk table.
struct ChunkPlace
{
    uint32_t chunkIndex = 0;      // 0-based
    uint32_t runFirstSample = 0;  // first sample of the run that holds the chunk
    uint32_t samplesPerChunk = 0; // as in force for this sample
    uint32_t positionInChunk = 0; // samples before this one in its chunk
};

// Where the sample after the one placed last lies, when it is inside the run in hand: enough to
// place a stretch of samples without asking the cursor for each.
struct RunAhead
{
    uint32_t chunkIndex = 0; // 0-based, wrapping as the cursor's answer would
    uint32_t positionInChunk = 0;
    uint32_t samplesPerChunk = 0;
    uint32_t samplesLeftInRun = 0; // from this sample to the run's end, this one included
};

// The sample-to-chunk cursor of a pass over samples in increasing order. At most two runs are
// tried for one sample, so two empty runs in a row end the pass. A sample inside the run in hand,
// the common case, is placed without reading the table again.
class SampleToChunkCursor
{
public:
    SampleToChunkCursor(const SampleToChunkTable& inRuns, uint32_t inChunkCount)
        : mRuns(inRuns), mChunkCount(inChunkCount)
    {
    }

    // The chunk of inSample; false when the lookup fails, which ends the pass.
    [[nodiscard]] bool Next(uint32_t inSample, ChunkPlace& outPlace);

    // Where inSample lies when it is the sample after the one placed last and inside the run in
    // hand, as Next would place it; false otherwise (Next must then be asked).
    [[nodiscard]] bool LookAhead(uint32_t inSample, RunAhead& outAhead) const noexcept;
    // Moves the cursor as if the inCount samples from the one LookAhead placed had each been asked
    // for in turn. inCount must not pass the run's end.
    void Skip(uint32_t inCount) noexcept;

private:
    [[nodiscard]] bool PlaceByWalk(uint32_t inSample, ChunkPlace& outPlace);
    [[nodiscard]] bool PlaceInRunInHand(uint32_t inSample, ChunkPlace& outPlace);
    void HoldRun();

    SampleToChunkTable mRuns;
    uint32_t mChunkCount;
    uint32_t mRunIndex = 0;
    uint32_t mRunFirstSample = 0;
    // The run in hand as a lookup that starts in it sees it.
    bool mHolding = false;
    uint32_t mHeldFirstChunk = 0;
    uint32_t mHeldSamplesPerChunk = 0;
    uint32_t mHeldEnd = 0;
    // The sample placed last in the run in hand, to step to the next without dividing.
    bool mHaveLast = false;
    uint32_t mLastSample = 0;
    uint32_t mLastChunkInRun = 0;
    uint32_t mLastPosition = 0;
};

// The steps of a pass stand here so that the pass inlines them; the walk to another run stays out
// of line.

inline bool SampleToChunkCursor::Next(uint32_t inSample, ChunkPlace& outPlace)
{
    if (PlaceInRunInHand(inSample, outPlace))
        return true;
    if (!PlaceByWalk(inSample, outPlace))
        return false;
    HoldRun();
    return true;
}

// What a lookup that starts in the run in hand answers, when the sample lies inside that run.
inline bool SampleToChunkCursor::PlaceInRunInHand(uint32_t inSample, ChunkPlace& outPlace)
{
    if (!mHolding || inSample < mRunFirstSample || inSample >= mHeldEnd)
        return false;
    if (mHaveLast && inSample == mLastSample + 1)
    {
        if (++mLastPosition == mHeldSamplesPerChunk)
        {
            mLastPosition = 0;
            ++mLastChunkInRun;
        }
    }
    else
    {
        mLastChunkInRun = (inSample - mRunFirstSample) / mHeldSamplesPerChunk;
        mLastPosition = (inSample - mRunFirstSample) % mHeldSamplesPerChunk;
    }
    mHaveLast = true;
    mLastSample = inSample;
    outPlace = {mHeldFirstChunk - 1 + mLastChunkInRun, mRunFirstSample, mHeldSamplesPerChunk, mLastPosition};
    return true;
}

inline bool SampleToChunkCursor::LookAhead(uint32_t inSample, RunAhead& outAhead) const noexcept
{
    if (!mHolding || !mHaveLast || inSample != mLastSample + 1 || inSample < mRunFirstSample ||
        inSample >= mHeldEnd)
        return false;
    uint32_t chunkInRun = mLastChunkInRun;
    uint32_t position = mLastPosition + 1;
    if (position == mHeldSamplesPerChunk)
    {
        position = 0;
        ++chunkInRun;
    }
    outAhead = {mHeldFirstChunk - 1 + chunkInRun, position, mHeldSamplesPerChunk, mHeldEnd - inSample};
    return true;
}

inline void SampleToChunkCursor::Skip(uint32_t inCount) noexcept
{
    // One step a sample moves the position on and wraps it into the next chunk; so does this.
    const uint64_t position = uint64_t(mLastPosition) + inCount;
    mLastChunkInRun += uint32_t(position / mHeldSamplesPerChunk);
    mLastPosition = uint32_t(position % mHeldSamplesPerChunk);
    mLastSample += inCount;
}

} // namespace QT
