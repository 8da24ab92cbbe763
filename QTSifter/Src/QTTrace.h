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

// Writes one line made of inParts, ended by a carriage return and a line feed. Each message site
// has its own cache of whether tracing is on, so a disabled message builds no text.
template <class... Parts>
void TraceLine(tenacore::debug::TraceSiteCache& ioSite, std::string_view inCategory, const Parts&... inParts)
{
    if (!ioSite.IsEnabled(inCategory, kTraceLevel))
        return;
    tenacore::oUTF8StringStream stream;
    (stream << ... << inParts) << "\r\n" << std::flush;
    tenacore::debug::Trace(kTraceLevel, inCategory, stream.str());
}

} // namespace QT
