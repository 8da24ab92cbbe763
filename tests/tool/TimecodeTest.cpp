// The tool on timecode tracks: the timecode command and info's timecode facts, over movies that
// ffmpeg makes at test time and one built byte by byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "FfmpegToolSuite.h"
#include "TestFiles.h"
#include "TimecodeAtoms.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

class ToolTimecode : public FfmpegToolSuite
{
protected:
    // A second of mjpeg frames at inRate with ffmpeg's timecode arguments.
    std::string Make(const std::string& inName, const std::string& inRate, const std::string& inArguments)
    {
        std::vector<std::string> arguments = {
            "-f", "lavfi", "-i", "testsrc=size=64x48:rate=" + inRate + ":duration=1", "-c:v", "mjpeg"};
        for (const std::string& argument : SplitArguments(inArguments))
            arguments.push_back(argument);
        return MakeMovie(inName, arguments);
    }
};

} // namespace

TEST_F(ToolTimecode, TimecodeGivesTheLocationFrameAndTimecodeThatFfprobeSees)
{
    const std::string path = Make("tc25", "25", "-timecode 01:00:00:00");
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"timecode", path, "--track", "1", "--json"});
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report.at("result"), 0);
    EXPECT_EQ(report.at("info").at("dropFrame"), false);
    EXPECT_EQ(report.at("info").at("frameCount"), 25);
    EXPECT_EQ(report.at("info").at("sourceName"), "");
    EXPECT_EQ(report.at("frameNumber"), 90000);
    const json probe = Ffprobe(path, true);
    json packet;
    for (const json& candidate : probe.at("packets"))
        if (candidate.at("stream_index") == 1)
            packet = candidate;
    ASSERT_FALSE(packet.is_null());
    EXPECT_EQ(report.at("sampleLocation").at("fileOffset").get<int64_t>(), FfprobeInteger(packet.at("pos")));
    EXPECT_EQ(report.at("sampleLocation").at("size").get<int64_t>(), FfprobeInteger(packet.at("size")));
    EXPECT_EQ(report.at("timecode"), probe.at("streams").at(1).at("tags").at("timecode"));
}

TEST_F(ToolTimecode, DropFrameIsWrittenWithASemicolonAndTheReelNameShown)
{
    const std::string path =
        Make("tc2997", "30000/1001", "-timecode 01:00:00;00 -metadata:s:v:0 reel_name=Reel_One");
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"timecode", path, "--track", "1", "--json"});
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report.at("info").at("dropFrame"), true);
    EXPECT_EQ(report.at("info").at("timeScale"), 30000);
    EXPECT_EQ(report.at("info").at("frameDuration"), 1001);
    EXPECT_EQ(report.at("info").at("sourceName"), "Reel_One");
    EXPECT_EQ(report.at("frameNumber"), 107892);
    EXPECT_EQ(report.at("timecode"), "01:00:00;00");

    const CommandResult text = RunTool({"timecode", path, "--track", "1"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_TRUE(Contains(text.out, "01:00:00;00")) << text.out;
}

TEST_F(ToolTimecode, InfoShowsTheTimecodeTracksFactsAndFirstFrame)
{
    const std::string path =
        Make("tc2997", "30000/1001", "-timecode 01:00:00;00 -metadata:s:v:0 reel_name=Reel_One");
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"info", path, "--json"});
    ASSERT_TRUE(report.is_object());
    const json& track = report.at("tracks").at(1);
    ASSERT_EQ(track.at("kind"), "timecode");
    const json& timecode = track.at("timecode");
    EXPECT_EQ(timecode.at("dropFrame"), true);
    EXPECT_EQ(timecode.at("timeScale"), 30000);
    EXPECT_EQ(timecode.at("frameDuration"), 1001);
    EXPECT_EQ(timecode.at("frameCount"), 30);
    EXPECT_EQ(timecode.at("sourceName"), "Reel_One");
    EXPECT_EQ(timecode.at("firstFrameNumber"), 107892);
    EXPECT_EQ(timecode.at("firstTimecode"), "01:00:00;00");
    EXPECT_EQ(track.at("descriptions").at(0).at("flags").get<uint32_t>() & 1u, 1u);

    const CommandResult text = RunTool({"info", path});
    EXPECT_TRUE(Contains(text.out, "timecode, tmcd 01:00:00;00, 30 fps drop frame")) << text.out;
}

TEST_F(ToolTimecode, AHandleReferenceGivesTheFrameWithoutALocation)
{
    const TempFile file(MovieWith({TimecodeTrak({.descriptions = {TimecodeDescription({})},
                                                 .tables = TimecodeTables(),
                                                 .dinf = HandleDinf({0, 0, 1, 0})})}));
    const json report = RunJson({"timecode", file.Path().string(), "--track", "0", "--json"});
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report.at("info").at("handleReference"), true);
    EXPECT_TRUE(report.at("sampleLocation").is_null());
    EXPECT_EQ(report.at("frameNumber"), 256);
    EXPECT_EQ(report.at("timecode"), "00:00:10:06");
}

TEST_F(ToolTimecode, ASampleThatTheFileDoesNotHoldIsRefused)
{
    const TempFile file(MovieWith(
        {TimecodeTrak({.descriptions = {TimecodeDescription({})}, .tables = TimecodeTables(4, 1000000)})}));
    const CommandResult run = RunTool({"timecode", file.Path().string(), "--track", "0"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "does not hold")) << run.err;
}

TEST_F(ToolTimecode, AnotherKindOfTrackIsAUsageMistake)
{
    const TempFile file(
        MovieWith({TimecodeTrak({.descriptions = {TimecodeDescription({})}, .tables = TimecodeTables()}),
                   Trak(TrackSpec{})}));
    const CommandResult run = RunTool({"timecode", file.Path().string(), "--track", "1"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(Contains(run.err, "not timecode")) << run.err;
}
