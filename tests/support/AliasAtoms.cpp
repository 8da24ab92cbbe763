#include "AliasAtoms.h"

#include <algorithm>

namespace qttest
{

namespace
{

void Put16(Bytes& ioBytes, size_t inAt, uint16_t inValue)
{
    ioBytes[inAt] = uint8_t(inValue >> 8);
    ioBytes[inAt + 1] = uint8_t(inValue);
}

void Append16(Bytes& ioBytes, uint16_t inValue)
{
    ioBytes.push_back(uint8_t(inValue >> 8));
    ioBytes.push_back(uint8_t(inValue));
}

} // namespace

Bytes AliasRecord(const AliasSpec& inSpec)
{
    Bytes record(150, 0);
    Put16(record, 6, 2); // version 2
    const size_t volumeLength = std::min<size_t>(inSpec.volumeName.size(), 27);
    record[10] = uint8_t(volumeLength);
    std::copy_n(inSpec.volumeName.begin(), volumeLength, record.begin() + 11);
    record[42] = 'H';
    record[43] = '+';
    const size_t nameBytes = std::min<size_t>(inSpec.fileName.size(), 63);
    record[50] = inSpec.nameLength.value_or(uint8_t(nameBytes));
    std::copy_n(inSpec.fileName.begin(), nameBytes, record.begin() + 51);
    Put16(record, 130, inSpec.levelFrom);
    Put16(record, 132, inSpec.levelTo);
    for (const AliasTag& tag : inSpec.tags)
    {
        Append16(record, uint16_t(tag.tag));
        Append16(record, uint16_t(tag.data.size()));
        record.insert(record.end(), tag.data.begin(), tag.data.end());
        if (tag.data.size() % 2 == 1)
            record.push_back(0);
    }
    if (inSpec.endTag)
    {
        Append16(record, 0xFFFF);
        Append16(record, 0);
    }
    Put16(record, 4, inSpec.recordLength.value_or(uint16_t(record.size())));
    return record;
}

AliasSpec AliasTo(const std::string& inFileName, const std::string& inDirectory,
                  const std::string& inMountPoint, const std::string& inPathOnVolume)
{
    AliasSpec spec;
    spec.fileName = inFileName;
    if (!inDirectory.empty())
        spec.tags.push_back({kDirectoryNameTag, inDirectory});
    if (!inPathOnVolume.empty())
        spec.tags.push_back({kPathOnVolumeTag, inPathOnVolume});
    if (!inMountPoint.empty())
        spec.tags.push_back({kMountPointTag, inMountPoint});
    return spec;
}

Atom AliasEntry(const Bytes& inRecord, uint8_t inFlag)
{
    return Atom("alis").FullHeader(0, inFlag).Raw(inRecord);
}

Atom AliasEntry(const AliasSpec& inSpec, uint8_t inFlag)
{
    return AliasEntry(AliasRecord(inSpec), inFlag);
}

Atom DataReferenceEntry(const char (&inType)[5], uint8_t inFlag, const std::string& inBody)
{
    return Atom(inType).FullHeader(0, inFlag).Text(inBody);
}

Atom Dref(const std::vector<Atom>& inEntries, std::optional<uint32_t> inCount)
{
    Atom dref("dref");
    dref.FullHeader().U32(inCount.value_or(uint32_t(inEntries.size())));
    for (const Atom& entry : inEntries)
        dref.Child(entry);
    return dref;
}

Atom DinfOf(const std::vector<Atom>& inChildren)
{
    return Container("dinf", inChildren);
}

Atom TrakWithDataInformation(const TrackSpec& inSpec, const std::vector<Atom>& inAtoms)
{
    Atom header = inSpec.handler == Code("vide")   ? Vmhd()
                  : inSpec.handler == Code("soun") ? Atom("smhd").FullHeader(0).U16(0).U16(0)
                                                   : Atom("gmhd").Zeros(8);
    Atom minf("minf");
    minf.Child(header);
    for (const Atom& atom : inAtoms)
        minf.Child(atom);
    if (inSpec.sampleTables)
        minf.Child(Stbl(inSpec));
    return Atom("trak").Children(
        {Tkhd(inSpec), Atom("mdia").Children(
                           {Mdhd(inSpec.mediaTimeScale, inSpec.mediaDuration), Hdlr(inSpec.handler), minf})});
}

Atom ReferringTrak(const char (&inHandler)[5], const std::optional<Atom>& inDinf, bool inEnabled)
{
    std::vector<Atom> atoms;
    if (inDinf)
        atoms.push_back(*inDinf);
    return TrakWithDataInformation({.handler = Code(inHandler), .flags = inEnabled ? 1u : 0u}, atoms);
}

QT::ExtRefData ExtRef(const std::u16string& inFileName, const std::u16string& inAliasPath,
                      int32_t inLevelFrom, int32_t inLevelTo, const std::u16string& inDirectory)
{
    return {inFileName, inDirectory, inAliasPath, inLevelFrom, inLevelTo};
}

std::vector<std::u16string> ReferenceKeys(const QT::ExternalReferenceMap& inMap)
{
    std::vector<std::u16string> keys;
    for (const auto& [key, reference] : inMap)
        keys.push_back(key);
    return keys;
}

} // namespace qttest
