#include <cstdio>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "ListWriter.h"
#include "OpenMovie.h"
#include "QTAudio.h"
#include "QTResultCodes.h"

namespace qtsifter
{

namespace
{

struct AudioMapOptions
{
    std::string path;
    uint32_t track = 0;
    bool keyByOffset = false;
    bool json = false;
};

constexpr std::string_view kChannelColumns[] = {"sampleCount", "position", "fileOffset"};

// What a user can make of a refused map. The unsupported code has two causes, told apart by
// description 0, which governs the whole map.
std::string RefusalReason(QT::IQTTrack& inTrack, uint32_t inResult)
{
    if (inResult == QT::kQTErrComplexEditList)
        return "the edit list is not one edit at normal rate; the range map follows a single edit only";
    if (inResult == QT::kQTErrUnsupportedAudio)
    {
        const int16_t channels = inTrack.GetAudioMediaNumChannels(0);
        const int16_t bits = inTrack.GetAudioMediaBitsPerSample(0);
        if (channels < 1 || bits < 8 || bits > 64)
            return fmt::format("the first sound description gives {} channel{} of {} bits; the range map "
                               "needs at least one channel of 8 to 64 bits",
                               channels, channels == 1 ? "" : "s", bits);
        return "the track's samples vary in duration (AAC and other compressed audio); the range map "
               "needs one stts entry";
    }
    return "the track's sample table is inconsistent or cut short";
}

int RunAudioMap(const AudioMapOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    TrackRef track = OpenTrack(*movie, inOptions.track);
    RequireSoundTrack(*track, "audio-map");

    QT::AudioSampleRangeMap ranges;
    const uint32_t result = track->MakeAudioSampleRangeMap(ranges, inOptions.keyByOffset);
    if (result != QT::kQTSuccess)
        throw Refusal(inOptions.path, result, RefusalReason(*track, result));

    // The map's own order: by file offset with --key-by-offset, else by position.
    ListWriter out(inOptions.json, stdout);
    out.Fact("result", Cell::Unsigned(result));
    out.Fact("track", Cell::Unsigned(inOptions.track));
    out.Fact("keyByFileOffset", Cell::Boolean(inOptions.keyByOffset));
    out.Fact("sampleRate", Cell::Unsigned(track->GetAudioMediaSampleRate(0)));
    out.Fact("rangeCount", Cell::Unsigned(ranges.size()));
    out.BeginList("ranges", kChannelColumns);
    for (const auto& [key, range] : ranges)
    {
        const Cell row[] = {Cell::Unsigned(range.mSampleCount), Cell::Unsigned(range.mPosition),
                            Cell::Unsigned(range.mFileOffset)};
        out.Row(row);
    }
    out.EndList();
    out.Finish();
    return kExitSuccess;
}

} // namespace

Command AudioMapCommand()
{
    auto options = std::make_shared<AudioMapOptions>();
    return {
        "audio-map",
        "List a sound track's runs of frames in the file over its edit: frame count, position, file offset",
        [options](CommandOptions& ioOptions)
        {
            ioOptions.File(options->path);
            ioOptions.Track(options->track);
            ioOptions.Flag("--key-by-offset", options->keyByOffset,
                           "Key the runs by file offset, and list them in that order");
            ioOptions.Flag("--json", options->json, "Print one JSON object");
        },
        [options] { return RunAudioMap(*options); }};
}

} // namespace qtsifter
