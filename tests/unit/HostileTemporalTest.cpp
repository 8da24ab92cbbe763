// The temporal reference table counts distinct display positions, those past the table included,
// with a bit a sample and runs for the rest; the answers are those of counting each position.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "tenacore/trace.h"

using namespace qttest;
using QT::VideoTemporalReference;

namespace
{

// A video track of inCount samples of 100 ticks with the given ctts and sdtp.
OpenedTrack Track(uint32_t inCount, const Atom& inCtts, const Atom& inSdtp)
{
    std::vector<Atom> tables = BasicSampleTables({{inCount, 100}});
    tables.push_back(inCtts);
    tables.push_back(inSdtp);
    return OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
}

} // namespace

// Displayed at 1, 2, 3 and 4: the last lies past the table but is a position of its own.
TEST(HostileTemporal, PositionsPastTheTableCountWhenDistinct)
{
    OpenedTrack t = Track(4, Ctts({{4, 100}}), Sdtp({0x24, 0x24, 0x24, 0x24}));
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    ASSERT_EQ(table.size(), 4u);
    EXPECT_EQ(table[1].decodeOffset, -1);
    EXPECT_EQ(table[0].decodeOffset, 0);
}

// Displayed at 6, 4, 2 and 3: runs past the table out of order, none repeated.
TEST(HostileTemporal, RunsPastTheTableOutOfOrder)
{
    OpenedTrack t = Track(4, Ctts({{1, 600}, {1, 300}, {2, 0}}), Sdtp({0x24, 0x24, 0x24, 0x24}));
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
}

// Displayed at 4, 5, 4 and 5: two positions for four samples.
TEST(HostileTemporal, RepeatedPositionsPastTheTableAreCountedOnce)
{
    OpenedTrack t = Track(4, Ctts({{2, 400}, {2, 200}}), Sdtp({0x24, 0x24, 0x24, 0x24}));
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrBadSampleTable);
}

// Displayed at 4, 5, 4, then 0 with flags of no class: the report counts 3 distinct positions.
TEST(HostileTemporal, TheReportCountsDistinctPositions)
{
    TraceCapture trace("QTSifter");
    OpenedTrack t = Track(4, Ctts({{2, 400}, {1, 200}, {1, -300}}), Sdtp({0x24, 0x24, 0x24, 0x00}));
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), QT::kQTErrBadSampleTable);
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTSifter Found invalid sdtp atom data at frame 3\r\n",
                                        "5 QTSifter Invalid Quicktime sample table data detected.\r\n"}));
}

// 2^20 samples shown one frame late and a run shown 2^31 frames late: the two runs past the table
// overlap nowhere, so every position is distinct.
TEST(HostileTemporal, ManySamplesInFewRuns)
{
    constexpr uint32_t kCount = 1u << 20;
    std::vector<uint8_t> flags(kCount, 0x24);
    OpenedTrack t =
        Track(kCount, Ctts({{kCount - 1, 100}, {1, int32_t(0x7FFFFFFF / 100 * 100)}}), Sdtp(flags));
    std::vector<VideoTemporalReference> table;
    EXPECT_EQ(t.track->MakeVideoTemporalReferenceTable(table), 0u);
    ASSERT_EQ(table.size(), kCount);
    EXPECT_EQ(table[kCount - 1].decodeOffset, -1);
}
