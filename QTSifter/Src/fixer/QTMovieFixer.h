#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "IQTMovie.h"
#include "IQTMovieFixer.h"
#include "KSL/File.h"
#include "QTMovieWalk.h"

namespace QT
{

// The fixer's walk. It writes at the file position of a pointer the walk gives, so it reads the
// byte-exact movie atom as stored, keeps a last atom of 8 bytes, and takes no sdtp that lies
// outside the track's own stbl.
inline constexpr WalkRules kFixerWalkRules{
    .minBytesLeft = 8,
    .expandCompressedMovie = false,
    .checkEditListType = false,
    .dropEmptyEdits = false,
    .skipExtendedLanguage = false,
    .mediaInformation = MediaInformationWalk::FirstChildIsHeader,
    .captionTracksNeedNoTables = false,
    .recordPartialSync = false,
    .requireMediaInfoHeader = true,
    .userData = UserDataWalk::RecordOnly,
    .checkKeyedMetadata = false,
    .sdtpBehindSampleTable = false,
};

// What the fixer would do to a file, found without writing.
struct FixPlan
{
    enum class Finding
    {
        Ready,                   // trackIndex and position say where the write goes
        NotLoaded,               // no movie: unreadable, not a movie, or refused by the walk
        NoEnabledVideoTrack,     // no video track is enabled
        NoSampleDependencyTable, // the first enabled video track has no sdtp of its own
    };
    Finding finding = Finding::NotLoaded;
    uint32_t trackIndex = 0;
    // File position of the sdtp atom's type word.
    uint64_t position = 0;

    uint32_t Result() const { return finding == Finding::Ready ? kQTSuccess : kQTErrFailed; }
};

// The fixer: its own byte-exact load of the movie atom and the shared walk under its rules, over
// the index it inherits.
class QTMovieFixer : public IQTMovieFixer, public MovieIndex
{
public:
    void* QueryInterface(std::string_view inName) override;

    uint32_t FixMovie(std::u16string inPath) override;

    // Loads the movie and finds where the write would go. Like FixMovie, for a fresh fixer only.
    FixPlan PlanFix(const std::u16string& inPath);

    // The byte-exact load: buffer offset + movieAtomOffset is the file position. 0 or 99.
    uint32_t LoadMovieAtom(KSL::File& inFile);
    [[nodiscard]] bool WalkMovieAtom() { return QT::WalkMovieAtom(*this, kFixerWalkRules); }

private:
    // The fixer's own form of MakeMovie. The result is the parser's code; only the movie counts.
    virtual uint32_t OpenMovie(std::u16string inPath, tenacore::classref::InterfaceRef<IQTMovie>& outMovie);
    uint32_t WriteSkip(const std::u16string& inPath, uint64_t inPosition);

public:
    uint64_t fileSize = 0;
};

} // namespace QT
