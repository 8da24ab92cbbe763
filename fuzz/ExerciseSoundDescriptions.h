#pragma once

#include <cstdint>

#include "IQTTrack.h"

namespace qtfuzz
{

// Reads every sample description of a track, whatever its media, as a sound description, and
// returns a value that depends on the answers.
uint64_t ExerciseSoundDescriptions(QT::IQTTrack& inTrack);

} // namespace qtfuzz
