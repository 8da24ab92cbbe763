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

bool TimeToSampleCursor::Next(uint32_t inSample, uint32_t& outDuration)
{
    const uint8_t* entry = FindTimeToSampleEntry(mStts, mEntryIndex);
    if (!entry)
        return false;
    const TimeToSampleEntry inHand = ReadTimeToSampleEntry(entry);
    if (inSample < mEntryStart || inSample >= mEntryStart + inHand.sampleCount)
    {
        // The cursor moves on, but this sample keeps the entry in hand.
        mEntryStart += inHand.sampleCount;
        ++mEntryIndex;
    }
    outDuration = inHand.duration;
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

bool SampleToChunkCursor::Locate(uint32_t inSample, ChunkPlace& outPlace)
{
    if (mRunIndex >= mRunCount)
        return false;
    const uint32_t samplesPerChunk = SamplesPerChunk(mRunIndex);
    uint32_t counted = 0;
    for (int tried = 0;; ++tried)
    {
        const uint32_t chunks = RunChunks(mRunIndex, counted);
        const uint32_t runSamples = samplesPerChunk * chunks;
        if (inSample >= mRunFirstSample && inSample < mRunFirstSample + runSamples)
        {
            uint32_t chunkInRun = 0;
            if (chunks > 1)
                chunkInRun = (inSample - mRunFirstSample) / samplesPerChunk;
            outPlace = {FirstChunk(mRunIndex) - 1 + chunkInRun, mRunFirstSample, samplesPerChunk};
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

bool SyncSampleCursor::IsSync(uint32_t inSample)
{
    if (!mStss)
        return true;
    if (mNextSync != inSample)
        return false;
    if (++mPosition < mCount)
        mNextSync = mStss.U32(16 + 4 * uint64_t(mPosition)) - 1;
    return true;
}

bool OffsetInChunk(uint32_t inSample, const ChunkPlace& inPlace, const SampleSizeTable& inSizes,
                   uint64_t& outOffset)
{
    outOffset = 0;
    // A run of no samples per chunk places nothing; a sample found through one has no place in it.
    if (inPlace.samplesPerChunk == 0)
        return false;
    const uint32_t pos = (inSample - inPlace.runFirstSample) % inPlace.samplesPerChunk;
    const uint32_t chunkFirst = inSample - pos;
    if (pos == 0 || uint32_t(chunkFirst + pos) < chunkFirst)
        return true;
    if (inSizes.ConstantSize() != 0)
    {
        outOffset = uint64_t(pos) * inSizes.ConstantSize();
        return true;
    }
    int64_t total = 0;
    for (uint32_t sample = chunkFirst; sample < inSample; ++sample)
    {
        if (!inSizes.HasEntry(sample))
            return false;
        total += int32_t(inSizes.EntrySize(sample));
    }
    outOffset = uint64_t(total);
    return true;
}

bool IsOneSamplePerChunk(const SampleSizeTable& inSizes, const TableAtom& inStsc, uint32_t inChunkCount,
                         uint32_t inSampleCount)
{
    return inSizes.ConstantSize() != 0 && inStsc.StatedCount() == 1 && inChunkCount == inSampleCount;
}

} // namespace QT
