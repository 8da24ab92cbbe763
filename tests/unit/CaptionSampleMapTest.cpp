#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "CaptionAtoms.h"
#include "KSL/File.h"
#include "QTCaptionLimits.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "SoundAtoms.h"
#include "TestFiles.h"
#include "tenacore/FileUtils.h"

using namespace qttest;

namespace
{

constexpr uint64_t M = kCaptionMediaStart;

struct MapEntry
{
    uint64_t key = 0;
    uint64_t time = 0;
    uint64_t offset = 0;
    uint32_t length = 0;
    bool second = false;
    uint64_t secondOffset = 0;
    uint32_t secondLength = 0;
    bool operator==(const MapEntry&) const = default;
};

void PrintTo(const MapEntry& inEntry, std::ostream* outStream)
{
    *outStream << "{key " << inEntry.key << ", time " << inEntry.time << ", offset " << inEntry.offset
               << ", length " << inEntry.length;
    if (inEntry.second)
        *outStream << ", second " << inEntry.secondOffset << " +" << inEntry.secondLength;
    *outStream << "}";
}

// A pair of one field, keyed by its time or its offset.
MapEntry Pair(bool inKeyByOffset, uint64_t inTime, uint64_t inOffset, uint32_t inLength = 2)
{
    return {inKeyByOffset ? inOffset : inTime, inTime, inOffset, inLength, false, 0, 0};
}

std::vector<MapEntry> Entries(const QT::CaptionSampleMap& inMap)
{
    std::vector<MapEntry> entries;
    for (const auto& [key, location] : inMap)
        entries.push_back({key, location.mTime, location.mFileOffset, location.mLength,
                           location.mHasSecondField, location.mSecondFileOffset, location.mSecondLength});
    return entries;
}

// Counts the opens of one path while alive.
class OpenCounter
{
public:
    explicit OpenCounter(std::u16string inPath)
        : mPrevious(KSL::File::SetCreateObserver(
              [this, path = std::move(inPath)](const KSL::File::CreateArgs& inArgs)
              {
                  if (inArgs.path == path)
                      ++opens;
              }))
    {
    }
    ~OpenCounter() { KSL::File::SetCreateObserver(mPrevious); }
    OpenCounter(const OpenCounter&) = delete;
    OpenCounter& operator=(const OpenCounter&) = delete;

    std::atomic<int> opens{0};

private:
    KSL::File::CreateObserver mPrevious;
};

// Lowers the map's bounds while alive.
class LimitsWhileAlive
{
public:
    explicit LimitsWhileAlive(const QT::CaptionMapLimits& inLimits)
        : mPrevious(QT::SetCaptionMapLimits(inLimits))
    {
    }
    ~LimitsWhileAlive() { QT::SetCaptionMapLimits(mPrevious); }
    LimitsWhileAlive(const LimitsWhileAlive&) = delete;
    LimitsWhileAlive& operator=(const LimitsWhileAlive&) = delete;

private:
    QT::CaptionMapLimits mPrevious;
};

struct MappedCaptions
{
    uint32_t result = 0;
    std::vector<MapEntry> entries;
    int opens = 0;
};

struct MapOptions
{
    bool keyByOffset = false;
    // The media file given to the map; the movie's own file when not set.
    std::optional<std::u16string> path = std::nullopt;
    QT::CaptionSampleMap start = {};
};

// Writes the movie to a file, opens its first track and maps it.
MappedCaptions MapOf(const Bytes& inMovie, const MapOptions& inOptions = {})
{
    MappedCaptions mapped;
    TempFile file(inMovie);
    const Opened opened = OpenPath(file.WidePath());
    EXPECT_EQ(opened.result, 0u);
    if (opened.result != 0)
        return mapped;
    tenacore::classref::InterfaceRef<QT::IQTTrack> track;
    opened.movie->GetIndTrack(track, 0);
    const std::u16string path = inOptions.path.value_or(file.WidePath());
    OpenCounter counter(path);
    QT::CaptionSampleMap map = inOptions.start;
    mapped.result = track->MakeCaptionSampleMap(path, map, inOptions.keyByOffset);
    mapped.entries = Entries(map);
    mapped.opens = counter.opens;
    return mapped;
}

// A caption track of the given format whose samples, of the given sizes, lie in one chunk at M.
Bytes OneChunk(const Bytes& inMedia, uint32_t inFormat, const std::vector<uint32_t>& inSizes,
               uint32_t inDuration = 1001)
{
    return CaptionMovie(
        inMedia,
        {CaptionTrak({.format = inFormat,
                      .tables = {Stts({{.sampleCount = uint32_t(inSizes.size()), .duration = inDuration}}),
                                 Stsc({{.firstChunk = 1, .samplesPerChunk = uint32_t(inSizes.size())}}),
                                 Stsz(0, inSizes, uint32_t(inSizes.size())), Stco({uint32_t(M)})}})});
}

Bytes Twice(const Bytes& inBytes)
{
    return Concat({inBytes, inBytes});
}

const Bytes kTwoPairsCdat = CdatSample({0x94, 0x20, 0x94, 0x2C}); // 12 bytes
const Bytes kSixBarePairs = {0x94, 0x20, 0x94, 0x20, 0x94, 0xAE, 0x94, 0xAE, 0x97, 0xA1, 0x97, 0xA1};

} // namespace

