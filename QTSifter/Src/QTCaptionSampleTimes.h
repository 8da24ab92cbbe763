#pragma once

#include <cstdint>

#include "QTTableAtom.h"

namespace QT
{

// The times of a caption track's samples by stts, from a starting time: sample 0 is due at the
// start, and each later sample one duration after the one before. Entries are read until the first
// that fails the stts test. An entry whose count is not above 0, read as signed, adds no sample but
// still counts against TotalSamples; durations are signed, so a time may go back.
//
// Nothing is built ahead: a count in the file may claim billions of samples in 8 bytes, so a pass
// takes the times from a running cursor, and one time at random from a walk of the entries.
class CaptionSampleTimes
{
public:
    CaptionSampleTimes(const TableAtom& inStts, uint64_t inStart);

    // The sum of the entries' counts, each read as signed.
    int64_t TotalSamples() const noexcept { return mTotalSamples; }
    // How many times there are: one a sample of the entries of positive count, and one more for
    // the end of the last.
    uint64_t TimeCount() const noexcept { return mTimedSamples + 1; }
    // The time of sample inIndex, below TimeCount; 0 past it.
    uint64_t TimeAt(uint64_t inIndex) const noexcept;

    // The pass: the time of the sample in hand, and the step to the next.
    uint64_t Current() const noexcept { return mTime; }
    void Advance() noexcept;

private:
    // To the next entry that adds samples; false when there is none.
    [[nodiscard]] bool LoadNextEntry() noexcept;

    TableAtom mStts;
    uint64_t mStart;
    int64_t mTotalSamples = 0;
    uint64_t mTimedSamples = 0;
    uint32_t mEntryCount = 0;
    // The cursor: the entry in hand, the samples of it still to come, and the time now.
    uint32_t mNextEntry = 0;
    uint64_t mLeftInEntry = 0;
    uint64_t mDuration = 0;
    uint64_t mTime;
};

} // namespace QT
