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
    const ByteRange bytes = Bytes();
    const uint32_t count = bytes.U32Or0(inStsd, 12);
    uint32_t remaining = bytes.U32Or0(inStsd, 0);
    if (count == 0)
    {
        TraceMalformed(gNoDescriptionsSite, "Number of stsd samples in media is 0");
        return nullptr;
    }
    if (uint32_t(inIndex) >= count)
    {
        TraceMalformed(gTooFewDescriptionsSite, "Total number of stsd samples is less than expected");
        return nullptr;
    }
    // Entries are walked by offset from the atom, so that no pointer is formed outside the buffer.
    int64_t offset = 16;
    for (uint32_t position = 0;; ++position)
    {
        // An entry whose size word lies outside the buffer is as corrupt as one that overruns.
        if (offset < 0 || !bytes.Contains(inStsd, uint64_t(offset), 4) ||
            BE::U32(inStsd + offset) > remaining)
        {
            TraceMalformed(gCorruptTableSite, "stsd table is corrupt. Returning...");
            return nullptr;
        }
        const uint32_t size = BE::U32(inStsd + offset);
        // An entry of size 0 does not move the walk: it answers for every later position too.
        if (position == uint32_t(inIndex) || size == 0)
            return inStsd + offset;
        remaining -= size;
        offset += int32_t(size);
        if (position + 1 == count)
            return nullptr;
    }
}

} // namespace QT
