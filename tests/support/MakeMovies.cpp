// Writes a handful of small movies made by the atom builder into a folder: seeds for the fuzzer
// and known files for tests that run outside GoogleTest.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <zlib.h>

#include "AliasAtoms.h"
#include "AtomBuilder.h"
#include "CaptionAtoms.h"
#include "MetadataAtoms.h"
#include "SoundAtoms.h"
#include "TimecodeAtoms.h"

using namespace qttest;

namespace
{

Atom UserData()
{
    Atom udta("udta");
    // Octal escapes: a hex escape would swallow the letters that follow.
    udta.Child(Atom("\251nam").Text("Seed")).Child(Atom("\251day").Text("2024"));
    return udta;
}

Atom UuidAtom()
{
    Atom uuid("uuid");
    for (uint8_t byte = 0; byte < 16; ++byte)
        uuid.U8(uint8_t(0xA0 + byte));
    return uuid.Text("payload");
}

// Video, sound and timecode tracks, with user data, a uuid child and free atoms to compact away.
Atom RichMoov()
{
    TrackSpec video;
    video.timeToSample = {{2, 100}, {1, 200}};
    TrackSpec sound;
    sound.handler = Code("soun");
    sound.mediaTimeScale = 48000;
    sound.mediaDuration = 48000;
    sound.width = 0;
    sound.height = 0;
    sound.timeToSample = {{48000, 1}};
    TrackSpec timecode;
    timecode.handler = Code("tmcd");
    timecode.timeToSample = {{1, 1000}};

    Atom edited("trak");
    edited.Children(
        {Tkhd(video), Atom("edts").Child(Elst({{.duration = 1000, .mediaTime = 0}})), Free(4), Mdia(video)});
    Atom moov("moov");
    moov.Children(
        {Mvhd(600, 1000, 100), Free(12), edited, Trak(sound), Trak(timecode), UserData(), UuidAtom()});
    return moov;
}

bool Write(const std::filesystem::path& inPath, const Bytes& inBytes)
{
    std::ofstream out(inPath, std::ios::binary);
    out.write(reinterpret_cast<const char*>(inBytes.data()), std::streamsize(inBytes.size()));
    return bool(out);
}

// moov holding only cmov: the zlib stream of a whole moov behind its expanded size.
Bytes CompressedMovie(const Bytes& inMoov)
{
    uLongf length = compressBound(uLong(inMoov.size()));
    Bytes packed(length);
    if (compress2(packed.data(), &length, inMoov.data(), uLong(inMoov.size()), 9) != Z_OK)
        return {};
    packed.resize(length);
    Atom cmvd("cmvd");
    cmvd.U32(uint32_t(inMoov.size())).Raw(packed);
    Atom cmov("cmov");
    cmov.Children({Atom("dcom").Type("zlib"), cmvd});
    return Build({Ftyp(), Atom("moov").Child(cmov), Mdat()});
}

// A movie of one sound track whose only description is inEntry.
Bytes SoundMovie(const Atom& inEntry)
{
    TrackSpec sound;
    sound.handler = Code("soun");
    sound.mediaTimeScale = 48000;
    sound.width = 0;
    sound.height = 0;
    sound.timeToSample = {{.sampleCount = 4096, .duration = 1}};
    std::vector<Atom> tables = BasicSampleTables(sound.timeToSample);
    tables[0] = StsdOf({inEntry});
    return MovieWith({TrakWith(sound, tables)});
}

// CEA-608 and CEA-708 caption tracks over a few samples in mdat: cdat atoms, then bare byte pairs
// in a second chunk, the 608 track with an edit.
Bytes CaptionsMovie()
{
    const Bytes cdat = CdatSample({0x94, 0x20, 0x94, 0x2C});              // 12 bytes
    const Bytes pairs = {0x94, 0x20, 0x94, 0xAE, 0x97, 0xA1, 0x97, 0xA1}; // 8 bytes
    const uint32_t start = kCaptionMediaStart;
    CaptionTrackSpec cea608;
    cea608.tables = {Stts({{.sampleCount = 3, .duration = 1001}}),
                     Stsc({{.firstChunk = 1, .samplesPerChunk = 2}, {.firstChunk = 2, .samplesPerChunk = 1}}),
                     Stsz(0, {12, 12, 8}, 3), Stco({start, start + 24})};
    cea608.edits = {{.duration = 500, .mediaTime = 1001}};
    CaptionTrackSpec cea708;
    cea708.format = Code("c708");
    cea708.tables = {Stts({{.sampleCount = 2, .duration = 1001}}),
                     Stsc({{.firstChunk = 1, .samplesPerChunk = 2}}), Stsz(10, {}, 2), Stco({start + 12})};
    return CaptionMovie(Concat({cdat, cdat, pairs}), {CaptionTrak(cea608), CaptionTrak(cea708)});
}

// Timecode tracks of both handlers: a drop-frame description with a source name, a 64-bit counter
// with two descriptions, and one whose sample is held in its data reference.
Bytes TimecodeMovie()
{
    const Atom named = TimecodeDescription({.flags = 1,
                                            .timeScale = 30000,
                                            .frameDuration = 1001,
                                            .frameCount = 30,
                                            .tail = NameAtom("Reel 1")});
    const Atom counter =
        TimecodeDescription({.flags = 8, .timeScale = 25, .frameDuration = 1, .frameCount = 25});
    return MovieWith(
        {TimecodeTrak({.descriptions = {named}, .tables = TimecodeTables(), .edits = {{.duration = 1000}}}),
         TimecodeTrak(
             {.handler = Code("tc64"), .descriptions = {counter, named}, .tables = TimecodeTables(8)}),
         TimecodeTrak(
             {.descriptions = {counter}, .tables = TimecodeTables(), .dinf = HandleDinf({0, 0, 1, 0})})});
}

// Keyed metadata of several value types under moov, name-tagged items in udta, and a track's own
// user data.
Bytes MetadataMovie()
{
    Atom trak = Trak(TrackSpec{});
    trak.Child(Atom("udta").Child(Atom("name").Text("Track")));
    Atom moov("moov");
    moov.Children(
        {Mvhd(600, 1000), trak,
         KeyedMeta(Keys({"com.example.title", "count", "wide", "rate"}),
                   {MetadataItem(1, 1, TextBytes("Seed")), MetadataItem(2, 0x15, {0x80, 0, 0, 1}),
                    MetadataItem(3, 2, {0, 'A', 0, 'B'}), MetadataItem(4, 0x17, {0x3F, 0xC0, 0, 0})}),
         TaggedUdta({MetadataItem(Code("\251nam"), 1, TextBytes("Name")),
                     MetadataItem(Code("\251day"), 1, TextBytes("2024"))}),
         UuidAtom()});
    return Build({Ftyp(), moov, Mdat()});
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);

