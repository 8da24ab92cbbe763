#pragma once

// Builders of the atoms that describe video: image description extensions and track apertures.

#include <cstdint>
#include <vector>

#include "AtomBuilder.h"

namespace qttest
{

Atom Pasp(uint32_t inHorizontal, uint32_t inVertical);
// A clean aperture of 1920 by 1080 with offsets 0 and -1 (as -2/2).
Atom Clap();
Atom Colr(const char (&inType)[5] = "nclc");
Atom Fiel(uint8_t inCount, uint8_t inOrdering);
// The image description of inSpec with inExtensions behind its fixed part.
Atom ImageDescriptionWith(const std::vector<Atom>& inExtensions, const ImageSpec& inSpec = {});
// A child of tapt ("clef", "prof" or "enof"): width and height in 16.16.
Atom ApertureDimensions(const char (&inType)[5], int32_t inWidth, int32_t inHeight);

} // namespace qttest
