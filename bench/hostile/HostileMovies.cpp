// Writes worst-case movies: for each thing a hostile file can multiply, a movie whose movie atom
// spends up to the loader's limit (128 MiB) on as many of it as the bytes allow, at 1/8, 1/4, 1/2
// and all of that budget, so that the growth of each operation can be seen. Families whose count
// costs no bytes (one entry claiming billions) scale the claimed count instead.
//
//   hostile_movies --list
//   hostile_movies OUTDIR FAMILY [EIGHTHS...]     writes OUTDIR/FAMILY-EIGHTHS.mov (default 1 2 4 8)

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <zlib.h>

#include "HostileWriter.h"

namespace hostile
{

namespace
{

// The loader refuses a larger movie atom; a little is kept back for the skeleton around the family.
constexpr uint64_t kMovieAtomLimit = 0x8000000;
constexpr uint64_t kBudget = kMovieAtomLimit - 16384;
// Where the one chunk of media stands: the payload of the mdat that opens the file.
constexpr uint32_t kMediaOffset = 8;
constexpr uint32_t kMediaBytes = 64;

using Part = std::function<void(Writer&)>;

struct TrackPlan
{
    const char* handler = "vide";
    const char* mediaHeader = "vmhd";
    uint32_t timeScale = 600;
    uint32_t duration = 600;
    Part trakExtra;  // between tkhd and mdia
    Part dataRefs;   // the entries of dref, with their count
    Part sampleDesc; // the entries of stsd, with their count
    Part tables;     // every table of stbl but stsd
    Part stblExtra;  // behind the tables
    Part trakTail;   // behind mdia, inside trak
};

void Mvhd(Writer& w, uint32_t inTimeScale = 600, uint32_t inDuration = 600)
{
    w.Open("mvhd").FullHeader().U32(0).U32(0).U32(inTimeScale).U32(inDuration).U32(0x10000).U16(0x100);
    w.Zeros(10).U32(0x10000).U32(0).U32(0).U32(0).U32(0x10000).U32(0).U32(0).U32(0).U32(0x40000000);
    w.Zeros(24).U32(2).Close();
}

void Tkhd(Writer& w, uint32_t inDuration)
{
    w.Open("tkhd").FullHeader(0, 1).U32(0).U32(0).U32(1).U32(0).U32(inDuration).Zeros(8);
    w.U16(0).U16(0).U16(0x100).U16(0);
    w.U32(0x10000).U32(0).U32(0).U32(0).U32(0x10000).U32(0).U32(0).U32(0).U32(0x40000000);
    w.U32(640u << 16).U32(480u << 16).Close();
}

void VideoEntry(Writer& w, const char* inFormat = "avc1")
{
    w.U32(86).Type(inFormat).Zeros(6).U16(1).U16(0).U16(0).Type("abcd").U32(0).U32(0x200);
    w.U16(640).U16(480).U32(0x480000).U32(0x480000).U32(0).U16(1).Zeros(32).U16(24).U16(0xFFFF);
}

void SoundEntry(Writer& w)
{
    w.U32(36).Type("twos").Zeros(6).U16(1).U16(0).U16(0).U32(0).U16(2).U16(16).U16(0).U16(0);
    w.U32(48000u << 16);
}

void DefaultDataRefs(Writer& w)
{
    w.U32(1).Open("url ").FullHeader(0, 1).Close();
}

void DefaultTables(Writer& w)
{
    w.Open("stts").FullHeader().U32(1).U32(1).U32(600).Close();
    w.Open("stsc").FullHeader().U32(1).U32(1).U32(1).U32(1).Close();
    w.Open("stsz").FullHeader().U32(16).U32(1).Close();
    w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
}

void Track(Writer& w, const TrackPlan& inPlan)
{
    w.Open("trak");
    Tkhd(w, inPlan.duration);
    if (inPlan.trakExtra)
        inPlan.trakExtra(w);
    w.Open("mdia");
    w.Open("mdhd")
        .FullHeader()
        .U32(0)
        .U32(0)
        .U32(inPlan.timeScale)
        .U32(inPlan.duration)
        .U16(0)
        .U16(0)
        .Close();
    w.Open("hdlr").FullHeader().Type("mhlr").Type(inPlan.handler).U32(0).U32(0).U32(0).U8(0).Close();
    w.Open("minf");
    w.Open(inPlan.mediaHeader).FullHeader(0, 1).Zeros(8).Close();
    w.Open("dinf").Open("dref").FullHeader();
    (inPlan.dataRefs ? inPlan.dataRefs : Part(DefaultDataRefs))(w);
    w.Close().Close();
    w.Open("stbl");
    w.Open("stsd").FullHeader();
    if (inPlan.sampleDesc)
        inPlan.sampleDesc(w);
    else
    {
        w.U32(1);
        if (std::strcmp(inPlan.handler, "soun") == 0)
            SoundEntry(w);
        else
            VideoEntry(w);
    }
    w.Close();
    (inPlan.tables ? inPlan.tables : Part(DefaultTables))(w);
    if (inPlan.stblExtra)
        inPlan.stblExtra(w);
    w.Close().Close().Close(); // stbl, minf, mdia
    if (inPlan.trakTail)
        inPlan.trakTail(w);
    w.Close();
}

// The file: a little media, then the movie atom that the family fills.
Writer Movie(uint64_t inReserve, const std::function<void(Writer&)>& inMoovBody)
{
    Writer w(inReserve + 4096);
    w.U32(8 + kMediaBytes).Type("mdat");
    // A caption chunk opens with a cdat header; other media do not look.
    w.U32(kMediaBytes).Type("cdat").Zeros(kMediaBytes - 8);
    w.Open("moov");
    inMoovBody(w);
    w.Close();
    return w;
}

Writer OneTrack(uint64_t inReserve, const TrackPlan& inPlan, const Part& inMoovTail = {})
{
    return Movie(inReserve,
                 [&](Writer& w)
                 {
                     Mvhd(w);
                     Track(w, inPlan);
                     if (inMoovTail)
                         inMoovTail(w);
                 });
}

void TinyAtoms(Writer& w, uint64_t inCount, const char* inType)
{
    for (uint64_t i = 0; i < inCount; ++i)
        w.Empty(inType);
}

// Tables of one entry claiming inSamples samples of one tick, all in one chunk.
Part OneRunTables(uint32_t inSamples, uint32_t inConstantSize = 16)
{
    return [=](Writer& w)
    {
        w.Open("stts").FullHeader().U32(1).U32(inSamples).U32(1).Close();
        w.Open("stsc").FullHeader().U32(1).U32(1).U32(inSamples).U32(1).Close();
        w.Open("stsz").FullHeader().U32(inConstantSize).U32(inSamples).Close();
        w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
    };
}

using Family = std::function<Writer(uint64_t inBudget, uint32_t inEighths)>;

struct FamilyEntry
{
    const char* name;
    const char* what;
    Family make;
};

// A count that fills inBudget with entries of inEntryBytes.
uint32_t Fill(uint64_t inBudget, uint64_t inEntryBytes)
{
    return uint32_t(inBudget / inEntryBytes);
}

// For the families that claim counts: 1/8 .. all of inMost.
uint32_t Claim(uint64_t inMost, uint32_t inEighths)
{
    return inEighths == 8 ? uint32_t(inMost) : uint32_t(inMost / 8 * inEighths);
}

// A name for the N-th alias, distinct for the first 26^6.
void AliasName(uint32_t inIndex, char (&outName)[6])
{
    for (int i = 0; i < 6; ++i)
    {
        outName[i] = char('a' + inIndex % 26);
        inIndex /= 26;
    }
}

// One alias data reference of inRecordLength bytes of record (at least 154): fixed fields, the
// file name, then inTags tags of no data and the end tag, the rest zeros.
void AliasEntry(Writer& w, uint32_t inIndex, uint32_t inRecordLength, uint32_t inTags)
{
    const size_t start = w.Size();
    w.U32(12 + inRecordLength).Type("alis").FullHeader(0, 0);
    const size_t record = w.Size();
    w.U32(0).U16(uint16_t(inRecordLength)).U16(2).Zeros(50 - 8);
    char name[6];
    AliasName(inIndex, name);
    w.U8(6).Raw(name, 6).Zeros(130 - 57).U16(1).U16(1).Zeros(150 - 134);
    for (uint32_t t = 0; t < inTags; ++t)
        w.U16(uint16_t(t % 2 == 0 ? 0 : 18)).U16(0);
    w.U16(0xFFFF).U16(0);
    const size_t used = w.Size() - record;
    if (used < inRecordLength)
        w.Zeros(inRecordLength - used);
    (void)start;
}

std::vector<FamilyEntry> Families()
{
    std::vector<FamilyEntry> families;
    auto add = [&](const char* inName, const char* inWhat, Family inMake) {
        families.push_back({inName, inWhat, std::move(inMake)});
    };

    // Atoms.
    add("moov-atoms", "8-byte atoms among the children of moov",
        [](uint64_t b, uint32_t)
        { return OneTrack(b, {}, [=](Writer& w) { TinyAtoms(w, Fill(b, 8), "junk"); }); });
    add("moov-free", "8-byte free atoms in moov, dropped by the load",
        [](uint64_t b, uint32_t)
        { return OneTrack(b, {}, [=](Writer& w) { TinyAtoms(w, Fill(b, 8), "free"); }); });
    add("trak-free", "empty container headers in a trak, then as many free atoms",
        [](uint64_t b, uint32_t)
        {
            TrackPlan plan;
            plan.trakTail = [=](Writer& w)
            {
                const uint32_t n = Fill(b, 16);
                TinyAtoms(w, n, "mdia");
                TinyAtoms(w, n, "free");
            };
            return OneTrack(b, plan);
        });
    add("trak-atoms", "8-byte atoms in trak between tkhd and mdia",
        [](uint64_t b, uint32_t)
        {
            TrackPlan plan;
            plan.trakExtra = [=](Writer& w) { TinyAtoms(w, Fill(b, 8), "junk"); };
            return OneTrack(b, plan);
        });
    add("stbl-atoms", "8-byte atoms in stbl",
        [](uint64_t b, uint32_t)
        {
            TrackPlan plan;
            plan.stblExtra = [=](Writer& w) { TinyAtoms(w, Fill(b, 8), "junk"); };
            return OneTrack(b, plan);
        });
    add("udta-items", "12-byte user data items in the movie's udta",
        [](uint64_t b, uint32_t)
        {
            return OneTrack(b, {},
                            [=](Writer& w)
                            {
                                w.Open("udta");
                                const uint32_t n = Fill(b, 12);
                                for (uint32_t i = 0; i < n; ++i)
                                    w.U32(12).U32(0x61610000u + (i & 0xFFFF)).U32(i);
                                w.Close();
                            });
        });
    add("tracks", "minimal video tracks",
        [](uint64_t b, uint32_t)
        {
            Writer probe;
            Track(probe, {});
            const uint32_t n = Fill(b, probe.Size());
            return Movie(b,
                         [=](Writer& w)
                         {
                             Mvhd(w);
                             for (uint32_t i = 0; i < n; ++i)
                                 Track(w, {});
                         });
        });

    // Sample tables, each the most entries.
    add("stts", "stts entries of one sample each",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 8);
            TrackPlan plan;
            plan.tables = [=](Writer& w)
            {
                w.Open("stsc").FullHeader().U32(1).U32(1).U32(n).U32(1).Close();
                w.Open("stsz").FullHeader().U32(16).U32(n).Close();
                w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
                w.Open("stts").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(1).U32(1 + i % 2);
                w.Close();
            };
            return OneTrack(b, plan);
        });
    add("ctts", "ctts entries of one sample each, with sdtp",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 10);
            TrackPlan plan;
            plan.tables = OneRunTables(n);
            plan.stblExtra = [=](Writer& w)
            {
                w.Open("ctts").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(1).U32(0);
                w.Close();
                w.Open("sdtp").FullHeader();
                for (uint32_t i = 0; i < n; ++i)
                    w.U8(i % 16 == 0 ? 0x20 : 0x04);
                w.Close();
                w.Open("stss").FullHeader().U32((n + 15) / 16);
                for (uint32_t i = 0; i < n; i += 16)
                    w.U32(i + 1);
                w.Close();
            };
            return OneTrack(b, plan);
        });
    add("stss", "stss entries, every sample a sync sample",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 4);
            TrackPlan plan;
            plan.tables = OneRunTables(n);
            plan.stblExtra = [=](Writer& w)
            {
                w.Open("stss").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(i + 1);
                w.Close();
            };
            return OneTrack(b, plan);
        });
    add("stsc", "stsc runs of one chunk of one sample each",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 16);
            TrackPlan plan;
            plan.tables = [=](Writer& w)
            {
                w.Open("stts").FullHeader().U32(1).U32(n).U32(1).Close();
                w.Open("stsc").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(i + 1).U32(1 + i % 2).U32(1);
                w.Close();
                w.Open("stsz").FullHeader().U32(16).U32(n).Close();
                w.Open("stco").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(kMediaOffset);
                w.Close();
            };
            return OneTrack(b, plan);
        });
    add("stsz", "stsz sizes, all samples in one chunk",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 4);
            TrackPlan plan;
            plan.tables = [=](Writer& w)
            {
                w.Open("stts").FullHeader().U32(1).U32(n).U32(1).Close();
                w.Open("stsc").FullHeader().U32(1).U32(1).U32(n).U32(1).Close();
                w.Open("stsz").FullHeader().U32(0).U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(1 + i % 3);
                w.Close();
                w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
            };
            return OneTrack(b, plan);
        });
    for (const bool wide : {false, true})
        add(wide ? "co64" : "stco",
            wide ? "co64 chunk offsets, a sample each" : "stco chunk offsets, a sample each",
            [wide](uint64_t b, uint32_t)
            {
                const uint32_t n = Fill(b, wide ? 8 : 4);
                TrackPlan plan;
                plan.tables = [=](Writer& w)
                {
                    w.Open("stts").FullHeader().U32(1).U32(n).U32(1).Close();
                    w.Open("stsc").FullHeader().U32(1).U32(1).U32(1).U32(1).Close();
                    w.Open("stsz").FullHeader().U32(16).U32(n).Close();
                    w.Open(wide ? "co64" : "stco").FullHeader().U32(n);
                    for (uint32_t i = 0; i < n; ++i)
                        wide ? w.U64(kMediaOffset + 16ull * i) : w.U32(kMediaOffset + 16 * i);
                    w.Close();
                };
                return OneTrack(b, plan);
            });
    add("sdtp", "sdtp flags, one ctts entry for all",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 1);
            TrackPlan plan;
            plan.tables = OneRunTables(n);
            plan.stblExtra = [=](Writer& w)
            {
                w.Open("ctts").FullHeader().U32(1).U32(n).U32(0).Close();
                w.Open("sdtp").FullHeader();
                for (uint32_t i = 0; i < n; ++i)
                    w.U8(0x20);
                w.Close();
            };
            return OneTrack(b, plan);
        });

    // Sample descriptions.
    for (const bool sound : {false, true})
        add(sound ? "stsd-sound" : "stsd-video",
            sound ? "16-byte sound descriptions" : "16-byte image descriptions",
            [sound](uint64_t b, uint32_t)
            {
                const uint32_t n = Fill(b, 16);
                TrackPlan plan;
                if (sound)
                {
                    plan.handler = "soun";
                    plan.mediaHeader = "smhd";
                }
                plan.sampleDesc = [=](Writer& w)
                {
                    w.U32(n);
                    for (uint32_t i = 0; i < n; ++i)
                        w.U32(16).Type(sound ? "twos" : "avc1").Zeros(6).U16(1);
                };
                return OneTrack(b, plan);
            });

    // Edits.
    add("elst", "edit list entries",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 12);
            TrackPlan plan;
            plan.trakExtra = [=](Writer& w)
            {
                w.Open("edts").Open("elst").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(1).U32(i == 0 ? 0xFFFFFFFF : 0).U32(0x10000);
                w.Close().Close();
            };
            return OneTrack(b, plan);
        });

    // Metadata and user data.
    add("meta-keyed", "keys and keyed ilst items",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 37);
            return OneTrack(b, {},
                            [=](Writer& w)
                            {
                                // The keyed meta under moov has no version and flags.
                                w.Open("meta");
                                w.Open("hdlr").FullHeader().U32(0).Type("mdta").Zeros(12).U8(0).Close();
                                w.Open("keys").FullHeader().U32(n);
                                for (uint32_t i = 0; i < n; ++i)
                                    w.U32(12).Type("mdta").U32(i);
                                w.Close();
                                w.Open("ilst");
                                for (uint32_t i = 0; i < n; ++i)
                                    w.U32(25).U32(i + 1).U32(17).Type("data").U32(21).U32(0).U8(uint8_t(i));
                                w.Close();
                                w.Close();
                            });
        });
    add("meta-tagged", "name-tagged ilst items in udta/meta",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 25);
            return OneTrack(b, {},
                            [=](Writer& w)
                            {
                                w.Open("udta").Open("meta").FullHeader().Open("ilst");
                                for (uint32_t i = 0; i < n; ++i)
                                    w.U32(25)
                                        .U8(0xA9)
                                        .U24(i & 0xFFFFFF)
                                        .U32(17)
                                        .Type("data")
                                        .U32(1)
                                        .U32(0)
                                        .U8('a' + i % 26);
                                w.Close().Close().Close();
                            });
        });

    // External references.
    add("alias-records", "alias data references, a file each",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 166);
            TrackPlan plan;
            plan.dataRefs = [=](Writer& w)
            {
                w.U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    AliasEntry(w, i, 154, 0);
            };
            return OneTrack(b, plan);
        });
    add("alias-tags", "alias records of 64 KiB, each the most empty tags",
        [](uint64_t b, uint32_t)
        {
            constexpr uint32_t kRecord = 65532;
            const uint32_t n = Fill(b, kRecord + 12);
            TrackPlan plan;
            plan.dataRefs = [=](Writer& w)
            {
                w.U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    AliasEntry(w, i, kRecord, (kRecord - 154) / 4);
            };
            return OneTrack(b, plan);
        });
    add("alias-dotpath", "alias records of 64 KiB whose path is \"/./\" over and over",
        [](uint64_t b, uint32_t)
        {
            constexpr uint32_t kRecord = 65532;
            const uint32_t n = Fill(b, kRecord + 12);
            TrackPlan plan;
            plan.dataRefs = [=](Writer& w)
            {
                w.U32(n);
                for (uint32_t i = 0; i < n; ++i)
                {
                    AliasEntry(w, i, kRecord, 0);
                    // The end tag and the zeros behind it become one path tag filling the record.
                    const size_t tag = w.Size() - kRecord + 150;
                    const uint16_t length = uint16_t(kRecord - 150 - 4 - 4);
                    std::vector<uint8_t>& bytes = w.Bytes();
                    bytes[tag] = 0;
                    bytes[tag + 1] = 18;
                    bytes[tag + 2] = uint8_t(length >> 8);
                    bytes[tag + 3] = uint8_t(length);
                    bytes[tag + 4] = '/';
                    for (uint32_t k = 1; k < length; ++k)
                        bytes[tag + 4 + k] = k % 2 ? '.' : '/';
                    bytes[tag + 4 + length - 1] = 'a';
                    bytes[tag + 4 + length] = 0xFF;
                    bytes[tag + 4 + length + 1] = 0xFF;
                }
            };
            return OneTrack(b, plan);
        });
    add("alias-overlap", "short alias records whose one tag reaches 64 KiB past each",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 166);
            TrackPlan plan;
            plan.dataRefs = [=](Writer& w)
            {
                w.U32(n);
                const size_t first = w.Size();
                for (uint32_t i = 0; i < n; ++i)
                    AliasEntry(w, i, 154, 0);
                // Each record's end tag becomes a path tag whose data runs on over the records
                // behind it, as far as the data references still reach.
                const size_t end = w.Size();
                for (uint32_t i = 0; i < n; ++i)
                {
                    const size_t tag = first + 166ull * i + 12 + 150;
                    const uint64_t room = end - (tag + 4);
                    const uint16_t length = uint16_t(std::min<uint64_t>(room, 0xFFFE) & ~1u);
                    std::vector<uint8_t>& bytes = w.Bytes();
                    if (room < 4 + 4)
                        continue;
                    const uint16_t fit = uint16_t(std::min<uint64_t>(length, room - 4) & ~1u);
                    bytes[tag] = 0;
                    bytes[tag + 1] = 18;
                    bytes[tag + 2] = uint8_t(fit >> 8);
                    bytes[tag + 3] = uint8_t(fit);
                }
            };
            return OneTrack(b, plan);
        });

    // Captions.
    add("captions", "caption samples of one pair each, in one chunk",
        [](uint64_t b, uint32_t)
        {
            const uint32_t n = Fill(b, 4);
            TrackPlan plan;
            plan.handler = "clcp";
            plan.mediaHeader = "gmhd";
            plan.sampleDesc = [](Writer& w) { w.U32(1).U32(16).Type("c608").Zeros(6).U16(1); };
            plan.tables = [=](Writer& w)
            {
                w.Open("stts").FullHeader().U32(1).U32(n).U32(1).Close();
                w.Open("stsc").FullHeader().U32(1).U32(1).U32(n).U32(1).Close();
                w.Open("stsz").FullHeader().U32(0).U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(10);
                w.Close();
                w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
            };
            plan.timeScale = 30000;
            // The edit keeps every sample: n ticks of 1/30000 s in movie ticks of 1/600 s.
            plan.duration = n / 50 + 600;
            return OneTrack(b, plan);
        });
    add("caption-pairs", "caption samples whose size claims 2^30 pairs each",
        [](uint64_t, uint32_t inEighths)
        {
            const uint32_t n = inEighths;
            TrackPlan plan;
            plan.handler = "clcp";
            plan.mediaHeader = "gmhd";
            plan.sampleDesc = [](Writer& w) { w.U32(1).U32(16).Type("c608").Zeros(6).U16(1); };
            plan.tables = [=](Writer& w)
            {
                w.Open("stts").FullHeader().U32(1).U32(n).U32(1001).Close();
                w.Open("stsc").FullHeader().U32(1).U32(1).U32(1).U32(1).Close();
                w.Open("stsz").FullHeader().U32(0x7FFFFFFE).U32(n).Close();
                w.Open("stco").FullHeader().U32(n);
                for (uint32_t i = 0; i < n; ++i)
                    w.U32(kMediaOffset);
                w.Close();
            };
            plan.timeScale = 30000;
            return OneTrack(1 << 16, plan);
        });

    // Timecode: descriptions of the longest source name.
    add("timecode", "a timecode description whose source name fills the budget",
        [](uint64_t b, uint32_t)
        {
            TrackPlan plan;
            plan.handler = "tmcd";
            plan.mediaHeader = "gmhd";
            plan.sampleDesc = [=](Writer& w)
            {
                const uint32_t text = uint32_t(b - 64);
                w.U32(1).U32(34 + 12 + text).Type("tmcd").Zeros(6).U16(1).U32(0).U32(0).U32(30000).U32(1001);
                w.U8(30).U8(0).U32(12 + text).Type("name").U16(uint16_t(text)).U16(0);
                const size_t at = w.Size();
                w.Zeros(text);
                std::memset(w.Bytes().data() + at, 'n', text);
            };
            plan.tables = [](Writer& w)
            {
                DefaultTables(w);
                (void)w;
            };
            return OneTrack(b, plan);
        });

    // Compressed: the expansion is as large as the loader accepts (256 MiB), of 8-byte atoms.
    add("cmov", "a compressed movie atom expanding to 8-byte atoms, up to 256 MiB",
        [](uint64_t, uint32_t inEighths)
        {
            const uint64_t expanded = (uint64_t(256) << 20) / 8 * inEighths;
            Writer inner(expanded);
            inner.Open("moov");
            Mvhd(inner);
            Track(inner, {});
            TinyAtoms(inner, (expanded - inner.Size() - 8) / 8, "junk");
            inner.Close();
            std::vector<uint8_t> packed(compressBound(uLong(inner.Size())));
            uLongf packedSize = uLongf(packed.size());
            if (compress2(packed.data(), &packedSize, inner.Bytes().data(), uLong(inner.Size()), 1) != Z_OK)
                std::abort();
            packed.resize(packedSize);
            return Movie(
                packed.size(),
                [&](Writer& w)
                {
                    w.Open("cmov");
                    w.Open("dcom").Type("zlib").Close();
                    w.Open("cmvd").U32(uint32_t(inner.Size())).Raw(packed.data(), packed.size()).Close();
                    w.Close();
                });
        });

    // Counts claimed in a few bytes: the claim scales, not the bytes.
    add("claim-stts", "one stts entry claiming up to 2^32-1 samples",
        [](uint64_t, uint32_t e)
        {
            TrackPlan plan;
            plan.tables = OneRunTables(Claim(0xFFFFFFFFu, e));
            return OneTrack(4096, plan);
        });
    add("claim-ctts", "one ctts entry claiming up to 2^31-1 samples over as many as sdtp has room for",
        [](uint64_t, uint32_t e)
        {
            // As many samples as the flags of sdtp leave room for in the movie atom.
            const uint32_t n = Claim(kBudget, e);
            TrackPlan plan;
            plan.tables = OneRunTables(n);
            plan.stblExtra = [=](Writer& w)
            {
                w.Open("ctts").FullHeader().U32(1).U32(Claim(0x7FFFFFFFu, e)).U32(0).Close();
                w.Open("sdtp").FullHeader();
                w.Zeros(n);
                std::memset(w.Bytes().data() + w.Size() - n, 0x20, n);
                w.Close();
            };
            return OneTrack(uint64_t(n) + 4096, plan);
        });
    add("claim-edit", "up to 2^27 samples in chunks the offset table lacks, an edit keeping two",
        [](uint64_t, uint32_t e)
        {
            TrackPlan plan;
            const uint32_t n = Claim(uint32_t(1) << 27, e);
            plan.tables = [=](Writer& w)
            {
                // One sample a chunk; the first run spans all n chunks, the offset table holds two.
                w.Open("stts").FullHeader().U32(1).U32(n).U32(300).Close();
                w.Open("stsc").FullHeader().U32(2).U32(1).U32(1).U32(1).U32(n + 1).U32(1).U32(1).Close();
                w.Open("stsz").FullHeader().U32(16).U32(n).Close();
                w.Open("stco").FullHeader().U32(2).U32(kMediaOffset).U32(kMediaOffset + 16).Close();
            };
            plan.trakExtra = [](Writer& w)
            { w.Open("edts").Open("elst").FullHeader().U32(1).U32(600).U32(0).U32(0x10000).Close().Close(); };
            return OneTrack(4096, plan);
        });
    add("claim-stsc", "one chunk claiming up to 2^32-1 samples",
        [](uint64_t, uint32_t e)
        {
            TrackPlan plan;
            const uint32_t n = Claim(0xFFFFFFFFu, e);
            plan.tables = [=](Writer& w)
            {
                w.Open("stts").FullHeader().U32(1).U32(n).U32(1).Close();
                w.Open("stsc").FullHeader().U32(1).U32(1).U32(n).U32(1).Close();
                w.Open("stsz").FullHeader().U32(16).U32(n).Close();
                w.Open("stco").FullHeader().U32(1).U32(kMediaOffset).Close();
            };
            plan.handler = "soun";
            plan.mediaHeader = "smhd";
            return OneTrack(4096, plan);
        });
    add("claim-stsd", "an stsd claiming up to 2^32-1 descriptions, holding one",
        [](uint64_t, uint32_t e)
        {
            TrackPlan plan;
            plan.sampleDesc = [=](Writer& w)
            {
                w.U32(Claim(0xFFFFFFFFu, e));
                VideoEntry(w);
            };
            return OneTrack(4096, plan);
        });
    add("claim-dref", "a dref claiming up to 2^32-1 entries, holding one",
        [](uint64_t, uint32_t e)
        {
            TrackPlan plan;
            plan.dataRefs = [=](Writer& w)
            {
                w.U32(Claim(0xFFFFFFFFu, e));
                AliasEntry(w, 0, 154, 0);
            };
            return OneTrack(4096, plan);
        });
    add("claim-keys", "a keys atom claiming up to 2^31-1 keys, holding one",
        [](uint64_t, uint32_t e)
        {
            return OneTrack(
                4096, {},
                [=](Writer& w)
                {
                    // The keyed meta under moov has no version and flags.
                    w.Open("meta");
                    w.Open("hdlr").FullHeader().U32(0).Type("mdta").Zeros(12).U8(0).Close();
                    w.Open("keys").FullHeader().U32(Claim(0x7FFFFFFFu, e)).U32(12).Type("mdta");
                    w.Type("key0").Close();
                    w.Open("ilst").U32(25).U32(1).U32(17).Type("data").U32(21).U32(0).U8(1).Close();
                    w.Close();
                });
        });
    return families;
}

} // namespace

} // namespace hostile

