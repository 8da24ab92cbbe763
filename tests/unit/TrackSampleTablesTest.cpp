#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "TrackTestSupport.h"

using namespace qttest;

TEST(TrackSampleTables, TimeToSampleEntriesBeyondTheAtomAreNotRead)
{
    // Count 3, room for 2.
    Atom stts("stts");
    stts.FullHeader().U32(3).U32(2).U32(10).U32(5).U32(20);
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[1] = stts;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    EXPECT_NE(t.impl->GetTimeToSampleEntry(1), nullptr);
    EXPECT_EQ(t.impl->GetTimeToSampleEntry(2), nullptr);
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
}

TEST(TrackSampleTables, SampleDurationOnePastTheLastSampleFails)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{3, 10}, {2, 20}}))}));
    uint32_t duration = 0;
    EXPECT_EQ(t.impl->GetSampleDuration(4, duration), 0u);
    EXPECT_EQ(duration, 20u);
    duration = 99;
    EXPECT_EQ(t.impl->GetSampleDuration(5, duration), QT::kQTErrFailed);
    EXPECT_EQ(duration, 99u);
}

TEST(TrackSampleTables, EntriesOfNoSamplesAreStepOver)
{
    OpenedTrack t =
        OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{2, 10}, {0, 99}, {1, 30}}))}));
    uint32_t duration = 0;
    EXPECT_EQ(t.impl->GetSampleDuration(2, duration), 0u);
    EXPECT_EQ(duration, 30u);
}

TEST(TrackSampleTables, SampleCountIsCachedOnceNonZero)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{3, 10}, {4, 20}}))}));
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
}

TEST(TrackSampleTables, CompositionSearchIgnoresACountBeyondTheAtom)
{
    // ctts claims 0x10000000 entries but holds one; the edit search must stop at the atom's end.
    std::vector<Atom> tables = BasicSampleTables({{30, 10}});
    tables.push_back(Atom("ctts").FullHeader().U32(0x10000000).U32(2).U32(20));
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables, {{1000, 45, 0x10000}})}));
    // Minimum composition time 20: 45 - 20 = 25 lies in sample 2 with 5 left.
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 2u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 5u);
}
