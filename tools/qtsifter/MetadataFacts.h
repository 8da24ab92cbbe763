#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "IQTMovie.h"

namespace qtsifter
{

// The movie's metadata items in key order: key, type code, value and, for keyed items, the
// offset of the value in the loaded movie atom. Each item adds its key and value as readable text.
nlohmann::ordered_json MetadataJson(QT::IQTMovie& inMovie);

// Bytes as text: valid UTF-8 stays, control bytes and invalid sequences become "\xNN".
std::string TextDisplay(std::string_view inBytes);

} // namespace qtsifter
