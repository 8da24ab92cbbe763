#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "tenacore/trace.h"

using namespace qttest;
using QT::VideoTemporalReference;

namespace
{

// A video track of inCount samples of 100 ticks with the given extra tables.
OpenedTrack Track(uint32_t inCount, const std::vector<Atom>& inExtras, uint32_t inHandler = Code("vide"))
{
    std::vector<Atom> tables = BasicSampleTables({{inCount, 100}});
    for (const Atom& extra : inExtras)
        tables.push_back(extra);
    TrackSpec spec;
    spec.handler = inHandler;
    return OpenTrack(MovieWith({TrakWith(spec, tables)}));
}

std::vector<std::array<int, 4>> Records(const std::vector<VideoTemporalReference>& inTable)
{
    std::vector<std::array<int, 4>> records;
    for (const VideoTemporalReference& r : inTable)
        records.push_back({r.decodeOffset, r.backwardReference, r.forwardReference, r.dependencyFlags});
    return records;
}

} // namespace

TEST(TemporalReference, IntraPredictedAndTwoBidirectionalFrames)
{
    // Decoded I0 P3 B1 B2 (digits are display indices).
    OpenedTrack t = Track(4, {Ctts({{1, 0}, {1, 200}, {2, -100}}), Sdtp({0x24, 0x14, 0x18, 0x18})});
    std::vector<VideoTemporalReference> table;
    ASSERT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    EXPECT_EQ(Records(table), (std::vector<std::array<int, 4>>{
                                  {0, 0, 0, 0x24}, {1, -1, 2, 0x14}, {1, -2, 1, 0x18}, {-2, -3, 0, 0x18}}));
}

TEST(TemporalReference, FirstIntraFrameAnchorsAtItsOwnDisplayIndex)
{
    // D0 shown at 1 and intra, D1 shown at 0 and bidirectional: it refers back to 1.
    OpenedTrack t = Track(2, {Ctts({{1, 100}, {1, -100}}), Sdtp({0x24, 0x18})});
    std::vector<VideoTemporalReference> table;
    ASSERT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    EXPECT_EQ(table[0].backwardReference, 1);
    EXPECT_EQ(table[0].forwardReference, 1);
}

TEST(TemporalReference, FlagsOfNoClassStopTheRun)
{
    // The bad byte is on the second of four frames: the two frames behind it are never looked at,
    // so neither a second report nor their flags appear.
    TraceCapture trace("QTSifter");
    OpenedTrack t = Track(4, {Ctts({{4, 0}}), Sdtp({0x24, 0x00, 0x00, 0x24})});
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrBadSampleTable);
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTSifter Found invalid sdtp atom data at frame 2\r\n",
                                        "5 QTSifter Invalid Quicktime sample table data detected.\r\n"}));
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[0].dependencyFlags, 0x24);
    EXPECT_EQ(table[3].dependencyFlags, 0);
    EXPECT_EQ(table[3].decodeOffset, 0);
}

TEST(TemporalReference, SyncListingDecidesBetweenIntraAndForward)
{
    // Both frames carry 0x14; only the first is a sync sample.
    OpenedTrack t = Track(3, {Ctts({{3, 0}}), Sdtp({0x24, 0x14, 0x14}), Stss({1, 2})});
    std::vector<VideoTemporalReference> table;
    ASSERT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    // Frame 1 is listed: intra, no references. Frame 2 is not: forward, back to the anchor 1.
    EXPECT_EQ(table[1].backwardReference, 0);
    EXPECT_EQ(table[2].backwardReference, -1);
}

TEST(TemporalReference, PartialSyncTableIsAskedWhenStssDoesNotMatch)
{
    OpenedTrack t = Track(2, {Ctts({{2, 0}}), Sdtp({0x24, 0x14}), Stps({2})});
    std::vector<VideoTemporalReference> table;
    ASSERT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    EXPECT_EQ(table[1].backwardReference, 0);
}

TEST(TemporalReference, MissingDependencyTablesLeaveTheTableUntouched)
{
    OpenedTrack t = Track(2, {Ctts({{2, 0}})});
    std::vector<VideoTemporalReference> table(5);
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrBadSampleTable);
    EXPECT_EQ(table.size(), 5u);
    EXPECT_FALSE(t.track->VideoTrackHasDependencyTables());
    EXPECT_TRUE(Track(2, {Ctts({{2, 0}}), Sdtp({0, 0})}).track->VideoTrackHasDependencyTables());
}

TEST(TemporalReference, OtherMediaTypesAreInvalid)
{
    OpenedTrack t = Track(2, {Ctts({{2, 0}}), Sdtp({0x24, 0x24})}, Code("soun"));
    std::vector<VideoTemporalReference> table;
    AssertCounter asserts;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrInvalid);
    EXPECT_FALSE(t.track->VideoTrackContainsDeltaFrames());
}

TEST(TemporalReference, OutOfRangeDisplayIndexCountsButWritesNothing)
{
    // D1 is shown at 5, past the table: its flags are not stored and the set still holds 2 indices.
    OpenedTrack t = Track(2, {Ctts({{1, 0}, {1, 400}}), Sdtp({0x24, 0x24})});
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    EXPECT_EQ(table[1].dependencyFlags, 0);
    EXPECT_EQ(table[0].dependencyFlags, 0x24);
}

