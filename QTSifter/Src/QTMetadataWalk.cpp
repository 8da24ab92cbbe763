#include <cstring>
#include <vector>

#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTSifter.h"
#include "QTTrace.h"
#include "tenacore/string.h"

namespace QT
{

namespace
{

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

} // namespace

// Children of a name-tagged meta; only ilst children are read.
void QTSifter::ParseMetaItems(const uint8_t* inBuffer, uint32_t inStart, uint32_t inEnd)
{
    for (uint32_t pos = inStart; pos < inEnd && inEnd - pos > 8;)
    {
        const uint32_t size = BE::U32(inBuffer + pos);
        if (size == 0 || size > inEnd - pos)
            return;
        if (BE::U32(inBuffer + pos + 4) == kIlstAtom)
            ParseTaggedItems(inBuffer, pos + 8, uint64_t(pos) + size);
        pos += size;
    }
}

// Text items keyed by the last three bytes of their type. Items are stepped by their own size;
// one of size 0 would never move, so it ends the ilst.
void QTSifter::ParseTaggedItems(const uint8_t* inBuffer, uint64_t inStart, uint64_t inEnd)
{
    const ByteRange buffer(inBuffer, movieAtomSize);
    for (uint64_t item = inStart; item < inEnd;)
    {
        if (!buffer.Contains(inBuffer, item, 16))
            return;
        const uint8_t* at = inBuffer + item;
        const uint32_t size = BE::U32(at);
        const int64_t payload = int64_t(size) - 24;
        if (size == 0)
            return;
        if (BE::U32(at + 12) == kDataAtom && payload > 0)
        {
            const std::string key(reinterpret_cast<const char*>(at + 5), 3);
            if (size > inEnd - item)
            {
                TraceMalformed(gMalformedTaggedItemSite, "item", key, payload);
                return;
            }
            if (BE::I32(at + 16) == kMetadataUTF8)
                metadataItems.insert(
                    {key,
                     {kMetadataUTF8, std::string(reinterpret_cast<const char*>(at + 24), size_t(payload))}});
        }
        item += size;
    }
}

// The keyed form: meta, hdlr and keys found among the children of moov and meta as one run,
// then the ilst right behind keys.
void QTSifter::ParseMetadata()
{
    const uint8_t* data = mooVAtom->Data();
    const uint32_t size = movieAtomSize;
    bool meta = false, hdlr = false, keys = false;
    uint32_t keysPos = 0, keysEnd = 0;
    AtomHeader atom;
    for (uint32_t pos = 8; !(meta && hdlr && keys);)
    {
        if (!ReadValidAtom(data, pos, size, atom))
            return;
        if (atom.type == kMetaAtom)
        {
            meta = true;
            pos += 8;
        }
        else if (atom.type == kKeysAtom)
        {
            // The walk goes on at the count word, which is then read as an atom's size.
            keys = true;
            keysPos = pos;
            keysEnd = pos + atom.size;
            pos += 12;
        }
        else
        {
            hdlr = hdlr || atom.type == kHdlrAtom;
            pos += atom.size;
        }
    }
    std::vector<std::string> keyTable = ReadMetadataKeys(keysPos, keysEnd);
    if (!ReadValidAtom(data, keysEnd, size, atom) || atom.type != kIlstAtom || keyTable.empty())
        return;
    ParseKeyedItems(keysEnd, keyTable);
}

// Keys up to the first malformed entry. The table is never sized from the count: a negative or
// oversized count, or an entry too short to hold its own header, ends it with a report.
std::vector<std::string> QTSifter::ReadMetadataKeys(uint32_t inKeys, uint32_t inKeysEnd)
{
    const uint8_t* data = mooVAtom->Data();
    const ByteRange buffer(data, movieAtomSize);
    std::vector<std::string> keys;
    const int32_t count = int32_t(buffer.U32Or0(data + inKeys, 12));
    if (count < 0)
    {
        TraceMalformed(gMalformedKeySite, "key", 0, count);
        return keys;
    }
    uint64_t entry = uint64_t(inKeys) + 16;
    for (int32_t i = 0; i < count; ++i)
    {
        const int32_t entrySize = int32_t(buffer.U32Or0(data, entry));
        if (entrySize < 8 || entry + uint64_t(entrySize) > inKeysEnd)
        {
            TraceMalformed(gMalformedKeySite, "key", i, entrySize);
            return keys;
        }
        keys.emplace_back(reinterpret_cast<const char*>(data + entry + 8), size_t(entrySize) - 8);
        entry += uint64_t(entrySize);
    }
    return keys;
}

// Items whose 1-based key index names a usable key. The ordinal bounds the walk by the key count.
void QTSifter::ParseKeyedItems(uint32_t inIlst, const std::vector<std::string>& inKeys)
{
    const uint8_t* data = mooVAtom->Data();
    const ByteRange buffer(data, movieAtomSize);
    const uint64_t ilstEnd = uint64_t(inIlst) + BE::U32(data + inIlst);
    uint64_t item = uint64_t(inIlst) + 8;
    for (size_t ordinal = 0; ordinal < inKeys.size() && item < movieAtomSize; ++ordinal)
    {
        if (!buffer.Contains(data, item, 16))
            return;
        const uint8_t* at = data + item;
        const uint32_t size = BE::U32(at);
        const uint32_t keyIndex = BE::U32(at + 4);
        const int64_t payload = int64_t(size) - 24;
        if (keyIndex >= 1 && keyIndex <= inKeys.size() && BE::U32(at + 12) == kDataAtom && payload >= 1)
        {
            if (item + size > ilstEnd)
            {
                TraceMalformed(gMalformedKeyedItemSite, "item", ordinal, payload);
                return;
            }
            const std::string& key = inKeys[keyIndex - 1];
            MetadataValue value;
            if (DecodeValue(buffer, at + 24, payload, BE::I32(at + 16), value))
                metadataItems.insert({key, std::move(value)});
            metadataKeys.insert({key, {kMetadataUnsignedInteger, uint32_t(item + 24)}});
        }
        item += size;
    }
}

} // namespace QT
