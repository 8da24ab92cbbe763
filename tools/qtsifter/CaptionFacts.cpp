#include <string>

#include <fmt/format.h>

#include "MediaKinds.h"
#include "MovieFacts.h"

namespace qtsifter
{

void AddCaptionTrackFacts(QT::IQTTrack& inTrack, Json& ioTrack)
{
    ioTrack["captions"] = {{"format", FourCCDisplay(inTrack.GetCaptionMediaDataFormat(0))},
                           {"frameDuration", inTrack.GetCaptionMediaFrameDuration()}};
}

std::string CaptionSummary(const Json& inTrack)
{
    if (!inTrack.contains("captions"))
        return FormatSummary(inTrack);
    const Json& captions = inTrack.at("captions");
    return fmt::format("{}, frame of {} ticks", captions.at("format").get<std::string>(),
                       captions.at("frameDuration").get<uint32_t>());
}

} // namespace qtsifter
