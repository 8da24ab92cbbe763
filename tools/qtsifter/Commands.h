#pragma once

namespace CLI
{
class App;
}

namespace qtsifter
{

// Each command adds its subcommand and options to the application and runs from its callback.
// The callback leaves the process exit code in ioExitCode.
void AddInfoCommand(CLI::App& ioApp, int& ioExitCode);
void AddSamplesCommand(CLI::App& ioApp, int& ioExitCode);
void AddTemporalCommand(CLI::App& ioApp, int& ioExitCode);

} // namespace qtsifter
