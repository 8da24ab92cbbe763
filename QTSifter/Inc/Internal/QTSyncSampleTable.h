#pragma once

#include <cstdint>

#include "QTTableAtom.h"

namespace QT
{

// stss: a signed entry count, then sample numbers, 1-based. stps has the same form.
inline constexpr uint64_t kStssEntriesFromAtom = kTableEntriesFromAtom;
inline constexpr uint32_t kStssEntrySize = 4;

// Sync samples from stss, for samples asked in increasing order. Without stss every sample is a
// sync sample; with an empty one, or one whose count is negative, only sample 0 is. A table out of
// order stops matching at the first entry that falls behind.
class SyncSampleCursor
{
public:
    explicit SyncSampleCursor(const TableAtom& inStss);

    // Whether inSample is a sync sample. Never false: the sync table does not end a pass.
    [[nodiscard]] bool Next(uint32_t inSample, bool& outIsSync);

    // How many samples from inSample on share one answer without the cursor moving, and that
    // answer: a pass may take them at once. 0 when inSample is the next sync sample, which moves it.
    uint32_t SamplesAlike(uint32_t inSample, bool& outIsSync) const noexcept
    {
        outIsSync = !mStss;
        if (!mStss)
            return UINT32_MAX;
        if (mNextSync == inSample)
            return 0;
        // One behind stays behind: the cursor moves only on a match.
        return mNextSync > inSample ? mNextSync - inSample : UINT32_MAX;
    }

private:
    // Whether inSample is the next sync sample, moving on past it when it is.
    [[nodiscard]] bool Matches(uint32_t inSample);
    uint32_t SampleNumber(uint32_t inEntry) const noexcept
    {
        return mStss.U32(kStssEntriesFromAtom + kStssEntrySize * uint64_t(inEntry));
    }

    TableAtom mStss;
    uint32_t mCount = 0;
    uint32_t mPosition = 0;
    uint32_t mNextSync = 0;
};

// The step of a pass stands here so that the pass inlines it.
inline bool SyncSampleCursor::Next(uint32_t inSample, bool& outIsSync)
{
    outIsSync = Matches(inSample);
    return true;
}

inline bool SyncSampleCursor::Matches(uint32_t inSample)
{
    if (!mStss)
        return true;
    if (mNextSync != inSample)
        return false;
    if (++mPosition < mCount)
        mNextSync = SampleNumber(mPosition) - 1;
    return true;
}

} // namespace QT
