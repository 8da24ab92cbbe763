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
    uint32_t U32(uint64_t inOffset) const noexcept { return Has(inOffset, 4) ? BE::U32(mAtom + inOffset) : 0; }
    uint64_t U64(uint64_t inOffset) const noexcept { return Has(inOffset, 8) ? BE::U64(mAtom + inOffset) : 0; }

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
        if (inEntryIdx < mEntryCount)
            return mIs64Bit ? mTable.U64(16 + 8 * uint64_t(inEntryIdx)) : mTable.U32(16 + 4 * uint64_t(inEntryIdx));
        ReportContractViolation({"QTSifter/Inc/QTShared", __LINE__, "ChunkOffsetHelper::GetEntry", "false"},
                                "Invalid entryIdx");
        return 0;
    }

private:
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
    TableAtom mStts;
    uint32_t mEntryIndex = 0;
    uint32_t mEntryStart = 0;
};

// Where one sample lies by the sample-to-chunk table.
struct ChunkPlace
{
    uint32_t chunkIndex = 0;      // 0-based
    uint32_t runFirstSample = 0;  // first sample of the run that holds the chunk
    uint32_t samplesPerChunk = 0; // as in force for this sample
};

// The sample-to-chunk cursor of a pass over samples in increasing order. At most two runs are
// tried for one sample, so two empty runs in a row end the pass.
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

    TableAtom mStsc;
    uint32_t mRunCount;
    uint32_t mChunkCount;
    uint32_t mRunIndex = 0;
    uint32_t mRunFirstSample = 0;
};

// Sample sizes from stsz: a constant size, or one entry per sample.
class SampleSizeTable
{
public:
    explicit SampleSizeTable(const TableAtom& inStsz) : mStsz(inStsz) {}

    uint32_t ConstantSize() const noexcept { return mStsz.U32(12); }
    uint32_t StatedCount() const noexcept { return mStsz.U32(16); }
    // Entries that lie inside the atom.
    bool HasEntry(uint32_t inSample) const noexcept { return mStsz.Has(20 + 4 * uint64_t(inSample), 4); }
    uint32_t EntrySize(uint32_t inSample) const noexcept { return mStsz.U32(20 + 4 * uint64_t(inSample)); }

private:
    TableAtom mStsz;
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
// it in the chunk. False when a size it needs lies outside the table.
bool OffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace, const SampleSizeTable& inSizes,
                   uint64_t& outOffset);

// When every chunk holds one sample of a constant size, the sample-to-chunk walk is skipped and a
// sample's offset is its chunk's.
bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const TableAtom& inStsc, uint32_t inChunkCount,
                         uint32_t inSampleCount);

} // namespace QT
