#pragma once

#include <nlohmann/json.hpp>

#include "IQTMovie.h"
#include "IQTTrack.h"

namespace qtsifter
{

// Every track of the movie as a JSON object: its header facts, edit state, transform, data
// reference and descriptions, with the facts of its media kind. Times in ticks have a Seconds twin.
nlohmann::ordered_json TracksJson(QT::IQTMovie& inMovie);

nlohmann::ordered_json RectJson(const QT::QTRect& inRect);

} // namespace qtsifter
