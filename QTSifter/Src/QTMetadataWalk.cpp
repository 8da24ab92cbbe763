#include <cstring>
#include <vector>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTMovieWalk.h"
#include "QTTrace.h"
#include "tenacore/string.h"

namespace QT
{

namespace
{

// Far more items than movies carry (writers put tens). A hostile movie atom holds millions, each
// a node of an ordered map, which took seconds to open and a gigabyte to keep: a walk that meets a
// new key when a map is full ends there, as at a malformed item. Keys it holds already still pass.
constexpr size_t kMostMetadataItems = size_t(1) << 16;

bool NoRoomFor(const MetadataMap& inMap, const std::string& inKey)
{
    return inMap.size() >= kMostMetadataItems && !inMap.contains(inKey);
}

tenacore::debug::TraceSiteCache gMalformedKeySite;
tenacore::debug::TraceSiteCache gMalformedKeyedItemSite;
tenacore::debug::TraceSiteCache gMalformedTaggedItemSite;

// "Malformed metadata <what> found: <which>.  Size: <size>".
template <class Which>
void TraceMalformed(tenacore::debug::TraceSiteCache& ioSite, std::string_view inWhat, const Which& inWhich,
                    int64_t inSize)
{
    TraceLine(ioSite, kSifterTraceCategory, "Malformed metadata ", inWhat, " found: ", inWhich,
              ".  Size: ", inSize);
}

// A payload read as a big-endian integer of 1, 2 or 4 bytes; false for any other length.
bool ReadInteger(const uint8_t* inBytes, int64_t inLength, bool inSigned, uint32_t& outValue)
{
    switch (inLength)
    {
    case 1:
        outValue = inSigned ? uint32_t(int32_t(int8_t(inBytes[0]))) : inBytes[0];
        return true;
    case 2:
        outValue = inSigned ? uint32_t(int32_t(BE::I16(inBytes))) : BE::U16(inBytes);
        return true;
    case 4:
        outValue = BE::U32(inBytes);
        return true;
    default:
        return false;
    }
}

// The value of a keyed item by its data type code; false when the code or length gives none.
// Floats take their full width whatever the payload says, but never beyond the buffer.
bool DecodeValue(const ByteRange& inBuffer, const uint8_t* inPayload, int64_t inLength, int32_t inCode,
                 MetadataValue& outValue)
{
    const auto length = size_t(inLength);
    uint32_t integer = 0;
    outValue.typeCode = inCode;
    switch (inCode)
    {
    case kMetadataBinary:
        outValue.value = MK::BinaryData(inPayload, length);
        return true;
    case kMetadataUTF8:
        outValue.value = std::string(reinterpret_cast<const char*>(inPayload), length);
        return true;
    case kMetadataWideText:
        outValue.value = tenacore::string::AsciiToUTF16(reinterpret_cast<const char*>(inPayload), length);
        return true;
    case kMetadataSignedInteger:
        if (!ReadInteger(inPayload, inLength, true, integer))
            return false;
        outValue.value = int32_t(integer);
        return true;
    case kMetadataUnsignedInteger:
        if (!ReadInteger(inPayload, inLength, false, integer))
            return false;
        outValue.value = integer;
        return true;
    case kMetadataFloat32:
    {
        if (!inBuffer.Contains(inPayload, 0, 4))
            return false;
        const uint32_t bits = BE::U32(inPayload);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        outValue.value = value;
        return true;
    }
    case kMetadataFloat64:
    {
        if (!inBuffer.Contains(inPayload, 0, 8))
            return false;
        const uint64_t bits = BE::U64(inPayload);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        outValue.value = value;
        return true;
    }
    default:
        return false;
    }
}

// Items of one ilst, keyed or name-tagged: each needs its fixed 16 bytes inside the buffer, and
// one that runs past the ilst is given, since whether that matters depends on the item.
ChildAtomScanner IlstItems(const MovieIndex& inIndex, uint64_t inFirstItem, uint64_t inEnd)
{
    return {inIndex.Data(),        inIndex.movieAtomSize,
            inFirstItem,           inEnd,
            inIndex.movieAtomSize, {.minBytesLeft = kItemFixedBytes, .overrun = Overrun::Given}};
}

// Text items keyed by the last three bytes of their type.
void ParseTaggedItems(MovieIndex& ioIndex, const uint8_t* inBuffer, uint64_t inStart, uint64_t inEnd)
{
    ChildAtomScanner items = IlstItems(ioIndex, inStart, inEnd);
    ChildAtom item;
    while (items.Next(item))
    {
        const uint8_t* at = inBuffer + item.position;
        const int64_t payload = int64_t(item.size) - kItemValueFromItem;
        if (BE::U32(at + kItemDataTypeFromItem) != kDataAtom || payload <= 0)
            continue;
        const std::string key(reinterpret_cast<const char*>(at + kItemTagKeyFromItem), kItemTagKeyLength);
        if (item.size > inEnd - item.position || NoRoomFor(ioIndex.metadataItems, key))
        {
            TraceMalformed(gMalformedTaggedItemSite, "item", key, payload);
            return;
        }
        if (BE::I32(at + kItemTypeCodeFromItem) == kMetadataUTF8)
            ioIndex.metadataItems.insert(
                {key,
                 {kMetadataUTF8,
                  std::string(reinterpret_cast<const char*>(at + kItemValueFromItem), size_t(payload))}});
    }
}

// Where the keyed form stands: meta, hdlr and keys found among the children of moov and meta as
// one run. False when the run ends before all three were seen.
bool FindKeyedMetadata(const MovieIndex& inIndex, const WalkRules& inRules, ChildAtom& outKeys)
{
    auto atoms = ChildAtomScanner::InBuffer(inIndex.Data(), inIndex.movieAtomSize, kAtomHeaderSize,
                                            {.minBytesLeft = inRules.minBytesLeft});
    bool meta = false, hdlr = false, keys = false;
    ChildAtom atom;
    while (!(meta && hdlr && keys))
    {
        if (!atoms.Next(atom))
            return false;
        if (atom.type == kMetaAtom)
        {
            meta = true;
            atoms.MoveTo(atom.position + kAtomHeaderSize);
        }
        else if (atom.type == kKeysAtom)
        {
            // The walk goes on at the count word, which is then read as an atom's size.
            keys = true;
            outKeys = atom;
            atoms.MoveTo(atom.position + kKeysCountFromAtom);
        }
        else
            hdlr = hdlr || atom.type == kHdlrAtom;
    }
    return true;
}

// Keys up to the first malformed entry. The table is never sized from the count: a negative or
// oversized count, or an entry too short to hold its own header, ends it.
std::vector<std::string> ReadMetadataKeys(const MovieIndex& inIndex, const WalkRules& inRules,
                                          const ChildAtom& inKeys)
{
    const uint8_t* data = inIndex.Data();
    const ByteRange buffer(data, inIndex.movieAtomSize);
    std::vector<std::string> keys;
    const int32_t count = int32_t(buffer.U32Or0(data + inKeys.position, kKeysCountFromAtom));
    if (count < 0)
    {
        if (inRules.checkKeyedMetadata)
            TraceMalformed(gMalformedKeySite, "key", 0, count);
        return keys;
    }
    uint64_t entry = uint64_t(inKeys.position) + kKeysEntriesFromAtom;
    for (int32_t i = 0; i < count; ++i)
    {
        const int32_t entrySize = int32_t(buffer.U32Or0(data, entry + kKeySizeFromEntry));
        if (entrySize < int32_t(kKeyTextFromEntry) || entry + uint64_t(entrySize) > inKeys.End())
        {
            if (inRules.checkKeyedMetadata)
                TraceMalformed(gMalformedKeySite, "key", i, entrySize);
            return keys;
        }
        keys.emplace_back(reinterpret_cast<const char*>(data + entry + kKeyTextFromEntry),
                          size_t(entrySize) - kKeyTextFromEntry);
        entry += uint64_t(entrySize);
    }
    return keys;
}

// Items whose 1-based key index names a usable key. The ordinal bounds the walk by the key count.
void ParseKeyedItems(MovieIndex& ioIndex, const WalkRules& inRules, const ChildAtom& inIlst,
                     const std::vector<std::string>& inKeys)
{
    const uint8_t* data = ioIndex.Data();
    const ByteRange buffer(data, ioIndex.movieAtomSize);
    ChildAtomScanner items = IlstItems(ioIndex, inIlst.position + kAtomHeaderSize, ioIndex.movieAtomSize);
    ChildAtom item;
    for (size_t ordinal = 0; ordinal < inKeys.size() && items.Next(item); ++ordinal)
    {
        const uint8_t* at = data + item.position;
        const uint32_t keyIndex = BE::U32(at + kItemKeyIndexFromItem);
        const int64_t payload = int64_t(item.size) - kItemValueFromItem;
        if (keyIndex < 1 || keyIndex > inKeys.size() || BE::U32(at + kItemDataTypeFromItem) != kDataAtom ||
            payload < 1)
            continue;
        const std::string& key = inKeys[keyIndex - 1];
        if (item.End() > inIlst.End() || NoRoomFor(ioIndex.metadataKeys, key) ||
            NoRoomFor(ioIndex.metadataItems, key))
        {
            if (inRules.checkKeyedMetadata)
                TraceMalformed(gMalformedKeyedItemSite, "item", ordinal, payload);
            return;
        }
        MetadataValue value;
        if (DecodeValue(buffer, at + kItemValueFromItem, payload, BE::I32(at + kItemTypeCodeFromItem), value))
            ioIndex.metadataItems.insert({key, std::move(value)});
        ioIndex.metadataKeys.insert(
            {key, {kMetadataUnsignedInteger, uint32_t(item.position + kItemValueFromItem)}});
    }
}

} // namespace

// Children of a name-tagged meta; only ilst children are read.
void ParseMetaItems(MovieIndex& ioIndex, const uint8_t* inBuffer, uint32_t inStart, uint32_t inEnd)
{
    auto children = ChildAtomScanner::InContainer(inBuffer, ioIndex.movieAtomSize, inStart, inEnd);
    ChildAtom atom;
    while (children.Next(atom))
        if (atom.type == kIlstAtom)
            ParseTaggedItems(ioIndex, inBuffer, atom.position + kAtomHeaderSize, atom.End());
}

// The keyed form: then the ilst right behind keys.
void ParseMetadata(MovieIndex& ioIndex, const WalkRules& inRules)
{
    ChildAtom keys;
    if (!FindKeyedMetadata(ioIndex, inRules, keys))
        return;
    const std::vector<std::string> keyTable = ReadMetadataKeys(ioIndex, inRules, keys);
    auto behindKeys = ChildAtomScanner::InBuffer(ioIndex.Data(), ioIndex.movieAtomSize, keys.End(),
                                                 {.minBytesLeft = inRules.minBytesLeft});
    ChildAtom ilst;
    if (!behindKeys.Next(ilst) || ilst.type != kIlstAtom || keyTable.empty())
        return;
    ParseKeyedItems(ioIndex, inRules, ilst, keyTable);
}

} // namespace QT
