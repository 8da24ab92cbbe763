#pragma once

#include <string>
#include <vector>

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

inline bool Contains(const std::string& inText, const std::string& inPart)
{
    return inText.find(inPart) != std::string::npos;
}

} // namespace tooltest
