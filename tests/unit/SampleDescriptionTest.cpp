#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "tenacore/trace.h"

using namespace qttest;

namespace
{

OpenedTrack TrackWithStsd(const Atom& inStsd)
{
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[0] = inStsd;
    return OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
}

} // namespace

static const uint8_t* Description(OpenedTrack& ioTrack, int32_t inIndex)
{
    return ioTrack.impl->GetSampleDescription(ioTrack.impl->Item().stsd, inIndex);
}

TEST(SampleDescription, OneEntryIsFoundSixteenBytesIntoTheAtomAndASecondIsMissing)
{
    TraceCapture trace("QTTrack");
    OpenedTrack t = TrackWithStsd(Atom("stsd").FullHeader().U32(1).Child(SampleEntry("avc1")));
    EXPECT_EQ(Description(t, 0), t.impl->Item().stsd + 16);
    EXPECT_TRUE(trace.lines.empty());
    EXPECT_EQ(Description(t, 1), nullptr);
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTTrack Total number of stsd samples is less than expected\r\n"}));
}

TEST(SampleDescription, SecondEntryFollowsTheFirst)
{
    OpenedTrack t = TrackWithStsd(
        Atom("stsd").FullHeader().U32(2).Child(SampleEntry("avc1", 12)).Child(SampleEntry("hvc1")));
    EXPECT_EQ(Description(t, 1), t.impl->Item().stsd + 16 + 20);
}

TEST(SampleDescription, EntryAsLargeAsTheWholeAtomIsAccepted)
{
    // stsd of 16 + 20 bytes whose only entry claims all 36.
    OpenedTrack t =
        TrackWithStsd(Atom("stsd").FullHeader().U32(1).Child(SampleEntry("avc1", 12).SizeWord(36)));
    EXPECT_EQ(Description(t, 0), t.impl->Item().stsd + 16);
}

TEST(SampleDescription, NegativeIndexGivesNullSilently)
{
    TraceCapture trace("QTTrack");
    OpenedTrack t = TrackWithStsd(Atom("stsd").FullHeader().U32(1).Child(SampleEntry("avc1")));
    EXPECT_EQ(Description(t, -1), nullptr);
    EXPECT_TRUE(trace.lines.empty());
}

TEST(SampleDescription, NoEntriesIsReported)
{
    TraceCapture trace("QTTrack");
    OpenedTrack t = TrackWithStsd(Atom("stsd").FullHeader().U32(0));
    EXPECT_EQ(Description(t, 0), nullptr);
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QTTrack Number of stsd samples in media is 0\r\n"}));
}

TEST(SampleDescription, OversizedFirstEntryCorruptsEveryIndex)
{
    TraceCapture trace("QTTrack");
    OpenedTrack t = TrackWithStsd(Atom("stsd")
                                      .FullHeader()
                                      .U32(2)
                                      .Child(SampleEntry("avc1").SizeWord(1000))
                                      .Child(SampleEntry("hvc1")));
    EXPECT_EQ(Description(t, 0), nullptr);
    EXPECT_EQ(Description(t, 1), nullptr);
    const std::string corrupt = "5 QTTrack stsd table is corrupt. Returning...\r\n";
    EXPECT_EQ(trace.lines, (std::vector<std::string>{corrupt, corrupt}));
}

TEST(SampleDescription, EntryOfSizeZeroAnswersForEveryLaterIndex)
{
    OpenedTrack t = TrackWithStsd(Atom("stsd")
                                      .FullHeader()
                                      .U32(0xFFFFFFFF)
                                      .Child(SampleEntry("avc1"))
                                      .Child(Atom("zero").Zeros(8).SizeWord(0)));
    const uint8_t* zero = t.impl->Item().stsd + 16 + 16;
    EXPECT_EQ(Description(t, 1), zero);
    EXPECT_EQ(Description(t, 2), zero);
    EXPECT_EQ(Description(t, 0x7FFFFFFF), zero);
}

TEST(SampleDescription, EntryHeaderOutsideTheBufferIsCorrupt)
{
    // The count promises a second entry, the loose size test lets the walk move past the atom's end,
    // and the stsd is the last atom of the buffer.
    Atom stsd("stsd");
    stsd.FullHeader().U32(2).Child(SampleEntry("avc1"));
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables.erase(tables.begin());
    tables.push_back(stsd);
    Atom trak = TrakWith(TrackSpec{}, tables);
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), trak});
    TempFile file(Build({Ftyp(), moov}));
    OpenedTrack t;
    t.opened = OpenPath(file.WidePath());
    ASSERT_EQ(t.opened.result, 0u);
    t.opened.movie->GetIndTrack(t.track, 0);
    t.impl = tenacore::classref::InterfaceRef<QT::QTTrack>::Query(t.track);
    TraceCapture trace("QTTrack");
    EXPECT_EQ(Description(t, 1), nullptr);
    EXPECT_EQ(trace.lines.size(), 1u);
}

TEST(SampleDescription, RepeatedFailureWithoutSettingChangesAsksTraceEnabledOnce)
{
    TraceCapture trace("QTTrack");
    OpenedTrack t = TrackWithStsd(Atom("stsd").FullHeader().U32(0));
    EXPECT_EQ(Description(t, 0), nullptr);
    const uint64_t asked = tenacore::debug::TraceEnabledQueryCount();
    EXPECT_EQ(Description(t, 0), nullptr);
    EXPECT_EQ(Description(t, 0), nullptr);
    EXPECT_EQ(tenacore::debug::TraceEnabledQueryCount(), asked);
    EXPECT_EQ(trace.lines.size(), 3u);
    // A change of settings is noticed at the next message of the site.
    tenacore::debug::SetTraceLevel("QTTrack", -1);
    EXPECT_EQ(Description(t, 0), nullptr);
    EXPECT_EQ(tenacore::debug::TraceEnabledQueryCount(), asked + 1);
    EXPECT_EQ(trace.lines.size(), 3u);
}

TEST(SampleDescription, DescriptionCountComesFromTheAtom)
{
    OpenedTrack t =
        TrackWithStsd(Atom("stsd").FullHeader().U32(2).Child(SampleEntry("avc1")).Child(SampleEntry("hvc1")));
    EXPECT_EQ(t.track->GetSampleDescriptionCount(), 2u);
}
