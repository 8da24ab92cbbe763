#include "QTSampleDescriptionWalk.h"
#include "QTTrack.h"
#include "tenacore/string.h"
#include "tenacore/trace.h"

namespace QT
{

namespace
{

constexpr std::string_view kTrackCategory = "QTTrack";
constexpr int kTraceLevel = 5;

// Each message has its own cache of whether tracing is on, so a disabled one builds no text.
void TraceMalformed(tenacore::debug::TraceSiteCache& ioSite, std::string_view inText)
{
    if (!ioSite.IsEnabled(kTrackCategory, kTraceLevel))
        return;
    tenacore::oUTF8StringStream stream;
    stream << inText << "\r\n" << std::flush;
    tenacore::debug::Trace(kTraceLevel, kTrackCategory, stream.str());
}

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
        TraceMalformed(gNoDescriptionsSite, "Number of stsd samples in media is 0");
        return nullptr;
    }
    if (uint32_t(inIndex) >= walk.Count())
    {
        TraceMalformed(gTooFewDescriptionsSite, "Total number of stsd samples is less than expected");
        return nullptr;
    }
    for (uint32_t position = 0;; ++position)
    {
        const uint8_t* entry = walk.Entry();
        if (!entry)
        {
            TraceMalformed(gCorruptTableSite, "stsd table is corrupt. Returning...");
            return nullptr;
        }
        if (position == uint32_t(inIndex) || walk.Stalled())
            return entry;
        walk.Next();
    }
}

} // namespace QT
