#pragma once

#include <string>
#include <vector>

#include "FfmpegMovies.h"

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
