#pragma once

#include <cstdint>

#include "IQTTrack.h"

namespace qtfuzz
{

// Runs the video sample pass over a track's tables both sample by sample and run by run, whatever
// its media, and aborts when the two disagree; returns a value that depends on the answers.
uint64_t CompareSamplePasses(QT::IQTTrack& inTrack);

} // namespace qtfuzz
