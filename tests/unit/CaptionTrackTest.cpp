#include <gtest/gtest.h>

#include <vector>

#include "CaptionAtoms.h"
#include "Capture.h"
#include "QTFourCC.h"
#include "TrackTestSupport.h"

using namespace qttest;

namespace
{

OpenedTrack CaptionTrack(const CaptionTrackSpec& inSpec)
{
    return OpenTrack(CaptionMovie(Bytes(8, 0), {CaptionTrak(inSpec)}));
}

// The frame duration of a caption track of the given stts entries, one sample each unless told.
uint32_t FrameDuration(const std::vector<SttsEntry>& inEntries, uint32_t inMediaTimeScale = 30000)
{
    OpenedTrack t = CaptionTrack({.mediaTimeScale = inMediaTimeScale, .tables = {Stts(inEntries)}});
    return t.track ? t.track->GetCaptionMediaFrameDuration() : 0;
}

} // namespace

TEST(CaptionDataFormat, TheTwoCaptionFormatsAreNamedAndOthersUnknown)
{
    EXPECT_EQ(QT::FourCCText(CaptionTrack({.format = Code("c608")}).track->GetCaptionMediaDataFormat(0)),
              "c608");
    EXPECT_EQ(QT::FourCCText(CaptionTrack({.format = Code("c708")}).track->GetCaptionMediaDataFormat(0)),
              "c708");
    EXPECT_EQ(QT::FourCCText(CaptionTrack({.format = Code("tx3g")}).track->GetCaptionMediaDataFormat(0)),
              "unkn");
}

TEST(CaptionDataFormat, AMissingDescriptionIsUnknown)
{
    OpenedTrack t = CaptionTrack({.format = Code("c608")});
    EXPECT_EQ(QT::FourCCText(t.track->GetCaptionMediaDataFormat(1)), "unkn");
    EXPECT_EQ(QT::FourCCText(t.track->GetCaptionMediaDataFormat(-1)), "unkn");
    EXPECT_EQ(QT::FourCCText(CaptionTrack({.withDescription = false}).track->GetCaptionMediaDataFormat(0)),
              "unkn");
}

TEST(CaptionDataFormat, AVideoTrackIsUnknownWithoutAReport)
{
    OpenedTrack t = OpenTrack(SimpleMovie());
    AssertCounter asserts;
    EXPECT_EQ(QT::FourCCText(t.track->GetCaptionMediaDataFormat(0)), "unkn");
    EXPECT_EQ(asserts.count, 0);
}

TEST(CaptionFrameDuration, OneDurationIsTheFrame)
{
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 1001}}), 1001u);
}

TEST(CaptionFrameDuration, TheCommonDivisorOfTheDurations)
{
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 2002}, {.sampleCount = 3, .duration = 1001}}),
              1001u);
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 3003}, {.sampleCount = 1, .duration = 2002}}),
              1001u);
}

TEST(CaptionFrameDuration, ADurationOfZeroFallsBackToOneNtscFrame)
{
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 0}}), 1001u);
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 0}}, 600), 20u) << "600 * 1.001 / 30 + 0.5";
    EXPECT_EQ(FrameDuration({}, 30000), 1001u) << "no entries";
}

TEST(CaptionFrameDuration, ADivisorOfOneWithoutADurationOfOneFallsBack)
{
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 1001}, {.sampleCount = 1, .duration = 1002}}),
              1001u);
    EXPECT_EQ(
        FrameDuration({{.sampleCount = 1, .duration = 1001}, {.sampleCount = 1, .duration = 1002}}, 600),
        20u);
}

TEST(CaptionFrameDuration, ADurationOfOneMakesOneTheFrame)
{
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 2}, {.sampleCount = 1, .duration = 1}}), 1u);
}

TEST(CaptionFrameDuration, NegativeDurationsCountByTheirMagnitude)
{
    EXPECT_EQ(FrameDuration(
                  {{.sampleCount = 1, .duration = uint32_t(-2002)}, {.sampleCount = 1, .duration = 1001}}),
              1001u);
    // A lone negative duration is not above 1 and is the least: the fallback.
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = uint32_t(-5)}}), 1001u);
}

// The magnitude of INT_MIN does not fit a signed 32-bit value; it is taken without overflow.
TEST(CaptionFrameDurationGuard, TheMagnitudeOfTheMostNegativeDurationIsDefined)
{
    EXPECT_EQ(FrameDuration(
                  {{.sampleCount = 1, .duration = 0x80000000u}, {.sampleCount = 1, .duration = 0x80000000u}}),
              1001u)
        << "2^31 is not above 1 as signed";
    EXPECT_EQ(FrameDuration({{.sampleCount = 1, .duration = 0x80000000u}, {.sampleCount = 1, .duration = 6}}),
              2u);
}

TEST(CaptionFrameDuration, AnEntryPastTheAtomEndsTheDivisor)
{
    Atom stts("stts");
    stts.FullHeader().U32(3).U32(1).U32(2002).U32(1).U32(3003); // claims 3, holds 2
    OpenedTrack t = CaptionTrack({.tables = {stts}});
    EXPECT_EQ(t.track->GetCaptionMediaFrameDuration(), 1001u);
}
