#include "OpenMovie.h"

#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <unistd.h>

#include "Failure.h"
#include "FileFacts.h"
#include "IQTSifter.h"
#include "MediaKinds.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

std::string OpenFailureReason(const std::string& inPath)
{
    std::error_code error;
    const auto status = std::filesystem::status(inPath, error);
    if (!std::filesystem::exists(status))
        return "no such file";
    if (std::filesystem::is_directory(status))
        return "is a directory";
    if (::access(inPath.c_str(), R_OK) != 0)
        return "permission denied";
    return "the file cannot be opened for reading";
}

std::string NotAMovieReason(const std::string& inPath)
{
    const FileFacts file = ReadFileFacts(inPath);
    if (file.size < 8)
        return fmt::format("the file is {} bytes long, too short to hold a movie", file.size);
    for (const TopLevelAtom& atom : file.atoms)
        if (atom.type == QT::FourCC("moov"))
        {
            if (atom.size > file.size - atom.offset)
                return fmt::format(
                    "the movie atom (moov) at offset {} is {} bytes but the file ends {} bytes "
                    "after its start; the file is truncated",
                    atom.offset, atom.size, file.size - atom.offset);
            return fmt::format("the movie atom (moov) at offset {} could not be read: it is damaged",
                               atom.offset);
        }
    return fmt::format("no movie atom (moov) in the file's {} bytes; the file may be truncated or not a "
                       "QuickTime movie",
                       file.size);
}

} // namespace

MovieRef OpenMovie(const std::string& inUTF8Path)
{
    MovieRef movie;
    // A parser serves one parse, so each open takes a fresh one.
    auto parser = QT::MakeParser();
    const uint32_t result = parser->MakeMovie(tenacore::string::UTF8to16(inUTF8Path), movie);
    if (result == QT::kQTSuccess && movie)
        return movie;
    std::string reason;
    if (result == QT::kQTErrOpenFailed)
        reason = OpenFailureReason(inUTF8Path);
    else if (result == QT::kQTErrNotAMovie)
        reason = NotAMovieReason(inUTF8Path);
    else
        reason = "the movie could not be loaded";
    throw Refusal(inUTF8Path, result, reason);
}

TrackRef OpenTrack(QT::IQTMovie& inMovie, uint32_t inIndex)
{
    const uint32_t count = inMovie.GetTrackCount();
    if (inIndex >= count)
        throw UsageError(fmt::format("no track {}: the movie has {} track{} (numbered from 0)", inIndex,
                                     count, count == 1 ? "" : "s"));
    TrackRef track;
    inMovie.GetIndTrack(track, inIndex);
    return track;
}

void RequireVideoTrack(QT::IQTTrack& inTrack, const std::string& inCommand)
{
    const uint32_t type = inTrack.GetTrackMediaType();
    if (type != QT::kVideoMediaType)
        throw UsageError(fmt::format("track {} is {}, not video; {} reads video tracks",
                                     inTrack.GetTrackIndex(), KindOf(type).name, inCommand));
}

void RequireSoundTrack(QT::IQTTrack& inTrack, const std::string& inCommand)
{
    const uint32_t type = inTrack.GetTrackMediaType();
    if (type != QT::kAudioMediaType)
        throw UsageError(fmt::format("track {} is {}, not sound; {} reads sound tracks",
                                     inTrack.GetTrackIndex(), KindOf(type).name, inCommand));
}

} // namespace qtsifter