TEST(TemporalReference, SampleReferencedUnlessMarkedDisposable)
{
    OpenedTrack t = Track(3, {Sdtp({0x24, 0x18, 0x14})});
    EXPECT_TRUE(t.track->IsVideoSampleReferenced(0));
    EXPECT_FALSE(t.track->IsVideoSampleReferenced(1));
    EXPECT_TRUE(t.track->IsVideoSampleReferenced(2));
    EXPECT_TRUE(t.track->IsVideoSampleReferenced(3));
    EXPECT_TRUE(Track(3, {}).track->IsVideoSampleReferenced(1));
}

TEST(TemporalReference, DeltaFramesComeFromTheSyncCount)
{
    EXPECT_FALSE(Track(3, {Stss({1, 2, 3})}).track->VideoTrackContainsDeltaFrames());
    EXPECT_TRUE(Track(3, {Stss({1})}).track->VideoTrackContainsDeltaFrames());
    EXPECT_FALSE(Track(3, {}).track->VideoTrackContainsDeltaFrames());
}

TEST(TemporalReference, IndependentSamplesAreLookedForFourBytesPastTheTable)
{
    EXPECT_TRUE(Track(2, {Sdtp({0x10, 0x20})}).track->VideoTrackContainsIndependentSamples());
    EXPECT_FALSE(Track(2, {Sdtp({0x10, 0x10})}).track->VideoTrackContainsIndependentSamples());
    // The four bytes behind sdtp are the size word of the atom that follows: 0x00000020 bytes long.
    Atom tail("skip");
    tail.Zeros(24);
    EXPECT_TRUE(Track(2, {Sdtp({0x10, 0x10}), tail}).track->VideoTrackContainsIndependentSamples());
    EXPECT_FALSE(Track(2, {}).track->VideoTrackContainsIndependentSamples());
}

// A count with its top bit set is negative: no position is below it, so the table never matches,
// even though its first entry lies inside the atom and names the frame.
class SyncTableOfNegativeCount : public testing::TestWithParam<uint32_t>
{
};

TEST_P(SyncTableOfNegativeCount, NeverMatches)
{
    const Atom sync = Atom(GetParam()).FullHeader().U32(0x80000001).U32(2);
    OpenedTrack t = Track(2, {Ctts({{2, 0}}), Sdtp({0x24, 0x14}), sync});
    std::vector<VideoTemporalReference> table;
    ASSERT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    // Frame 1 carries 0x14 and is not matched: forward, back to the anchor 0.
    EXPECT_EQ(table[1].backwardReference, -1);
    EXPECT_EQ(table[1].forwardReference, 0);
}

INSTANTIATE_TEST_SUITE_P(TemporalReference, SyncTableOfNegativeCount,
                         testing::Values(Code("stss"), Code("stps")),
                         [](const testing::TestParamInfo<uint32_t>& inInfo)
                         { return inInfo.param == Code("stss") ? "Stss" : "Stps"; });

namespace
{

// Tables that cannot make a temporal reference table, and the size the caller's table has after.
struct BadTables
{
    const char* name;
    uint32_t samples;
    uint32_t frameDuration;
    std::vector<CttsEntry> ctts;
    std::vector<uint8_t> sdtp;
    size_t tableBefore;
    size_t tableAfter;
};

void PrintTo(const BadTables& inTables, std::ostream* outStream)
{
    *outStream << inTables.name;
}

} // namespace

class TemporalReferenceBadTables : public testing::TestWithParam<BadTables>
{
};

TEST_P(TemporalReferenceBadTables, AreABadTable)
{
    const BadTables& p = GetParam();
    std::vector<Atom> tables = BasicSampleTables({{p.samples, p.frameDuration}});
    tables.push_back(Ctts(p.ctts));
    tables.push_back(Sdtp(p.sdtp));
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    std::vector<VideoTemporalReference> table(p.tableBefore);
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrBadSampleTable);
    EXPECT_EQ(table.size(), p.tableAfter);
}

INSTANTIATE_TEST_SUITE_P(
    TemporalReference, TemporalReferenceBadTables,
    testing::Values(
        // No ctts entries: the display set stays empty.
        BadTables{"EmptyCompositionTableLeavesTheDisplaySetEmpty", 2, 100, {}, {0x24, 0x24}, 0, 2},
        BadTables{
            "CompositionTableCountingMoreSamples", 2, 100, {{5, 0}}, {0x24, 0x24, 0x24, 0x24, 0x24}, 0, 2},
        // Refused before the caller's table is touched.
        BadTables{"DependencyTableShorterThanTheSamples", 4, 100, {{4, 0}}, {0x24, 0x24}, 1, 1},
        BadTables{"FrameDurationOfZero", 2, 0, {{2, 0}}, {0x24, 0x24}, 0, 2},
        // D0 -> 0, D1 -> 0 again, D2 -> 2: record 1 is never written.
        BadTables{"DuplicateDisplayIndexLeavesAHole",
                  3,
                  100,
                  {{1, 0}, {1, -100}, {1, 0}},
                  {0x24, 0x24, 0x24},
                  0,
                  3}),
    [](const testing::TestParamInfo<BadTables>& inInfo) { return std::string(inInfo.param.name); });
