#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "AtomBuilder.h"
#include "FfmpegMovies.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using nlohmann::json;
using tooltest::RunTool;

namespace
{

// The movie's header facts and two user data items, one with a copyright-sign type.
Bytes MovieWithUserData()
{
    Atom udta("udta");
    udta.Child(Atom("\xA9nam").Text("Hello")).Child(Atom("cprt").Zeros(3));
    Atom moov("moov");
    moov.Child(Mvhd(600, 1234, 300)).Child(Trak(TrackSpec{}));
    TrackSpec sound;
    sound.handler = Code("soun");
    moov.Child(Trak(sound)).Child(udta);
    return Build({Ftyp(), moov, Mdat()});
}

} // namespace

TEST(Tool, InfoJsonGivesTheMovieFacts)
{
    const Bytes bytes = MovieWithUserData();
    TempFile file(bytes, "movie \xC3\xA9t\xC3\xA9.mov");
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");

    // The whole of stdout is one JSON object.
    const json report = json::parse(run.out);
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report.at("path"), file.Path().string());
    EXPECT_EQ(report.at("result"), 0);
    ASSERT_TRUE(report.at("tracks").is_array());
    ASSERT_EQ(report.at("tracks").size(), 2u);
    EXPECT_EQ(report.at("tracks")[0].at("mediaType"), "vide");
    EXPECT_EQ(report.at("tracks")[1].at("mediaType"), "soun");

    const json& movie = report.at("movie");
    for (const char* key : {"timeScale", "duration", "posterTime", "atomOffset", "atomSize", "trackCount"})
        EXPECT_TRUE(movie.at(key).is_number_integer()) << key;
    EXPECT_EQ(movie.at("timeScale"), 600);
    EXPECT_EQ(movie.at("duration"), 1234);
    EXPECT_EQ(movie.at("posterTime"), 300);
    EXPECT_EQ(movie.at("atomOffset"), Ftyp().Size());
    EXPECT_EQ(movie.at("atomSize"), bytes.size() - Ftyp().Size() - Mdat().Size());
    EXPECT_EQ(movie.at("trackCount"), 2);
    // Type and size of each item, and its first bytes when it holds no text.
    const json expectedUserData = json::parse(R"([{"type": "©nam", "size": 5, "firstBytes": "48656c6c6f"},
                                                  {"type": "cprt", "size": 3, "firstBytes": "000000"}])");
    EXPECT_EQ(movie.at("userData"), expectedUserData);
    EXPECT_EQ(movie.at("bounds"), json::parse(R"({"left": 0, "top": 0, "width": 640, "height": 480})"));
    EXPECT_EQ(movie.at("metadata"), json::array());
}

TEST(Tool, InfoJsonListsEveryTrackFact)
{
    TempFile file(MovieWithUserData());
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    const json& video = report.at("tracks").at(0);
    for (const char* key :
         {"index", "duration", "mediaTimeScale", "durationInMediaTime", "editedDuration", "editedSampleCount",
          "firstSampleIndex", "firstSampleExcess", "rotation", "descriptionCount"})
        EXPECT_TRUE(video.at(key).is_number_integer()) << key;
    for (const char* key :
         {"enabled", "edited", "editListSupported", "variableFrameRate", "identityTransform",
          "singleDataReference", "allDescriptionsEquivalent", "hasDeltaFrames", "hasDependencyTables"})
        EXPECT_TRUE(video.at(key).is_boolean()) << key;
    EXPECT_EQ(video.at("bounds"), json::parse(R"({"left": 0, "top": 0, "width": 640, "height": 480})"));
    EXPECT_EQ(video.at("dataReferenceType"), "alis");
    EXPECT_TRUE(video.at("cleanApertureDimensions").is_null());
    ASSERT_EQ(video.at("descriptions").size(), 1u);
    EXPECT_EQ(video.at("descriptions")[0].at("index"), 0);
    EXPECT_EQ(video.at("descriptions")[0].at("format"), "raw ");
    EXPECT_EQ(video.at("descriptions")[0].at("size"), 16);
}

