#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "IQTTrack.h"
#include "MediaKinds.h"

namespace qtsifter
{

// A timecode track's first frame, as the library reads it: the description, then the sample,
// from the data reference or from the file, and the frame it holds.
struct TimecodeReading
{
    int32_t result = -1;
    QT::TimecodeMediaInfo info;
    std::string sourceName;
    // Where the sample lies; absent for a handle reference, or when the library cannot say.
    std::optional<int64_t> fileOffset;
    uint32_t size = 0;
    std::optional<int64_t> frameNumber;
    // Why there is no frame number, in words; empty when there is one.
    std::string problem;
};

TimecodeReading ReadTimecode(QT::IQTTrack& inTrack, const std::string& inUTF8Path);

// A frame number as HH:MM:SS:FF, with ';' before the frames when frames are dropped, counted at
// inFrameCount frames a second. Dropped frames are those of NTSC: 2 a minute at 30 frames (4 at 60),
// but every tenth minute.
std::string TimecodeText(int64_t inFrameNumber, uint8_t inFrameCount, bool inDropFrame);

// The description's counting rules and the source name, as JSON.
Json TimecodeInfoJson(const TimecodeReading& inReading);

// info: the first frame and its timecode, added to a timecode track's JSON.
void AddTimecodeFrameFacts(QT::IQTTrack& inTrack, const std::string& inUTF8Path, Json& ioTrack);

} // namespace qtsifter