// CEA-608.

TEST(CaptionSampleMap, TwentyByteSamplesGiveBothFieldsAndNeverOpenTheFile)
{
    const Bytes sample = Concat({CdatSample({0x94, 0x20}), CdatSample({0x15, 0x2C})});
    const Bytes movie = CaptionMovie(Concat({sample, sample, sample}),
                                     {CaptionTrak({.tables = {Stts({{.sampleCount = 3, .duration = 1001}}),
                                                              Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                                              Stsz(20, {}, 3), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    ASSERT_EQ(mapped.entries.size(), 3u);
    for (uint64_t i = 0; i < 3; ++i)
        EXPECT_EQ(mapped.entries[i],
                  (MapEntry{i * 1001, i * 1001, M + 20 * i + 8, 2, true, M + 20 * i + 18, 2}));
    EXPECT_EQ(mapped.opens, 0);
}

TEST(CaptionSampleMap, TwentyByteSamplesFromTheSizeTableArePairsBehindAHeader)
{
    const Bytes sample = CdatSample({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const MappedCaptions mapped = MapOf(OneChunk(sample, Code("c608"), {20}), {.keyByOffset = true});
    ASSERT_EQ(mapped.result, 0u);
    ASSERT_EQ(mapped.entries.size(), 6u);
    EXPECT_FALSE(mapped.entries[0].second);
    EXPECT_EQ(mapped.entries[5], Pair(true, 5 * 1001, M + 18));
}

TEST(CaptionSampleMap, TenByteCdatSamplesGiveOneEntryEach)
{
    const Bytes media =
        Concat({CdatSample({0x94, 0x20}), CdatSample({0x94, 0x2C}), CdatSample({0x80, 0x80})});
    const MappedCaptions mapped = MapOf(OneChunk(media, Code("c608"), {10, 10, 10}));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 18),
                                                     Pair(false, 2002, M + 28)}));
    EXPECT_EQ(mapped.opens, 1);
}

TEST(CaptionSampleMap, EachPairIsOneFrameAfterTheOneBefore)
{
    const MappedCaptions mapped = MapOf(OneChunk(kTwoPairsCdat, Code("c608"), {12}));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 10)}));
}

TEST(CaptionSampleMap, APairTimeAlreadyMappedKeepsItsEntry)
{
    const MappedCaptions byTime = MapOf(OneChunk(Twice(kTwoPairsCdat), Code("c608"), {12, 12}));
    ASSERT_EQ(byTime.result, 0u);
    // The second pair of sample 0 and the first of sample 1 are both due at 1001.
    EXPECT_EQ(byTime.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 10),
                                                     Pair(false, 2002, M + 22)}));
    const MappedCaptions byOffset =
        MapOf(OneChunk(Twice(kTwoPairsCdat), Code("c608"), {12, 12}), {.keyByOffset = true});
    EXPECT_EQ(byOffset.entries.size(), 4u);
}

