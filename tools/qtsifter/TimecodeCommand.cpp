#include <iostream>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "MediaKinds.h"
#include "OpenMovie.h"
#include "QTFourCC.h"
#include "TextReport.h"
#include "TimecodeFacts.h"

namespace qtsifter
{

namespace
{

struct TimecodeOptions
{
    std::string path;
    uint32_t track = 0;
    bool json = false;
};

int RunTimecode(const TimecodeOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    TrackRef track = OpenTrack(*movie, inOptions.track);
    const uint32_t type = track->GetTrackMediaType();
    // The sample location raises on any other kind of track.
    if (type != QT::kTimecodeMediaType)
        throw UsageError(fmt::format("track {} is {}, not timecode; timecode reads timecode tracks",
                                     inOptions.track, KindOf(type).name));

    const TimecodeReading reading = ReadTimecode(*track, inOptions.path);
    if (!reading.frameNumber)
        throw Refusal(inOptions.path, std::nullopt, reading.problem);
    Json report;
    report["result"] = reading.result;
    report["info"] = TimecodeInfoJson(reading);
    report["sampleLocation"] = reading.fileOffset
                                   ? Json{{"fileOffset", *reading.fileOffset}, {"size", reading.size}}
                                   : Json(nullptr);
    report["frameNumber"] = *reading.frameNumber;
    report["timecode"] =
        TimecodeText(*reading.frameNumber, reading.info.mFrameCount, reading.info.mDropFrame);
    if (inOptions.json)
        std::cout << report.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    else
        WriteTextReport(std::cout, report, 0);
    return kExitSuccess;
}

} // namespace

Command TimecodeCommand()
{
    auto options = std::make_shared<TimecodeOptions>();
    return {
        "timecode",
        "Print a timecode track's counting rules, source name, sample location, first frame and its timecode",
        [options](CommandOptions& ioOptions)
        {
            ioOptions.File(options->path);
            ioOptions.Track(options->track);
            ioOptions.Flag("--json", options->json, "Print one JSON object");
        },
        [options] { return RunTimecode(*options); }};
}

} // namespace qtsifter
