#include "ExerciseTrack.h"

#include "ExerciseAudio.h"
#include "ExerciseLoad.h"
#include "ExerciseMetadata.h"
#include "ExerciseReferences.h"
#include "ExerciseTimecodeCaptions.h"
#include "ExerciseVideo.h"

namespace qtfuzz
{

uint64_t ExerciseTrack(QT::IQTTrack& inTrack)
{
    return ExerciseTrackHeader(inTrack) + ExerciseTrackMetadata(inTrack) + ExerciseTrackVideo(inTrack) +
           ExerciseTrackAudio(inTrack) + ExerciseTimecodeCaptions(inTrack) + ExerciseTrackReferences(inTrack);
}

} // namespace qtfuzz
