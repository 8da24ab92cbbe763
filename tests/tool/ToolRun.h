#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "FfmpegMovies.h"

// Declares outMovie, the movie that inMovies makes for inRecipe, or skips the test when ffmpeg
// cannot make it on this machine.
#define TOOLTEST_MOVIE_OR_SKIP(outMovie, inMovies, inRecipe)                                                 \
    std::string outMovie##Why;                                                                               \
    const qttest::MadeMovie* outMovie = (inMovies).Get(inRecipe, &outMovie##Why);                            \
    if (outMovie == nullptr)                                                                                 \
    GTEST_SKIP() << outMovie##Why

namespace tooltest
{

// Runs the built tool with inArgs, as a user runs it from a shell.
inline qttest::CommandResult RunTool(const std::vector<std::string>& inArgs)
{
    std::vector<std::string> command = {QTSIFTER_TOOL_PATH};
    command.insert(command.end(), inArgs.begin(), inArgs.end());
    return qttest::RunCommand(command);
}

// The JSON the tool prints for inArgs; null, after a failure of the test, when the run fails.
inline nlohmann::json RunJson(const std::vector<std::string>& inArgs)
{
    const qttest::CommandResult run = RunTool(inArgs);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.exitCode == 0 ? nlohmann::json::parse(run.out) : nlohmann::json();
}

inline bool Contains(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

} // namespace tooltest
