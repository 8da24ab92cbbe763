// What a reader sees: the summary first, seconds beside ticks, degrees, named colour and field
// facts, decoded keys and dependency flags, and the same facts kept as numbers in the JSON.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "AtomBuilder.h"
#include "FfmpegMovies.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

Bytes TwoTrackMovie()
{
    Atom moov("moov");
    TrackSpec sound;
    sound.handler = Code("soun");
    moov.Child(Mvhd(600, 1234)).Child(Trak(TrackSpec{})).Child(Trak(sound));
    return Build({Ftyp(), moov, Mdat(2000)});
}

} // namespace

TEST(Readable, InfoStartsWithASummary)
{
    TempFile file(TwoTrackMovie());
    const CommandResult run = RunTool({"info", file.Path().string()});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out.rfind("file: " + file.Path().string() + "\n", 0), 0u) << run.out;
    EXPECT_TRUE(Contains(run.out, "\nduration: 2.057 s (1234 ticks at 600 per second)\n")) << run.out;
    EXPECT_TRUE(Contains(run.out, "\ntracks: 2\n")) << run.out;
    // A track's line: kind, codec, size, frame rate, edited duration and samples. Ten samples of 100
    // ticks at 600 per second over the track's 1000 movie ticks.
    EXPECT_TRUE(Contains(run.out, "  0: video, raw  640x480, 6 fps, 1.667 s, 10 samples\n")) << run.out;
    EXPECT_TRUE(Contains(run.out, "  1: sound, ")) << run.out;
    // The summary comes before the details.
    EXPECT_LT(run.out.find("tracks: 2"), run.out.find("details:")) << run.out;
}

TEST(Readable, TimesCarrySecondsBesideTicks)
{
    TempFile file(TwoTrackMovie());
    const CommandResult text = RunTool({"info", file.Path().string()});
    EXPECT_TRUE(Contains(text.out, "duration: 1234 (2.057 s)")) << text.out;
    EXPECT_TRUE(Contains(text.out, "rotation: 0 (0°)")) << text.out;

    const json report = json::parse(RunTool({"info", file.Path().string(), "--json"}).out);
    EXPECT_EQ(report.at("movie").at("duration"), 1234);
    EXPECT_NEAR(report.at("movie").at("durationSeconds").get<double>(), 1234.0 / 600, 1e-9);
    const json& video = report.at("tracks").at(0);
    EXPECT_EQ(video.at("kind"), "video");
    EXPECT_NEAR(video.at("durationSeconds").get<double>(), 1000.0 / 600, 1e-9);
    EXPECT_EQ(video.at("rotationDegrees"), 0);
    EXPECT_NEAR(video.at("frameRate").get<double>(), 6.0, 1e-9);
    EXPECT_EQ(report.at("tracks").at(1).at("kind"), "sound");
}

