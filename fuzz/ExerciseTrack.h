#pragma once

#include "IQTTrack.h"

namespace qtfuzz
{

// Asks a track every operation it has, on every description and a few samples, with and without
// its edits, and returns a value that depends on the answers.
uint64_t ExerciseTrack(QT::IQTTrack& inTrack);

} // namespace qtfuzz