    Atom header64("moov");
    header64.Children({Mvhd64(90000, 0x100000000ull, 0), Trak(TrackSpec{})});
    Atom moovFirst = RichMoov();

    const std::pair<const char*, Bytes> movies[] = {
        {"builder-simple.mov", SimpleMovie()},
        {"builder-rich.mov", Build({Ftyp(), RichMoov(), Mdat()})},
        {"builder-header64.mov", Build({Ftyp(), header64, Mdat()})},
        {"builder-moov-first.mov", Build({Free(8), moovFirst, Atom("mdat").Zeros(32).Extended()})},
        {"builder-compressed.mov", CompressedMovie(RichMoov().Build())},
        // One of each layout of sound description, with the extension atoms each reads.
        {"builder-sound-v0.mov",
         SoundMovie(SoundDescription({.format = Code("ipcm"), .version = 0, .sampleSize = 24},
                                     {PcmC(1, 24), Srat(96000)}))},
        {"builder-sound-v1.mov",
         SoundMovie(SoundDescription({.format = Code("in24"), .channels = 6, .sampleSize = 24},
                                     {Wave({Enda(1)}), Chan(0x007A0006)}))},
        {"builder-sound-v2.mov",
         SoundMovie(SoundDescription2({.channels = 6}, {Chan(0, 0, {1, 2, 3, 4, 5, 6})}))},
        // Tracks whose media lies in other files, named by alias records of every kind read.
        {"builder-aliases.mov",
         MovieWith(
             {ReferringTrak("vide", DinfOf({Dref({AliasEntry(AliasTo("a.mov", "clips", "/Volumes/Media",
                                                                     "/clips/a.mov")),
                                                  AliasEntry(AliasTo("b.mov"))})})),
              ReferringTrak("tmcd", DinfOf({Dref({AliasEntry(AliasTo("a.mov", "x", "", "/Archive/a.mov"))})}),
                            false),
              ReferringTrak("soun", DinfOf({Dref({DataReferenceEntry("url ", 0, "file:///c.mov")})}))})},
        {"builder-captions.mov", CaptionsMovie()},
        {"builder-timecode.mov", TimecodeMovie()},
        {"builder-metadata.mov", MetadataMovie()},
    };
    for (const auto& [name, bytes] : movies)
    {
        if (bytes.empty() || !Write(folder / name, bytes))
        {
            std::fprintf(stderr, "cannot write %s\n", (folder / name).string().c_str());
            return 1;
        }
    }
    return 0;
}
