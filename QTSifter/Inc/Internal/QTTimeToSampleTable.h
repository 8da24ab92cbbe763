#pragma once

#include <cstdint>

#include "QTTableAtom.h"

namespace QT
{

// stts: entries of a sample count and a duration in media ticks.
inline constexpr uint64_t kSttsEntriesFromAtom = kTableEntriesFromAtom;
inline constexpr uint32_t kSttsEntrySize = 8;
inline constexpr uint64_t kSttsSampleCountFromEntry = 0;
inline constexpr uint64_t kSttsDurationFromEntry = 4;

// One stts entry, as read.
struct TimeToSampleEntry
{
    uint32_t sampleCount;
    uint32_t duration;
};

// The stts entry inIndex, or null when stts is absent, the index is not below the entry count or
// the entry does not end inside the atom.
[[nodiscard]] const uint8_t* FindTimeToSampleEntry(const TableAtom& inStts, uint32_t inIndex);
inline TimeToSampleEntry ReadTimeToSampleEntry(const uint8_t* inEntry)
{
    return {BE::U32(inEntry + kSttsSampleCountFromEntry), BE::U32(inEntry + kSttsDurationFromEntry)};
}

// The time-to-sample cursor of a pass over samples in increasing order. The first sample of
// each entry after the first takes the duration of the entry before it: hosts rely on that lag.
class TimeToSampleCursor
{
public:
    explicit TimeToSampleCursor(const TableAtom& inStts) : mStts(inStts) {}

    // The duration of inSample; false when the table has run out, which ends the pass.
    [[nodiscard]] bool Next(uint32_t inSample, uint32_t& outDuration);

    // How many samples from inSample on Next would answer from the entry in hand without moving,
    // and their duration: a pass may take them at once. 0 when no entry is in hand or inSample
    // lies outside it.
    uint32_t SamplesLeftInEntry(uint32_t inSample, uint32_t& outDuration) const noexcept
    {
        const uint32_t end = mEntryStart + mEntry.sampleCount;
        if (!mHaveEntry || inSample < mEntryStart || inSample >= end)
            return 0;
        outDuration = mEntry.duration;
        return end - inSample;
    }

private:
    [[nodiscard]] bool LoadEntry();

    TableAtom mStts;
    uint32_t mEntryIndex = 0;
    uint32_t mEntryStart = 0;
    // The entry at mEntryIndex, read once.
    bool mHaveEntry = false;
    TimeToSampleEntry mEntry{};
};

// The step of a pass stands here so that the pass inlines it; loading an entry stays out of line.
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

} // namespace QT
