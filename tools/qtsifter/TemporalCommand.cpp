#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "ListWriter.h"
#include "LookThrough.h"
#include "MovieFacts.h"
#include "OpenMovie.h"
#include "QTResultCodes.h"

namespace qtsifter
{

namespace
{

struct TemporalOptions
{
    std::string path;
    uint32_t track = 0;
    bool json = false;
};

constexpr std::string_view kTemporalColumns[] = {"decodeOffset",    "backwardReference", "forwardReference",
                                                 "dependencyFlags", "dependsOnOthers",   "isDependedOn",
                                                 "isLeading",       "hasRedundancy"};

// The sdtp byte's four two-bit fields, high to low: leading, depends on, depended on, redundancy.
// Each is 0 unknown, 1 yes, 2 no; leading 3 is "leading, but decodable".
std::string_view YesNo(unsigned inField)
{
    switch (inField)
    {
    case 1:
        return "yes";
    case 2:
        return "no";
    case 3:
        return "yes, decodable";
    default:
        return "unknown";
    }
}

void RequireDependencyTables(const std::string& inPath, QT::IQTTrack& inTrack)
{
    if (inTrack.VideoTrackHasDependencyTables())
        return;
    const DependencyTables tables = FindDependencyTables(inTrack);
    std::string reason;
    if (!tables.sdtp)
        reason = "this video track has no sample dependency table (sdtp); the temporal table needs one";
    else
        reason = "this video track has no composition offset table (ctts); the temporal table needs one";
    throw Refusal(inPath, std::nullopt, reason);
}

int RunTemporal(const TemporalOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    TrackRef track = OpenTrack(*movie, inOptions.track);
    RequireVideoTrack(*track, "temporal");
    RequireDependencyTables(inOptions.path, *track);

    std::vector<QT::VideoTemporalReference> table;
    const uint32_t result = track->MakeVideoTemporalReferenceTable(table);
    if (result != QT::kQTSuccess)
        throw Refusal(
            inOptions.path, result,
            "the dependency (sdtp) and composition offset (ctts) tables contradict each other or the "
            "sample count");
    NoteFragments(inOptions.path, *movie);

    ListWriter out(inOptions.json, stdout);
    out.Fact("result", Cell::Unsigned(result));
    out.Fact("track", Cell::Unsigned(inOptions.track));
    out.Fact("recordCount", Cell::Unsigned(table.size()));
    out.BeginList("records", kTemporalColumns);
    for (const QT::VideoTemporalReference& record : table)
    {
        const unsigned flags = record.dependencyFlags;
        const Cell row[] = {Cell::Signed(record.decodeOffset),     Cell::Signed(record.backwardReference),
                            Cell::Signed(record.forwardReference), Cell::Hex(flags),
                            Cell::Text(YesNo((flags >> 4) & 3)),   Cell::Text(YesNo((flags >> 2) & 3)),
                            Cell::Text(YesNo((flags >> 6) & 3)),   Cell::Text(YesNo(flags & 3))};
        out.Row(row);
    }
    out.EndList();
    out.Finish();
    return kExitSuccess;
}

} // namespace

Command TemporalCommand()
{
    auto options = std::make_shared<TemporalOptions>();
    return {"temporal", "List a video track's decode order, frame references and dependency flags",
            [options](CommandOptions& ioOptions)
            {
                ioOptions.File(options->path);
                ioOptions.Track(options->track);
                ioOptions.Flag("--json", options->json, "Print one JSON object");
            },
            [options] { return RunTemporal(*options); }};
}

} // namespace qtsifter
