#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "ListWriter.h"
#include "OpenMovie.h"
#include "QTExternalReferences.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

struct RefsOptions
{
    std::string path;
    bool resolve = false;
    bool validate = false;
    bool json = false;
};

constexpr std::string_view kReferenceColumns[] = {"fileName",  "directoryName", "aliasPath",
                                                  "levelFrom", "levelTo",       "tracks"};
constexpr std::string_view kResolvedColumns[] = {"track", "aliasPath", "resolvedPath"};

std::string Utf8(const std::u16string& inText)
{
    return tenacore::string::UTF16to8(inText);
}

// The tracks whose alias records name each path, as "0,2".
std::map<std::u16string, std::string> TracksByPath(QT::IQTMovie& inMovie)
{
    std::map<std::u16string, std::string> tracks;
    const uint32_t count = inMovie.GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        TrackRef track;
        inMovie.GetIndTrack(track, index);
        QT::ExternalReferenceMap own;
        (void)track->CollectExternalReferences(own);
        for (const auto& [path, reference] : own)
        {
            std::string& list = tracks[path];
            list += (list.empty() ? "" : ",") + std::to_string(index);
        }
    }
    return tracks;
}

void WriteReferences(ListWriter& ioOut, QT::IQTMovie& inMovie, const QT::ExternalReferenceMap& inReferences)
{
    const std::map<std::u16string, std::string> tracks = TracksByPath(inMovie);
    ioOut.BeginList("references", kReferenceColumns);
    for (const auto& [path, reference] : inReferences)
    {
        const std::string fileName = Utf8(reference.fileName);
        const std::string directoryName = Utf8(reference.directoryName);
        const std::string aliasPath = Utf8(reference.aliasPath);
        const auto users = tracks.find(path);
        const std::string trackList = users == tracks.end() ? "" : users->second;
        const Cell row[] = {Cell::Text(fileName),
                            Cell::Text(directoryName),
                            Cell::Text(aliasPath),
                            Cell::Signed(reference.levelFrom),
                            Cell::Signed(reference.levelTo),
                            Cell::Text(trackList)};
        ioOut.Row(row);
    }
    ioOut.EndList();
}

// Each video, sound and timecode track with one reference, and the path found for it.
void WriteResolved(ListWriter& ioOut, MovieRef& inMovie, const std::u16string& inMoviePath,
                   const QT::ExternalReferenceMap& inReferences)
{
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(inMovie, video, audio, timecode);
    QT::TrackReferenceMap tracks = video;
    tracks.insert(audio.begin(), audio.end());
    tracks.insert(timecode.begin(), timecode.end());
    std::vector<std::u16string> resolved;
    ioOut.Fact("resolved",
               Cell::Boolean(QT::ResolveExternalReferences(inMoviePath, tracks, inReferences, resolved)));
    ioOut.BeginList("resolvedPaths", kResolvedColumns);
    for (const auto& [index, path] : tracks)
    {
        if (index >= resolved.size() || resolved[index].empty())
            continue; // not reached before resolution stopped
        const std::string aliasPath = Utf8(path);
        const std::string full = std::filesystem::absolute(std::filesystem::path(resolved[index])).string();
        const Cell row[] = {Cell::Unsigned(index), Cell::Text(aliasPath), Cell::Text(full)};
        ioOut.Row(row);
    }
    ioOut.EndList();
}

int RunRefs(const RefsOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    QT::ExternalReferenceMap references;
    const bool complete = QT::GetAllExternalReferences(movie, references);

    ListWriter out(inOptions.json, stdout);
    out.Fact("complete", Cell::Boolean(complete));
    out.Fact("referenceCount", Cell::Unsigned(references.size()));
    WriteReferences(out, *movie, references);
    // Only these two look at the file system, and through the paths the movie names, which may be
    // network shares.
    const std::u16string moviePath =
        std::filesystem::absolute(std::filesystem::path(inOptions.path)).u16string();
    if (inOptions.resolve)
        WriteResolved(out, movie, moviePath, references);
    if (inOptions.validate)
        out.Fact("valid", Cell::Boolean(QT::ValidateExternalReferences(moviePath, references)));
    out.Finish();
    return kExitSuccess;
}

} // namespace

Command RefsCommand()
{
    auto options = std::make_shared<RefsOptions>();
    return {"refs",
            "List the files a movie's tracks refer to; with --resolve or --validate look for them on this "
            "machine",
            [options](CommandOptions& ioOptions)
            {
                ioOptions.File(options->path);
                ioOptions.Flag("--resolve", options->resolve,
                               "Find each video, sound and timecode track's file (probes the file system)");
                ioOptions.Flag("--validate", options->validate,
                               "Say whether every referenced file can be found (probes the file system, "
                               "network shares included)");
                ioOptions.Flag("--json", options->json, "Print one JSON object");
            },
            [options] { return RunRefs(*options); }};
}

} // namespace qtsifter