TEST(CaptionSampleMap, WithoutCdatAtTheChunksStartThePairsAreBare)
{
    const Bytes movie = OneChunk(Twice(kSixBarePairs), Code("c608"), {12, 12});
    const MappedCaptions byOffset = MapOf(movie, {.keyByOffset = true});
    ASSERT_EQ(byOffset.result, 0u);
    ASSERT_EQ(byOffset.entries.size(), 12u);
    for (uint64_t i = 0; i < 6; ++i)
    {
        EXPECT_EQ(byOffset.entries[i], Pair(true, i * 1001, M + 2 * i));
        EXPECT_EQ(byOffset.entries[6 + i], Pair(true, 1001 + i * 1001, M + 12 + 2 * i));
    }
    // By time, sample 1's pairs land on times sample 0 already holds, but for its last.
    const MappedCaptions byTime = MapOf(movie);
    ASSERT_EQ(byTime.entries.size(), 7u);
    for (uint64_t i = 0; i < 6; ++i)
        EXPECT_EQ(byTime.entries[i], Pair(false, i * 1001, M + 2 * i));
    EXPECT_EQ(byTime.entries[6], Pair(false, 6006, M + 22));
}

TEST(CaptionSampleMap, CdatSamplesOfEightOrNineBytesHaveNoPairs)
{
    const MappedCaptions mapped =
        MapOf(OneChunk(Concat({CdatSample({}), CdatSample({0x94})}), Code("c608"), {8, 9}));
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_TRUE(mapped.entries.empty());
}

TEST(CaptionSampleMap, AFileShorterThanTheChunkAndItsHeaderIsNotPeekedAt)
{
    const Bytes movie = OneChunk(kSixBarePairs, Code("c608"), {12});
    // The media file given ends one byte before the 8 bytes the peek wants: the header stays.
    TempFile shortMedia(Bytes(M + 7, 0));
    const MappedCaptions notPeeked = MapOf(movie, {.path = shortMedia.WidePath()});
    ASSERT_EQ(notPeeked.result, 0u);
    EXPECT_EQ(notPeeked.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 10)}));
    // One byte more and the peek reads zeros where cdat would stand.
    TempFile longEnough(Bytes(M + 8, 0));
    const MappedCaptions peeked = MapOf(movie, {.path = longEnough.WidePath()});
    EXPECT_EQ(peeked.entries.size(), 6u);
}

TEST(CaptionSampleMap, APathThatCannotBeOpenedLeavesTheSamplesFramedByCdat)
{
    const std::filesystem::path missing = MakeTempFolder() / "no-such-file.mov";
    const MappedCaptions mapped = MapOf(OneChunk(kSixBarePairs, Code("c608"), {12}), {.path = Wide(missing)});
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 10)}));
    EXPECT_EQ(mapped.opens, 1);
}

// The peek reads the start of the chunk of the first pair sample, and decides for the whole track.
TEST(CaptionSampleMap, ThePeekReadsTheChunksStartOnceForTheTrack)
{
    // Chunk 0: a cdat sample then bare pairs; chunk 1: bare pairs.
    const Bytes media = Concat({CdatSample({0x94, 0x20}), kSixBarePairs, kSixBarePairs});
    const Bytes movie = CaptionMovie(
        media, {CaptionTrak({.tables = {Stts({{.sampleCount = 3, .duration = 1001}}),
                                        Stsc({{.firstChunk = 1, .samplesPerChunk = 2},
                                              {.firstChunk = 2, .samplesPerChunk = 1}}),
                                        Stsz(0, {10, 12, 12}, 3), Stco({uint32_t(M), uint32_t(M + 22)})},
                             // The edit starts at sample 1, so the first pair sample is bare.
                             .edits = {{.duration = 600, .mediaTime = 1001}}})});
    const MappedCaptions mapped = MapOf(movie, {.keyByOffset = true});
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries,
              (std::vector<MapEntry>{Pair(true, 1001, M + 10 + 8), Pair(true, 2002, M + 10 + 10),
                                     Pair(true, 2002, M + 22 + 8), Pair(true, 3003, M + 22 + 10)}));
    EXPECT_EQ(mapped.opens, 1);
}

// CEA-708.

