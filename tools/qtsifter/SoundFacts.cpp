#include <cstring>

#include <fmt/format.h>

#include "BigEndian.h"
#include "MediaKinds.h"

namespace qtsifter
{

void AddSoundDescriptionFacts(QT::IQTTrack&, int32_t, const uint8_t* inEntry, Json& ioDescription)
{
    // The sound description's version decides where the rate and channel count stand: 16.16 fixed
    // in versions 0 and 1, a 64-bit float from version 2 on.
    const uint32_t size = BE32(inEntry);
    if (size < 36)
        return;
    const uint16_t version = BE16(inEntry + 16);
    if (version < 2)
    {
        ioDescription["channels"] = BE16(inEntry + 24);
        ioDescription["sampleRate"] = double(BE32(inEntry + 32)) / 65536.0;
    }
    else if (size >= 52)
    {
        const uint64_t bits = BE64(inEntry + 40);
        double rate = 0;
        static_assert(sizeof rate == sizeof bits);
        std::memcpy(&rate, &bits, sizeof rate);
        ioDescription["channels"] = BE32(inEntry + 48);
        ioDescription["sampleRate"] = rate;
    }
}

std::string SoundSummary(const Json& inTrack)
{
    std::string text = FormatSummary(inTrack);
    const Json& descriptions = inTrack.at("descriptions");
    if (!descriptions.empty() && descriptions[0].contains("sampleRate"))
        text += fmt::format(" {} Hz, {} channel{}", descriptions[0].at("sampleRate").get<double>(),
                            descriptions[0].at("channels").get<uint32_t>(),
                            descriptions[0].at("channels").get<uint32_t>() == 1 ? "" : "s");
    return text;
}

} // namespace qtsifter
