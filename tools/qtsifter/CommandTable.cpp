#include "Command.h"

namespace qtsifter
{

std::vector<Command> CommandTable()
{
    return {InfoCommand(), SamplesCommand(), TemporalCommand(), AudioMapCommand(), FixCommand()};
}

} // namespace qtsifter
