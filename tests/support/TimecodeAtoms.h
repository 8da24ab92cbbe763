#pragma once

// Builders of timecode tracks: the Timecode Sample Description, its name atom, and a data
// reference that holds the sample itself.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AtomBuilder.h"

namespace qttest
{

// The fixed 34 bytes of a Timecode Sample Description, then inTail: ffmpeg writes two zero bytes
// there when it has no source name, and a name atom when it has one.
struct TimecodeSpec
{
    uint32_t format = Code("tmcd");
    uint32_t flags = 0;
    uint32_t timeScale = 25;
    uint32_t frameDuration = 1;
    uint8_t frameCount = 25;
    Bytes tail = {0, 0};
};
Atom TimecodeDescription(const TimecodeSpec& inSpec);

// A name atom of inText behind its 16-bit length and language; inSizeWord replaces its size.
Bytes NameAtom(const std::string& inText, std::optional<uint32_t> inSizeWord = std::nullopt);

// dinf with one "hndl" data reference whose data record holds inData.
Atom HandleDinf(const Bytes& inData);

// A timecode track at 600 ticks a second in a movie of the same scale: handler inHandler ("tmcd"
// or "tc64"), an stsd of inDescriptions, inTables behind it in stbl, inDinf as its data reference.
struct TimecodeTrackSpec
{
    uint32_t handler = Code("tmcd");
    std::vector<Atom> descriptions = {};
    std::vector<Atom> tables = {};
    std::vector<ElstEntry> edits = {};
    std::optional<Atom> dinf = std::nullopt;
    // Replaces the stsd of inDescriptions, for tests that break the table itself.
    std::optional<Atom> stsd = std::nullopt;
};
Atom TimecodeTrak(const TimecodeTrackSpec& inSpec);

// The usual tables of a timecode track: one sample of inSampleSize bytes at inOffset.
std::vector<Atom> TimecodeTables(uint32_t inSampleSize = 4, uint32_t inOffset = 48);

} // namespace qttest
