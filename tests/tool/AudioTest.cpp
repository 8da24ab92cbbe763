// The tool on sound tracks: info's sound description facts and the audio-map command, over movies
// that ffmpeg makes at test time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "AtomBuilder.h"
#include "FfmpegToolSuite.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

// Movies made by ffmpeg into one folder for the suite, each at its first request.
class ToolAudio : public FfmpegToolSuite
{
protected:
    // Half a second of a sine tone at inRate with inChannels, encoded with inCodecArguments.
    std::string Make(const std::string& inName, uint32_t inRate, const std::string& inLayout,
                     const std::string& inCodecArguments)
    {
        std::vector<std::string> arguments = {
            "-f",  "lavfi",
            "-i",  "sine=frequency=440:duration=0.5:sample_rate=" + std::to_string(inRate),
            "-af", "aformat=channel_layouts=" + inLayout};
        for (const std::string& argument : SplitArguments(inCodecArguments))
            arguments.push_back(argument);
        return MakeMovie(inName, arguments);
    }

    json Info(const std::string& inPath) { return RunJson({"info", inPath, "--json"}); }
};

// A movie with a video track (0) and a sound track (1), built byte by byte.
Bytes VideoAndSound()
{
    Atom moov("moov");
    TrackSpec sound;
    sound.handler = Code("soun");
    moov.Child(Mvhd(600, 1234)).Child(Trak(TrackSpec{})).Child(Trak(sound));
    return Build({Ftyp(), moov, Mdat()});
}

// Byte runs as (offset, length), neighbours that touch joined into one.
using Runs = std::vector<std::pair<uint64_t, uint64_t>>;

void AddRun(Runs& ioRuns, uint64_t inOffset, uint64_t inLength)
{
    if (!ioRuns.empty() && ioRuns.back().first + ioRuns.back().second == inOffset)
        ioRuns.back().second += inLength;
    else
        ioRuns.emplace_back(inOffset, inLength);
}

} // namespace

TEST_F(ToolAudio, InfoListsEverySoundFactOfA24BitLittleEndianTrack)
{
    const std::string path = Make("s24le", 48000, "stereo", "-c:a pcm_s24le");
    SKIP_IF_NOT_MADE();
    const json report = Info(path);
    const json& track = report.at("tracks").at(0);
    ASSERT_EQ(track.at("kind"), "sound");
    const json& description = track.at("descriptions").at(0);
    // The library's normalised code, the little-endian 24-bit one, whatever the entry names.
    EXPECT_EQ(description.at("format"), "42ni");
    EXPECT_TRUE(description.at("rawFormat").is_string());
    EXPECT_NE(description.at("rawFormat"), "42ni");
    EXPECT_EQ(description.at("sampleRate"), 48000);
    EXPECT_TRUE(description.at("sampleRate").is_number_integer());
    EXPECT_EQ(description.at("channels"), 2);
    EXPECT_EQ(description.at("bitsPerSample"), 24);
    EXPECT_EQ(description.at("packedBitsPerSample"), 24);
    EXPECT_EQ(description.at("uncompressed"), true);
}

TEST_F(ToolAudio, InfoSummaryNamesTheUncompressedFormatInWords)
{
    const std::string path = Make("s24le_text", 48000, "stereo", "-c:a pcm_s24le");
    SKIP_IF_NOT_MADE();
    const CommandResult run = RunTool({"info", path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "  0: sound, PCM 24-bit LE, 48000 Hz, 2 ch, ")) << run.out;

    const std::string floats = Make("f32be", 8000, "mono", "-c:a pcm_f32be");
    SKIP_IF_NOT_MADE();
    const CommandResult floatRun = RunTool({"info", floats});
    ASSERT_EQ(floatRun.exitCode, 0) << floatRun.err;
    EXPECT_TRUE(Contains(floatRun.out, "  0: sound, PCM 32-bit float BE, 8000 Hz, 1 ch, ")) << floatRun.out;

    const std::string bytes = Make("u8", 8000, "mono", "-c:a pcm_u8");
    SKIP_IF_NOT_MADE();
    const CommandResult byteRun = RunTool({"info", bytes});
    ASSERT_EQ(byteRun.exitCode, 0) << byteRun.err;
    EXPECT_TRUE(Contains(byteRun.out, "  0: sound, PCM 8-bit unsigned, 8000 Hz, 1 ch, ")) << byteRun.out;
}

