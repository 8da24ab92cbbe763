#include "QTChunkOffsetTable.h"

#include "QTContract.h"

namespace QT
{

ChunkOffsetHelper::ChunkOffsetHelper(const TrackItem& inItem, const ByteRange& inBuffer) : mItem(inItem)
{
    if (mItem.co64)
    {
        mIs64Bit = true;
        mTable = TableAtom(mItem.co64, inBuffer);
        mEntryCount = mTable.TrustedCount(kCo64EntrySize);
    }
    else if (mItem.stco)
    {
        mTable = TableAtom(mItem.stco, inBuffer);
        mEntryCount = mTable.TrustedCount(kStcoEntrySize);
    }
}

uint64_t ChunkOffsetHelper::ReportInvalidEntry() const
{
    if (!mReported)
        ReportContractViolation(ContractSites::kChunkOffsetEntry);
    mReported = true;
    return 0;
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

bool FindOffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace, const SampleSizeTable& inSizes,
                       uint64_t& outOffset)
{
    outOffset = 0;
    if (inPlace.samplesPerChunk == 0)
        return false;
    ChunkPlace place = inPlace;
    place.positionInChunk = (inSample - inPlace.runFirstSample) % inPlace.samplesPerChunk;
    return ChunkOffsetCursor(inSizes).Next(inSample, inSizes.EntrySize(inSample), place, outOffset);
}

bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const SampleToChunkTable& inRuns,
                         uint32_t inChunkCount, uint32_t inSampleCount)
{
    return inSizes.ConstantSize() != 0 && inRuns.StatedRunCount() == 1 && inChunkCount == inSampleCount;
}

} // namespace QT
