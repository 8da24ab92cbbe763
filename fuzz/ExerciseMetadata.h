#pragma once

#include <cstdint>

#include "IQTMovie.h"
#include "IQTTrack.h"

namespace qtfuzz
{

// The movie's user data by index and by type, its direct children and uuid atoms, and its metadata
// items with their values and where those lie.
uint64_t ExerciseMovieMetadata(QT::IQTMovie& inMovie);

// A track's own user data items.
uint64_t ExerciseTrackMetadata(QT::IQTTrack& inTrack);

// The movie's, then every track's.
uint64_t ExerciseMetadataOfMovie(QT::IQTMovie& inMovie);

} // namespace qtfuzz
