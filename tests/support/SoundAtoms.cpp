#include "SoundAtoms.h"

#include <cstring>

namespace qttest
{

Atom SoundDescription(const SoundSpec& inSpec, const std::vector<Atom>& inExtensions)
{
    Atom entry(inSpec.format);
    entry.Zeros(6).U16(1).U16(inSpec.version).U16(0).U32(0);
    entry.U16(uint16_t(inSpec.channels))
        .U16(uint16_t(inSpec.sampleSize))
        .U16(0)
        .U16(uint16_t(inSpec.packetSize));
    entry.U32(inSpec.rate);
    if (inSpec.version == 1)
        entry.U32(1024).U32(4).U32(4).U32(2);
    for (const Atom& extension : inExtensions)
        entry.Child(extension);
    return entry;
}

Atom SoundDescription2(const Sound2Spec& inSpec, const std::vector<Atom>& inExtensions)
{
    uint64_t rateBits = 0;
    std::memcpy(&rateBits, &inSpec.rate, sizeof rateBits);
    Atom entry(inSpec.format);
    entry.Zeros(6).U16(1).U16(inSpec.version).U16(0).U32(0);
    entry.U16(3).U16(16).U16(0xFFFE).U16(0).U32(0x00010000).U32(72);
    entry.U64(rateBits).U32(inSpec.channels).U32(0x7F000000).U32(inSpec.bits).U32(inSpec.flags);
    entry.U32(inSpec.bytesPerPacket).U32(inSpec.framesPerPacket);
    for (const Atom& extension : inExtensions)
        entry.Child(extension);
    return entry;
}

Atom Enda(uint16_t inLittleEndian)
{
    return Atom("enda").U16(inLittleEndian);
}

Atom Wave(const std::vector<Atom>& inChildren)
{
    return Container("wave", inChildren);
}

Atom PcmC(uint8_t inFormatFlags, uint8_t inDepth)
{
    return Atom("pcmC").FullHeader().U8(inFormatFlags).U8(inDepth);
}

Atom Srat(uint32_t inRate)
{
    return Atom("srat").FullHeader().U32(inRate);
}

Atom Chan(uint32_t inLayoutTag, uint32_t inBitmap, const std::vector<uint32_t>& inLabels)
{
    Atom chan("chan");
    chan.FullHeader().U32(inLayoutTag).U32(inBitmap).U32(uint32_t(inLabels.size()));
    for (uint32_t label : inLabels)
        chan.U32(label).U32(0).Zeros(12);
    return chan;
}

Atom Co64(const std::vector<uint64_t>& inOffsets)
{
    Atom co64("co64");
    co64.FullHeader().U32(uint32_t(inOffsets.size()));
    for (uint64_t offset : inOffsets)
        co64.U64(offset);
    return co64;
}

Atom SoundTrakWith(const std::vector<Atom>& inDescriptions, const std::vector<Atom>& inTables,
                   const std::vector<ElstEntry>& inEdits, uint32_t inDuration)
{
    TrackSpec sound;
    sound.handler = Code("soun");
    sound.mediaTimeScale = 600;
    sound.trackDuration = inDuration;
    sound.mediaDuration = inDuration;
    sound.width = 0;
    sound.height = 0;
    std::vector<Atom> tables = {StsdOf(inDescriptions), Stsz(1, {}, 0)};
    tables.insert(tables.end(), inTables.begin(), inTables.end());
    return TrakWith(sound, tables, inEdits);
}

} // namespace qttest
