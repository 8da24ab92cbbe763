#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Capture.h"
#include "QTTrace.h"

namespace
{

tenacore::debug::TraceSiteCache gCarriageReturnSite;
tenacore::debug::TraceSiteCache gLineFeedSite;
tenacore::debug::TraceSiteCache gSoundSite;

} // namespace

TEST(TraceLine, EndsInACarriageReturnAndALineFeed)
{
    qttest::TraceCapture trace("QTTrack");
    QT::TraceLine(gCarriageReturnSite, QT::kTrackTraceCategory, "Entry ", 3, " is bad");
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QTTrack Entry 3 is bad\r\n"}));
}

TEST(TraceLine, EndsInALineFeedAloneWhenAsked)
{
    qttest::TraceCapture trace("QTTrack");
    QT::TraceLineEndedBy(gLineFeedSite, QT::kTrackTraceCategory, QT::TraceLineEnd::LineFeed, "Entry ", 3);
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QTTrack Entry 3\n"}));
}

TEST(TraceLine, TheSoundDescriptionCategoryIsItsOwn)
{
    EXPECT_EQ(QT::kSoundDescriptionTraceCategory, "QT.SoundDescription");
    {
        qttest::TraceCapture other("QTTrack");
        QT::TraceLineEndedBy(gSoundSite, QT::kSoundDescriptionTraceCategory, QT::TraceLineEnd::LineFeed, "x");
        EXPECT_TRUE(other.lines.empty());
    }
    qttest::TraceCapture trace("QT.SoundDescription");
    QT::TraceLineEndedBy(gSoundSite, QT::kSoundDescriptionTraceCategory, QT::TraceLineEnd::LineFeed, "x");
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QT.SoundDescription x\n"}));
}
