#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "FileFacts.h"
#include "ListWriter.h"
#include "MovieFacts.h"
#include "OpenMovie.h"
#include "QTResultCodes.h"

namespace qtsifter
{

namespace
{

struct SamplesOptions
{
    std::string path;
    uint32_t track = 0;
    bool json = false;
    bool ignoreEdits = false;
    bool sort = false;
    uint32_t max = 0xFFFFFFFF;
};

constexpr std::string_view kSampleColumns[] = {"fileOffset", "size", "duration", "startTime", "isSync"};

// The library never reads media, so whether the samples are in the file is checked here.
void CheckSamplesInFile(const std::string& inPath, const QT::VideoSampleTable& inSamples)
{
    const FileFacts file = ReadFileFacts(inPath);
    if (!file.readable)
        return;
    size_t outside = 0;
    size_t first = 0;
    for (size_t index = 0; index < inSamples.size(); ++index)
        if (inSamples[index].fileOffset + inSamples[index].size > file.size)
        {
            if (outside++ == 0)
                first = index;
        }
    if (outside == 0)
        return;
    const QT::VideoSampleRecord& sample = inSamples[first];
    throw Refusal(
        inPath, std::nullopt,
        fmt::format("{} of {} samples lie past the end of the file ({} bytes), the first being sample {} "
                    "at offset {}, {} bytes long; the media data is cut off",
                    outside, inSamples.size(), file.size, first, sample.fileOffset, sample.size));
}

int RunSamples(const SamplesOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    TrackRef track = OpenTrack(*movie, inOptions.track);
    RequireVideoTrack(*track, "samples");

    QT::VideoSampleTable samples;
    bool variable = false;
    const uint32_t result =
        track->MakeVideoSampleTable(inOptions.sort, inOptions.ignoreEdits, inOptions.max, samples, &variable);
    if (result == QT::kQTErrComplexEditList)
        throw Refusal(inOptions.path, result,
                      "the track's edit list is too complex to apply; --ignore-edits lists every sample");
    const auto fragments = FragmentNote(inOptions.path, *movie);
    if (result != QT::kQTSuccess && fragments && track->GetEditedSampleCount() == 0)
        throw Refusal(inOptions.path, result,
                      "the movie atom lists no samples for this track: " + *fragments);
    if (result != QT::kQTSuccess)
        throw Refusal(inOptions.path, result, "the track's sample table is inconsistent or cut short");
    if (fragments)
        std::fprintf(stderr, "qtsifter: %s: note: %s\n", inOptions.path.c_str(), fragments->c_str());

    ListWriter out(inOptions.json, stdout);
    out.Fact("result", Cell::Unsigned(result));
    out.Fact("track", Cell::Unsigned(inOptions.track));
    out.Fact("sampleCount", Cell::Unsigned(samples.size()));
    out.Fact("mediaTimeScale", Cell::Unsigned(track->GetMediaTimeScale()));
    out.Fact("variableDuration", Cell::Boolean(variable));
    out.BeginList("samples", kSampleColumns);
    for (const QT::VideoSampleRecord& sample : samples)
    {
        const Cell row[] = {Cell::Unsigned(sample.fileOffset), Cell::Unsigned(sample.size),
                            Cell::Unsigned(sample.duration), Cell::Unsigned(sample.startTime),
                            Cell::Boolean(sample.isSync)};
        out.Row(row);
    }
    out.EndList();
    out.Finish();

    CheckSamplesInFile(inOptions.path, samples);
    return kExitSuccess;
}

} // namespace

Command SamplesCommand()
{
    auto options = std::make_shared<SamplesOptions>();
    return {"samples", "List a video track's samples: file offset, size, duration, start time, sync",
            [options](CommandOptions& ioOptions)
            {
                ioOptions.File(options->path);
                ioOptions.Track(options->track);
                ioOptions.Flag("--ignore-edits", options->ignoreEdits,
                               "Take every sample, ignoring the edit list");
                ioOptions.Count("--max", options->max, "Keep at most this many samples (at least 1)");
                ioOptions.Flag("--sort", options->sort, "Sort the samples by start time");
                ioOptions.Flag("--json", options->json, "Print one JSON object");
            },
            [options] { return RunSamples(*options); }};
}

} // namespace qtsifter
