#pragma once

#include <cstddef>
#include <cstdint>

#include "IQTMovie.h"

namespace qtfuzz
{

// The questions a target asks of each movie it loads.
using MovieQuestions = void (*)(QT::IQTMovie& inMovie);

// Loads the input the three ways a target loads it and hands each movie that comes out to inAsk:
// through a host read table over memory (locating an atom picked by the input's length), through a
// scratch file that is the caption maps' media file too, and as a movie atom walked under every
// walk rule set the other way.
void LoadEachWay(const uint8_t* inData, size_t inSize, MovieQuestions inAsk);

// As LoadEachWay, with the file loaded twice, by MakeMovie and by MakeMovieAndLocateAtom without a
// read table; the two must agree on the result, the movie atom and the track count. Aborts when
// they do not.
void LoadEachWayAndCompare(const uint8_t* inData, size_t inSize, MovieQuestions inAsk);

} // namespace qtfuzz
