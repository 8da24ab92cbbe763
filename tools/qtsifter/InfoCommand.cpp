#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "MovieFacts.h"
#include "OpenMovie.h"
#include "TextReport.h"
#include "TrackFacts.h"

namespace qtsifter
{

namespace
{

struct InfoOptions
{
    std::string path;
    bool json = false;
};

int RunInfo(const InfoOptions& inOptions)
{
    MovieRef movie;
    const uint32_t result = OpenMovie(inOptions.path, movie);
    if (!movie)
        return 1;

    nlohmann::ordered_json report;
    report["path"] = inOptions.path;
    report["result"] = result;
    report["movie"] = MovieFactsJson(*movie);
    report["tracks"] = TracksJson(*movie);

    if (inOptions.json)
        std::cout << report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
    else
        WriteTextReport(std::cout, report);
    return 0;
}

} // namespace

void AddInfoCommand(CLI::App& ioApp, int& ioExitCode)
{
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = ioApp.add_subcommand("info", "Print the facts of a movie");
    command->add_option("file", options->path, "Movie file")->required();
    command->add_flag("--json", options->json, "Print one JSON object");
    command->callback([options, &ioExitCode] { ioExitCode = RunInfo(*options); });
}

} // namespace qtsifter
