// The command line itself: the command table, help, version and the exit-status rule.
#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "TestFiles.h"
#include "ToolRun.h"

using namespace qttest;
using namespace tooltest;

TEST(CommandLine, VersionPrintsTheToolsVersion)
{
    const CommandResult run = RunTool({"--version"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "qtsifter 0.")) << run.out;
}

TEST(CommandLine, HelpListsEveryCommandAndTheExitStatuses)
{
    const CommandResult run = RunTool({"--help"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    for (const char* command : {"info", "samples", "temporal", "help"})
        EXPECT_TRUE(Contains(run.out, command)) << command << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, "2 usage error")) << run.out;
}

TEST(CommandLine, HelpCommandShowsThatCommandsOptions)
{
    const CommandResult run = RunTool({"help", "samples"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, "--ignore-edits")) << run.out;
    EXPECT_TRUE(Contains(run.out, "--max")) << run.out;
    const CommandResult info = RunTool({"help", "info"});
    EXPECT_EQ(info.exitCode, 0) << info.err;
    EXPECT_TRUE(Contains(info.out, "--json")) << info.out;
    EXPECT_FALSE(Contains(info.out, "--ignore-edits")) << info.out;
}

TEST(CommandLine, UnknownCommandIsNamedWithASuggestion)
{
    TempFile file(SimpleMovie());
    const CommandResult run = RunTool({"inof", file.Path().string()});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(Contains(run.err, "unknown command 'inof'; did you mean 'info'?")) << run.err;
    EXPECT_EQ(run.out, "");

    const CommandResult help = RunTool({"help", "smaples"});
    EXPECT_EQ(help.exitCode, 2);
    EXPECT_TRUE(Contains(help.err, "did you mean 'samples'?")) << help.err;

    const CommandResult far = RunTool({"transcode", file.Path().string()});
    EXPECT_EQ(far.exitCode, 2);
    EXPECT_TRUE(Contains(far.err, "unknown command 'transcode'")) << far.err;
    EXPECT_FALSE(Contains(far.err, "did you mean")) << far.err;
}

TEST(CommandLine, UsageMistakesExitTwoWithCli11sMessage)
{
    TempFile file(SimpleMovie());
    const std::string path = file.Path().string();
    const CommandResult noTrack = RunTool({"samples", path});
    EXPECT_EQ(noTrack.exitCode, 2);
    EXPECT_TRUE(Contains(noTrack.err, "--track")) << noTrack.err;

    const CommandResult maxZero = RunTool({"samples", path, "--track", "0", "--max", "0"});
    EXPECT_EQ(maxZero.exitCode, 2);
    EXPECT_TRUE(Contains(maxZero.err, "--max")) << maxZero.err;
    EXPECT_FALSE(Contains(maxZero.err, "kQTErr")) << maxZero.err;
    EXPECT_EQ(maxZero.out, "");

    const CommandResult badOption = RunTool({"info", path, "--jsn"});
    EXPECT_EQ(badOption.exitCode, 2);
}
