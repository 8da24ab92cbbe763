#include "QTCaptionSampleTimes.h"

#include "QTTimeToSampleTable.h"

namespace QT
{

namespace
{

// A count or a duration with its top bit set counts as negative.
int64_t Signed(uint32_t inValue)
{
    return int64_t(int32_t(inValue));
}

} // namespace

CaptionSampleTimes::CaptionSampleTimes(const TableAtom& inStts, uint64_t inStart)
    : mStts(inStts), mStart(inStart), mTime(inStart)
{
    for (; const uint8_t* raw = FindTimeToSampleEntry(mStts, mEntryCount); ++mEntryCount)
    {
        const int64_t count = Signed(ReadTimeToSampleEntry(raw).sampleCount);
        mTotalSamples += count;
        if (count > 0)
            mTimedSamples += uint64_t(count);
    }
    if (!LoadNextEntry())
        mLeftInEntry = 0;
}

uint64_t CaptionSampleTimes::TimeAt(uint64_t inIndex) const noexcept
{
    if (inIndex >= TimeCount())
        return 0;
    uint64_t time = mStart;
    uint64_t left = inIndex;
    for (uint32_t index = 0; left != 0 && index < mEntryCount; ++index)
    {
        const TimeToSampleEntry entry = ReadTimeToSampleEntry(FindTimeToSampleEntry(mStts, index));
        const int64_t count = Signed(entry.sampleCount);
        if (count <= 0)
            continue;
        const uint64_t taken = left < uint64_t(count) ? left : uint64_t(count);
        // Wraps as the sum of the durations one by one would.
        time += taken * uint64_t(Signed(entry.duration));
        left -= taken;
    }
    return time;
}

void CaptionSampleTimes::Advance() noexcept
{
    if (mLeftInEntry == 0)
        return;
    mTime += mDuration;
    if (--mLeftInEntry == 0 && !LoadNextEntry())
        mLeftInEntry = 0;
}

bool CaptionSampleTimes::LoadNextEntry() noexcept
{
    for (; mNextEntry < mEntryCount; ++mNextEntry)
    {
        const TimeToSampleEntry entry = ReadTimeToSampleEntry(FindTimeToSampleEntry(mStts, mNextEntry));
        if (Signed(entry.sampleCount) > 0)
        {
            mLeftInEntry = uint64_t(Signed(entry.sampleCount));
            mDuration = uint64_t(Signed(entry.duration));
            ++mNextEntry;
            return true;
        }
    }
    return false;
}

} // namespace QT
