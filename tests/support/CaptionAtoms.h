#pragma once

// Builders of closed caption tracks and of the media their chunk offsets point into.

#include <cstdint>
#include <vector>

#include "AtomBuilder.h"

namespace qttest
{

// Where the media of CaptionMovie begins: behind ftyp (20 bytes) and the mdat header.
inline constexpr uint32_t kCaptionMediaStart = 28;

// A CEA-608 sample as files hold it: a cdat atom of the given byte pairs.
Bytes CdatSample(const Bytes& inPairs);

// A caption track ("clcp" by default) in a movie of 600 ticks a second, of one second and 30000
// media ticks a second unless told: an stsd of one entry of inFormat, and inTables behind it in
// stbl.
struct CaptionTrackSpec
{
    uint32_t handler = Code("clcp");
    uint32_t format = Code("c608");
    uint32_t mediaTimeScale = 30000;
    uint32_t trackDuration = 600;
    std::vector<Atom> tables = {};
    std::vector<ElstEntry> edits = {};
    bool withDescription = true;
};
Atom CaptionTrak(const CaptionTrackSpec& inSpec);

// ftyp, an mdat holding inMedia at kCaptionMediaStart, then moov of the given tracks and a last
// small atom.
Bytes CaptionMovie(const Bytes& inMedia, const std::vector<Atom>& inTraks);

} // namespace qttest
