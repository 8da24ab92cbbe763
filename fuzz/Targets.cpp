#include "Targets.h"

#include <string>

#include "ExerciseAudio.h"
#include "ExerciseLoad.h"
#include "ExerciseMetadata.h"
#include "ExerciseMovie.h"
#include "ExerciseReferences.h"
#include "ExerciseSupport.h"
#include "ExerciseTimecodeCaptions.h"
#include "ExerciseVideo.h"
#include "LoadInput.h"
#include "QTCaptionLimits.h"
#include "tenacore/debug.h"

namespace qtfuzz
{

void InitializeTargets()
{
    tenacore::debug::SetAssertHandler([](const char*, int, const char*, const char*, const std::string&)
                                      { return false; });
    // A caption map of a few bytes of table may claim billions of entries; far fewer show the same.
    QT::SetCaptionMapLimits({.maxConstantSizeSamples = 1u << 12, .maxEntries = 1u << 12});
}

int RunLoadInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWayAndCompare(inData, inSize, [](QT::IQTMovie& inMovie) { Keep(ExerciseLoadedMovie(inMovie)); });
    return 0;
}

int RunVideoInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize,
                [](QT::IQTMovie& inMovie) { Keep(ForEachTrack(inMovie, ExerciseTrackVideo)); });
    return 0;
}

int RunAudioInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize,
                [](QT::IQTMovie& inMovie) { Keep(ForEachTrack(inMovie, ExerciseTrackAudio)); });
    return 0;
}

int RunTimecodeCaptionsInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize,
                [](QT::IQTMovie& inMovie) { Keep(ForEachTrack(inMovie, ExerciseTimecodeCaptions)); });
    return 0;
}

int RunMetadataInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize, [](QT::IQTMovie& inMovie) { Keep(ExerciseMetadataOfMovie(inMovie)); });
    return 0;
}

int RunReferencesInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize, [](QT::IQTMovie& inMovie) { Keep(ExerciseReferencesOfMovie(inMovie)); });
    return 0;
}

int RunMovieInput(const uint8_t* inData, size_t inSize)
{
    LoadEachWay(inData, inSize, &ExerciseMovie);
    return 0;
}

} // namespace qtfuzz
