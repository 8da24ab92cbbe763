#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qtsifter
{

class CommandOptions;

// One command of the tool: its name and one-line help, how it adds its options to its own
// subcommand, and what it runs once they are parsed. The run returns the exit status; it reports
// refusals and usage mistakes by throwing Refusal or UsageError (Failure.h).
struct Command
{
    std::string name;
    std::string help;
    std::function<void(CommandOptions&)> addOptions;
    std::function<int()> run;
};

// Every command, in the order help lists them. Each command's file provides its entry.
std::vector<Command> CommandTable();

Command InfoCommand();
Command SamplesCommand();
Command TemporalCommand();
Command AudioMapCommand();
Command TimecodeCommand();
Command CaptionsCommand();
Command RefsCommand();
Command FixCommand();

} // namespace qtsifter