int main(int argc, char** argv)
{
    const std::vector<hostile::FamilyEntry> families = hostile::Families();
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0)
    {
        for (const auto& family : families)
            std::printf("%s\t%s\n", family.name, family.what);
        return 0;
    }
    if (argc < 3)
    {
        std::fprintf(stderr, "usage: %s --list | OUTDIR FAMILY [EIGHTHS...]\n", argv[0]);
        return 2;
    }
    const std::string outDir = argv[1];
    const std::string name = argv[2];
    std::vector<uint32_t> eighths;
    for (int i = 3; i < argc; ++i)
        eighths.push_back(uint32_t(std::atoi(argv[i])));
    if (eighths.empty())
        eighths = {1, 2, 4, 8};
    for (const auto& family : families)
    {
        if (name != family.name)
            continue;
        for (const uint32_t e : eighths)
        {
            const hostile::Writer movie = family.make(hostile::kBudget / 8 * e, e);
            const std::string path = outDir + "/" + name + "-" + std::to_string(e) + ".mov";
            if (!movie.WriteFile(path))
            {
                std::fprintf(stderr, "%s: cannot write\n", path.c_str());
                return 1;
            }
            std::printf("%s %zu\n", path.c_str(), movie.Size());
        }
        return 0;
    }
    std::fprintf(stderr, "no family %s\n", name.c_str());
    return 2;
}
