#pragma once

#include <cstdint>
#include <string>

namespace CLI
{
class App;
}

namespace qtsifter
{

// The options a command adds to its own subcommand. Only this class's source sees the command-line
// library, whose templates cost seconds in every source that includes them.
class CommandOptions
{
public:
    explicit CommandOptions(CLI::App& ioCommand) : mCommand(ioCommand) {}

    // The movie file, the one required positional argument.
    void File(std::string& outPath);
    // The required "--track" index, from 0.
    void Track(uint32_t& outTrack);
    // A switch that is off unless given.
    void Flag(const std::string& inName, bool& outSet, const std::string& inHelp);
    // An optional count of at least 1; outCount keeps its value when the option is not given.
    void Count(const std::string& inName, uint32_t& outCount, const std::string& inHelp);

private:
    CLI::App& mCommand;
};

} // namespace qtsifter
