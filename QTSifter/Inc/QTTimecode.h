#pragma once

#include <cstdint>

namespace QT
{

// How a timecode track counts, from its Timecode Sample Description. Turning a frame number into
// hours, minutes, seconds and frames is the caller's.
struct TimecodeMediaInfo
{
    bool mDropFrame = false;         // bit 0 of the description's flags
    uint32_t mTimeScale = 0;         // ticks per second
    uint32_t mFrameDuration = 0;     // ticks per frame
    uint8_t mFrameCount = 0;         // frames per second as the timecode counts them
    bool mIsHandleReference = false; // the sample lives in a "hndl" data reference, not in the file
};

} // namespace QT
