// The tool on closed caption tracks: the captions command and info's caption facts, over a movie
// that ffmpeg makes from a Scenarist file at test time and ones built byte by byte.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CaptionAtoms.h"
#include "FfmpegToolSuite.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

constexpr const char* kScenarist =
    "Scenarist_SCC V1.0\n\n"
    "00:00:00:00\t9420 9420 94ae 94ae 9452 9452 97a1 97a1 c8e5 ecec eff2 942c 942c "
    "942f 942f\n\n"
    "00:00:01:00\t942c 942c\n";

class ToolCaptions : public FfmpegToolSuite
{
protected:
    // Two seconds of mjpeg frames and the Scenarist file's captions, stream-copied.
    std::string Make()
    {
        const std::string scc = MoviePath("captions.scc");
        std::ofstream(scc, std::ios::binary) << kScenarist;
        return MakeMovie("captions", {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=30000/1001:duration=2",
                                      "-i", scc, "-map", "0", "-map", "1", "-c:v", "mjpeg", "-c:s", "copy"});
    }
};

} // namespace

TEST_F(ToolCaptions, CaptionsListsEveryPairOfEveryPacketThatFfprobeSees)
{
    const std::string path = Make();
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"captions", path, "--track", "1", "--key-by-offset", "--json"});
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report.at("result"), 0);
    EXPECT_EQ(report.at("format"), "c608");
    const uint64_t frame = report.at("frameDuration").get<uint64_t>();
    EXPECT_GT(frame, 0u);
    std::map<int64_t, json> byOffset;
    for (const json& entry : report.at("entries"))
        byOffset[entry.at("fileOffset").get<int64_t>()] = entry;
    // ffmpeg hands each pair on as a 3-byte triplet; the file holds it behind an 8-byte cdat header,
    // one pair a frame.
    const json probe = Ffprobe(path, true);
    size_t packets = 0;
    for (const json& packet : probe.at("packets"))
    {
        if (packet.at("stream_index") != 1)
            continue;
        ++packets;
        const int64_t pairs = FfprobeInteger(packet.at("size")) / 3;
        for (int64_t i = 0; i < pairs; ++i)
        {
            const auto found = byOffset.find(FfprobeInteger(packet.at("pos")) + 8 + 2 * i);
            ASSERT_NE(found, byOffset.end()) << "pair " << i << " of the packet at " << packet.at("pos");
            EXPECT_EQ(found->second.at("time").get<int64_t>(),
                      FfprobeInteger(packet.at("pts")) + i * int64_t(frame));
            EXPECT_EQ(found->second.at("length"), 2);
            EXPECT_EQ(found->second.at("hasSecondField"), false);
        }
    }
    EXPECT_GT(packets, 0u);
    for (const char* key :
         {"time", "fileOffset", "length", "hasSecondField", "secondFileOffset", "secondLength"})
        EXPECT_TRUE(byOffset.begin()->second.contains(key)) << key;
}

TEST_F(ToolCaptions, KeyedByOffsetTheEntriesAreInFileOrder)
{
    const std::string path = Make();
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"captions", path, "--track", "1", "--key-by-offset", "--json"});
    ASSERT_TRUE(report.is_object());
    const json& entries = report.at("entries");
    ASSERT_GT(entries.size(), 1u);
    for (size_t i = 1; i < entries.size(); ++i)
        EXPECT_LT(entries[i - 1].at("fileOffset").get<uint64_t>(),
                  entries[i].at("fileOffset").get<uint64_t>());
}

TEST_F(ToolCaptions, InfoShowsTheFormatAndFrameDuration)
{
    const std::string path = Make();
    SKIP_IF_NOT_MADE();
    const json report = RunJson({"info", path, "--json"});
    ASSERT_TRUE(report.is_object());
    const json& track = report.at("tracks").at(1);
    ASSERT_EQ(track.at("kind"), "closed captions");
    EXPECT_EQ(track.at("captions").at("format"), "c608");
    const json listed = RunJson({"captions", path, "--track", "1", "--json"});
    EXPECT_EQ(track.at("captions").at("frameDuration"), listed.at("frameDuration"));
    const CommandResult text = RunTool({"info", path});
    EXPECT_TRUE(Contains(text.out, "closed captions, c608, frame of ")) << text.out;
}

TEST_F(ToolCaptions, TwoFieldSamplesShowBothRanges)
{
    const Bytes sample = Concat({CdatSample({0x94, 0x20}), CdatSample({0x15, 0x2C})});
    const TempFile file(
        CaptionMovie(sample, {CaptionTrak({.tables = {Stts({{.sampleCount = 1, .duration = 1001}}),
                                                      Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}),
                                                      Stsz(20, {}, 1), Stco({kCaptionMediaStart})}})}));
    const json report = RunJson({"captions", file.Path().string(), "--track", "0", "--json"});
    ASSERT_TRUE(report.is_object());
    ASSERT_EQ(report.at("entries").size(), 1u);
    const json& entry = report.at("entries")[0];
    EXPECT_EQ(entry.at("fileOffset"), kCaptionMediaStart + 8);
    EXPECT_EQ(entry.at("hasSecondField"), true);
    EXPECT_EQ(entry.at("secondFileOffset"), kCaptionMediaStart + 18);
    EXPECT_EQ(entry.at("secondLength"), 2);
}

TEST_F(ToolCaptions, AnUnusableSizeTableIsRefused)
{
    const TempFile file(CaptionMovie(
        Bytes(10, 0), {CaptionTrak({.tables = {Stts({{.sampleCount = 2, .duration = 1001}}),
                                               Stsc({{.firstChunk = 1, .samplesPerChunk = 2}}),
                                               Stsz(0, {10}, 1), Stco({kCaptionMediaStart})}})}));
    const CommandResult run = RunTool({"captions", file.Path().string(), "--track", "0"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "0xA00F0001")) << run.err;
}