TEST(CaptionSampleMap, A708SampleIsOneEntryOfItsDataBehindTheHeader)
{
    const MappedCaptions mapped = MapOf(OneChunk(Bytes(108, 0), Code("c708"), {8, 100}));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 1001, M + 16, 92)}));
    EXPECT_EQ(mapped.opens, 0);
}

// The edit.

TEST(CaptionSampleMap, ASampleAfterTheEndIsSkippedButMovesTheNextAlong)
{
    // Durations are signed: sample 1 lies past the end, sample 2 back inside.
    const Bytes movie = CaptionMovie(
        Bytes(90, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 1, .duration = 40000},
                                                     {.sampleCount = 1, .duration = uint32_t(-39000)},
                                                     {.sampleCount = 1, .duration = 1000}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                               Stsz(0, {20, 30, 40}, 3), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries,
              (std::vector<MapEntry>{Pair(false, 0, M + 8, 12), Pair(false, 1000, M + 58, 32)}));
}

TEST(CaptionSampleMap, TheEditKeepsSamplesFromItsFirstUpToOneDueAtItsEnd)
{
    // One edit of 20 movie ticks (1000 media ticks) from media time 1000: sample 1 is the first, and
    // the end is 1000 after its time.
    const Bytes movie =
        CaptionMovie(Bytes(50, 0), {CaptionTrak({.format = Code("c708"),
                                                 .tables = {Stts({{.sampleCount = 5, .duration = 1000}}),
                                                            Stsc({{.firstChunk = 1, .samplesPerChunk = 5}}),
                                                            Stsz(10, {}, 5), Stco({uint32_t(M)})},
                                                 .edits = {{.duration = 20, .mediaTime = 1000}}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 1000, M + 18), Pair(false, 2000, M + 28)}));
}

TEST(CaptionSampleMap, ALoneEmptyEditShiftsEveryTime)
{
    const Bytes movie =
        CaptionMovie(Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                                 .tables = {Stts({{.sampleCount = 3, .duration = 1001}}),
                                                            Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                                            Stsz(10, {}, 3), Stco({uint32_t(M)})},
                                                 .edits = {{.duration = 600, .mediaTime = 0xFFFFFFFF}}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 30000, M + 8), Pair(false, 31001, M + 18),
                                                     Pair(false, 32002, M + 28)}));
}

// The walk keeps empty edits on a caption track among several, so the times start after them too.
// With two edits the edited duration is the track's in movie ticks, so the end comes early.
TEST(CaptionSampleMap, AnEmptyEditKeptAmongSeveralShiftsEveryTime)
{
    const Bytes movie =
        CaptionMovie(Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                                 .trackDuration = 1200,
                                                 .tables = {Stts({{.sampleCount = 3, .duration = 1001}}),
                                                            Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                                            Stsz(10, {}, 3), Stco({uint32_t(M)})},
                                                 .edits = {{.duration = 600, .mediaTime = 0xFFFFFFFF},
                                                           {.duration = 600, .mediaTime = 0}}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    // The end is 1200 + 30000: the third sample, at 32002, is past it.
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 30000, M + 8), Pair(false, 31001, M + 18)}));
}

// The tables.

TEST(CaptionSampleMap, AChunkOfNoSamplesGivesNothingAndCountsNoSample)
{
    const Bytes movie = CaptionMovie(
        Bytes(40, 0),
        {CaptionTrak({.format = Code("c708"),
                      .tables = {Stts({{.sampleCount = 2, .duration = 1001}}),
                                 Stsc({{.firstChunk = 1, .samplesPerChunk = 1},
                                       {.firstChunk = 2, .samplesPerChunk = 0},
                                       {.firstChunk = 3, .samplesPerChunk = 1}}),
                                 Stsz(10, {}, 2), Stco({uint32_t(M), 5000, uint32_t(M + 20)})}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 28)}));
}

TEST(CaptionSampleMap, ASoundTrackGivesNothing)
{
    const Bytes movie = MovieWith({SoundTrakWith(
        {SoundDescription({})}, {Stts({{.sampleCount = 100, .duration = 1}}),
                                 Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({0})})});
    QT::CaptionSampleMap start;
    start[7] = {};
    const MappedCaptions mapped = MapOf(movie, {.start = start});
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries.size(), 1u);
}

