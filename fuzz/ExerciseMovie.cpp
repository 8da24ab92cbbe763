#include "ExerciseMovie.h"

#include "ExerciseLoad.h"
#include "ExerciseMetadata.h"
#include "ExerciseReferences.h"
#include "ExerciseSupport.h"
#include "ExerciseTrack.h"

namespace qtfuzz
{

namespace
{

// The answers are folded into a sink that the optimiser cannot drop.
volatile uint64_t gSink = 0;

} // namespace

void ExerciseMovie(QT::IQTMovie& inMovie)
{
    const uint64_t value = ExerciseMovieHeader(inMovie) + ExerciseMovieMetadata(inMovie) +
                           ForEachTrack(inMovie, ExerciseTrack) + ExerciseMovieReferences(inMovie);
    gSink = gSink + value;
}

} // namespace qtfuzz
