#include "TrackFacts.h"

#include <string>

#include "BigEndian.h"
#include "LookThrough.h"
#include "MediaKinds.h"
#include "MovieFacts.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

Json DescriptionsJson(QT::IQTTrack& inTrack, const MediaKind& inKind)
{
    Json descriptions = Json::array();
    const uint32_t count = inTrack.GetSampleDescriptionCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        const uint8_t* entry = SampleDescriptionEntry(inTrack, int32_t(index));
        if (!entry)
            break; // the rest of a broken table cannot be reached
        Json description;
        description["index"] = index;
        description["format"] = FourCCDisplay(BE32(entry + 4));
        description["size"] = BE32(entry);
        if (inKind.addDescriptionFacts)
            inKind.addDescriptionFacts(inTrack, int32_t(index), entry, description);
        descriptions.push_back(std::move(description));
    }
    return descriptions;
}

// Whether the media is in this file, and the files its alias records name instead.
void AddReferenceFacts(QT::IQTTrack& inTrack, Json& ioTrack)
{
    ioTrack["selfContained"] = inTrack.IsDataSelfContained();
    QT::ExternalReferenceMap references;
    if (!inTrack.CollectExternalReferences(references))
        ioTrack["externalReferencesCutShort"] = true;
    Json paths = Json::array();
    for (const auto& [path, reference] : references)
        paths.push_back(tenacore::string::UTF16to8(path));
    ioTrack["externalReferences"] = std::move(paths);
}

Json TrackJson(QT::IQTTrack& inTrack, uint32_t inMovieTimeScale)
{
    Json track;
    const uint32_t mediaType = inTrack.GetTrackMediaType();
    const MediaKind& kind = KindOf(mediaType);
    const uint32_t mediaTimeScale = inTrack.GetMediaTimeScale();
    track["index"] = inTrack.GetTrackIndex();
    track["mediaType"] = FourCCDisplay(mediaType);
    track["kind"] = kind.name;
    track["enabled"] = inTrack.IsTrackEnabled();
    track["duration"] = inTrack.GetTrackDuration();
    track["durationSeconds"] = Seconds(inTrack.GetTrackDuration(), inMovieTimeScale);
    track["mediaTimeScale"] = mediaTimeScale;
    track["durationInMediaTime"] = inTrack.GetTrackDurationInMediaTime();
    track["durationInMediaTimeSeconds"] = Seconds(inTrack.GetTrackDurationInMediaTime(), mediaTimeScale);
    track["editedDuration"] = inTrack.GetEditedTrackDuration();
    track["editedDurationSeconds"] = Seconds(inTrack.GetEditedTrackDuration(), inMovieTimeScale);
    track["editedSampleCount"] = inTrack.GetEditedSampleCount();
    track["edited"] = inTrack.IsTrackEdited();
    track["editListSupported"] = inTrack.IsEditListSupported(true);
    track["firstSampleIndex"] = inTrack.GetFirstSampleIndex();
    track["firstSampleExcess"] = inTrack.GetFirstSampleExcess();
    track["variableFrameRate"] = inTrack.VideoTrackHasVariableFrameRate();
    track["bounds"] = RectJson(inTrack.GetTrackBounds());
    track["identityTransform"] = inTrack.HasIdentityTransform();
    track["rotation"] = inTrack.GetTrackRotation();
    track["rotationDegrees"] = inTrack.GetTrackRotation() * 90;
    track["descriptionCount"] = inTrack.GetSampleDescriptionCount();
    track["dataReferenceType"] = FourCCDisplay(inTrack.GetDataReferenceType());
    track["singleDataReference"] = inTrack.HasSingleDataReference();
    AddReferenceFacts(inTrack, track);
    if (kind.addTrackFacts)
        kind.addTrackFacts(inTrack, track);
    track["descriptions"] = DescriptionsJson(inTrack, kind);
    return track;
}

} // namespace

Json RectJson(const QT::QTRect& inRect)
{
    return {{"left", inRect.left}, {"top", inRect.top}, {"width", inRect.width}, {"height", inRect.height}};
}

Json TracksJson(QT::IQTMovie& inMovie)
{
    Json tracks = Json::array();
    const uint32_t count = inMovie.GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        tenacore::classref::InterfaceRef<QT::IQTTrack> track;
        inMovie.GetIndTrack(track, index);
        tracks.push_back(TrackJson(*track, inMovie.GetMovieTimeScale()));
    }
    return tracks;
}

} // namespace qtsifter
