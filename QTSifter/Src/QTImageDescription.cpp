#include "QTImageDescription.h"

#include <algorithm>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTBigEndian.h"

namespace QT
{

namespace
{

// "clut" compared with a little-endian read of the bytes at offset 90, so only "tulc" in the file
// matches. Both that order and the one-byte step of the skip are how descriptions are read.
constexpr uint32_t kClutAsLittleEndian = 0x636C7574;

uint32_t ReadLittleEndian32(const uint8_t* inP)
{
    return uint32_t(inP[0]) | (uint32_t(inP[1]) << 8) | (uint32_t(inP[2]) << 16) | (uint32_t(inP[3]) << 24);
}

// Where the extension walk starts: behind the fixed part, or behind what the colour-table skip steps.
uint64_t FirstExtensionOffset(const ByteRange& inBytes, const uint8_t* inEntry, uint32_t inEntrySize)
{
    uint64_t cursor = kImageDescriptionSize;
    // The step is sign-extended to 32 bits and then added unsigned: a negative byte goes far past the end.
    if (inEntrySize >= 94 && inBytes.Contains(inEntry, 84, 10) && BE::I16(inEntry + 84) == 0 &&
        ReadLittleEndian32(inEntry + 90) == kClutAsLittleEndian)
        cursor += uint32_t(int32_t(int8_t(inEntry[86])));
    return cursor;
}

} // namespace

bool FindImageDescriptionExtension(const ByteRange& inBytes, const uint8_t* inEntry, uint32_t inType,
                                   ImageDescriptionExtension& outFound)
{
    if (!inEntry || !inBytes.Contains(inEntry, 0, 4))
        return false;
    const uint32_t entrySize = BE::U32(inEntry);
    if (entrySize == kImageDescriptionSize)
        return false;
    // The walk stops at the entry's end, or at the end of what may be read if that comes first. A
    // child's overrun of that end is the caller's to judge, by what it reads of the payload.
    const uint64_t available = inBytes.Available(inEntry);
    const uint64_t end = std::min<uint64_t>(entrySize, available);
    ChildAtomScanner extensions(
        inEntry, uint32_t(std::min<uint64_t>(available, UINT32_MAX)),
        FirstExtensionOffset(inBytes, inEntry, entrySize), end, end,
        {.minBytesLeft = kAtomHeaderSize, .shortAtom = ShortAtom::EndsScan, .overrun = Overrun::Given});
    ChildAtom atom;
    while (extensions.Next(atom))
    {
        // A match needs a byte of payload before the end.
        if (atom.type == inType && end - atom.position > kAtomHeaderSize)
        {
            outFound = {inEntry + atom.position + kAtomHeaderSize, atom.size - kAtomHeaderSize, atom.size};
            return true;
        }
    }
    return false;
}

} // namespace QT