TEST(Tool, InfoShowsTheTitleOfAMovieWrittenWithMetadata)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "titled_mp4");
    const CommandResult run = RunTool({"info", movie->path.string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    const json& metadata = report.at("movie").at("metadata");
    const std::string title = movies.Probe(*movie).at("format").at("tags").at("title");
    bool found = false;
    for (const json& item : metadata)
        if (item.at("key") == "nam")
        {
            found = true;
            EXPECT_EQ(item.at("value"), title);
            EXPECT_EQ(item.at("typeCode"), 1);
            EXPECT_TRUE(item.at("offset").is_null());
        }
    EXPECT_TRUE(found) << metadata.dump();
}

TEST(Tool, SamplesListsTheVideoSamplesAsFfprobeReadsThem)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "h264_pcm_timecode");
    const CommandResult run =
        RunTool({"samples", movie->path.string(), "--track", "0", "--ignore-edits", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    EXPECT_EQ(report.at("result"), 0);
    EXPECT_TRUE(report.at("variableDuration").is_boolean());
    const json& samples = report.at("samples");
    const CommandResult probe =
        RunCommand({"ffprobe", "-v", "error", "-ignore_editlist", "1", "-select_streams", "v",
                    "-show_packets", "-print_format", "json", movie->path.string()});
    ASSERT_TRUE(probe.Succeeded()) << probe.err;
    const json video = json::parse(probe.out).at("packets");
    ASSERT_EQ(samples.size(), video.size());
    for (size_t i = 0; i < samples.size(); ++i)
    {
        EXPECT_EQ(samples[i].at("fileOffset"), std::stoull(video[i].at("pos").get<std::string>())) << i;
        EXPECT_EQ(samples[i].at("size"), std::stoull(video[i].at("size").get<std::string>())) << i;
        EXPECT_TRUE(samples[i].at("duration").is_number_integer());
        EXPECT_TRUE(samples[i].at("startTime").is_number_integer());
        EXPECT_TRUE(samples[i].at("isSync").is_boolean());
    }
    const CommandResult limited =
        RunTool({"samples", movie->path.string(), "--track", "0", "--max", "2", "--json"});
    ASSERT_EQ(limited.exitCode, 0) << limited.err;
    EXPECT_EQ(json::parse(limited.out).at("samples").size(), 2u);
}

TEST(Tool, SamplesOfASoundTrackIsAUsageError)
{
    TempFile file(MovieWithUserData());
    for (const char* command : {"samples", "temporal"})
    {
        const CommandResult run = RunTool({command, file.Path().string(), "--track", "1", "--json"});
        EXPECT_EQ(run.exitCode, 2) << command;
        EXPECT_NE(run.err.find("track 1 is sound, not video"), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find("kQTErrBadSampleTable"), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find("assert"), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST(Tool, TrackOutsideTheMovieIsRefused)
{
    TempFile file(MovieWithUserData());
    const CommandResult run = RunTool({"temporal", file.Path().string(), "--track", "2"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find("no track 2: the movie has 2 tracks"), std::string::npos) << run.err;
}

TEST(Tool, TemporalGivesOneRecordPerFrameOfAMovieWithDependencyTables)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "hevc_bframes_negative_cts");
    const CommandResult run = RunTool({"temporal", movie->path.string(), "--track", "0", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json report = json::parse(run.out);
    EXPECT_EQ(report.at("result"), 0);
    const CommandResult samples =
        RunTool({"samples", movie->path.string(), "--track", "0", "--ignore-edits", "--json"});
    ASSERT_EQ(samples.exitCode, 0) << samples.err;
    EXPECT_EQ(report.at("records").size(), json::parse(samples.out).at("samples").size());
    for (const char* key : {"decodeOffset", "backwardReference", "forwardReference", "dependencyFlags"})
        EXPECT_TRUE(report.at("records").at(0).at(key).is_number_integer()) << key;
}

TEST(Tool, InfoJsonCarriesA64BitDuration)
{
    Atom moov("moov");
    moov.Child(Mvhd64(90000, 0x123456789ull, 7)).Child(Trak(TrackSpec{}));
    TempFile file(Build({Ftyp(), moov, Mdat()}));
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json movie = json::parse(run.out).at("movie");
    EXPECT_EQ(movie.at("timeScale"), 90000);
    EXPECT_EQ(movie.at("duration"), 0x123456789ll);
    EXPECT_EQ(movie.at("posterTime"), 7);
    EXPECT_TRUE(movie.at("userData").is_array());
    EXPECT_TRUE(movie.at("userData").empty());
}

TEST(Tool, InfoWithoutJsonIsReadable)
{
    TempFile file(MovieWithUserData());
    const CommandResult run = RunTool({"info", file.Path().string()});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("timeScale: 600"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("trackCount: 2"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("type ©nam, size 5"), std::string::npos) << run.out;
}

TEST(Tool, NotAMovieFailsWithItsResultAndReasonOnStderr)
{
    TempFile file(Bytes(64, 'x'));
    for (const bool asJson : {false, true})
    {
        std::vector<std::string> args = {"info", file.Path().string()};
        if (asJson)
            args.push_back("--json");
        const CommandResult run = RunTool(args);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.err.find("0xA0800001 kQTErrNotAMovie: no movie atom (moov) in the file's 64 bytes"),
                  std::string::npos)
            << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST(Tool, MissingFileFailsToOpen)
{
    const auto folder = MakeTempFolder();
    const CommandResult run = RunTool({"info", (folder / "absent.mov").string(), "--json"});
    std::filesystem::remove_all(folder);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("0xA0800004 kQTErrOpenFailed: no such file"), std::string::npos) << run.err;
}

TEST(Tool, MissingCommandIsAUsageError)
{
    const CommandResult run = RunTool({});
    EXPECT_EQ(run.exitCode, 2);
}

// A movie written by ffmpeg agrees with ffprobe on its stream count and duration.
TEST(Tool, InfoAgreesWithFfprobe)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "h264_pcm_timecode");
    const CommandResult run = RunTool({"info", movie->path.string(), "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err;

    const json& format = movies.Probe(*movie).at("format");
    const json facts = json::parse(run.out).at("movie");
    EXPECT_EQ(facts.at("trackCount"), format.at("nb_streams"));
    const double seconds = double(facts.at("duration").get<int64_t>()) / facts.at("timeScale").get<double>();
    EXPECT_NEAR(seconds, std::stod(format.at("duration").get<std::string>()), 0.05);
    EXPECT_GT(facts.at("atomOffset").get<uint64_t>(), 0u);
}
