#include "Command.h"

namespace qtsifter
{

std::vector<Command> CommandTable()
{
    return {InfoCommand(), SamplesCommand(), TemporalCommand(), AudioMapCommand(), RefsCommand()};
}

} // namespace qtsifter
