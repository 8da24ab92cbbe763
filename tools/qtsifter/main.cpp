#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "Commands.h"

int main(int argc, char** argv)
{
    CLI::App app{"Reads QuickTime movie files and prints what they hold"};
    app.require_subcommand(1);

    int exitCode = 0;
    qtsifter::AddInfoCommand(app, exitCode);
    qtsifter::AddSamplesCommand(app, exitCode);
    qtsifter::AddTemporalCommand(app, exitCode);

    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit(error);
    }
    catch (const std::exception& error)
    {
        // A contract violation or an allocation failure: a bug or a starved machine, not a bad file.
        std::cerr << "qtsifter: " << error.what() << "\n";
        return 2;
    }
    return exitCode;
}
