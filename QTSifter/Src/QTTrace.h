#pragma once

#include <ostream>
#include <string_view>

#include "tenacore/string.h"
#include "tenacore/trace.h"

namespace QT
{

// Messages about malformed data go out at this level, under the category of their subsystem.
inline constexpr int kTraceLevel = 5;
inline constexpr std::string_view kSifterTraceCategory = "QTSifter";
inline constexpr std::string_view kTrackTraceCategory = "QTTrack";
inline constexpr std::string_view kSoundDescriptionTraceCategory = "QT.SoundDescription";

// How a message ends: the sound description reader's messages end in a line feed alone, every
// other message in a carriage return and a line feed. Hosts match on both.
enum class TraceLineEnd
{
    CarriageReturnLineFeed,
    LineFeed,
};

// Writes one line made of inParts, ended by inEnd. Each message site has its own cache of whether
// tracing is on, so a disabled message builds no text.
template <class... Parts>
void TraceLineEndedBy(tenacore::debug::TraceSiteCache& ioSite, std::string_view inCategory,
                      TraceLineEnd inEnd, const Parts&... inParts)
{
    if (!ioSite.IsEnabled(inCategory, kTraceLevel))
        return;
    tenacore::oUTF8StringStream stream;
    (stream << ... << inParts) << (inEnd == TraceLineEnd::LineFeed ? "\n" : "\r\n") << std::flush;
    tenacore::debug::Trace(kTraceLevel, inCategory, stream.str());
}

// The common case: a line ended by a carriage return and a line feed.
template <class... Parts>
void TraceLine(tenacore::debug::TraceSiteCache& ioSite, std::string_view inCategory, const Parts&... inParts)
{
    TraceLineEndedBy(ioSite, inCategory, TraceLineEnd::CarriageReturnLineFeed, inParts...);
}

} // namespace QT
