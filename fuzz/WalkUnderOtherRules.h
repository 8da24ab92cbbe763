#pragma once

#include <cstddef>
#include <cstdint>

namespace qtfuzz
{

// Takes the input as a loaded movie atom and walks it with every walk rule set the other way from
// the parser's, then asks the movie built from that index everything, so that the branches the
// parser never takes meet hostile bytes too.
void WalkUnderOtherRules(const uint8_t* inData, size_t inSize);

} // namespace qtfuzz
