#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "OpenMovie.h"
#include "QTResultCodes.h"
#include "TextReport.h"

namespace qtsifter
{

namespace
{

using Json = nlohmann::ordered_json;
using TrackRef = tenacore::classref::InterfaceRef<QT::IQTTrack>;

struct TrackOptions
{
    std::string path;
    uint32_t track = 0;
    bool json = false;
    bool ignoreEdits = false;
    bool sort = false;
    uint32_t max = 0xFFFFFFFF;
};

// Opens the movie and takes one of its tracks; on failure says why on stderr.
bool OpenTrack(const TrackOptions& inOptions, MovieRef& outMovie, TrackRef& outTrack)
{
    if (OpenMovie(inOptions.path, outMovie) != QT::kQTSuccess)
        return false;
    if (inOptions.track >= outMovie->GetTrackCount())
    {
        std::cerr << "qtsifter: " << inOptions.path << ": no track " << inOptions.track << " (the movie has "
                  << outMovie->GetTrackCount() << ")\n";
        return false;
    }
    outMovie->GetIndTrack(outTrack, inOptions.track);
    return true;
}

int Report(const TrackOptions& inOptions, uint32_t inResult, const Json& inReport)
{
    if (inOptions.json)
        std::cout << inReport.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    else
        WriteTextReport(std::cout, inReport);
    if (inResult == QT::kQTSuccess)
        return 0;
    std::cerr << "qtsifter: " << inOptions.path << ": " << ResultText(inResult) << "\n";
    return 1;
}

int RunSamples(const TrackOptions& inOptions)
{
    MovieRef movie;
    TrackRef track;
    if (!OpenTrack(inOptions, movie, track))
        return 1;
    std::vector<QT::VideoSampleRecord> samples;
    bool variable = false;
    const uint32_t result =
        track->MakeVideoSampleTable(inOptions.sort, inOptions.ignoreEdits, inOptions.max, samples, &variable);
    Json records = Json::array();
    for (const QT::VideoSampleRecord& sample : samples)
        records.push_back({{"fileOffset", sample.fileOffset},
                           {"size", sample.size},
                           {"duration", sample.duration},
                           {"startTime", sample.startTime},
                           {"isSync", sample.isSync}});
    return Report(inOptions, result,
                  Json{{"result", result}, {"variableDuration", variable}, {"samples", std::move(records)}});
}

int RunTemporal(const TrackOptions& inOptions)
{
    MovieRef movie;
    TrackRef track;
    if (!OpenTrack(inOptions, movie, track))
        return 1;
    std::vector<QT::VideoTemporalReference> table;
    const uint32_t result = track->MakeVideoTemporalReferenceTable(table);
    Json records = Json::array();
    for (const QT::VideoTemporalReference& record : table)
        records.push_back({{"decodeOffset", record.decodeOffset},
                           {"backwardReference", record.backwardReference},
                           {"forwardReference", record.forwardReference},
                           {"dependencyFlags", record.dependencyFlags}});
    return Report(inOptions, result, Json{{"result", result}, {"records", std::move(records)}});
}

CLI::App* AddTrackCommand(CLI::App& ioApp, const char* inName, const char* inDescription,
                          const std::shared_ptr<TrackOptions>& ioOptions)
{
    CLI::App* command = ioApp.add_subcommand(inName, inDescription);
    command->add_option("file", ioOptions->path, "Movie file")->required();
    command->add_option("--track", ioOptions->track, "Track index, from 0")->required();
    command->add_flag("--json", ioOptions->json, "Print one JSON object");
    return command;
}

} // namespace

void AddSamplesCommand(CLI::App& ioApp, int& ioExitCode)
{
    auto options = std::make_shared<TrackOptions>();
    CLI::App* command = AddTrackCommand(ioApp, "samples", "List a video track's samples", options);
    command->add_flag("--ignore-edits", options->ignoreEdits, "Take every sample, ignoring the edit list");
    command->add_option("--max", options->max, "Keep at most this many samples");
    command->add_flag("--sort", options->sort, "Sort the samples by start time");
    command->callback([options, &ioExitCode] { ioExitCode = RunSamples(*options); });
}

void AddTemporalCommand(CLI::App& ioApp, int& ioExitCode)
{
    auto options = std::make_shared<TrackOptions>();
    CLI::App* command =
        AddTrackCommand(ioApp, "temporal", "List a video track's decode order and frame references", options);
    command->callback([options, &ioExitCode] { ioExitCode = RunTemporal(*options); });
}

} // namespace qtsifter
