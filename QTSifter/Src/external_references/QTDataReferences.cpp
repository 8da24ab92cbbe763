// The data references of a track: whether its media is in the movie file, and the alias records
// that name the files it is in.

#include <algorithm>
#include <string_view>

#include "QTAtomLayout.h"
#include "QTFourCC.h"
#include "QTTrack.h"
#include "tenacore/string.h"

namespace QT
{

namespace
{

// Offsets from the start of dinf, where the dref walk reads.
constexpr uint64_t kFirstEntryFromDinf = 24;

// True when inWidth bytes at inPos lie before inLimit.
bool Fits(uint64_t inPos, uint64_t inWidth, uint64_t inLimit)
{
    return inPos <= inLimit && inWidth <= inLimit - inPos;
}

// How far dinf really reaches: its own size, held to the buffer.
uint64_t DinfExtent(const uint8_t* inDinf, const ByteRange& inBytes)
{
    return std::min<uint64_t>(inBytes.U32Or0(inDinf, kAtomSizeFromAtom), inBytes.Available(inDinf));
}

// The end of the readable dref data: the dref's stated end, which a hostile size word may put
// outside dinf or the buffer, held to both.
uint64_t DataReferenceLimit(const uint8_t* inDinf, const ByteRange& inBytes)
{
    const uint64_t stated = uint64_t(kDrefSizeFromDinf) + inBytes.U32Or0(inDinf, kDrefSizeFromDinf);
    return std::min(stated, DinfExtent(inDinf, inBytes));
}

std::u16string Utf8Text(const uint8_t* inBytes, size_t inLength)
{
    return tenacore::string::UTF8to16(std::string_view(reinterpret_cast<const char*>(inBytes), inLength));
}

// The three tags of an alias record's extra data that a reference needs.
struct AliasTags
{
    std::u16string directoryName; // tag 0
    std::u16string pathOnVolume;  // tag 18
    std::u16string mountPoint;    // tag 19
};

constexpr int16_t kEndOfTags = -1;
constexpr int16_t kDirectoryNameTag = 0;
constexpr int16_t kPathOnVolumeTag = 18;
constexpr int16_t kMountPointTag = 19;

void TakeTag(int16_t inTag, const uint8_t* inData, uint16_t inLength, AliasTags& ioTags)
{
    if (inTag == kDirectoryNameTag)
        ioTags.directoryName = Utf8Text(inData, inLength);
    else if (inTag == kPathOnVolumeTag)
        ioTags.pathOnVolume = Utf8Text(inData, inLength);
    else if (inTag == kMountPointTag)
        ioTags.mountPoint = Utf8Text(inData, inLength);
}

// The tagged list from offset 150 of the record up to a tag of -1 or the record's end. Each
// entry's data and the next entry's head must lie before inLimit. When another data reference
// follows, which starts at the record's end, an entry's data must also end there: data running on
// over the records behind would be read again for each of them, up to 64 KiB a record.
[[nodiscard]] bool ReadAliasTags(const uint8_t* inDinf, uint64_t inRecord, uint64_t inRecordEnd,
                                 uint64_t inLimit, bool inAnotherFollows, AliasTags& outTags)
{
    const uint64_t dataLimit = inAnotherFollows ? std::min(inRecordEnd, inLimit) : inLimit;
    uint64_t pos = inRecord + kAliasTagsFromRecord;
    while (pos < inRecordEnd)
    {
        const int16_t tag = BE::I16(inDinf + pos);
        const uint16_t length = BE::U16(inDinf + pos + 2);
        if (tag == kEndOfTags)
            break;
        if (!Fits(pos + kAliasTagHeadSize, length, dataLimit))
            return false;
        TakeTag(tag, inDinf + pos + kAliasTagHeadSize, length, outTags);
        pos += kAliasTagHeadSize + length + (length & 1);
        if (!Fits(pos, kAliasTagHeadSize, inLimit))
            return false;
    }
    return true;
}

// One alias record at inRecord into ioReferences; outRecordEnd is where its own length ends it.
[[nodiscard]] bool ReadAliasRecord(const uint8_t* inDinf, uint64_t inRecord, uint64_t inLimit,
                                   bool inAnotherFollows, ExternalReferenceMap& ioReferences,
                                   uint64_t& outRecordEnd)
{
    if (!Fits(inRecord, kAliasTagsFromRecord + kAliasTagHeadSize, inLimit))
        return false;
    const uint8_t* record = inDinf + inRecord;
    outRecordEnd = inRecord + BE::U16(record + kAliasRecordLengthFromRecord);
    // The name's length byte is not held to 63, so its bytes are held to the record and the data.
    const uint8_t nameLength = record[kAliasFileNameLengthFromRecord];
    if (!Fits(inRecord + kAliasFileNameFromRecord, nameLength, std::min(outRecordEnd, inLimit)))
        return false;
    AliasTags tags;
    if (!ReadAliasTags(inDinf, inRecord, outRecordEnd, inLimit, inAnotherFollows, tags))
        return false;

    ExtRefData reference;
    reference.fileName = Utf8Text(record + kAliasFileNameFromRecord, nameLength);
    reference.directoryName = std::move(tags.directoryName);
    // The mount point counts only in front of a path on the volume.
    reference.aliasPath =
        tags.pathOnVolume.empty() ? reference.fileName : tags.mountPoint + tags.pathOnVolume;
    reference.levelFrom = BE::U16(record + kAliasLevelFromFromRecord);
    reference.levelTo = BE::U16(record + kAliasLevelToFromRecord);
    // The first record of a target stays.
    ioReferences.try_emplace(reference.aliasPath, reference);
    return true;
}

} // namespace

bool QTTrack::IsDataSelfContained()
{
    const uint8_t* dinf = Item().dinf;
    if (!dinf)
        return false;
    const ByteRange bytes = Bytes();
    const uint64_t extent = DinfExtent(dinf, bytes);
    if (!Fits(kDrefCountFromDinf, 4, extent) || BE::U32(dinf + kDrefCountFromDinf) != 1)
        return false;
    if (!Fits(kDataReferenceFlagFromDinf, 1, extent))
        return false;
    const uint32_t type = BE::U32(dinf + kDataReferenceTypeFromDinf);
    if (type != kAliasDataReference && type != kUrlDataReference)
        return true;
    return dinf[kDataReferenceFlagFromDinf] == 1;
}

bool QTTrack::GetSingleExternalReference(std::u16string* outReference)
{
    ExternalReferenceMap references;
    if (!CollectExternalReferences(references) || references.size() != 1)
        return false;
    if (outReference)
        *outReference = references.begin()->first;
    return true;
}

// Entries follow one another by the alias record's own length, not by the entry's size word.
bool QTTrack::CollectExternalReferences(ExternalReferenceMap& ioReferences)
{
    const uint8_t* dinf = Item().dinf;
    if (!dinf)
        return true;
    const ByteRange bytes = Bytes();
    const uint32_t count = bytes.U32Or0(dinf, kDrefCountFromDinf);
    const uint64_t limit = DataReferenceLimit(dinf, bytes);
    uint64_t entry = kFirstEntryFromDinf;
    for (uint32_t i = 0; i < count; ++i)
    {
        if (!Fits(entry, kDataReferenceHeaderSize, limit))
            return false;
        // An entry of another type is never stepped over, so every remaining repetition would meet
        // it again and pass the same test: the walk can end here with the same answer.
        if (BE::U32(dinf + entry + kDataReferenceTypeFromEntry) != kAliasDataReference)
            return true;
        if (dinf[entry + kDataReferenceFlagFromEntry] == 1)
            return true;
        if (!ReadAliasRecord(dinf, entry + kDataReferenceHeaderSize, limit, count - i > 1, ioReferences,
                             entry))
            return false;
    }
    return true;
}

} // namespace QT
