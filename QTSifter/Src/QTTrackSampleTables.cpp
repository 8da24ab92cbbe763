#include "QTTrack.h"

namespace QT
{

const uint8_t* QTTrack::GetTimeToSampleEntry(uint32_t inEntryIndex)
{
    return FindTimeToSampleEntry(Table(Item().stts), inEntryIndex);
}

// Walks stts from the front on every call: for the few samples asked at random.
uint32_t QTTrack::GetSampleDuration(uint32_t inSampleIndex, uint32_t& outDuration)
{
    const TableAtom stts = Table(Item().stts);
    uint32_t total = 0;
    for (uint32_t index = 0; index < stts.StatedCount(); ++index)
    {
        const uint8_t* raw = FindTimeToSampleEntry(stts, index);
        if (!raw)
            return kQTErrFailed;
        const TimeToSampleEntry entry = ReadTimeToSampleEntry(raw);
        if (total <= inSampleIndex && inSampleIndex < total + entry.sampleCount)
        {
            outDuration = entry.duration;
            return kQTSuccess;
        }
        total += entry.sampleCount;
    }
    return kQTErrFailed;
}

// The stts counts are the only source of the number of samples. A sum of 0 is computed again.
uint32_t QTTrack::GetSampleCount()
{
    if (const uint32_t cached = mSampleCount.load(std::memory_order_relaxed); cached != 0)
        return cached;
    uint32_t sum = 0;
    for (uint32_t index = 0; const uint8_t* raw = GetTimeToSampleEntry(index); ++index)
        sum += ReadTimeToSampleEntry(raw).sampleCount;
    mSampleCount.store(sum, std::memory_order_relaxed);
    return sum;
}

} // namespace QT
