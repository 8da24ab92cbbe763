#pragma once

#include <cstdint>

#include "QTByteRange.h"

namespace QT
{

// The fixed part of an Image Description ends here; extension atoms follow.
inline constexpr uint32_t kImageDescriptionSize = 86;

// Fields of the fixed part, from the entry's size word.
inline constexpr uint32_t kImageFormatFromEntry = 4;
inline constexpr uint32_t kImageVendorFromEntry = 20;
inline constexpr uint32_t kImageTemporalQualityFromEntry = 24;
inline constexpr uint32_t kImageSpatialQualityFromEntry = 28;
inline constexpr uint32_t kImageWidthFromEntry = 32;
inline constexpr uint32_t kImageHeightFromEntry = 34;
inline constexpr uint32_t kImageNameLengthFromEntry = 50; // a length byte, then up to 31 bytes
inline constexpr uint32_t kImageNameFromEntry = 51;
inline constexpr uint32_t kImageNameMaxLength = 31;
inline constexpr uint32_t kImageDepthFromEntry = 82;
inline constexpr uint32_t kImageColorTableIdFromEntry = 84;

// The extension atoms the accessors read, by their whole size and their payload's fields.
inline constexpr uint32_t kClapAtomSize = 40; // eight u32: width, height, offsets, each n/d
inline constexpr uint32_t kPaspAtomSize = 16; // horizontal, vertical spacing
inline constexpr uint32_t kFielAtomSize = 10; // field count, field ordering
inline constexpr uint32_t kColrAtomSize = 18; // "nclc", primaries, transfer, matrix
inline constexpr uint32_t kColrPrimariesFromPayload = 4;
inline constexpr uint32_t kColrTransferFromPayload = 6;
inline constexpr uint32_t kColrMatrixFromPayload = 8;

// A tapt child's width and height, 16.16, from its size word.
inline constexpr uint32_t kApertureWidthFromAtom = 12;
inline constexpr uint32_t kApertureHeightFromAtom = 16;

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
[[nodiscard]] bool FindImageDescriptionExtension(const ByteRange& inBytes, const uint8_t* inEntry,
                                                 uint32_t inType, ImageDescriptionExtension& outFound);

} // namespace QT
