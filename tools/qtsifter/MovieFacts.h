#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "IQTMovie.h"

namespace qtsifter
{

// A fourcc as readable UTF-8: bytes above 0x7F are taken as Latin-1, so that the copyright sign of
// user data types ("\xA9nam") survives; other unprintable bytes become "\xNN".
std::string FourCCDisplay(uint32_t inCode);

// Ticks over a time scale; 0 for a zero scale.
double Seconds(uint64_t inTicks, uint32_t inTimeScale);

// The movie-level facts as one JSON object: header values, atom location, user data and metadata.
nlohmann::ordered_json MovieFactsJson(QT::IQTMovie& inMovie, const std::string& inPath);

// Why the sample lists may be short: a movie with mvex, or moof atoms beside it, keeps samples in
// fragments, which are not indexed. Empty for a movie that is not fragmented.
std::optional<std::string> FragmentNote(const std::string& inPath, QT::IQTMovie& inMovie);

// Writes the fragment note, if any, on stderr: the list on stdout stays as it is.
void NoteFragments(const std::string& inPath, QT::IQTMovie& inMovie);

} // namespace qtsifter