TEST(CaptionSampleMap, NoTimeToSampleEntriesFailsAndLeavesTheMap)
{
    const Bytes movie = CaptionMovie(
        Bytes(10, 0), {CaptionTrak({.tables = {Stts({}), Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}),
                                               Stsz(10, {}, 1), Stco({uint32_t(M)})}})});
    QT::CaptionSampleMap start;
    start[7] = {};
    const MappedCaptions mapped = MapOf(movie, {.start = start});
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_EQ(mapped.entries.size(), 1u);
}

TEST(CaptionSampleMap, NoChunkTableOrAnEmptyOneGivesNothing)
{
    const std::vector<Atom> tables = {Stts({{.sampleCount = 1, .duration = 1001}}),
                                      Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stsz(10, {}, 1)};
    MappedCaptions mapped = MapOf(CaptionMovie(Bytes(10, 0), {CaptionTrak({.tables = tables})}));
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_TRUE(mapped.entries.empty());
    std::vector<Atom> empty = tables;
    empty.push_back(Stco({}));
    mapped = MapOf(CaptionMovie(Bytes(10, 0), {CaptionTrak({.tables = empty})}));
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_TRUE(mapped.entries.empty());
}

TEST(CaptionSampleMap, AnotherDescriptionGivesNothing)
{
    const MappedCaptions mapped = MapOf(OneChunk(kTwoPairsCdat, Code("tx3g"), {12}));
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_TRUE(mapped.entries.empty());
    EXPECT_EQ(mapped.opens, 0);
}

TEST(CaptionSampleMap, AnUnusableSizeFailsAndKeepsWhatWasMade)
{
    // Three samples, sizes for two; the third lies past the edit, and still fails.
    const Bytes movie =
        CaptionMovie(Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                                 .tables = {Stts({{.sampleCount = 2, .duration = 1001},
                                                                  {.sampleCount = 1, .duration = 40000}}),
                                                            Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                                            Stsz(0, {10, 10}, 2), Stco({uint32_t(M)})},
                                                 .edits = {{.duration = 20, .mediaTime = 0}}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8)}));
}

TEST(CaptionSampleMap, AKeyAlreadyThereKeepsItsEntry)
{
    QT::CaptionSampleMap start;
    start[M + 8] = {99, 98, 97, false, 0, 0};
    const MappedCaptions mapped =
        MapOf(OneChunk(kTwoPairsCdat, Code("c608"), {12}), {.keyByOffset = true, .start = start});
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries,
              (std::vector<MapEntry>{{M + 8, 99, 98, 97, false, 0, 0}, Pair(true, 1001, M + 10)}));
}

// Bad tables.

TEST(CaptionSampleMapGuard, ACountOfTwoBillionSamplesIsWalkedNoFurtherThanItsSizes)
{
    const Bytes movie = CaptionMovie(
        Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 0x7FFFFFFF, .duration = 1}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 0x7FFFFFFF}}),
                                               Stsz(0, {10, 10, 10}, 3), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_EQ(mapped.entries,
              (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1, M + 18), Pair(false, 2, M + 28)}));
}

TEST(CaptionSampleMapGuard, ACountWithItsTopBitSetHasNoSamples)
{
    const Bytes movie = CaptionMovie(
        Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 0x80000000, .duration = 1}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                               Stsz(10, {}, 3), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_TRUE(mapped.entries.empty());
}

TEST(CaptionSampleMapGuard, AConstantSizeBacksNoMoreThanTheBoundOfSamples)
{
    EXPECT_EQ(QT::GetCaptionMapLimits().maxConstantSizeSamples, 1ull << 27);
    const LimitsWhileAlive limits({.maxConstantSizeSamples = 100, .maxEntries = 1ull << 23});
    const Bytes movie = CaptionMovie(
        Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 0x7FFFFFFF, .duration = 1}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 0x7FFFFFFF}}),
                                               Stsz(10, {}, 0), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    ASSERT_EQ(mapped.entries.size(), 100u);
    EXPECT_EQ(mapped.entries.back(), Pair(false, 99, M + 990 + 8));
}

