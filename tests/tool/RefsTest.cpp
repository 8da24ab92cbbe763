// The tool on movies whose tracks refer to other files: info's reference facts and the refs
// command, over movies built with alias records.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "AliasAtoms.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;
using nlohmann::json;

namespace
{

// The file names are unusual, so that a trace of the tool's system calls finds them only where it
// looked for them.
const std::string kClipName = "refs-target-clip-7f3a.mov";
const std::string kSoundName = "refs-target-sound-7f3a.mov";

Atom DinfNaming(const AliasSpec& inSpec)
{
    return DinfOf({Dref({AliasEntry(inSpec)})});
}

// Video track 0 names a clip in folder clips on volume Media; sound track 1 names a file with no
// path, one level up from nothing, in the movie's own folder; track 2 is self-contained.
Bytes ReferringMovie()
{
    AliasSpec clip = AliasTo(kClipName, "clips", "/Volumes/Media", "/projects/clips/" + kClipName);
    clip.levelFrom = 1;
    clip.levelTo = 2;
    AliasSpec sound = AliasTo(kSoundName);
    sound.levelFrom = 1;
    sound.levelTo = 1;
    return MovieWith({ReferringTrak("vide", DinfNaming(clip)), ReferringTrak("soun", DinfNaming(sound)),
                      Trak(TrackSpec{})});
}

// The paths of the file calls the tool makes, as strace writes them; empty when strace cannot run.
std::optional<std::string> FileCalls(const std::vector<std::string>& inArgs,
                                     const std::filesystem::path& inLog)
{
    std::vector<std::string> command = {"strace",          "-f", "-e", "trace=%file", "-o", inLog.string(),
                                        QTSIFTER_TOOL_PATH};
    command.insert(command.end(), inArgs.begin(), inArgs.end());
    if (!RunCommand(command).Succeeded())
        return std::nullopt;
    std::ifstream log(inLog);
    return std::string(std::istreambuf_iterator<char>(log), {});
}

} // namespace

TEST(ToolRefs, ListsEveryReferencedFileWithItsTracks)
{
    TempFile movie(ReferringMovie());
    const json report = RunJson({"refs", movie.Path().string(), "--json"});
    EXPECT_EQ(report.at("complete"), true);
    EXPECT_EQ(report.at("referenceCount"), 2);
    ASSERT_EQ(report.at("references").size(), 2u);
    const json& clip = report.at("references")[0];
    EXPECT_EQ(clip.at("aliasPath"), "/Volumes/Media/projects/clips/" + kClipName);
    EXPECT_EQ(clip.at("fileName"), kClipName);
    EXPECT_EQ(clip.at("directoryName"), "clips");
    EXPECT_EQ(clip.at("levelFrom"), 1);
    EXPECT_EQ(clip.at("levelTo"), 2);
    EXPECT_EQ(clip.at("tracks"), "0");
    const json& sound = report.at("references")[1];
    EXPECT_EQ(sound.at("aliasPath"), kSoundName);
    EXPECT_EQ(sound.at("tracks"), "1");
    EXPECT_FALSE(report.contains("valid"));
    EXPECT_FALSE(report.contains("resolvedPaths"));
}

TEST(ToolRefs, ResolveAndValidateFindTheFilesBesideTheMovie)
{
    TempFile movie(ReferringMovie());
    const std::filesystem::path folder = movie.Path().parent_path();
    std::filesystem::create_directory(folder / "clips");
    std::ofstream(folder / "clips" / kClipName) << "x";
    std::ofstream(folder / kSoundName) << "x";
    const json report = RunJson({"refs", movie.Path().string(), "--resolve", "--validate", "--json"});
    EXPECT_EQ(report.at("valid"), true);
    EXPECT_EQ(report.at("resolved"), true);
    ASSERT_EQ(report.at("resolvedPaths").size(), 2u);
    EXPECT_EQ(report.at("resolvedPaths")[0].at("track"), 0);
    EXPECT_EQ(report.at("resolvedPaths")[0].at("resolvedPath"), (folder / "clips" / kClipName).string());
    EXPECT_EQ(report.at("resolvedPaths")[1].at("resolvedPath"), (folder / kSoundName).string());
    std::filesystem::remove_all(folder / "clips");
    std::filesystem::remove(folder / kSoundName);
}

TEST(ToolRefs, MissingFilesAreNotValid)
{
    TempFile movie(ReferringMovie());
    const json report = RunJson({"refs", movie.Path().string(), "--resolve", "--validate", "--json"});
    EXPECT_EQ(report.at("valid"), false);
    EXPECT_EQ(report.at("resolved"), false);
}

TEST(ToolRefs, TouchesTheFileSystemOnlyWhenAsked)
{
    TempFile movie(ReferringMovie());
    const std::filesystem::path log = movie.Path().parent_path() / "calls.log";
    const std::optional<std::string> plain = FileCalls({"refs", movie.Path().string()}, log);
    if (!plain)
        GTEST_SKIP() << "strace cannot trace here";
    EXPECT_FALSE(Contains(*plain, kClipName));
    EXPECT_FALSE(Contains(*plain, kSoundName));
    const std::optional<std::string> info = FileCalls({"info", movie.Path().string()}, log);
    ASSERT_TRUE(info);
    EXPECT_FALSE(Contains(*info, kClipName));
    const std::optional<std::string> validated =
        FileCalls({"refs", movie.Path().string(), "--validate"}, log);
    ASSERT_TRUE(validated);
    EXPECT_TRUE(Contains(*validated, kClipName));
    const std::optional<std::string> resolved = FileCalls({"refs", movie.Path().string(), "--resolve"}, log);
    ASSERT_TRUE(resolved);
    EXPECT_TRUE(Contains(*resolved, kClipName));
}

TEST(ToolRefs, InfoShowsSelfContainedAndReferencesPerTrack)
{
    TempFile movie(ReferringMovie());
    const json report = RunJson({"info", movie.Path().string(), "--json"});
    const json& tracks = report.at("tracks");
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_EQ(tracks[0].at("selfContained"), false);
    EXPECT_EQ(tracks[0].at("externalReferences"),
              json::array({"/Volumes/Media/projects/clips/" + kClipName}));
    EXPECT_EQ(tracks[1].at("externalReferences"), json::array({kSoundName}));
    EXPECT_EQ(tracks[2].at("selfContained"), true);
    EXPECT_TRUE(tracks[2].at("externalReferences").empty());
    const CommandResult text = RunTool({"info", movie.Path().string()});
    EXPECT_TRUE(Contains(text.out, "data in 1 other file")) << text.out;
}

TEST(ToolRefs, TextOutputListsTheReferences)
{
    TempFile movie(ReferringMovie());
    const CommandResult run = RunTool({"refs", movie.Path().string()});
    ASSERT_TRUE(run.Succeeded()) << run.err;
    EXPECT_TRUE(Contains(run.out, "referenceCount: 2")) << run.out;
    EXPECT_TRUE(Contains(run.out, "/Volumes/Media/projects/clips/" + kClipName)) << run.out;
}

TEST(ToolRefs, CutShortReferencesAreReported)
{
    AliasSpec broken = AliasTo("c.mov", "clips");
    broken.endTag = false;
    broken.recordLength = 400;
    TempFile movie(MovieWith({ReferringTrak("vide", DinfNaming(broken))}));
    const json report = RunJson({"refs", movie.Path().string(), "--json"});
    EXPECT_EQ(report.at("complete"), false);
    const json info = RunJson({"info", movie.Path().string(), "--json"});
    EXPECT_EQ(info.at("tracks")[0].at("externalReferencesCutShort"), true);
}