TEST_F(ToolAudio, InfoShowsACompressedFormatByItsFourCC)
{
    const std::string path = Make("aac", 44100, "stereo", "-c:a aac -b:a 32k");
    SKIP_IF_NOT_MADE();
    const json description = Info(path).at("tracks").at(0).at("descriptions").at(0);
    EXPECT_EQ(description.at("format"), "mp4a");
    EXPECT_EQ(description.at("rawFormat"), "mp4a");
    EXPECT_EQ(description.at("uncompressed"), false);
    EXPECT_EQ(description.at("sampleRate"), 44100);
    EXPECT_EQ(description.at("channels"), 2);

    const CommandResult run = RunTool({"info", path});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "  0: sound, mp4a, 44100 Hz, 2 ch, ")) << run.out;
}

TEST_F(ToolAudio, InfoListsTheChannelMapOfAFivePointOneTrack)
{
    // 24-bit samples make ffmpeg write a version 1 entry, where the library looks for chan.
    const std::string path = Make("s24le_51", 48000, "5.1", "-c:a pcm_s24le");
    SKIP_IF_NOT_MADE();
    const json description = Info(path).at("tracks").at(0).at("descriptions").at(0);
    EXPECT_EQ(description.at("channels"), 6);
    ASSERT_TRUE(description.contains("channelMap")) << description.dump();
    const json& map = description.at("channelMap");
    EXPECT_EQ(map.at("unsupported"), false);
    // The file channel of left, right, centre, LFE, left and right surround: each of the six once.
    ASSERT_EQ(map.at("channels").size(), 6u) << map.dump();
    std::vector<int32_t> channels = map.at("channels").get<std::vector<int32_t>>();
    std::sort(channels.begin(), channels.end());
    EXPECT_EQ(channels, (std::vector<int32_t>{0, 1, 2, 3, 4, 5})) << map.dump();
}

TEST_F(ToolAudio, AudioMapCoversEveryPacketThatFfprobeFinds)
{
    const std::string path = Make("s16le", 48000, "stereo", "-c:a pcm_s16le");
    SKIP_IF_NOT_MADE();
    const CommandResult run = RunTool({"audio-map", path, "--track", "0", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const json report = json::parse(run.out);
    EXPECT_EQ(report.at("result"), 0);
    const json& ranges = report.at("ranges");
    ASSERT_FALSE(ranges.empty());
    EXPECT_EQ(report.at("rangeCount"), ranges.size());

    // Keyed by position: the runs follow one another with no gap, over the half second.
    uint64_t position = 0;
    Runs mapped;
    for (const json& range : ranges)
    {
        for (const char* key : {"sampleCount", "position", "fileOffset"})
            EXPECT_TRUE(range.at(key).is_number_unsigned()) << key;
        EXPECT_EQ(range.at("position"), position);
        position += range.at("sampleCount").get<uint64_t>();
        AddRun(mapped, range.at("fileOffset").get<uint64_t>(), range.at("sampleCount").get<uint64_t>() * 4);
    }
    EXPECT_EQ(position, 24000u);

    // ffprobe splits chunks into packets, so the byte runs are compared once joined.
    Runs probed;
    const json probe = Ffprobe(path, true);
    for (const json& packet : probe.at("packets"))
        AddRun(probed, std::stoull(packet.at("pos").get<std::string>()),
               std::stoull(packet.at("size").get<std::string>()));
    EXPECT_EQ(mapped, probed);
}

TEST_F(ToolAudio, AudioMapKeyedByOffsetListsTheRunsInFileOrder)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "h264_pcm_timecode");
    const json tracks = Info(movie->path.string()).at("tracks");
    std::string sound;
    for (const json& track : tracks)
        if (track.at("kind") == "sound")
            sound = std::to_string(track.at("index").get<uint64_t>());
    ASSERT_FALSE(sound.empty());

    const CommandResult byPosition = RunTool({"audio-map", movie->path.string(), "--track", sound, "--json"});
    const CommandResult byOffset =
        RunTool({"audio-map", movie->path.string(), "--track", sound, "--key-by-offset", "--json"});
    ASSERT_EQ(byPosition.exitCode, 0) << byPosition.err;
    ASSERT_EQ(byOffset.exitCode, 0) << byOffset.err;
    const json positionRanges = json::parse(byPosition.out).at("ranges");
    const json offsetRanges = json::parse(byOffset.out).at("ranges");
    EXPECT_EQ(json::parse(byOffset.out).at("keyByFileOffset"), true);
    ASSERT_EQ(positionRanges.size(), offsetRanges.size());
    ASSERT_GT(offsetRanges.size(), 1u); // interleaved with video, so more than one run
    for (size_t i = 1; i < offsetRanges.size(); ++i)
        EXPECT_LT(offsetRanges[i - 1].at("fileOffset"), offsetRanges[i].at("fileOffset")) << i;
    // The same runs either way.
    std::set<std::pair<uint64_t, uint64_t>> left, right;
    for (const json& range : positionRanges)
        left.emplace(range.at("fileOffset"), range.at("position"));
    for (const json& range : offsetRanges)
        right.emplace(range.at("fileOffset"), range.at("position"));
    EXPECT_EQ(left, right);
}