TEST(CaptionSampleMapGuard, TheEntriesOfOneMapAreBounded)
{
    EXPECT_EQ(QT::GetCaptionMapLimits().maxEntries, 1ull << 23);
    const LimitsWhileAlive limits({.maxConstantSizeSamples = 1ull << 27, .maxEntries = 5});
    const Bytes sample = CdatSample(Bytes(20, 0x80));
    const MappedCaptions mapped = MapOf(OneChunk(sample, Code("c608"), {28}), {.keyByOffset = true});
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_EQ(mapped.entries.size(), 5u);
}

TEST(CaptionSampleMapGuard, ASampleSmallerThanItsHeaderHasNoPairs)
{
    const Bytes media = Concat({kTwoPairsCdat, Bytes{0x94, 0x20, 0x94, 0x20}});
    const MappedCaptions mapped = MapOf(OneChunk(media, Code("c608"), {12, 4, 0, 7}));
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1001, M + 10)}));
}

TEST(CaptionSampleMapGuard, BarePairSamplesOfNoBytesHaveNoPairs)
{
    const MappedCaptions mapped =
        MapOf(OneChunk(kSixBarePairs, Code("c608"), {2, 0, 1}), {.keyByOffset = true});
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(true, 0, M)}));
}

TEST(CaptionSampleMapGuard, AFirstSamplePastTheTimesFails)
{
    // On a sound track a single edit's media time is the first sample, with no walk: here 1000 of 3.
    const Bytes movie = MovieWith({SoundTrakWith({SoundDescription({})},
                                                 {Stts({{.sampleCount = 3, .duration = 1}}),
                                                  Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}), Stco({0})},
                                                 {{.duration = 1000, .mediaTime = 1000}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_TRUE(mapped.entries.empty());
}

TEST(CaptionSampleMapGuard, TheSignedSumOfAChunksBytesWraps)
{
    const uint64_t chunk = 0x100000000ull;
    const Bytes movie = CaptionMovie(
        Bytes(10, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 3, .duration = 1}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                               Stsz(0, {0x7FFFFFF8u, 100, 10}, 3), Co64({chunk})}})});
    const MappedCaptions mapped = MapOf(movie, {.keyByOffset = true});
    ASSERT_EQ(mapped.result, 0u);
    const uint64_t wrapped = chunk + uint64_t(int64_t(int32_t(0x7FFFFFF8u + 100u)));
    EXPECT_EQ(mapped.entries,
              (std::vector<MapEntry>{Pair(true, 2, wrapped + 8), Pair(true, 0, chunk + 8, 0x7FFFFFF0u),
                                     Pair(true, 1, chunk + 0x7FFFFFF8u + 8, 92)}));
}

