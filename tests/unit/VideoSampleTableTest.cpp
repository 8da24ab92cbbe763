#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "tenacore/debug.h"

using namespace qttest;
using QT::VideoSampleRecord;
using QT::VideoSampleTable;

namespace
{

// Sample-table atoms of a track of inCount samples of inDuration ticks and inSize bytes, in
// chunks of inPerChunk samples starting at offset 1000, each chunk 10000 bytes apart.
std::vector<Atom> UniformTables(uint32_t inCount, uint32_t inDuration, uint32_t inSize,
                                uint32_t inPerChunk = 1)
{
    std::vector<uint32_t> offsets;
    for (uint32_t chunk = 0; chunk * inPerChunk < inCount; ++chunk)
        offsets.push_back(1000 + 10000 * chunk);
    std::vector<uint32_t> sizes(inCount, inSize);
    return {Stsd(Code("avc1")), Stts({{inCount, inDuration}}),
            Stsc({{.firstChunk = 1, .samplesPerChunk = inPerChunk}}), Stsz(0, sizes, inCount), Stco(offsets)};
}

OpenedTrack VideoTrack(const std::vector<Atom>& inTables, const std::vector<ElstEntry>& inEdits = {},
                       uint32_t inHandler = Code("vide"), uint32_t inTrackDuration = 1000)
{
    TrackSpec spec;
    spec.handler = inHandler;
    spec.trackDuration = inTrackDuration;
    return OpenTrack(MovieWith({TrakWith(spec, inTables, inEdits)}));
}

std::vector<uint64_t> Offsets(const VideoSampleTable& inRecords)
{
    std::vector<uint64_t> offsets;
    for (const VideoSampleRecord& record : inRecords)
        offsets.push_back(record.fileOffset);
    return offsets;
}

std::vector<uint32_t> Durations(const VideoSampleTable& inRecords)
{
    std::vector<uint32_t> durations;
    for (const VideoSampleRecord& record : inRecords)
        durations.push_back(record.duration);
    return durations;
}

} // namespace

TEST(VideoSampleTable, SamplesAreLaidOutThroughTheirChunks)
{
    // Three samples a chunk, sizes 10, 20, 30, ...
    std::vector<Atom> tables = UniformTables(6, 100, 0, 3);
    tables[3] = Stsz(0, {10, 20, 30, 40, 50, 60}, 6);
    OpenedTrack t = VideoTrack(tables);
    VideoSampleTable samples;
    bool variable = true;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, false, samples, &variable), 0u);
    EXPECT_EQ(Offsets(samples), (std::vector<uint64_t>{1000, 1010, 1030, 11000, 11040, 11090}));
    EXPECT_EQ(samples[4].size, 50u);
    EXPECT_EQ(samples[2].startTime, 200u);
    EXPECT_FALSE(variable);
}

TEST(VideoSampleTable, ZeroMaxSamplesKeepsNothing)
{
    OpenedTrack t = VideoTrack(UniformTables(5, 100, 10));
    VideoSampleTable samples;
    EXPECT_EQ(t.track->MakeVideoSampleTable(false, false, 0, samples, nullptr), QT::kQTErrBadSampleTable);
    EXPECT_TRUE(samples.empty());
}

TEST(VideoSampleTable, MaxSamplesStopsThePass)
{
    // The third sample's chunk does not exist: visiting it would report a contract violation.
    std::vector<Atom> tables = UniformTables(100, 100, 10);
    tables[4] = Stco({1000, 2000});
    OpenedTrack t = VideoTrack(tables);
    VideoSampleTable samples;
    AssertCounter asserts;
    EXPECT_EQ(t.track->MakeVideoSampleTable(false, true, 2, samples, nullptr), 0u);
    EXPECT_EQ(samples.size(), 2u);
    EXPECT_EQ(asserts.count, 0);
}

TEST(VideoSampleTable, LimitedPassReservesOnlyWhatItMayKeep)
{
    // Billions of constant-size samples in one chunk: a pass limited to two reserves room for two.
    std::vector<Atom> tables = {Stsd(Code("avc1")), Stts({{1u << 26, 1}}),
                                Stsc({{.firstChunk = 1, .samplesPerChunk = 1u << 26}}), Stsz(1, {}, 1u << 26),
                                Stco({1000})};
    VideoSampleTable samples;
    ASSERT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, 2, samples, nullptr), 0u);
    EXPECT_EQ(samples.size(), 2u);
    EXPECT_LT(samples.capacity(), 1000u);
    EXPECT_EQ(samples[1].fileOffset, 1001u);
}

