#include "QTSampleDescriptionWalk.h"
#include "QTTrace.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

tenacore::debug::TraceSiteCache gNoDescriptionsSite;
tenacore::debug::TraceSiteCache gTooFewDescriptionsSite;
tenacore::debug::TraceSiteCache gCorruptTableSite;

} // namespace

// The one validated walk of stsd. The test of each entry's size against what remains counts the
// 16 header bytes too, and stays that loose.
const uint8_t* QTTrack::GetSampleDescription(const uint8_t* inStsd, int32_t inIndex)
{
    if (!inStsd || inIndex < 0)
        return nullptr;
    SampleDescriptionWalk walk(Bytes(), inStsd);
    if (walk.Count() == 0)
    {
        TraceLine(gNoDescriptionsSite, kTrackTraceCategory, "Number of stsd samples in media is 0");
        return nullptr;
    }
    if (uint32_t(inIndex) >= walk.Count())
    {
        TraceLine(gTooFewDescriptionsSite, kTrackTraceCategory,
                  "Total number of stsd samples is less than expected");
        return nullptr;
    }
    for (uint32_t position = 0;; ++position)
    {
        const uint8_t* entry = walk.Entry();
        if (!entry)
        {
            TraceLine(gCorruptTableSite, kTrackTraceCategory, "stsd table is corrupt. Returning...");
            return nullptr;
        }
        if (position == uint32_t(inIndex) || walk.Stalled())
            return entry;
        walk.Next();
    }
}

} // namespace QT