TEST(CaptionSampleMapGuard, ANegativeConstantSizeFails)
{
    const Bytes movie = CaptionMovie(
        Bytes(10, 0), {CaptionTrak({.format = Code("c708"),
                                    .tables = {Stts({{.sampleCount = 1, .duration = 1}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}),
                                               Stsz(0x80000000u, {}, 1), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_TRUE(mapped.entries.empty());
}

// An stsc that claims two entries but holds one, followed by a skip atom whose bytes would read as
// a second entry: from chunk 12 on, 0x736B6970 samples a chunk. Every chunk keeps the first entry's
// one sample.
TEST(CaptionSampleMapGuard, TheRunsAreLookedAheadToOnlyInsideTheirAtom)
{
    Atom stsc("stsc");
    stsc.FullHeader().U32(2).U32(1).U32(1).U32(1);
    std::vector<uint32_t> chunks;
    for (uint32_t i = 0; i < 13; ++i)
        chunks.push_back(uint32_t(M) + 10 * i);
    const Bytes movie = CaptionMovie(
        Bytes(130, 0), {CaptionTrak({.format = Code("c708"),
                                     .tables = {Stts({{.sampleCount = 13, .duration = 1}}), Stsz(10, {}, 13),
                                                Stco(chunks), stsc, Atom("skip").U32(1)}})});
    const MappedCaptions mapped = MapOf(movie);
    ASSERT_EQ(mapped.result, 0u);
    ASSERT_EQ(mapped.entries.size(), 13u);
    for (uint64_t i = 0; i < 13; ++i)
        EXPECT_EQ(mapped.entries[i], Pair(false, i, M + 10 * i + 8));
}

TEST(CaptionSampleMapGuard, SizesAreReadOnlyInsideTheirAtom)
{
    const Bytes movie =
        CaptionMovie(Bytes(30, 0), {CaptionTrak({.format = Code("c708"),
                                                 .tables = {Stts({{.sampleCount = 3, .duration = 1}}),
                                                            Stsc({{.firstChunk = 1, .samplesPerChunk = 3}}),
                                                            Stsz(0, {10, 10}, 5), Stco({uint32_t(M)})}})});
    const MappedCaptions mapped = MapOf(movie);
    EXPECT_EQ(mapped.result, QT::kQTErrFailed);
    EXPECT_EQ(mapped.entries, (std::vector<MapEntry>{Pair(false, 0, M + 8), Pair(false, 1, M + 18)}));
}

TEST(CaptionSampleMapGuard, MissingOrEmptyTablesFail)
{
    const Atom stts = Stts({{.sampleCount = 1, .duration = 1}});
    const Atom stsc = Stsc({{.firstChunk = 1, .samplesPerChunk = 1}});
    const Atom stsz = Stsz(10, {}, 1);
    const Atom stco = Stco({uint32_t(M)});
    for (const std::vector<Atom>& tables :
         {std::vector<Atom>{stsc, stsz, stco}, std::vector<Atom>{stts, stsz, stco},
          std::vector<Atom>{stts, Stsc({}), stsz, stco}, std::vector<Atom>{stts, stsc, stco}})
    {
        const MappedCaptions mapped =
            MapOf(CaptionMovie(Bytes(10, 0), {CaptionTrak({.format = Code("c708"), .tables = tables})}));
        EXPECT_EQ(mapped.result, QT::kQTErrFailed);
        EXPECT_TRUE(mapped.entries.empty());
    }
    // A caption track may have no stbl children at all.
    TrackSpec noTables;
    noTables.handler = Code("clcp");
    noTables.sampleTables = false;
    const MappedCaptions bare = MapOf(CaptionMovie(Bytes(10, 0), {Trak(noTables)}));
    EXPECT_EQ(bare.result, QT::kQTErrFailed);
}

// A file whose size says more than a read gives: the read comes back short, and the zeros the
// header was cleared to are not cdat. Kernel attribute files report a size of a page and hold a few
// bytes.
TEST(CaptionSampleMapGuard, AShortPeekReadsZerosNotOldBytes)
{
    std::optional<std::filesystem::path> attribute;
    for (const char* candidate : {"/sys/devices/system/cpu/online", "/sys/devices/system/cpu/possible",
                                  "/sys/kernel/mm/transparent_hugepage/enabled"})
    {
        uint64_t size = 0;
        std::error_code error;
        if (std::filesystem::exists(candidate, error) &&
            tenacore::utility::FileUtils::GetFileSize(Wide(candidate), size) && size >= M + 8)
        {
            attribute = candidate;
            break;
        }
    }
    if (!attribute)
        GTEST_SKIP() << "no kernel attribute file that reports a size larger than its bytes";
    const MappedCaptions mapped =
        MapOf(OneChunk(kTwoPairsCdat, Code("c608"), {12}), {.path = Wide(*attribute)});
    EXPECT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.entries.size(), 6u) << "bare pairs: the short read left zeros";
}

TEST(CaptionHostFiles, TheSizeOfAFileByItsPath)
{
    TempFile file(Bytes(1234, 7));
    uint64_t size = 5;
    EXPECT_TRUE(tenacore::utility::FileUtils::GetFileSize(file.WidePath(), size));
    EXPECT_EQ(size, 1234u);
    size = 5;
    EXPECT_FALSE(tenacore::utility::FileUtils::GetFileSize(Wide(MakeTempFolder()), size));
    EXPECT_FALSE(tenacore::utility::FileUtils::GetFileSize(Wide(MakeTempFolder() / "missing"), size));
    EXPECT_EQ(size, 5u);
}
