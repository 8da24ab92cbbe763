#include "Command.h"

namespace qtsifter
{

std::vector<Command> CommandTable()
{
    return {InfoCommand(),     SamplesCommand(),  TemporalCommand(), AudioMapCommand(),
            TimecodeCommand(), CaptionsCommand(), RefsCommand(),     FixCommand()};
}

} // namespace qtsifter