TEST(Readable, RotationIsInDegrees)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "h264_rotated_90");
    const CommandResult run = RunTool({"info", movie->path.string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    const json& video = report.at("tracks").at(0);
    EXPECT_NE(video.at("rotation"), 0);
    EXPECT_EQ(video.at("rotationDegrees"), video.at("rotation").get<int>() * 90);
    const CommandResult text = RunTool({"info", movie->path.string()});
    EXPECT_TRUE(
        Contains(text.out, ", rotated " + std::to_string(video.at("rotationDegrees").get<int>()) + "°"))
        << text.out;
}

TEST(Readable, ColourAndFieldFactsAreNamed)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "prores_interlaced_tt");
    const CommandResult run = RunTool({"info", movie->path.string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    const json& description = report.at("tracks").at(0).at("descriptions").at(0);
    ASSERT_TRUE(description.contains("fieldInfo")) << description.dump();
    EXPECT_EQ(description.at("fieldInfo").at("fieldCount"), 2);
    EXPECT_EQ(description.at("fieldInfo")
                  .at("fieldOrderingName")
                  .get<std::string>()
                  .rfind("interlaced, top field "
                         "first",
                         0),
              0u)
        << description.dump();
    if (description.contains("colorInfo"))
    {
        const json& colour = description.at("colorInfo");
        EXPECT_TRUE(colour.at("primaries").is_number_integer());
        EXPECT_TRUE(colour.at("primariesName").is_string());
        EXPECT_TRUE(colour.at("transferFunctionName").is_string());
        EXPECT_TRUE(colour.at("matrixName").is_string());
        if (colour.at("primaries") == 1)
        {
            EXPECT_EQ(colour.at("primariesName"), "ITU-R BT.709");
        }
    }
    const CommandResult text = RunTool({"info", movie->path.string()});
    EXPECT_TRUE(
        Contains(text.out, "fieldCount 2, fieldOrdering " +
                               std::to_string(description.at("fieldInfo").at("fieldOrdering").get<int>()) +
                               " (interlaced, top field first"))
        << text.out;
}

TEST(Readable, KeyedMetadataShowsKeysAndValuesAsText)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "keyed_mov");
    const CommandResult run = RunTool({"info", movie->path.string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    bool found = false;
    const json report = json::parse(run.out);
    for (const json& item : report.at("movie").at("metadata"))
        if (item.at("keyText") == "custom_key")
        {
            found = true;
            EXPECT_EQ(item.at("valueText"), "A custom value");
            EXPECT_TRUE(item.contains("key"));
            EXPECT_TRUE(item.at("typeCode").is_number_integer());
        }
    EXPECT_TRUE(found) << run.out;
    const CommandResult text = RunTool({"info", movie->path.string()});
    EXPECT_TRUE(Contains(text.out, "key custom_key, ")) << text.out;
    EXPECT_TRUE(Contains(text.out, "value A custom value")) << text.out;
    EXPECT_FALSE(Contains(text.out, std::string(1, '\0'))) << text.out;
}

TEST(Readable, SamplesTextIsATableWithOneHeaderLine)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000)).Child(Trak(TrackSpec{}));
    TempFile file(Build({Ftyp(), moov, Mdat(2000)}));
    const CommandResult run = RunTool({"samples", file.Path().string(), "--track", "0", "--max", "3"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "sampleCount: 3\n")) << run.out;
    EXPECT_TRUE(
        Contains(run.out, "fileOffset\tsize\tduration\tstartTime\tisSync\n48\t100\t100\t0\tyes\n148\t100\t"))
        << run.out;
}

TEST(Readable, TemporalDecodesTheDependencyFlags)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "hevc_bframes_negative_cts");
    const CommandResult run = RunTool({"temporal", movie->path.string(), "--track", "0", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json records = json::parse(run.out).at("records");
    ASSERT_FALSE(records.empty());
    for (const json& record : records)
    {
        const unsigned flags = record.at("dependencyFlags").get<unsigned>();
        const unsigned dependsOn = (flags >> 4) & 3;
        const char* expected = dependsOn == 1 ? "yes" : dependsOn == 2 ? "no" : "unknown";
        EXPECT_EQ(record.at("dependsOnOthers"), expected) << record.dump();
        EXPECT_TRUE(record.at("isDependedOn").is_string());
    }
    // The first frame in decode order is a key frame: it depends on nothing.
    EXPECT_EQ(records.at(0).at("dependsOnOthers"), "no") << records.at(0).dump();
}

TEST(Readable, UserDataTextIsShownAsText)
{
    Atom udta("udta");
    udta.Child(Atom("\xA9nam").U16(5).U16(0).Text("Hello")).Child(Atom("cprt").Zeros(3));
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000)).Child(Trak(TrackSpec{})).Child(udta);
    TempFile file(Build({Ftyp(), moov, Mdat(2000)}));
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    const json& userData = report.at("movie").at("userData");
    ASSERT_EQ(userData.size(), 2u);
    EXPECT_EQ(userData[0].at("size"), 9);
    EXPECT_EQ(userData[0].at("text"), "Hello");
    EXPECT_FALSE(userData[1].contains("text"));
    EXPECT_EQ(userData[1].at("firstBytes"), "000000");
    const CommandResult text = RunTool({"info", file.Path().string()});
    EXPECT_TRUE(Contains(text.out, "type ©nam, size 9, text Hello\n")) << text.out;
}

TEST(Readable, TemporalTextShowsTheFlagsInHex)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "hevc_bframes_negative_cts");
    const CommandResult run = RunTool({"temporal", movie->path.string(), "--track", "0"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "decodeOffset\tbackwardReference\tforwardReference\tdependencyFlags\t"
                                  "dependsOnOthers\tisDependedOn\tisLeading\thasRedundancy\n"))
        << run.out;
    // The first frame in decode order depends on nothing: flags 0x2N, "no".
    bool found = false;
    for (const char digit : std::string("0123456789ABCDEF"))
        found = found || Contains(run.out, std::string("\t0x2") + digit + "\tno\t");
    EXPECT_TRUE(found) << run.out;
}
