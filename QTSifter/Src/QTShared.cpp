#include "QTShared.h"

#include <algorithm>

namespace QT
{

TableAtom::TableAtom(const uint8_t* inAtom, const ByteRange& inBuffer) : mAtom(inAtom)
{
    if (!mAtom)
        return;
    const size_t available = inBuffer.Available(mAtom);
    mSizeWord = available >= 4 ? BE::U32(mAtom) : 0;
    mReadable = std::min<uint64_t>(mSizeWord, available);
}

uint32_t TableAtom::TrustedCount(uint32_t inEntrySize) const noexcept
{
    const uint64_t fitting = mReadable > 16 ? (mReadable - 16) / inEntrySize : 0;
    return uint32_t(std::min<uint64_t>(StatedCount(), fitting));
}

uint64_t ChunkOffsetHelper::ReportInvalidEntry()
{
    ReportContractViolation(ContractSites::kChunkOffsetEntry);
    return 0;
}

const uint8_t* FindTimeToSampleEntry(const TableAtom& inStts, uint32_t inIndex)
{
    if (!inStts || inIndex >= inStts.StatedCount())
        return nullptr;
    const uint64_t offset = 16 + 8 * uint64_t(inIndex);
    return inStts.Has(offset, 8) ? inStts.Atom() + offset : nullptr;
}

ChunkOffsetHelper::ChunkOffsetHelper(const TrackItem& inItem, const ByteRange& inBuffer) : mItem(inItem)
{
    if (mItem.co64)
    {
        mIs64Bit = true;
        mTable = TableAtom(mItem.co64, inBuffer);
        mEntryCount = mTable.TrustedCount(8);
    }
    else if (mItem.stco)
    {
        mTable = TableAtom(mItem.stco, inBuffer);
        mEntryCount = mTable.TrustedCount(4);
    }
}

bool TimeToSampleCursor::LoadEntry()
{
    const uint8_t* entry = FindTimeToSampleEntry(mStts, mEntryIndex);
    if (!entry)
        return false;
    mEntry = ReadTimeToSampleEntry(entry);
    mHaveEntry = true;
    return true;
}

SampleToChunkCursor::SampleToChunkCursor(const TableAtom& inStsc, uint32_t inChunkCount)
    : mStsc(inStsc), mRunCount(inStsc.TrustedCount(12)), mChunkCount(inChunkCount)
{
}

// The chunks of run inRun: up to the next run's first chunk, or for the last run the chunk count
// less the chunks counted so far by this lookup.
uint32_t SampleToChunkCursor::RunChunks(uint32_t inRun, uint32_t& ioCounted) const
{
    if (inRun + 1 < mRunCount)
    {
        const uint32_t chunks = FirstChunk(inRun + 1) - FirstChunk(inRun);
        ioCounted += chunks;
        return chunks;
    }
    return mChunkCount - ioCounted;
}

// The run the cursor now stands in, as the next lookup will see it: with a fresh count of chunks.
void SampleToChunkCursor::HoldRun()
{
    uint32_t counted = 0;
    mHeldSamplesPerChunk = SamplesPerChunk(mRunIndex);
    mHeldFirstChunk = FirstChunk(mRunIndex);
    mHeldEnd = mRunFirstSample + mHeldSamplesPerChunk * RunChunks(mRunIndex, counted);
    mHolding = mHeldSamplesPerChunk != 0;
    mHaveLast = false;
}

bool SampleToChunkCursor::LocateByWalk(uint32_t inSample, ChunkPlace& outPlace)
{
    mHolding = false;
    if (mRunIndex >= mRunCount)
        return false;
    // The samples per chunk of the run where the lookup starts stay in force, also after a step.
    const uint32_t samplesPerChunk = SamplesPerChunk(mRunIndex);
    uint32_t counted = 0;
    for (int tried = 0;; ++tried)
    {
        const uint32_t chunks = RunChunks(mRunIndex, counted);
        const uint32_t runSamples = samplesPerChunk * chunks;
        if (inSample >= mRunFirstSample && inSample < mRunFirstSample + runSamples)
        {
            const uint32_t distance = inSample - mRunFirstSample;
            const uint32_t chunkInRun = chunks > 1 ? distance / samplesPerChunk : 0;
            outPlace = {FirstChunk(mRunIndex) - 1 + chunkInRun, mRunFirstSample, samplesPerChunk,
                        distance % samplesPerChunk};
            return true;
        }
        mRunFirstSample += runSamples;
        ++mRunIndex;
        if (mRunIndex >= mRunCount || tried == 1)
            return false;
    }
}

SyncSampleCursor::SyncSampleCursor(const TableAtom& inStss) : mStss(inStss)
{
    if (mStss && int32_t(mStss.StatedCount()) > 0)
    {
        mCount = mStss.TrustedCount(4);
        mNextSync = mStss.U32(16) - 1;
    }
}

bool ChunkOffsetCursor::SumFromChunkStart(uint32_t inChunkFirst, uint32_t inSample, int64_t& outTotal) const
{
    outTotal = 0;
    for (uint32_t sample = inChunkFirst; sample < inSample; ++sample)
    {
        if (!mSizes.HasEntry(sample))
            return false;
        outTotal += int32_t(mSizes.EntrySize(sample));
    }
    return true;
}

bool OffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace, const SampleSizeTable& inSizes,
                   uint64_t& outOffset)
{
    outOffset = 0;
    if (inPlace.samplesPerChunk == 0)
        return false;
    ChunkPlace place = inPlace;
    place.positionInChunk = (inSample - inPlace.runFirstSample) % inPlace.samplesPerChunk;
    return ChunkOffsetCursor(inSizes).Next(inSample, inSizes.EntrySize(inSample), place, outOffset);
}

bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const TableAtom& inStsc, uint32_t inChunkCount,
                         uint32_t inSampleCount)
{
    return inSizes.ConstantSize() != 0 && inStsc.StatedCount() == 1 && inChunkCount == inSampleCount;
}

} // namespace QT