TEST(VideoSampleTable, ChunkPastTheEndReportsAndGivesOffsetZero)
{
    // The last run counts all chunks afresh for each sample, so sample 2 lands on a third chunk.
    std::vector<Atom> tables = UniformTables(3, 100, 10);
    tables[2] = Stsc({{.firstChunk = 1, .samplesPerChunk = 1}, {.firstChunk = 2, .samplesPerChunk = 1}});
    tables[4] = Stco({1000, 2000});
    OpenedTrack t = VideoTrack(tables);
    VideoSampleTable samples;
    AssertCounter asserts;
    EXPECT_EQ(t.track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    EXPECT_EQ(Offsets(samples), (std::vector<uint64_t>{1000, 2000, 0}));
    EXPECT_EQ(asserts.count, 1);
}

TEST(VideoSampleTable, EditInsideSampleThreeKeepsFromThereWithItsRest)
{
    OpenedTrack t = VideoTrack(UniformTables(10, 100, 10), {{.duration = 1000, .mediaTime = 350}});
    VideoSampleTable samples;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, false, samples, nullptr), 0u);
    ASSERT_FALSE(samples.empty());
    EXPECT_EQ(samples[0].fileOffset, 1000u + 3 * 10000);
    EXPECT_EQ(samples[0].duration, 50u);
    EXPECT_EQ(samples[0].startTime, 0u);
    EXPECT_EQ(samples[1].startTime, 50u);
    // The edit's 1000 ticks end at media time 1350: samples 3 to 9 are kept, the last one whole.
    EXPECT_EQ(samples.size(), 7u);
}

TEST(VideoSampleTable, ComplexEditListIsRefusedUnlessEditsAreIgnored)
{
    OpenedTrack t =
        VideoTrack(UniformTables(4, 100, 10), {{100, 0, 0x10000}, {100, 200, 0x10000}, {100, 100, 0x10000}});
    VideoSampleTable samples;
    EXPECT_EQ(t.track->MakeVideoSampleTable(false, false, samples, nullptr), QT::kQTErrComplexEditList);
    EXPECT_TRUE(samples.empty());
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    EXPECT_EQ(Durations(samples), (std::vector<uint32_t>{100, 100, 100, 100}));
}

TEST(VideoSampleTable, MetadataTrackIsListedLikeVideoAndSoundIsNot)
{
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(UniformTables(3, 100, 10), {}, Code("meta"))
                  .track->MakeVideoSampleTable(false, true, samples, nullptr),
              0u);
    EXPECT_EQ(samples.size(), 3u);
    samples.clear();
    EXPECT_EQ(VideoTrack(UniformTables(3, 100, 10), {}, Code("soun"))
                  .track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrBadSampleTable);
}

TEST(VideoSampleTable, CuttingTheLastSampleMakesTheDurationsVariable)
{
    bool variable = true;
    VideoSampleTable samples;
    ASSERT_EQ(VideoTrack(UniformTables(25, 100, 10), {}, Code("vide"), 2500)
                  .track->MakeVideoSampleTable(false, false, samples, &variable),
              0u);
    EXPECT_FALSE(variable);
    samples.clear();
    ASSERT_EQ(VideoTrack(UniformTables(25, 100, 10), {{.duration = 2450, .mediaTime = 0}})
                  .track->MakeVideoSampleTable(false, false, samples, &variable),
              0u);
    EXPECT_TRUE(variable);
    EXPECT_EQ(samples.back().duration, 50u);
}

TEST(VideoSampleTable, DurationsLagOneSampleAtAChangeOfEntry)
{
    std::vector<Atom> tables = UniformTables(5, 10, 10);
    tables[1] = Stts({{3, 10}, {2, 20}});
    VideoSampleTable samples;
    bool variable = false;
    ASSERT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, &variable), 0u);
    EXPECT_EQ(Durations(samples), (std::vector<uint32_t>{10, 10, 10, 10, 20}));
    EXPECT_TRUE(variable);
}

