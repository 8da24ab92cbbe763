#pragma once

#include <cstdint>

#include "IQTTrack.h"

namespace qtfuzz
{

// Asks a track every audio operation, whatever its media: each sound description (and one index
// either side) through the interface and through the description reader, and the sample range
// map keyed both ways.
uint64_t ExerciseTrackAudio(QT::IQTTrack& inTrack);

} // namespace qtfuzz
