#pragma once

#include <cstdint>

#include "QTByteRange.h"

namespace QT
{

// The fixed part of an Image Description ends here; extension atoms follow.
inline constexpr uint32_t kImageDescriptionSize = 86;

// An extension atom found in an Image Description: its payload and the atom's size less 8.
struct ImageDescriptionExtension
{
    const uint8_t* payload = nullptr;
    uint32_t payloadSize = 0;
    uint32_t atomSize = 0;
};

// Finds the first extension atom of inType in the entry at inEntry. inBytes bounds every read:
// the movie buffer for an entry in place, the copy for a copied one. The atom's own end is not
// held to the entry's end; callers that read its payload test it against inBytes.
bool FindImageDescriptionExtension(const ByteRange& inBytes, const uint8_t* inEntry, uint32_t inType,
                                   ImageDescriptionExtension& outFound);

} // namespace QT
