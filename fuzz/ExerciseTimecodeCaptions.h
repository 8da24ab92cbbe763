#pragma once

#include <cstdint>
#include <string>

#include "IQTTrack.h"

namespace qtfuzz
{

// The media file the caption map peeks into: a fixed scratch copy of the current input, set by the
// target before any movie is asked. Empty until then, and when the copy could not be written.
void SetCaptionMediaPath(const std::u16string& inPath);

// Asks a track every timecode and caption operation, whatever its media, and returns a value that
// depends on the answers.
uint64_t ExerciseTimecodeCaptions(QT::IQTTrack& inTrack);

} // namespace qtfuzz
