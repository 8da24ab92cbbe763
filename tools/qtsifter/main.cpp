#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "tenacore/debug.h"

namespace
{

using qtsifter::Command;

size_t EditDistance(const std::string& inA, const std::string& inB)
{
    std::vector<size_t> row(inB.size() + 1);
    for (size_t j = 0; j <= inB.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= inA.size(); ++i)
    {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= inB.size(); ++j)
        {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (inA[i - 1] == inB[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[inB.size()];
}

// "unknown command 'inof'; did you mean 'info'?" and where to find the list.
int UnknownCommand(const std::string& inName, const std::vector<Command>& inTable)
{
    std::cerr << "qtsifter: unknown command '" << inName << "'";
    const Command* best = nullptr;
    size_t bestDistance = 3; // beyond two edits a guess misleads more than it helps
    for (const Command& command : inTable)
    {
        const size_t distance = command.name.rfind(inName, 0) == 0 ? 0 : EditDistance(inName, command.name);
        if (distance < bestDistance)
        {
            best = &command;
            bestDistance = distance;
        }
    }
    if (best)
        std::cerr << "; did you mean '" << best->name << "'?";
    std::cerr << "\nRun 'qtsifter --help' for the list of commands.\n";
    return qtsifter::kExitUsage;
}

const Command* FindCommand(const std::string& inName, const std::vector<Command>& inTable)
{
    for (const Command& command : inTable)
        if (command.name == inName)
            return &command;
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    // Contract checks inside the library are the tool's own bugs; their message goes to stderr
    // with the error that follows, never into the report on stdout.
    std::string contractMessage;
    tenacore::debug::SetAssertHandler(
        [&contractMessage](const char*, int, const char* inFunction, const char* inCondition,
                           const std::string&)
        {
            contractMessage = std::string(inFunction) + ": " + inCondition;
            return false;
        });

    std::vector<Command> table = qtsifter::CommandTable();

    CLI::App app{"Reads QuickTime movie files and prints what they hold", "qtsifter"};
    app.set_version_flag("--version", std::string("qtsifter ") + QTSIFTER_VERSION);
    app.require_subcommand(1);
    app.footer("Run 'qtsifter help COMMAND' for a command's options.\n"
               "Exit status: 0 success, 1 the file or a table in it was refused, 2 usage error.");

    std::vector<std::pair<CLI::App*, const Command*>> commands;
    for (const Command& command : table)
    {
        CLI::App* sub = app.add_subcommand(command.name, command.help);
        qtsifter::CommandOptions options(*sub);
        command.addOptions(options);
        commands.emplace_back(sub, &command);
    }
    std::string helpTopic;
    CLI::App* help = app.add_subcommand("help", "Show the options of a command");
    help->add_option("command", helpTopic, "A command's name");

    // A misspelt command would otherwise only be told that a subcommand is required.
    if (argc > 1 && argv[1][0] != '-' && !FindCommand(argv[1], table) && std::string(argv[1]) != "help")
        return UnknownCommand(argv[1], table);

    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        const int status = app.exit(error);
        return status == 0 ? qtsifter::kExitSuccess : qtsifter::kExitUsage;
    }

    if (help->parsed())
    {
        if (helpTopic.empty())
        {
            std::cout << app.help();
            return qtsifter::kExitSuccess;
        }
        if (!FindCommand(helpTopic, table))
            return UnknownCommand(helpTopic, table);
        std::cout << app.get_subcommand(helpTopic)->help();
        return qtsifter::kExitSuccess;
    }

    for (const auto& [sub, command] : commands)
    {
        if (!sub->parsed())
            continue;
        try
        {
            return command->run();
        }
        catch (const qtsifter::Refusal& refusal)
        {
            std::fflush(stdout);
            std::cerr << qtsifter::RefusalLine(refusal) << "\n";
            return qtsifter::kExitRefused;
        }
        catch (const qtsifter::UsageError& error)
        {
            std::cerr << "qtsifter: " << command->name << ": " << error.what() << "\n";
            return qtsifter::kExitUsage;
        }
        catch (const std::bad_alloc&)
        {
            std::cerr << "qtsifter: out of memory\n";
            return qtsifter::kExitRefused;
        }
        catch (const std::exception& error)
        {
            // A broken contract is a bug in the tool, not a fault of the file.
            std::cerr << "qtsifter: internal error: " << error.what();
            if (!contractMessage.empty())
                std::cerr << " (" << contractMessage << ")";
            std::cerr << "\n";
            return qtsifter::kExitRefused;
        }
    }
    return qtsifter::kExitUsage;
}
