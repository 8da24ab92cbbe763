#include "MovieFacts.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include <fmt/format.h>

#include "FileFacts.h"
#include "MK/BinaryData.h"
#include "MetadataFacts.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "TrackFacts.h"

namespace qtsifter
{

namespace
{

// A user data item of a copyright-sign type holds text: a 16-bit length, a 16-bit language code
// and the text. Anything else, or a length that does not fit, has no text to show.
nlohmann::ordered_json UserDataText(uint32_t inType, const MK::BinaryData& inData)
{
    if ((inType >> 24) != 0xA9 || inData.GetSize() < 4)
        return nullptr;
    const uint8_t* bytes = inData.GetData();
    const size_t length = (size_t(bytes[0]) << 8) | bytes[1];
    if (length == 0 || 4 + length > inData.GetSize())
        return nullptr;
    return TextDisplay(std::string_view(reinterpret_cast<const char*>(bytes + 4), length));
}

// Up to the first 16 bytes in hex, with "..." when there are more.
std::string HexPreview(const uint8_t* inBytes, size_t inSize)
{
    std::string text;
    const size_t shown = std::min<size_t>(inSize, 16);
    for (size_t i = 0; i < shown; ++i)
        fmt::format_to(std::back_inserter(text), "{:02x}", inBytes[i]);
    return shown < inSize ? text + "..." : text;
}

} // namespace

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

double Seconds(uint64_t inTicks, uint32_t inTimeScale)
{
    return inTimeScale == 0 ? 0.0 : double(inTicks) / double(inTimeScale);
}

nlohmann::ordered_json MovieFactsJson(QT::IQTMovie& inMovie, const std::string& inPath)
{
    nlohmann::ordered_json userData = nlohmann::ordered_json::array();
    const uint32_t userDataCount = inMovie.GetUserDataCount();
    for (uint32_t index = 0; index < userDataCount; ++index)
    {
        MK::BinaryData data;
        uint32_t type = 0;
        inMovie.GetUserData(index, data, type);
        nlohmann::ordered_json item = {{"type", FourCCDisplay(type)}, {"size", data.GetSize()}};
        nlohmann::ordered_json text = UserDataText(type, data);
        if (!text.is_null())
            item["text"] = std::move(text);
        else if (data.GetSize() != 0)
            item["firstBytes"] = HexPreview(data.GetData(), data.GetSize());
        userData.push_back(std::move(item));
    }

    const uint32_t timeScale = inMovie.GetMovieTimeScale();
    nlohmann::ordered_json movie;
    movie["timeScale"] = timeScale;
    movie["duration"] = inMovie.GetMovieDuration();
    movie["durationSeconds"] = Seconds(uint64_t(std::max<int64_t>(inMovie.GetMovieDuration(), 0)), timeScale);
    movie["posterTime"] = inMovie.GetMoviePosterTime();
    movie["posterTimeSeconds"] = Seconds(inMovie.GetMoviePosterTime(), timeScale);
    movie["atomOffset"] = inMovie.GetMovieAtomOffset();
    movie["atomSize"] = inMovie.GetMovieAtomSize();
    movie["trackCount"] = inMovie.GetTrackCount();
    movie["userData"] = std::move(userData);
    QT::QTRect bounds;
    inMovie.GetMovieBounds(bounds);
    movie["bounds"] = RectJson(bounds);
    movie["metadata"] = MetadataJson(inMovie);
    const auto fragments = FragmentNote(inPath, inMovie);
    movie["fragmented"] = fragments.has_value();
    if (fragments)
        movie["fragmentNote"] = *fragments;
    return movie;
}

std::optional<std::string> FragmentNote(const std::string& inPath, QT::IQTMovie& inMovie)
{
    MK::BinaryData mvex;
    const bool extends = inMovie.GetMovieChildAtom(QT::FourCC("mvex"), mvex) == QT::kQTSuccess;
    const FileFacts file = ReadFileFacts(inPath);
    size_t fragments = 0;
    for (const TopLevelAtom& atom : file.atoms)
        fragments += atom.type == QT::FourCC("moof");
    if (!extends && fragments == 0)
        return std::nullopt;
    std::string note = "the movie is fragmented (";
    note += extends ? "mvex in the movie atom" : "no mvex";
    if (fragments != 0)
        note += ", " + std::to_string(fragments) + " moof fragment" + (fragments == 1 ? "" : "s");
    note += "); samples in fragments are not indexed: durations and sample lists cover only the movie atom";
    return note;
}

void NoteFragments(const std::string& inPath, QT::IQTMovie& inMovie)
{
    if (const auto note = FragmentNote(inPath, inMovie))
        std::cerr << "qtsifter: " << inPath << ": note: " << *note << "\n";
}

} // namespace qtsifter
