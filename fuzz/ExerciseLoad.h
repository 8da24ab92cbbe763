#pragma once

#include <cstdint>

#include "IQTMovie.h"
#include "IQTTrack.h"

namespace qtfuzz
{

// The movie's header: time scale, duration, poster, bounds, where its atom lies, the track count,
// and a track asked for past the last.
uint64_t ExerciseMovieHeader(QT::IQTMovie& inMovie);

// A track's headers, edits and the times converted through them.
uint64_t ExerciseTrackHeader(QT::IQTTrack& inTrack);

// The movie's header, then every track's.
uint64_t ExerciseLoadedMovie(QT::IQTMovie& inMovie);

} // namespace qtfuzz