TEST_F(ToolAudio, AudioMapTextGivesOneRangeALine)
{
    const std::string path = Make("s16le_text", 8000, "mono", "-c:a pcm_s16le");
    SKIP_IF_NOT_MADE();
    const CommandResult json = RunTool({"audio-map", path, "--track", "0", "--json"});
    const CommandResult text = RunTool({"audio-map", path, "--track", "0"});
    ASSERT_EQ(text.exitCode, 0) << text.err;
    ASSERT_EQ(json.exitCode, 0) << json.err;
    const auto ranges = nlohmann::json::parse(json.out).at("ranges");
    std::istringstream lines(text.out);
    std::string line;
    std::vector<std::string> rows;
    bool inList = false;
    while (std::getline(lines, line))
    {
        if (line == "ranges:")
        {
            inList = true;
            ASSERT_TRUE(std::getline(lines, line));
            EXPECT_EQ(line, "sampleCount\tposition\tfileOffset");
            continue;
        }
        if (inList)
            rows.push_back(line);
    }
    ASSERT_EQ(rows.size(), ranges.size()) << text.out;
    const auto& first = ranges.at(0);
    EXPECT_EQ(rows[0], std::to_string(first.at("sampleCount").get<uint64_t>()) + "\t0\t" +
                           std::to_string(first.at("fileOffset").get<uint64_t>()));
    EXPECT_TRUE(Contains(text.out, "result: 0\n")) << text.out;
}

TEST_F(ToolAudio, AudioMapOfAacIsRefusedWithTheReason)
{
    const std::string path = Make("aac_map", 44100, "stereo", "-c:a aac -b:a 32k");
    SKIP_IF_NOT_MADE();
    const CommandResult run = RunTool({"audio-map", path, "--track", "0", "--json"});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(Contains(run.err, "0xA0800006 kQTErrUnsupportedAudio")) << run.err;
    EXPECT_TRUE(Contains(run.err, "vary in duration")) << run.err;
}

TEST_F(ToolAudio, AudioMapOfATrackWithThreeEditsIsRefusedWithTheReason)
{
    TrackSpec sound;
    sound.handler = Code("soun");
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000))
        .Child(TrakWithEdits(sound, Elst({{.duration = 300, .mediaTime = 0},
                                          {.duration = 300, .mediaTime = 100},
                                          {.duration = 400, .mediaTime = 200}})));
    TempFile file(Build({Ftyp(), moov, Mdat()}));
    const CommandResult run = RunTool({"audio-map", file.Path().string(), "--track", "0"});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(Contains(run.err, "0xA0800005 kQTErrComplexEditList")) << run.err;
    EXPECT_TRUE(Contains(run.err, "the edit list is not one edit at normal rate")) << run.err;
}

TEST_F(ToolAudio, AudioMapOfADescriptionWithoutWholeFramesIsRefusedWithItsSizes)
{
    // The builder's sample description is not a sound one, so it reads as 0 channels of 0 bits.
    TempFile file(VideoAndSound());
    const CommandResult run = RunTool({"audio-map", file.Path().string(), "--track", "1"});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(Contains(run.err, "0xA0800006 kQTErrUnsupportedAudio")) << run.err;
    EXPECT_TRUE(Contains(run.err, "gives 0 channels of 0 bits")) << run.err;
    EXPECT_FALSE(Contains(run.err, "vary in duration")) << run.err;
}

TEST_F(ToolAudio, AudioMapOfAVideoTrackIsAUsageError)
{
    TempFile file(VideoAndSound());
    const CommandResult run = RunTool({"audio-map", file.Path().string(), "--track", "0", "--json"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(Contains(run.err, "track 0 is video, not sound")) << run.err;
    EXPECT_FALSE(Contains(run.err, "assert")) << run.err;
    EXPECT_FALSE(Contains(run.err, "contract")) << run.err;
    EXPECT_EQ(run.out, "");
}

TEST_F(ToolAudio, InfoAsksNoAudioQueryOfAVideoTrack)
{
    // The audio queries raise on other tracks; info must reach the end all the same.
    TempFile file(VideoAndSound());
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    for (const json& description : report.at("tracks").at(0).at("descriptions"))
        EXPECT_FALSE(description.contains("rawFormat")) << description.dump();
}

TEST_F(ToolAudio, HelpListsAudioMapAndItsOptions)
{
    const CommandResult run = RunTool({"--help"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "audio-map")) << run.out;
    const CommandResult help = RunTool({"help", "audio-map"});
    EXPECT_EQ(help.exitCode, 0) << help.err;
    EXPECT_TRUE(Contains(help.out, "--key-by-offset")) << help.out;
    EXPECT_TRUE(Contains(help.out, "--track")) << help.out;
}
