#pragma once

#include <cstdint>
#include <string>

#include "IQTMovie.h"
#include "tenacore/classref.h"

namespace qtsifter
{

using MovieRef = tenacore::classref::InterfaceRef<QT::IQTMovie>;
using TrackRef = tenacore::classref::InterfaceRef<QT::IQTTrack>;

// Opens a movie through the parser; throws Refusal with the library's result and the reason, as
// far as the file system and the file's top-level atoms tell it.
MovieRef OpenMovie(const std::string& inUTF8Path);

// Track inIndex of the movie; throws UsageError when the movie has no such track.
TrackRef OpenTrack(QT::IQTMovie& inMovie, uint32_t inIndex);

// Throws UsageError unless the track is a video track; inCommand names what needs one.
void RequireVideoTrack(QT::IQTTrack& inTrack, const std::string& inCommand);
// Throws UsageError unless the track is a sound track; the audio queries raise on any other.
void RequireSoundTrack(QT::IQTTrack& inTrack, const std::string& inCommand);

} // namespace qtsifter
