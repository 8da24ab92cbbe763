#pragma once

// Builders of sound descriptions and their extension atoms.

#include <cstdint>
#include <vector>

#include "AtomBuilder.h"

namespace qttest
{

// A version 0 or 1 sound description: the fixed 36 bytes, the four words of version 1 when
// version is 1, then inExtensions.
struct SoundSpec
{
    uint32_t format = Code("twos");
    uint16_t version = 1;
    int16_t channels = 2;
    int16_t sampleSize = 16;
    int16_t packetSize = 0;
    uint32_t rate = 48000u << 16; // unsigned 16.16
};
Atom SoundDescription(const SoundSpec& inSpec, const std::vector<Atom>& inExtensions = {});

// A version 2 sound description: its 72 bytes, then inExtensions.
struct Sound2Spec
{
    uint32_t format = Code("lpcm");
    uint16_t version = 2;
    double rate = 96000.0;
    uint32_t channels = 2;
    uint32_t bits = 24;
    uint32_t flags = 4 | 2; // signed integer, big-endian
    uint32_t bytesPerPacket = 6;
    uint32_t framesPerPacket = 1;
};
Atom SoundDescription2(const Sound2Spec& inSpec, const std::vector<Atom>& inExtensions = {});

// enda with its 16-bit value; wave holding inChildren.
Atom Enda(uint16_t inLittleEndian);
Atom Wave(const std::vector<Atom>& inChildren);
// pcmC: version and flags, the format flags byte (bit 0: little-endian), the depth byte.
Atom PcmC(uint8_t inFormatFlags, uint8_t inDepth);
Atom Srat(uint32_t inRate);
// chan with a layout tag, a bitmap and channel descriptions of the given labels.
Atom Chan(uint32_t inLayoutTag, uint32_t inBitmap = 0, const std::vector<uint32_t>& inLabels = {});

// co64 of the given offsets.
Atom Co64(const std::vector<uint64_t>& inOffsets);

// A sound track at 600 ticks a second (the movie's scale) of inDuration ticks, whose stsd holds
// inDescriptions and whose stbl holds them and inTables (stts, stsc, chunk offsets and the like).
Atom SoundTrakWith(const std::vector<Atom>& inDescriptions, const std::vector<Atom>& inTables,
                   const std::vector<ElstEntry>& inEdits = {}, uint32_t inDuration = 1000);

} // namespace qttest
