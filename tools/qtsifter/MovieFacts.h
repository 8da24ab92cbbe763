#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "IQTMovie.h"

namespace qtsifter
{

// A fourcc as readable UTF-8: bytes above 0x7F are taken as Latin-1, so that the copyright sign of
// user data types ("\xA9nam") survives; other unprintable bytes become "\xNN".
std::string FourCCDisplay(uint32_t inCode);

// The movie-level facts as one JSON object: header values, atom location and user data items.
nlohmann::ordered_json MovieFactsJson(QT::IQTMovie& inMovie);

} // namespace qtsifter
