// Every refusal names the result code and a reason a user can act on, and exits 1.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "AtomBuilder.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

TEST(Refusal, MissingFileSaysNoSuchFile)
{
    const auto folder = MakeTempFolder();
    const CommandResult run = RunTool({"info", (folder / "absent.mov").string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "0xA0800004 kQTErrOpenFailed: no such file")) << run.err;

    const CommandResult directory = RunTool({"info", folder.string()});
    std::filesystem::remove_all(folder);
    EXPECT_EQ(directory.exitCode, 1);
    EXPECT_TRUE(Contains(directory.err, "0xA0800004 kQTErrOpenFailed: is a directory")) << directory.err;
}

TEST(Refusal, UnreadableFileSaysPermissionDenied)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every file";
    TempFile file(SimpleMovie());
    std::filesystem::permissions(file.Path(), std::filesystem::perms::none);
    const CommandResult run = RunTool({"info", file.Path().string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "kQTErrOpenFailed: permission denied")) << run.err;
}

TEST(Refusal, ShortFileSaysItIsTooShort)
{
    TempFile file(Bytes{'a', 'b', 'c'});
    const CommandResult run = RunTool({"info", file.Path().string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "kQTErrNotAMovie: the file is 3 bytes long, too short to hold a movie"))
        << run.err;
}

TEST(Refusal, CutMovieAtomSaysTheFileIsTruncated)
{
    const Bytes whole = SimpleMovie();
    const size_t moovStart = Ftyp().Size();
    const Bytes cut(whole.begin(), whole.begin() + long(moovStart + 40));
    TempFile file(cut);
    const CommandResult run = RunTool({"info", file.Path().string(), "--json"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(
        Contains(run.err, "kQTErrNotAMovie: the movie atom (moov) at offset " + std::to_string(moovStart)))
        << run.err;
    EXPECT_TRUE(Contains(run.err, "the file is truncated")) << run.err;
    EXPECT_EQ(run.out, "");
}

TEST(Refusal, TemporalWithoutSdtpBlamesTheMissingTableNotTheFile)
{
    TempFile file(SimpleMovie());
    const CommandResult run = RunTool({"temporal", file.Path().string(), "--track", "0"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err,
                         "this video track has no sample dependency table (sdtp); the temporal table "
                         "needs one"))
        << run.err;
    EXPECT_FALSE(Contains(run.err, "kQTErrBadSampleTable")) << run.err;
    EXPECT_EQ(run.out, "");
}

// The library never reads media: the tool compares each sample's range with the file's size.
TEST(Refusal, SamplesPastTheEndOfTheFileAreReportedAndExitOne)
{
    // Ten samples of 100 bytes from offset 48, and far fewer bytes in the file.
    const Bytes bytes = SimpleMovie();
    ASSERT_LT(bytes.size(), 48u + 1000u);
    TempFile file(bytes);
    const CommandResult run = RunTool({"samples", file.Path().string(), "--track", "0", "--json"});
    EXPECT_EQ(run.exitCode, 1);
    const size_t firstOutside = (bytes.size() - 48) / 100; // the first sample that does not fit
    EXPECT_TRUE(Contains(run.err, std::to_string(10 - firstOutside) +
                                      " of 10 samples lie past the end of the "
                                      "file (" +
                                      std::to_string(bytes.size()) + " bytes)"))
        << run.err;
    EXPECT_TRUE(Contains(run.err, "the media data is cut off")) << run.err;
    // The list itself is still whole.
    EXPECT_EQ(json::parse(run.out).at("samples").size(), 10u);
}

TEST(Refusal, SamplesInsideTheFileAreNotReported)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000)).Child(Trak(TrackSpec{}));
    TempFile file(Build({Ftyp(), moov, Mdat(2000)}));
    const CommandResult run = RunTool({"samples", file.Path().string(), "--track", "0"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.err, "");
}

TEST(Refusal, FragmentedMovieSaysFragmentsAreNotIndexed)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 0)).Child(Trak(TrackSpec{})).Child(Atom("mvex").Child(Atom("trex").Zeros(24)));
    TempFile file(Build({Ftyp(), moov, Atom("moof").Zeros(8), Mdat(2000)}));
    const CommandResult run = RunTool({"info", file.Path().string()});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "note: the movie is fragmented (mvex in the movie atom, 1 moof fragment); "
                                  "samples in fragments are not indexed"))
        << run.out;
    const CommandResult asJson = RunTool({"info", file.Path().string(), "--json"});
    EXPECT_EQ(json::parse(asJson.out).at("movie").at("fragmented"), true);

    TempFile plain(SimpleMovie());
    const json plainReport = json::parse(RunTool({"info", plain.Path().string(), "--json"}).out);
    EXPECT_EQ(plainReport.at("movie").at("fragmented"), false);
    EXPECT_FALSE(plainReport.at("movie").contains("fragmentNote"));
}
