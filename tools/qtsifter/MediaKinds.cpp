#include "MediaKinds.h"

#include "QTFourCC.h"

namespace qtsifter
{

namespace
{

const MediaKind kKinds[] = {
    {QT::kVideoMediaType, "video", AddVideoTrackFacts, AddImageFacts, VideoSummary},
    {QT::kAudioMediaType, "sound", nullptr, AddSoundDescriptionFacts, SoundSummary},
    {QT::kTimecodeMediaType, "timecode", nullptr, AddTimecodeDescriptionFacts, TimecodeSummary},
    {QT::kTextMediaType, "text", nullptr, nullptr, FormatSummary},
    {QT::kMetadataMediaType, "timed metadata", nullptr, nullptr, FormatSummary},
    {QT::kCaptionMediaType, "closed captions", AddCaptionTrackFacts, nullptr, CaptionSummary},
    {QT::kAuxiliaryVideoMediaType, "auxiliary video", nullptr, nullptr, FormatSummary},
};

const MediaKind kUnknownKind{QT::kUnknownMediaType, "unknown media", nullptr, nullptr, FormatSummary};

} // namespace

const MediaKind& KindOf(uint32_t inMediaType)
{
    for (const MediaKind& kind : kKinds)
        if (kind.type == inMediaType)
            return kind;
    return kUnknownKind;
}

const MediaKind& KindNamed(const std::string& inName)
{
    for (const MediaKind& kind : kKinds)
        if (inName == kind.name)
            return kind;
    return kUnknownKind;
}

std::string FormatSummary(const Json& inTrack)
{
    const Json& descriptions = inTrack.at("descriptions");
    if (descriptions.empty())
        return "no sample description";
    return descriptions[0].at("format").get<std::string>();
}

} // namespace qtsifter
