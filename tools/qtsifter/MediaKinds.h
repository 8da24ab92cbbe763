#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "IQTTrack.h"

namespace qtsifter
{

using Json = nlohmann::ordered_json;

// What the tool says about one kind of media. A kind adds its facts to the track and to each
// sample description, and gives its part of the track's summary line. New kinds join the table
// in MediaKinds.cpp.
struct MediaKind
{
    uint32_t type = 0;
    const char* name = "";
    void (*addTrackFacts)(QT::IQTTrack& inTrack, Json& ioTrack) = nullptr;
    void (*addDescriptionFacts)(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t* inEntry,
                                Json& ioDescription) = nullptr;
    // "avc1 1920x1080, 25 fps": what the summary says of a track of this kind beside its duration.
    std::string (*summary)(const Json& inTrack) = nullptr;
};

// The kind of a track media type; an unlisted type gets a kind with no facts of its own.
const MediaKind& KindOf(uint32_t inMediaType);
// The kind a track's JSON names in its "kind" key.
const MediaKind& KindNamed(const std::string& inName);

// The kinds' own facts, one file each.
void AddVideoTrackFacts(QT::IQTTrack& inTrack, Json& ioTrack);
void AddImageFacts(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t* inEntry, Json& ioDescription);
std::string VideoSummary(const Json& inTrack);
void AddSoundDescriptionFacts(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t* inEntry,
                              Json& ioDescription);
std::string SoundSummary(const Json& inTrack);
void AddTimecodeDescriptionFacts(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t* inEntry,
                                 Json& ioDescription);
std::string TimecodeSummary(const Json& inTrack);
void AddCaptionTrackFacts(QT::IQTTrack& inTrack, Json& ioTrack);
std::string CaptionSummary(const Json& inTrack);

// The first description's format, for summaries of kinds that say nothing more yet.
std::string FormatSummary(const Json& inTrack);

} // namespace qtsifter
