#include "ExerciseMovie.h"

#include "ExerciseLoad.h"
#include "ExerciseMetadata.h"
#include "ExerciseReferences.h"
#include "ExerciseSupport.h"
#include "ExerciseTrack.h"

namespace qtfuzz
{

void ExerciseMovie(QT::IQTMovie& inMovie)
{
    const uint64_t value = ExerciseMovieHeader(inMovie) + ExerciseMovieMetadata(inMovie) +
                           ForEachTrack(inMovie, ExerciseTrack) + ExerciseMovieReferences(inMovie);
    Keep(value);
}

} // namespace qtfuzz
