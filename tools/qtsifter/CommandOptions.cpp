#include "CommandOptions.h"

#include <CLI/CLI.hpp>

namespace qtsifter
{

void CommandOptions::File(std::string& outPath)
{
    mCommand.add_option("file", outPath, "Movie file")->required();
}

void CommandOptions::Track(uint32_t& outTrack)
{
    mCommand.add_option("--track", outTrack, "Track index, from 0")->required();
}

void CommandOptions::Flag(const std::string& inName, bool& outSet, const std::string& inHelp)
{
    mCommand.add_flag(inName, outSet, inHelp);
}

void CommandOptions::Count(const std::string& inName, uint32_t& outCount, const std::string& inHelp)
{
    mCommand.add_option(inName, outCount, inHelp)->check(CLI::Range(1u, 0xFFFFFFFFu));
}

} // namespace qtsifter
