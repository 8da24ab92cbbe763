#pragma once

#include <cstdint>

#include "QTBigEndian.h"
#include "QTByteRange.h"
#include "QTContract.h"
#include "QTFourCC.h"
#include "QTMooVAtom.h"
#include "QTResultCodes.h"

namespace QT
{

// A sample-table atom read where it lies. Reads stop at its end: the lesser of its size word and
// the end of the movie buffer, so that no count can take a reader outside either.
class TableAtom
{
public:
    TableAtom() = default;
    TableAtom(const uint8_t* inAtom, const ByteRange& inBuffer);

    explicit operator bool() const noexcept { return mAtom != nullptr; }
    const uint8_t* Atom() const noexcept { return mAtom; }
    uint32_t SizeWord() const noexcept { return mSizeWord; }

    bool Has(uint64_t inOffset, uint64_t inWidth) const noexcept
    {
        return inOffset <= mReadable && inWidth <= mReadable - inOffset;
    }
    uint32_t U32(uint64_t inOffset) const noexcept
    {
        return Has(inOffset, 4) ? BE::U32(mAtom + inOffset) : 0;
    }
    uint64_t U64(uint64_t inOffset) const noexcept
    {
        return Has(inOffset, 8) ? BE::U64(mAtom + inOffset) : 0;
    }

    // The entry count at byte 12, as the file states it; 0 for an absent or cut atom.
    uint32_t StatedCount() const noexcept { return U32(12); }
    // The stated count, but no more entries of inEntrySize (from byte 16) than lie inside the atom.
    uint32_t TrustedCount(uint32_t inEntrySize) const noexcept;

private:
    const uint8_t* mAtom = nullptr;
    uint32_t mSizeWord = 0;
    uint64_t mReadable = 0;
};

// One stts entry: 8 raw bytes, sample count then duration.
struct TimeToSampleEntry
{
    uint32_t sampleCount;
    uint32_t duration;
};

// The stts entry inIndex, or null when stts is absent, the index is not below the entry count or
// the entry does not end inside the atom.
const uint8_t* FindTimeToSampleEntry(const TableAtom& inStts, uint32_t inIndex);
inline TimeToSampleEntry ReadTimeToSampleEntry(const uint8_t* inEntry)
{
    return {BE::U32(inEntry), BE::U32(inEntry + 4)};
}

// The file offsets of chunks, from co64 when the track has one (even if stco is there too),
// else from stco.
class ChunkOffsetHelper
{
public:
    ChunkOffsetHelper(const TrackItem& inItem, const ByteRange& inBuffer);

    bool Is64Bit() const noexcept { return mIs64Bit; }
    uint32_t EntryCount() const noexcept { return mEntryCount; }
    // The file offset of chunk inEntryIdx. An index not below the count violates the contract:
    // it is reported and the result is 0.
    uint64_t GetEntry(uint32_t inEntryIdx) const
    {
        // The count was cut to the entries inside the table, so an index below it reads inside.
        if (inEntryIdx < mEntryCount) [[likely]]
            return mIs64Bit ? BE::U64(mTable.Atom() + 16 + 8 * uint64_t(inEntryIdx))
                            : BE::U32(mTable.Atom() + 16 + 4 * uint64_t(inEntryIdx));
        return ReportInvalidEntry();
    }

private:
    static uint64_t ReportInvalidEntry();

    const TrackItem& mItem;
    TableAtom mTable;
    bool mIs64Bit = false;
    uint32_t mEntryCount = 0;
};

// The time-to-sample cursor of a pass over samples in increasing order. The first sample of
// each entry after the first takes the duration of the entry before it: hosts rely on that lag.
class TimeToSampleCursor
{
public:
    explicit TimeToSampleCursor(const TableAtom& inStts) : mStts(inStts) {}

    // The duration of inSample; false when the table has run out, which ends the pass.
    bool Next(uint32_t inSample, uint32_t& outDuration);

private:
    bool LoadEntry();

    TableAtom mStts;
    uint32_t mEntryIndex = 0;
    uint32_t mEntryStart = 0;
    // The entry at mEntryIndex, read once.
    bool mHaveEntry = false;
    TimeToSampleEntry mEntry{};
};

// Where one sample lies by the sample-to-chunk table.
struct ChunkPlace
{
    uint32_t chunkIndex = 0;      // 0-based
    uint32_t runFirstSample = 0;  // first sample of the run that holds the chunk
    uint32_t samplesPerChunk = 0; // as in force for this sample
    uint32_t positionInChunk = 0; // samples before this one in its chunk
};

// The sample-to-chunk cursor of a pass over samples in increasing order. At most two runs are
// tried for one sample, so two empty runs in a row end the pass. A sample inside the run in hand,
// the common case, is placed without reading the table again.
class SampleToChunkCursor
{
public:
    SampleToChunkCursor(const TableAtom& inStsc, uint32_t inChunkCount);

