#include <algorithm>

#include "QTAtomLayout.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

// How many samples of ctts are looked at to find the earliest composition time.
constexpr uint32_t kCompositionSearchSamples = 20;

} // namespace

void QTTrack::ComputeEditState()
{
    const TrackItem& item = Item();
    const uint32_t sttsCount = Table(item.stts).StatedCount();
    if (item.editList.empty() || sttsCount == 0)
        return ComputeUneditedState(sttsCount);
    if (item.editList.size() >= 2)
    {
        // Taken in movie ticks as it stands, unlike the other cases.
        mEditedMediaDuration = GetTrackDuration();
        mMediaStartTime = 0;
        return;
    }
    ComputeSingleEditState();
}

void QTTrack::ComputeUneditedState(uint32_t inSttsCount)
{
    mEditedMediaDuration = MovieToMediaTime(GetTrackDuration());
    mMediaStartTime = 0;
    if (GetTrackMediaType() != kAudioMediaType || inSttsCount != 2)
        return;
    const uint8_t* first = GetTimeToSampleEntry(0);
    const uint8_t* second = GetTimeToSampleEntry(1);
    if (!first || !second)
        return;
    const TimeToSampleEntry a = ReadTimeToSampleEntry(first);
    const TimeToSampleEntry b = ReadTimeToSampleEntry(second);
    if (a.sampleCount == 1 && int32_t(b.sampleCount) >= 3 && int32_t(a.duration) > int32_t(b.duration))
        mFirstSampleExcess = a.duration - b.duration;
}

void QTTrack::ComputeSingleEditState()
{
    const uint8_t* edit = Item().editList.front();
    uint32_t t = BE::U32(edit + kEditMediaTimeFromEntry);
    mEditedMediaDuration = MovieToMediaTime(BE::U32(edit + kEditDurationFromEntry));
    mMediaStartTime = t;
    if (t == 0)
    {
        GetSampleDuration(0, mFirstSampleDuration);
        return;
    }
    if (GetTrackMediaType() == kAudioMediaType)
    {
        // For sound the media time is a sample number.
        mFirstSampleIndex = t;
        mFirstSampleDuration = 1;
        return;
    }
    if (Item().ctts && Table(Item().ctts).StatedCount() != 0)
    {
        int32_t minimum = 0x7FFFFFFF;
        if (!FindSmallestCompositionTime(minimum))
            return;
        if (minimum != 0x7FFFFFFF)
            t = minimum < int32_t(t) ? t - uint32_t(minimum) : 0;
    }
    FindFirstEditedSample(t);
}

// The smallest composition time among the first samples: each ctts entry's first sample only,
// stopping once 20 samples have passed. False when a sample's duration cannot be found.
bool QTTrack::FindSmallestCompositionTime(int32_t& ioMinimum)
{
    const TableAtom ctts = Table(Item().ctts);
    const uint32_t entries = ctts.TrustedCount(kCttsEntrySize);
    int32_t decodeTime = 0;
    uint32_t sample = 0;
    for (uint32_t entry = 0; entry < entries && sample < kCompositionSearchSamples; ++entry)
    {
        const int32_t count =
            int32_t(ctts.U32(kCttsEntriesFromAtom + kCttsEntrySize * uint64_t(entry) + kCttsCountFromEntry));
        if (count <= 0)
            continue;
        const int32_t offset =
            int32_t(ctts.U32(kCttsEntriesFromAtom + kCttsEntrySize * uint64_t(entry) + kCttsOffsetFromEntry));
        ioMinimum = std::min(int32_t(uint32_t(offset) + uint32_t(decodeTime)), ioMinimum);
        for (int32_t i = 0; i < count; ++i)
        {
            uint32_t duration = 0;
            if (GetSampleDuration(sample, duration) != kQTSuccess)
                return false;
            decodeTime = int32_t(uint32_t(decodeTime) + duration);
            // The counter is tested before it moves, so a long entry visits 21 samples.
            if (sample++ >= kCompositionSearchSamples)
                break;
        }
    }
    return true;
}

// The first sample whose duration is greater than what remains of inMediaTime. Walked entry by
// entry, which gives what a walk sample by sample gives without its cost on huge counts.
void QTTrack::FindFirstEditedSample(uint32_t inMediaTime)
{
    const TableAtom stts = Table(Item().stts);
    uint32_t t = inMediaTime;
    uint32_t entryStart = 0;
    for (uint32_t index = 0; const uint8_t* raw = FindTimeToSampleEntry(stts, index); ++index)
    {
        const TimeToSampleEntry entry = ReadTimeToSampleEntry(raw);
        if (entry.sampleCount == 0)
            continue;
        const uint64_t wholeSamples = entry.duration == 0 ? entry.sampleCount : t / entry.duration;
        if (wholeSamples < entry.sampleCount)
        {
            mFirstSampleIndex = entryStart + uint32_t(wholeSamples);
            mFirstSampleDuration = entry.duration - (t - uint32_t(wholeSamples) * entry.duration);
            return;
        }
        t -= uint32_t(uint64_t(entry.sampleCount) * entry.duration);
        entryStart += entry.sampleCount;
    }
}

uint32_t QTTrack::GetEditedSampleCount()
{
    if (const uint32_t cached = mEditedSampleCount.load(std::memory_order_relaxed); cached != 0)
        return cached;
    const TableAtom stts = Table(Item().stts);
    const uint32_t end = mEditedMediaDuration + mMediaStartTime;
    uint32_t elapsed = 0;
    uint32_t total = 0;
    for (uint32_t index = 0; const uint8_t* raw = FindTimeToSampleEntry(stts, index); ++index)
    {
        const uint32_t d = ReadTimeToSampleEntry(raw).duration;
        uint32_t c = ReadTimeToSampleEntry(raw).sampleCount;
        uint32_t span = d * c;
        if (mMediaStartTime != 0)
        {
            // Already in media ticks, and converted all the same.
            const uint32_t s = MovieToMediaTime(mMediaStartTime);
            if (elapsed < s && span + elapsed > s)
            {
                span = d * c - s;
                c -= mFirstSampleIndex;
            }
        }
        if (span + elapsed > end)
        {
            const uint32_t oldSpan = span;
            span = end - elapsed;
            // An entry of no duration has no samples to take off.
            if (d != 0)
                c -= (oldSpan - span) / d;
        }
        elapsed += span;
        total += c;
        if (elapsed >= end)
            break;
    }
    mEditedSampleCount.store(total, std::memory_order_relaxed);
    return total;
}

bool QTTrack::IsEditListSupported(bool inRequireUnitRate)
{
    const std::vector<const uint8_t*>& edits = Item().editList;
    switch (edits.size())
    {
    case 0:
        return true;
    case 1:
        return !inRequireUnitRate || BE::U32(edits[0] + kEditRateFromEntry) == 0x10000;
    case 2:
        return BE::U32(edits[0] + kEditDurationFromEntry) + BE::U32(edits[1] + kEditDurationFromEntry) ==
               GetTrackDuration();
    default:
        return false;
    }
}

bool QTTrack::IsTrackEdited()
{
    if (!IsEditListSupported(true) || mMediaStartTime != 0)
        return true;
    return uint64_t(mEditedMediaDuration) != uint64_t(GetMediaDuration());
}

} // namespace QT
