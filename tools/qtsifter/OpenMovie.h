#pragma once

#include <cstdint>
#include <string>

#include "IQTMovie.h"
#include "tenacore/classref.h"

namespace qtsifter
{

using MovieRef = tenacore::classref::InterfaceRef<QT::IQTMovie>;

// "0xA0800001 kQTErrNotAMovie"; the name is left out for a value that has none.
std::string ResultText(uint32_t inResult);

// Opens a movie through the parser. On failure writes the path and the result to stderr and
// leaves outMovie null. Returns the library's result.
uint32_t OpenMovie(const std::string& inUTF8Path, MovieRef& outMovie);

} // namespace qtsifter
