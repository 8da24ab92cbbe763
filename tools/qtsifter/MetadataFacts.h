#pragma once

#include <nlohmann/json.hpp>

#include "IQTMovie.h"

namespace qtsifter
{

// The movie's metadata items in key order: key, type code, value and, for keyed items, the
// offset of the value in the loaded movie atom.
nlohmann::ordered_json MetadataJson(QT::IQTMovie& inMovie);

} // namespace qtsifter
