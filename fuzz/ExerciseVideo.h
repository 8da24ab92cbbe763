#pragma once

#include <cstdint>

#include "IQTTrack.h"

namespace qtfuzz
{

// Asks a track every video operation, whatever its media: its apertures, every image description
// (and one index either side), its sample tables with and without edits, the two strides of the
// sample pass compared, and its sync and dependency answers.
uint64_t ExerciseTrackVideo(QT::IQTTrack& inTrack);

} // namespace qtfuzz
