#pragma once

#include <cstddef>
#include <cstdint>

#include "IQTMovie.h"

namespace qtfuzz
{

// Takes the input as a loaded movie atom and walks it with every walk rule set the other way from
// the parser's, then hands the movie built from that index to inAsk (everything, unless told), so
// that the branches the parser never takes meet hostile bytes too.
void WalkUnderOtherRules(const uint8_t* inData, size_t inSize, void (*inAsk)(QT::IQTMovie&) = nullptr);

} // namespace qtfuzz
