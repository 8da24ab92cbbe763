#pragma once

#include <cstdint>

#include "QTMooVAtom.h"
#include "QTSampleSizeTable.h"
#include "QTSampleToChunkTable.h"
#include "QTTableAtom.h"

namespace QT
{

// stco and co64: an entry count, then the file offset of each chunk, in 32 or 64 bits.
inline constexpr uint64_t kChunkOffsetEntriesFromAtom = kTableEntriesFromAtom;
inline constexpr uint32_t kStcoEntrySize = 4;
inline constexpr uint32_t kCo64EntrySize = 8;

// The file offsets of chunks, from co64 when the track has one (even if stco is there too),
// else from stco.
class ChunkOffsetHelper
{
public:
    ChunkOffsetHelper(const TrackItem& inItem, const ByteRange& inBuffer);

    bool Is64Bit() const noexcept { return mIs64Bit; }
    uint32_t EntryCount() const noexcept { return mEntryCount; }
    // The first entry, for a pass that steps through the table itself: EntryCount entries of
    // EntryBytes lie inside the atom from here. Null when the track has no table.
    const uint8_t* Entries() const noexcept
    {
        return mTable ? mTable.Atom() + kChunkOffsetEntriesFromAtom : nullptr;
    }
    uint32_t EntryBytes() const noexcept { return mIs64Bit ? kCo64EntrySize : kStcoEntrySize; }
    // The file offset of chunk inEntryIdx. An index not below the count violates the contract:
    // the result is 0, and the first such index asked of this helper is reported. A helper serves
    // one operation, and a pass over a table that lacks chunks may ask for billions of them: the
    // first report tells the host the table is bad, the rest would say nothing more.
    uint64_t GetEntry(uint32_t inEntryIdx) const
    {
        // The count was cut to the entries inside the table, so an index below it reads inside.
        if (inEntryIdx < mEntryCount) [[likely]]
            return mIs64Bit ? BE::U64(mTable.Atom() + kChunkOffsetEntriesFromAtom +
                                      kCo64EntrySize * uint64_t(inEntryIdx))
                            : BE::U32(mTable.Atom() + kChunkOffsetEntriesFromAtom +
                                      kStcoEntrySize * uint64_t(inEntryIdx));
        return ReportInvalidEntry();
    }

private:
    uint64_t ReportInvalidEntry() const;

    const TrackItem& mItem;
    TableAtom mTable;
    bool mIs64Bit = false;
    uint32_t mEntryCount = 0;
    mutable bool mReported = false;
};

// The bytes between the start of a sample's chunk and the sample: the sizes of the samples before
// it in the chunk, each taken as signed. In a pass the sum runs on from the sample before, so a
// chunk of many samples costs one addition a sample. False when a size it needs lies outside the
// table or the run has no samples per chunk.
class ChunkOffsetCursor
{
public:
    explicit ChunkOffsetCursor(const SampleSizeTable& inSizes) : mSizes(inSizes) {}

    // inSize is this sample's size as the pass read it: the next sample of the chunk adds it.
    [[nodiscard]] bool Next(uint32_t inSample, uint32_t inSize, const ChunkPlace& inPlace,
                            uint64_t& outOffset);

    // The running sum Next would take for inSample, at inPosition in its chunk, when it follows
    // the sample summed last in the same chunk; false otherwise.
    [[nodiscard]] bool RunningTotal(uint32_t inSample, uint32_t inPosition, int64_t& outTotal) const noexcept
    {
        if (!mHaveLast || inSample != mLastSample + 1 || inSample - inPosition != mChunkFirst)
            return false;
        outTotal = mLastTotal + int32_t(mLastSize);
        return true;
    }
    // Takes up the sum where a pass that placed samples without the cursor left it: inSample, at
    // inPosition in its chunk, of inSize, with inTotal bytes before it in the chunk.
    void Resume(uint32_t inSample, uint32_t inPosition, uint32_t inSize, int64_t inTotal) noexcept
    {
        mHaveLast = true;
        mChunkFirst = inSample - inPosition;
        mLastSample = inSample;
        mLastSize = inSize;
        mLastTotal = inTotal;
    }

private:
    [[nodiscard]] bool SumFromChunkStart(uint32_t inChunkFirst, uint32_t inSample, int64_t& outTotal) const;

    SampleSizeTable mSizes;
    bool mHaveLast = false;
    uint32_t mChunkFirst = 0;
    uint32_t mLastSample = 0;
    uint32_t mLastSize = 0;
    int64_t mLastTotal = 0;
};

// The same for one sample, its position in the chunk taken from the run it was placed in.
[[nodiscard]] bool FindOffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace,
                                     const SampleSizeTable& inSizes, uint64_t& outOffset);

// When every chunk holds one sample of a constant size, the sample-to-chunk walk is skipped and a
// sample's offset is its chunk's. The stated run count decides, as no run is read.
[[nodiscard]] bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const SampleToChunkTable& inRuns,
                                       uint32_t inChunkCount, uint32_t inSampleCount);

// The step of a pass stands here so that the pass inlines it; summing from the chunk's start
// stays out of line.
inline bool ChunkOffsetCursor::Next(uint32_t inSample, uint32_t inSize, const ChunkPlace& inPlace,
                                    uint64_t& outOffset)
{
    outOffset = 0;
    if (inPlace.samplesPerChunk == 0)
        return false;
    const uint32_t pos = inPlace.positionInChunk;
    const uint32_t chunkFirst = inSample - pos;
    int64_t total = 0;
    if (pos == 0 || uint32_t(chunkFirst + pos) < chunkFirst)
        total = 0;
    else if (mSizes.ConstantSize() != 0)
    {
        outOffset = uint64_t(pos) * mSizes.ConstantSize();
        return true;
    }
    else if (mHaveLast && chunkFirst == mChunkFirst && inSample == mLastSample + 1)
        total = mLastTotal + int32_t(mLastSize);
    else if (!SumFromChunkStart(chunkFirst, inSample, total))
        return false;
    mHaveLast = true;
    mChunkFirst = chunkFirst;
    mLastSample = inSample;
    mLastSize = inSize;
    mLastTotal = total;
    outOffset = uint64_t(total);
    return true;
}

} // namespace QT
