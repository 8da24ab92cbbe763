#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace qttest
{

using Bytes = std::vector<uint8_t>;

uint32_t Code(const char (&inType)[5]);
// The four characters of an atom type, for messages.
std::string FourCCText(uint32_t inType);
// The big-endian word at inPos; throws std::out_of_range past the end.
uint32_t ReadU32(const std::vector<uint8_t>& inBytes, uint64_t inPos);

// Builds one atom from bytes: a header whose size is filled in, then fields and children in the
// order they are added. Raw overrides let a test break exactly one thing.
class Atom
{
public:
    explicit Atom(const char (&inType)[5]);
    explicit Atom(uint32_t inType);

    // Fields, big-endian.
    Atom& U8(uint8_t inValue);
    Atom& U16(uint16_t inValue);
    Atom& U24(uint32_t inValue);
    Atom& U32(uint32_t inValue);
    Atom& U64(uint64_t inValue);
    Atom& I32(int32_t inValue) { return U32(uint32_t(inValue)); }
    Atom& Type(const char (&inCode)[5]) { return U32(Code(inCode)); }
    Atom& Zeros(size_t inCount);
    Atom& Raw(const Bytes& inBytes);
    Atom& Text(const std::string& inText);
    // Version byte and 24-bit flags.
    Atom& FullHeader(uint8_t inVersion = 0, uint32_t inFlags = 0) { return U8(inVersion).U24(inFlags); }

    Atom& Child(const Atom& inChild);
    Atom& Children(std::initializer_list<Atom> inChildren);

    // The size word written instead of the real size.
    Atom& SizeWord(uint32_t inSizeWord);
    // Writes size word 1 and the real size (or inExtended) in the 64-bit field.
    Atom& Extended(std::optional<uint64_t> inExtended = std::nullopt);

    Bytes Build() const;
    size_t Size() const { return Build().size(); }

private:
    uint32_t mType;
    Bytes mBody;
    std::optional<uint32_t> mSizeWord;
    bool mExtended = false;
    std::optional<uint64_t> mExtendedValue;
};

Bytes Concat(std::initializer_list<Bytes> inParts);
Bytes Build(std::initializer_list<Atom> inAtoms);

// Well-formed pieces of a movie; each takes what tests vary and fills the rest sensibly.
Atom Mvhd(uint32_t inTimeScale, uint32_t inDuration, uint32_t inPosterTime = 0);
Atom Mvhd64(uint32_t inTimeScale, uint64_t inDuration, uint32_t inPosterTime = 0);
Atom Ftyp();
Atom Mdat(size_t inPayload = 16);
Atom Free(size_t inPayload = 0);

// One entry of a table, by field name; the defaults are what a plain track has.
struct SttsEntry
{
    uint32_t sampleCount = 0;
    uint32_t duration = 0;
};

struct CttsEntry
{
    uint32_t sampleCount = 0;
    int32_t offset = 0;
};

struct StscEntry
{
    uint32_t firstChunk = 1;
    uint32_t samplesPerChunk = 0;
    uint32_t descriptionId = 1;
};

struct ElstEntry
{
    uint32_t duration = 0;
    uint32_t mediaTime = 0;
    uint32_t rate = 0x10000; // 16.16
};

struct TrackSpec
{
    uint32_t handler = Code("vide");
    uint32_t trackDuration = 1000;
    uint32_t mediaTimeScale = 600;
    uint32_t mediaDuration = 1000;
    uint32_t flags = 1;        // tkhd flags: bit 0 enabled
    int32_t width = 640 << 16; // 16.16
    int32_t height = 480 << 16;
    bool sampleTables = true; // stbl with all required children
    std::vector<SttsEntry> timeToSample = {{.sampleCount = 10, .duration = 100}};
};

Atom Tkhd(const TrackSpec& inSpec);
Atom Mdhd(uint32_t inTimeScale, uint32_t inDuration);
Atom Hdlr(uint32_t inSubtype);
Atom Elst(const std::vector<ElstEntry>& inEntries);
// An elst whose count field says inCount, whatever the entries that follow.
Atom ElstCounting(uint32_t inCount, const std::vector<ElstEntry>& inEntries);
Atom Stts(const std::vector<SttsEntry>& inEntries);
Atom Stsd(uint32_t inFormat);
// A sample description entry of inFormat with inBody bytes of zeros behind its header.
Atom SampleEntry(const char (&inFormat)[5], size_t inBody = 8);
Atom Stsc(const std::vector<StscEntry>& inEntries);
Atom Stsz(uint32_t inConstantSize, const std::vector<uint32_t>& inSizes, uint32_t inCount);
Atom Stco(const std::vector<uint32_t>& inOffsets);
Atom Ctts(const std::vector<CttsEntry>& inEntries);
// sdtp with one flags byte a sample.
Atom Sdtp(const std::vector<uint8_t>& inFlags);
// stss or stps, listing 1-based sample numbers.
Atom Stss(const std::vector<uint32_t>& inSamples);
Atom Stps(const std::vector<uint32_t>& inSamples);
Atom Vmhd();
Atom Dinf();
Atom Uuid(const std::array<uint8_t, 16>& inUUID, const Bytes& inPayload);
// inBytes as one zlib stream.
Bytes Deflate(const Bytes& inBytes);
// cmov holding inMoov deflated, with inStatedSize as the expanded size that cmvd states.
Atom Cmov(const Bytes& inMoov, uint32_t inStatedSize, uint32_t inMethod = Code("zlib"));
Atom Cmov(const Bytes& inMoov);
// stbl holding stsd, stts, stsc, stsz and stco for inSpec's samples.
Atom Stbl(const TrackSpec& inSpec);
Atom Minf(const TrackSpec& inSpec);
// A video minf (vmhd, dinf) and mdia (mdhd, hdlr) around a given stbl or minf.
Atom MinfWithStbl(const Atom& inStbl);
Atom MdiaWithMinf(const Atom& inMinf);
Atom Mdia(const TrackSpec& inSpec);
Atom Trak(const TrackSpec& inSpec);
// An atom of inType holding exactly inChildren.
Atom Container(const char (&inType)[5], const std::vector<Atom>& inChildren);
// A trak of tkhd, inBeforeMdia, and an mdia of mdhd then inMediaChildren: for walks that must
// meet exactly the atoms a test places.
Atom TrakOfMedia(const std::vector<Atom>& inBeforeMdia, const std::vector<Atom>& inMediaChildren);
// moov: mvhd, inChildren, and a last atom of 12 bytes, so that no small atom of a test is ever
// the buffer's last 8 bytes, which the walks leave unread.
Atom MoovOf(const std::vector<Atom>& inChildren);
// tkhd, edts holding inElst, and the mdia of inSpec.
Atom TrakWithEdits(const TrackSpec& inSpec, const Atom& inElst);

// moov: mvhd and one trak for each TrackSpec.
Atom SimpleMoov(std::initializer_list<TrackSpec> inTracks = {TrackSpec{}}, uint32_t inTimeScale = 600,
                uint32_t inDuration = 1000);
// ftyp, the moov of SimpleMoov, mdat.
Bytes SimpleMovie(std::initializer_list<TrackSpec> inTracks = {TrackSpec{}}, uint32_t inTimeScale = 600,
                  uint32_t inDuration = 1000);

// A trak of inSpec's headers whose stbl holds exactly inSampleTables, with an edts/elst when
// inEdits is not empty.
Atom TrakWith(const TrackSpec& inSpec, const std::vector<Atom>& inSampleTables,
              const std::vector<ElstEntry>& inEdits = {});
// ftyp, moov (mvhd and the given traks), mdat.
Bytes MovieWith(const std::vector<Atom>& inTraks, uint32_t inTimeScale = 600, uint32_t inDuration = 1000);
// The required sample tables (stsd, stts, stsc, stsz, stco) for samples of constant size in one chunk.
std::vector<Atom> BasicSampleTables(const std::vector<SttsEntry>& inTimeToSample);

// The fixed 86 bytes of an Image Description; extension atoms are added with Child().
struct ImageSpec
{
    uint32_t format = Code("avc1");
    uint32_t vendor = Code("test");
    uint32_t temporalQuality = 512;
    uint32_t spatialQuality = 1024;
    int16_t width = 640;
    int16_t height = 480;
    std::string name = "H.264";
    uint8_t nameLength = 0xFF; // 0xFF: the name's own length
    uint16_t depth = 24;
    int16_t colorTableId = -1;
};
Atom ImageDescription(const ImageSpec& inSpec);
// An stsd of the given entries.
Atom StsdOf(const std::vector<Atom>& inEntries);

} // namespace qttest
