#include "MovieFacts.h"

#include <cstdio>

#include "MK/BinaryData.h"
#include "MetadataFacts.h"
#include "TrackFacts.h"

namespace qtsifter
{

std::string FourCCDisplay(uint32_t inCode)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        const auto byte = uint8_t(inCode >> shift);
        if (byte >= 0x20 && byte < 0x7F)
            text += char(byte);
        else if (byte >= 0xA0)
        {
            text += char(0xC0 | (byte >> 6));
            text += char(0x80 | (byte & 0x3F));
        }
        else
        {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", unsigned(byte));
            text += escaped;
        }
    }
    return text;
}

nlohmann::ordered_json MovieFactsJson(QT::IQTMovie& inMovie)
{
    nlohmann::ordered_json userData = nlohmann::ordered_json::array();
    const uint32_t userDataCount = inMovie.GetUserDataCount();
    for (uint32_t index = 0; index < userDataCount; ++index)
    {
        MK::BinaryData data;
        uint32_t type = 0;
        inMovie.GetUserData(index, data, type);
        userData.push_back({{"type", FourCCDisplay(type)}, {"size", data.GetSize()}});
    }

    nlohmann::ordered_json movie;
    movie["timeScale"] = inMovie.GetMovieTimeScale();
    movie["duration"] = inMovie.GetMovieDuration();
    movie["posterTime"] = inMovie.GetMoviePosterTime();
    movie["atomOffset"] = inMovie.GetMovieAtomOffset();
    movie["atomSize"] = inMovie.GetMovieAtomSize();
    movie["trackCount"] = inMovie.GetTrackCount();
    movie["userData"] = std::move(userData);
    QT::QTRect bounds;
    inMovie.GetMovieBounds(bounds);
    movie["bounds"] = RectJson(bounds);
    movie["metadata"] = MetadataJson(inMovie);
    return movie;
}

} // namespace qtsifter
