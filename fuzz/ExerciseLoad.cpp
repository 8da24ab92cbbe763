#include "ExerciseLoad.h"

#include "ExerciseSupport.h"
#include "QTRect.h"
#include "tenacore/config.h"

namespace qtfuzz
{

uint64_t ExerciseMovieHeader(QT::IQTMovie& inMovie)
{
    uint64_t value = inMovie.GetMovieTimeScale() + uint64_t(inMovie.GetMovieDuration()) +
                     inMovie.GetMoviePosterTime() + inMovie.GetMovieAtomSize() + inMovie.GetMovieAtomOffset();
    QT::QTRect bounds;
    inMovie.GetMovieBounds(bounds);
    value += uint64_t(bounds.left) + uint64_t(bounds.top) + uint64_t(bounds.width) + uint64_t(bounds.height);
    // One past the last track breaks the contract; a host that counts wrong meets the error.
    try
    {
        tenacore::classref::InterfaceRef<QT::IQTTrack> track;
        inMovie.GetIndTrack(track, inMovie.GetTrackCount());
        value += track ? 1 : 0;
    }
    catch (const tenacore::config::Error&)
    {
        ++value;
    }
    return value;
}

uint64_t ExerciseTrackHeader(QT::IQTTrack& inTrack)
{
    uint64_t value =
        inTrack.GetTrackIndex() + inTrack.GetTrackMediaType() + inTrack.IsTrackEnabled() +
        inTrack.GetTrackDuration() + inTrack.GetMediaTimeScale() + inTrack.GetEditedTrackDuration() +
        inTrack.GetSampleDescriptionCount() + inTrack.GetAllSampleDescriptionsEquivalent() +
        inTrack.GetEditedSampleCount() + inTrack.GetTrackDurationInMediaTime() +
        inTrack.IsEditListSupported(false) + inTrack.IsEditListSupported(true) + inTrack.IsTrackEdited() +
        inTrack.GetFirstSampleIndex() + inTrack.GetFirstSampleExcess() + inTrack.HasIdentityTransform() +
        inTrack.HasUnscaledTransform() + inTrack.HasRightAngleTransform() + inTrack.GetTrackRotation();
    const QT::QTRect bounds = inTrack.GetTrackBounds();
    return value + uint64_t(bounds.left) + uint64_t(bounds.top) + uint64_t(bounds.width) +
           uint64_t(bounds.height);
}

uint64_t ExerciseLoadedMovie(QT::IQTMovie& inMovie)
{
    return ExerciseMovieHeader(inMovie) + ForEachTrack(inMovie, ExerciseTrackHeader);
}

} // namespace qtfuzz