TEST(VideoSampleTable, SyncSamplesComeFromStss)
{
    std::vector<Atom> tables = UniformTables(4, 100, 10);
    tables.push_back(Atom("stss").FullHeader().U32(2).U32(1).U32(3));
    VideoSampleTable samples;
    ASSERT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    std::vector<bool> sync;
    for (const VideoSampleRecord& record : samples)
        sync.push_back(record.isSync);
    EXPECT_EQ(sync, (std::vector<bool>{true, false, true, false}));
}

TEST(VideoSampleTable, EmptyStssMakesOnlyTheFirstSampleSync)
{
    std::vector<Atom> tables = UniformTables(3, 100, 10);
    tables.push_back(Atom("stss").FullHeader().U32(0));
    VideoSampleTable samples;
    ASSERT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    EXPECT_TRUE(samples[0].isSync);
    EXPECT_FALSE(samples[1].isSync);
    EXPECT_FALSE(samples[2].isSync);
}

TEST(VideoSampleTable, SortedRunsInterleaveByStartTime)
{
    OpenedTrack t = VideoTrack(UniformTables(3, 100, 10));
    VideoSampleTable samples;
    ASSERT_EQ(t.track->MakeVideoSampleTable(true, true, samples, nullptr), 0u);
    ASSERT_EQ(t.track->MakeVideoSampleTable(true, true, samples, nullptr), 0u);
    ASSERT_EQ(samples.size(), 6u);
    EXPECT_TRUE(std::is_sorted(samples.begin(), samples.end(),
                               [](const auto& inA, const auto& inB)
                               { return inA.startTime < inB.startTime; }));
    EXPECT_EQ(samples[0].startTime, 0u);
    EXPECT_EQ(samples[1].startTime, 0u);
    EXPECT_EQ(samples[5].startTime, 200u);
}

TEST(VideoSampleTable, OneSamplePerChunkIgnoresTheSamplesPerChunkField)
{
    std::vector<Atom> tables = UniformTables(3, 100, 0);
    tables[2] = Stsc({{.firstChunk = 1, .samplesPerChunk = 7}});
    tables[3] = Stsz(64, {}, 3);
    VideoSampleTable samples;
    ASSERT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    EXPECT_EQ(Offsets(samples), (std::vector<uint64_t>{1000, 11000, 21000}));
    EXPECT_EQ(samples[1].size, 64u);
}

TEST(VideoSampleTable, SizeTableOfTooFewSamplesIsRefused)
{
    std::vector<Atom> tables = UniformTables(3, 100, 10);
    tables[3] = Stsz(0, {10, 10}, 2);
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrBadSampleTable);
}

TEST(VideoSampleTable, SizeTableWhoseCountLiesReadsNothingPastTheAtom)
{
    std::vector<Atom> tables = UniformTables(3, 100, 10);
    tables[3] = Stsz(0, {10, 10}, 3);
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrBadSampleTable);
}

TEST(VideoSampleTable, LastRunEndsAtTheChunkCount)
{
    std::vector<Atom> tables = UniformTables(3, 100, 10);
    tables[4] = Stco({1000, 2000});
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrInvalid);
    EXPECT_EQ(samples.size(), 2u);
}

TEST(VideoSampleTable, FailedChunkLookupGivesInvalidAndKeepsWhatWasAppended)
{
    // The only run holds 2 samples; the third has no chunk.
    std::vector<Atom> tables = UniformTables(3, 100, 10, 2);
    tables[4] = Stco({1000});
    VideoSampleTable samples;
    bool variable = true;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(true, true, samples, &variable),
              QT::kQTErrInvalid);
    EXPECT_EQ(samples.size(), 2u);
    EXPECT_FALSE(variable);
}

TEST(VideoSampleTable, BillionsOfConstantSizeSamplesAreRefused)
{
    std::vector<Atom> tables = {Stsd(Code("avc1")), Stts({{0xF0000000u, 1}}),
                                Stsc({{.firstChunk = 1, .samplesPerChunk = 0xF0000000u}}),
                                Stsz(1, {}, 0xF0000000u), Stco({1000})};
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrBadSampleTable);
}

TEST(VideoSampleTable, NoSamplesIsABadTable)
{
    std::vector<Atom> tables = UniformTables(1, 100, 10);
    tables[1] = Stts({});
    VideoSampleTable samples;
    EXPECT_EQ(VideoTrack(tables).track->MakeVideoSampleTable(false, true, samples, nullptr),
              QT::kQTErrBadSampleTable);
}
