#include "TrackFacts.h"

#include <string>

#include "MovieFacts.h"
#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTTrack.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

using Json = nlohmann::ordered_json;

// The stsd entry itself, for the format and size that every kind of description starts with.
// The interface offers them only per media kind, so the tool looks through to the track class.
const uint8_t* SampleDescriptionEntry(QT::IQTTrack& inTrack, int32_t inIndex)
{
    auto track = tenacore::classref::InterfaceRef<QT::QTTrack>::Query(inTrack.GetShared());
    return track ? track->GetSampleDescription(track->Item().stsd, inIndex) : nullptr;
}

Json Dimensions(bool inPresent, float inWidth, float inHeight)
{
    if (!inPresent)
        return nullptr;
    return Json{{"width", inWidth}, {"height", inHeight}};
}

void AddImageFacts(QT::IQTTrack& inTrack, int32_t inIndex, Json& ioDescription)
{
    ioDescription["codec"] = FourCCDisplay(inTrack.GetVideoMediaCompressionFourCC(inIndex));
    ioDescription["vendor"] = FourCCDisplay(inTrack.GetVideoMediaVendorFourCC(inIndex));
    ioDescription["width"] = inTrack.GetVideoMediaWidth(inIndex);
    ioDescription["height"] = inTrack.GetVideoMediaHeight(inIndex);
    ioDescription["depth"] = inTrack.GetVideoMediaDepth(inIndex);
    std::u16string name;
    ioDescription["codecName"] = inTrack.GetVideoMediaCodecName(inIndex, name) == 0
                                     ? Json(tenacore::string::UTF16to8(name))
                                     : Json(nullptr);
    uint32_t temporal = 0, spatial = 0;
    if (inTrack.GetVideoMediaQuality(inIndex, temporal, spatial) == 0)
    {
        ioDescription["temporalQuality"] = temporal;
        ioDescription["spatialQuality"] = spatial;
    }
    uint32_t w[8] = {};
    if (inTrack.GetVideoMediaCleanAperture(inIndex, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]) == 0)
        ioDescription["cleanAperture"] = {{"widthN", w[0]},
                                          {"widthD", w[1]},
                                          {"heightN", w[2]},
                                          {"heightD", w[3]},
                                          {"horizontalOffsetN", w[4]},
                                          {"horizontalOffsetD", w[5]},
                                          {"verticalOffsetN", w[6]},
                                          {"verticalOffsetD", w[7]}};
    uint32_t horizontal = 0, vertical = 0;
    if (inTrack.GetVideoMediaPixelAspect(inIndex, horizontal, vertical) == 0)
        ioDescription["pixelAspect"] = {{"horizontal", horizontal}, {"vertical", vertical}};
    uint8_t fieldCount = 0, fieldOrdering = 0;
    if (inTrack.GetVideoMediaFieldInfo(inIndex, fieldCount, fieldOrdering) == 0)
        ioDescription["fieldInfo"] = {{"fieldCount", fieldCount}, {"fieldOrdering", fieldOrdering}};
    uint32_t primaries = 0, transfer = 0, matrix = 0;
    if (inTrack.GetVideoMediaColorInfo(inIndex, primaries, transfer, matrix) == 0)
        ioDescription["colorInfo"] = {
            {"primaries", primaries}, {"transferFunction", transfer}, {"matrix", matrix}};
}

Json DescriptionsJson(QT::IQTTrack& inTrack, bool inIsVideo)
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
        description["format"] = FourCCDisplay(QT::BE::U32(entry + 4));
        description["size"] = QT::BE::U32(entry);
        if (inIsVideo)
            AddImageFacts(inTrack, int32_t(index), description);
        descriptions.push_back(std::move(description));
    }
    return descriptions;
}

void AddVideoTrackFacts(QT::IQTTrack& inTrack, Json& ioTrack)
{
    float width = 0, height = 0;
    bool present = inTrack.GetTrackCleanApertureDimensions(width, height);
    ioTrack["cleanApertureDimensions"] = Dimensions(present, width, height);
    present = inTrack.GetTrackProductionApertureDimensions(width, height);
    ioTrack["productionApertureDimensions"] = Dimensions(present, width, height);
    present = inTrack.GetTrackEncodedPixelsDimensions(width, height);
    ioTrack["encodedPixelsDimensions"] = Dimensions(present, width, height);
    ioTrack["allDescriptionsEquivalent"] = inTrack.GetAllImageDescriptionsEquivalent(false);
    ioTrack["hasDeltaFrames"] = inTrack.VideoTrackContainsDeltaFrames();
    ioTrack["hasDependencyTables"] = inTrack.VideoTrackHasDependencyTables();
}

Json TrackJson(QT::IQTTrack& inTrack)
{
    Json track;
    const uint32_t mediaType = inTrack.GetTrackMediaType();
    track["index"] = inTrack.GetTrackIndex();
    track["mediaType"] = FourCCDisplay(mediaType);
    track["enabled"] = inTrack.IsTrackEnabled();
    track["duration"] = inTrack.GetTrackDuration();
    track["mediaTimeScale"] = inTrack.GetMediaTimeScale();
    track["durationInMediaTime"] = inTrack.GetTrackDurationInMediaTime();
    track["editedDuration"] = inTrack.GetEditedTrackDuration();
    track["editedSampleCount"] = inTrack.GetEditedSampleCount();
    track["edited"] = inTrack.IsTrackEdited();
    track["editListSupported"] = inTrack.IsEditListSupported(true);
    track["firstSampleIndex"] = inTrack.GetFirstSampleIndex();
    track["firstSampleExcess"] = inTrack.GetFirstSampleExcess();
    track["variableFrameRate"] = inTrack.VideoTrackHasVariableFrameRate();
    track["bounds"] = RectJson(inTrack.GetTrackBounds());
    track["identityTransform"] = inTrack.HasIdentityTransform();
    track["rotation"] = inTrack.GetTrackRotation();
    track["descriptionCount"] = inTrack.GetSampleDescriptionCount();
    track["dataReferenceType"] = FourCCDisplay(inTrack.GetDataReferenceType());
    track["singleDataReference"] = inTrack.HasSingleDataReference();
    const bool isVideo = mediaType == QT::kVideoMediaType;
    if (isVideo)
        AddVideoTrackFacts(inTrack, track);
    track["descriptions"] = DescriptionsJson(inTrack, isVideo);
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
        tracks.push_back(TrackJson(*track));
    }
    return tracks;
}

} // namespace qtsifter
