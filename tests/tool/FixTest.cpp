// The fix command: where it would write, the write itself with --in-place, and its refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "AtomBuilder.h"
#include "FixerFiles.h"
#include "MovieLayout.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

Bytes MovieOfTraks(const std::vector<Atom>& inTraks)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& trak : inTraks)
        moov.Child(trak);
    return Build({Ftyp(), moov, Mdat()});
}

constexpr size_t kNoAtom = size_t(-1);

// Start of the inNth atom of inType, found by its type bytes.
size_t FindAtom(const Bytes& inBytes, const char (&inType)[5], size_t inNth = 0)
{
    for (size_t pos = 4; pos + 4 <= inBytes.size(); ++pos)
        if (std::equal(inType, inType + 4, inBytes.begin() + std::ptrdiff_t(pos)) && inNth-- == 0)
            return pos - 4;
    return kNoAtom;
}

uint32_t WordAt(const Bytes& inBytes, size_t inAt)
{
    return uint32_t(inBytes.at(inAt)) << 24 | uint32_t(inBytes.at(inAt + 1)) << 16 |
           uint32_t(inBytes.at(inAt + 2)) << 8 | uint32_t(inBytes.at(inAt + 3));
}

json JsonOf(const CommandResult& inRun)
{
    EXPECT_EQ(inRun.exitCode, 0) << inRun.err;
    return json::parse(inRun.out, nullptr, false);
}

} // namespace

TEST(ToolFix, WithoutInPlaceSaysWhereItWouldWriteAndChangesNothing)
{
    const Bytes bytes = MovieOfTraks({VideoTrakWithSdtp(0), VideoTrakWithSdtp()});
    TempFile file(bytes);
    const json report = JsonOf(RunTool({"fix", file.Path().string(), "--json"}));
    EXPECT_EQ(
        report,
        (json{
            {"result", 0}, {"track", 1}, {"position", FindAtom(bytes, "sdtp", 1) + 4}, {"written", false}}));
    EXPECT_EQ(ReadFileBytes(file.Path()), bytes);

    const CommandResult text = RunTool({"fix", file.Path().string()});
    EXPECT_EQ(text.exitCode, 0) << text.err;
    EXPECT_TRUE(Contains(text.out, "track: 1")) << text.out;
    EXPECT_TRUE(Contains(text.out, "position: " + std::to_string(FindAtom(bytes, "sdtp", 1) + 4)))
        << text.out;
    EXPECT_TRUE(Contains(text.out, "sdtp")) << text.out;
    EXPECT_TRUE(Contains(text.out, "written: no")) << text.out;
    EXPECT_EQ(ReadFileBytes(file.Path()), bytes);
}

TEST(ToolFix, InPlaceWritesSkipOverTheTypeAndReportsIt)
{
    const Bytes bytes = MovieOfTraks({VideoTrakWithSdtp()});
    TempFile file(bytes);
    const size_t sdtp = FindAtom(bytes, "sdtp");
    const json report = JsonOf(RunTool({"fix", file.Path().string(), "--in-place", "--json"}));
    EXPECT_EQ(report, (json{{"result", 0}, {"track", 0}, {"position", sdtp + 4}, {"written", true}}));
    const Bytes after = ReadFileBytes(file.Path());
    EXPECT_EQ(DifferingPositions(bytes, after), (std::vector<uint64_t>{sdtp + 5, sdtp + 6}));
    EXPECT_EQ(WordAt(after, sdtp + 4), Code("skip"));
}

TEST(ToolFix, ASecondRunIsRefusedWithNothingToFix)
{
    TempFile file(MovieOfTraks({VideoTrakWithSdtp()}));
    ASSERT_EQ(RunTool({"fix", file.Path().string(), "--in-place"}).exitCode, 0);
    const Bytes once = ReadFileBytes(file.Path());
    const CommandResult again = RunTool({"fix", file.Path().string(), "--in-place"});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(Contains(again.err, "0xA00F0001 kQTErrFailed: nothing to fix: the first enabled video track "
                                    "(track 0) has no sample dependency table"))
        << again.err;
    EXPECT_EQ(ReadFileBytes(file.Path()), once);
}

TEST(ToolFix, AMovieWithoutEnabledVideoIsRefused)
{
    TempFile file(MovieOfTraks({SoundTrakWithSdtp(), VideoTrakWithSdtp(0)}));
    const CommandResult run = RunTool({"fix", file.Path().string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(
        Contains(run.err, "0xA00F0001 kQTErrFailed: nothing to fix: the movie has no enabled video track"))
        << run.err;
}

TEST(ToolFix, AFileThatIsNoMovieIsRefused)
{
    TempFile file(Bytes(64, 0x41));
    const CommandResult run = RunTool({"fix", file.Path().string(), "--in-place"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "0xA00F0001 kQTErrFailed: the fixer cannot load a movie")) << run.err;
    EXPECT_EQ(ReadFileBytes(file.Path()), Bytes(64, 0x41));
}

TEST(ToolFix, AReadOnlyFileIsRefusedWithTheWriteFailure)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes to a read-only file all the same";
    const Bytes bytes = MovieOfTraks({VideoTrakWithSdtp()});
    TempFile file(bytes);
    std::filesystem::permissions(file.Path(), std::filesystem::perms::owner_read);
    const CommandResult run = RunTool({"fix", file.Path().string(), "--in-place"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(Contains(run.err, "0xA00F000F kQTErrFixerWrite")) << run.err;
    EXPECT_EQ(ReadFileBytes(file.Path()), bytes);
}

TEST(ToolFix, AnFfmpegHevcMovieIsFixedAtItsSdtp)
{
    FfmpegMovies movies;
    TOOLTEST_MOVIE_OR_SKIP(movie, movies, "hevc_bframes");
    const auto copy = movies.Folder() / "fixed.mov";
    std::filesystem::copy_file(movie->path, copy);
    const Bytes before = ReadFileBytes(copy);
    const size_t sdtp = FindAtom(before, "sdtp");
    ASSERT_NE(sdtp, kNoAtom);
    const json planned = JsonOf(RunTool({"fix", copy.string(), "--json"}));
    EXPECT_EQ(planned.at("position"), sdtp + 4);
    const json report = JsonOf(RunTool({"fix", copy.string(), "--in-place", "--json"}));
    EXPECT_EQ(report.at("written"), true);
    EXPECT_EQ(DifferingPositions(before, ReadFileBytes(copy)), (std::vector<uint64_t>{sdtp + 5, sdtp + 6}));
}
