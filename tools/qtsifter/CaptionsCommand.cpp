#include <cstdio>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "ListWriter.h"
#include "MovieFacts.h"
#include "OpenMovie.h"
#include "QTCaption.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

struct CaptionsOptions
{
    std::string path;
    uint32_t track = 0;
    bool keyByOffset = false;
    bool json = false;
};

constexpr std::string_view kCaptionColumns[] = {"time",           "fileOffset",       "length",
                                                "hasSecondField", "secondFileOffset", "secondLength"};

int RunCaptions(const CaptionsOptions& inOptions)
{
    MovieRef movie = OpenMovie(inOptions.path);
    TrackRef track = OpenTrack(*movie, inOptions.track);

    // The map reads 8 bytes of the file the offsets point into, which here is the movie itself.
    QT::CaptionSampleMap captions;
    const uint32_t result = track->MakeCaptionSampleMap(tenacore::string::UTF8to16(inOptions.path), captions,
                                                        inOptions.keyByOffset);
    if (result != QT::kQTSuccess)
        throw Refusal(inOptions.path, result,
                      "the track's sample tables do not give every caption sample a time and a size");

    // The map's own order: by time, or by file offset with --key-by-offset.
    const std::string format = FourCCDisplay(track->GetCaptionMediaDataFormat(0));
    ListWriter out(inOptions.json, stdout);
    out.Fact("result", Cell::Unsigned(result));
    out.Fact("track", Cell::Unsigned(inOptions.track));
    out.Fact("format", Cell::Text(format));
    out.Fact("keyByFileOffset", Cell::Boolean(inOptions.keyByOffset));
    out.Fact("frameDuration", Cell::Unsigned(track->GetCaptionMediaFrameDuration()));
    out.Fact("entryCount", Cell::Unsigned(captions.size()));
    out.BeginList("entries", kCaptionColumns);
    for (const auto& [key, caption] : captions)
    {
        const Cell row[] = {Cell::Unsigned(caption.mTime),
                            Cell::Unsigned(caption.mFileOffset),
                            Cell::Unsigned(caption.mLength),
                            Cell::Boolean(caption.mHasSecondField),
                            Cell::Unsigned(caption.mSecondFileOffset),
                            Cell::Unsigned(caption.mSecondLength)};
        out.Row(row);
    }
    out.EndList();
    out.Finish();
    return kExitSuccess;
}

} // namespace

Command CaptionsCommand()
{
    auto options = std::make_shared<CaptionsOptions>();
    return {
        "captions",
        "List a closed caption track's captions over its edit: time, file offset and length of each field",
        [options](CommandOptions& ioOptions)
        {
            ioOptions.File(options->path);
            ioOptions.Track(options->track);
            ioOptions.Flag("--key-by-offset", options->keyByOffset,
                           "Key the captions by file offset, and list them in that order");
            ioOptions.Flag("--json", options->json, "Print one JSON object");
        },
        [options] { return RunCaptions(*options); }};
}

} // namespace qtsifter