    // The chunk of inSample; false when the lookup fails.
    bool Locate(uint32_t inSample, ChunkPlace& outPlace);

private:
    uint32_t FirstChunk(uint32_t inRun) const { return mStsc.U32(16 + 12 * uint64_t(inRun)); }
    uint32_t SamplesPerChunk(uint32_t inRun) const { return mStsc.U32(20 + 12 * uint64_t(inRun)); }
    uint32_t RunChunks(uint32_t inRun, uint32_t& ioCounted) const;
    bool LocateByWalk(uint32_t inSample, ChunkPlace& outPlace);
    bool LocateInRunInHand(uint32_t inSample, ChunkPlace& outPlace);
    void HoldRun();

    TableAtom mStsc;
    uint32_t mRunCount;
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

// Sample sizes from stsz: a constant size, or one entry per sample.
class SampleSizeTable
{
public:
    explicit SampleSizeTable(const TableAtom& inStsz) : mStsz(inStsz), mConstantSize(inStsz.U32(12)) {}

    uint32_t ConstantSize() const noexcept { return mConstantSize; }
    uint32_t StatedCount() const noexcept { return mStsz.U32(16); }
    // Entries that lie inside the atom.
    bool HasEntry(uint32_t inSample) const noexcept { return mStsz.Has(20 + 4 * uint64_t(inSample), 4); }
    uint32_t EntrySize(uint32_t inSample) const noexcept { return mStsz.U32(20 + 4 * uint64_t(inSample)); }
    // The same, unchecked, for a sample at or before one that HasEntry has vouched for.
    uint32_t VouchedEntrySize(uint32_t inSample) const noexcept
    {
        return BE::U32(mStsz.Atom() + 20 + 4 * uint64_t(inSample));
    }

private:
    TableAtom mStsz;
    uint32_t mConstantSize;
};

// Sync samples from stss, for samples asked in increasing order. Without stss every sample is a
// sync sample; with an empty one only sample 0 is. A table out of order stops matching at the first
// entry that falls behind.
class SyncSampleCursor
{
public:
    explicit SyncSampleCursor(const TableAtom& inStss);

    bool IsSync(uint32_t inSample);

private:
    TableAtom mStss;
    uint32_t mCount = 0;
    uint32_t mPosition = 0;
    uint32_t mNextSync = 0;
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
    bool Next(uint32_t inSample, uint32_t inSize, const ChunkPlace& inPlace, uint64_t& outOffset);

private:
    bool SumFromChunkStart(uint32_t inChunkFirst, uint32_t inSample, int64_t& outTotal) const;

    SampleSizeTable mSizes;
    bool mHaveLast = false;
    uint32_t mChunkFirst = 0;
    uint32_t mLastSample = 0;
    uint32_t mLastSize = 0;
    int64_t mLastTotal = 0;
};

// The same for one sample, its position in the chunk taken from the run it was placed in.
bool OffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace, const SampleSizeTable& inSizes,
                   uint64_t& outOffset);

// When every chunk holds one sample of a constant size, the sample-to-chunk walk is skipped and a
// sample's offset is its chunk's.
bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const TableAtom& inStsc, uint32_t inChunkCount,
                         uint32_t inSampleCount);

// The per-sample steps of a pass stand here so that the pass inlines them; what is rare stays out
// of line.

inline bool TimeToSampleCursor::Next(uint32_t inSample, uint32_t& outDuration)
{
    if (!mHaveEntry && !LoadEntry())
        return false;
    outDuration = mEntry.duration;
    if (inSample < mEntryStart || inSample >= mEntryStart + mEntry.sampleCount)
    {
        // The cursor moves on, but this sample keeps the entry in hand.
        mEntryStart += mEntry.sampleCount;
        ++mEntryIndex;
        mHaveEntry = false;
    }
    return true;
}

inline bool SampleToChunkCursor::Locate(uint32_t inSample, ChunkPlace& outPlace)
{
    if (LocateInRunInHand(inSample, outPlace))
        return true;
    if (!LocateByWalk(inSample, outPlace))
        return false;
    HoldRun();
    return true;
}

// What a lookup that starts in the run in hand answers, when the sample lies inside that run.
inline bool SampleToChunkCursor::LocateInRunInHand(uint32_t inSample, ChunkPlace& outPlace)
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

inline bool SyncSampleCursor::IsSync(uint32_t inSample)
{
    if (!mStss)
        return true;
    if (mNextSync != inSample)
        return false;
    if (++mPosition < mCount)
        mNextSync = mStss.U32(16 + 4 * uint64_t(mPosition)) - 1;
    return true;
}

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
