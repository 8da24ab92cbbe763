#include <iostream>
#include <memory>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "FileFacts.h"
#include "MediaKinds.h"
#include "MovieFacts.h"
#include "OpenMovie.h"
#include "QTFourCC.h"
#include "TextReport.h"
#include "TimecodeFacts.h"
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

// The block a reader looks at first: the file, its length in time, one line per track.
void WriteSummary(std::ostream& ioOut, const Json& inReport)
{
    const Json& movie = inReport.at("movie");
    ioOut << "file: " << inReport.at("path").get<std::string>() << "\n";
    ioOut << "size: " << inReport.at("size").get<uint64_t>() << " bytes\n";
    ioOut << fmt::format("duration: {:.3f} s ({} ticks at {} per second)\n",
                         movie.at("durationSeconds").get<double>(), movie.at("duration").get<int64_t>(),
                         movie.at("timeScale").get<uint32_t>());
    const Json& tracks = inReport.at("tracks");
    ioOut << "tracks: " << tracks.size() << "\n";
    for (const Json& track : tracks)
    {
        const MediaKind& kind = KindNamed(track.at("kind").get<std::string>());
        const uint32_t samples = track.at("editedSampleCount").get<uint32_t>();
        const size_t references = track.at("externalReferences").size();
        ioOut << fmt::format("  {}: {}, {}, {:.3f} s, {} sample{}{}{}\n", track.at("index").get<uint64_t>(),
                             kind.name, kind.summary(track), track.at("editedDurationSeconds").get<double>(),
                             samples, samples == 1 ? "" : "s",
                             track.at("enabled").get<bool>() ? "" : ", disabled",
                             references == 0 ? ""
                                             : fmt::format(", data in {} other file{}", references,
                                                           references == 1 ? "" : "s"));
    }
    if (movie.contains("fragmentNote"))
        ioOut << "note: " << movie.at("fragmentNote").get<std::string>() << "\n";
}

// The facts that need the media itself: a timecode track's first frame lies in the file.
void AddFrameFacts(QT::IQTMovie& inMovie, const std::string& inPath, Json& ioTracks)
{
    for (Json& track : ioTracks)
        if (track.at("kind") == KindOf(QT::kTimecodeMediaType).name)
        {
            TrackRef timecode = OpenTrack(inMovie, track.at("index").get<uint32_t>());
            AddTimecodeFrameFacts(*timecode, inPath, track);
        }
}

int RunInfo(const InfoOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);

    Json report;
    report["path"] = inOptions.path;
    report["size"] = ReadFileFacts(inOptions.path).size;
    report["result"] = 0;
    report["movie"] = MovieFactsJson(*movie, inOptions.path);
    report["tracks"] = TracksJson(*movie);
    AddFrameFacts(*movie, inOptions.path, report["tracks"]);

    if (inOptions.json)
        std::cout << report.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    else
    {
        WriteSummary(std::cout, report);
        std::cout << "\ndetails:\n";
        WriteTextReport(std::cout, report, 2);
    }
    return kExitSuccess;
}

} // namespace

Command InfoCommand()
{
    auto options = std::make_shared<InfoOptions>();
    return {"info", "Print a movie's summary, then every fact of the movie, its metadata and its tracks",
            [options](CommandOptions& ioOptions)
            {
                ioOptions.File(options->path);
                ioOptions.Flag("--json", options->json, "Print one JSON object");
            },
            [options] { return RunInfo(*options); }};
}

} // namespace qtsifter
