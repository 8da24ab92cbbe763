#pragma once

#include "IQTMovie.h"

namespace qtfuzz
{

// Asks a movie every question it answers, so that each read of the movie atom meets the input.
void ExerciseMovie(QT::IQTMovie& inMovie);

} // namespace qtfuzz
