#pragma once

#include <cstdint>

#include "IQTMovie.h"
#include "IQTTrack.h"

namespace qtfuzz
{

// A track's data references: self-contained or not, their type, its alias records, its single
// reference.
uint64_t ExerciseTrackReferences(QT::IQTTrack& inTrack);

// The movie's references listed, then resolved and validated against a stand-in file system and
// stand-in volumes: the paths an input names are never looked for on the real ones.
uint64_t ExerciseMovieReferences(QT::IQTMovie& inMovie);

// Every track's references, then the movie's.
uint64_t ExerciseReferencesOfMovie(QT::IQTMovie& inMovie);

} // namespace qtfuzz
