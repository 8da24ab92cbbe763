// The movie fixer on HEVC movies that ffmpeg writes with an sdtp, each fixed in a copy of its own.
// Where the write must go is found here by an atom walk of the test's own.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "FixerFiles.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"

using namespace qttest;

namespace
{

uint32_t WordIn(const Bytes& inBytes, uint64_t inAt)
{
    return uint32_t(inBytes.at(inAt)) << 24 | uint32_t(inBytes.at(inAt + 1)) << 16 |
           uint32_t(inBytes.at(inAt + 2)) << 8 | uint32_t(inBytes.at(inAt + 3));
}

// The first child of inType along a path of containers below inParent.
std::optional<FileAtom> Descend(const Bytes& inBytes, FileAtom inParent, const std::vector<uint32_t>& inPath)
{
    for (uint32_t type : inPath)
    {
        std::optional<FileAtom> child;
        for (const FileAtom& atom : ScanChildren(inBytes, inParent))
            if (atom.type == type)
            {
                child = atom;
                break;
            }
        if (!child)
            return std::nullopt;
        inParent = *child;
    }
    return inParent;
}

struct ExpectedFix
{
    size_t track = 0;
    FileAtom sdtp;
};

// The sdtp in the stbl of the first trak that is video and enabled (tkhd flags bit 0).
std::optional<ExpectedFix> FindExpectedFix(const Bytes& inBytes, const FileAtom& inMoov)
{
    size_t track = 0;
    for (const FileAtom& trak : ScanChildren(inBytes, inMoov))
    {
        if (trak.type != Code("trak"))
            continue;
        const auto tkhd = Descend(inBytes, trak, {Code("tkhd")});
        const auto hdlr = Descend(inBytes, trak, {Code("mdia"), Code("hdlr")});
        if (tkhd && hdlr && WordIn(inBytes, hdlr->start + 16) == Code("vide") &&
            (WordIn(inBytes, tkhd->start + 8) & 1) != 0)
        {
            const auto sdtp =
                Descend(inBytes, trak, {Code("mdia"), Code("minf"), Code("stbl"), Code("sdtp")});
            if (!sdtp)
                return std::nullopt;
            return ExpectedFix{track, *sdtp};
        }
        ++track;
    }
    return std::nullopt;
}

// The frames that ffmpeg decodes from the first video stream.
int64_t DecodedFrames(const std::filesystem::path& inPath)
{
    const CommandResult run =
        RunCommand({"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                    "stream=nb_read_frames", "-of", "csv=p=0", inPath.string()});
    if (!run.Succeeded())
        return -1;
    return std::stoll(run.out);
}

class RealFixer : public RealMovieFixture
{
protected:
    // A copy of the recipe's movie, which the test may change.
    std::filesystem::path CopyOf(const std::string& inRecipe)
    {
        Prepare(inRecipe);
        if (IsSkipped() || HasFatalFailure())
            return {};
        mFolder = MakeTempFolder();
        const auto copy = mFolder / made->path.filename();
        std::filesystem::copy_file(made->path, copy);
        return copy;
    }

    // Fixes the copy and checks that exactly the two bytes in which "sdtp" and "skip" differ
    // changed, at the sdtp that the test's own walk names, and that a second run finds nothing.
    void ExpectFixedOnce(const std::filesystem::path& inCopy)
    {
        const auto expected = FindExpectedFix(bytes, moov);
        ASSERT_TRUE(expected) << "ffmpeg wrote no sdtp in the first enabled video track";
        ASSERT_EQ(FixFile(inCopy), QT::kQTSuccess);
        const Bytes after = ReadFileBytes(inCopy);
        ASSERT_EQ(after.size(), bytes.size());
        const uint64_t type = expected->sdtp.start + 4;
        EXPECT_EQ(DifferingPositions(bytes, after), (std::vector<uint64_t>{type + 1, type + 2}));
        EXPECT_EQ(WordIn(after, type), Code("skip"));
        EXPECT_EQ(FixFile(inCopy), QT::kQTErrFailed);
        EXPECT_EQ(ReadFileBytes(inCopy), after);
        fixedTrack = expected->track;
    }

    void TearDown() override
    {
        if (!mFolder.empty())
            std::filesystem::remove_all(mFolder);
    }

    size_t fixedTrack = 0;

private:
    std::filesystem::path mFolder;
};

} // namespace

TEST_F(RealFixer, HevcMovieHasOnlyItsSdtpTypeChangedAndStillDecodes)
{
    const auto copy = CopyOf("hevc_bframes");
    if (IsSkipped() || HasFatalFailure())
        return;
    const int64_t frames = DecodedFrames(made->path);
    ASSERT_EQ(frames, 25);
    ExpectFixedOnce(copy);
    EXPECT_EQ(DecodedFrames(copy), frames);
}

TEST_F(RealFixer, FaststartMovieWithMoovAheadOfMdatIsFixedInPlace)
{
    const auto copy = CopyOf("hevc_faststart");
    if (IsSkipped() || HasFatalFailure())
        return;
    const auto mdat = FindAtom(topLevel, Code("mdat"));
    ASSERT_TRUE(mdat);
    ASSERT_LT(moov.start, mdat->start);
    ExpectFixedOnce(copy);
    EXPECT_EQ(DecodedFrames(copy), DecodedFrames(made->path));
}

TEST_F(RealFixer, TheEnabledSecondVideoTrackIsFixedAndTheDisabledFirstIsNot)
{
    const auto copy = CopyOf("hevc_second_enabled");
    if (IsSkipped() || HasFatalFailure())
        return;
    ExpectFixedOnce(copy);
    EXPECT_EQ(fixedTrack, 1u);
}

TEST_F(RealFixer, SoundOnlyMovieHasNothingToFix)
{
    const auto copy = CopyOf("pcm_only");
    if (IsSkipped() || HasFatalFailure())
        return;
    EXPECT_EQ(FixFile(copy), QT::kQTErrFailed);
    EXPECT_EQ(ReadFileBytes(copy), bytes);
}

// The HEVC movie's moov behind a 64-bit mdat of more than 4 GiB, left a hole so that it costs no
// disk. The media offsets no longer point at the frames; the fixer reads none of them.
TEST_F(RealFixer, MovieAtomBehindFourGigabytesIsFixedAtItsSixtyFourBitPosition)
{
    Prepare("hevc_bframes");
    if (IsSkipped() || HasFatalFailure())
        return;
    const Bytes moovBytes(bytes.begin() + std::ptrdiff_t(moov.start),
                          bytes.begin() + std::ptrdiff_t(moov.End()));
    const auto expected = FindExpectedFix(bytes, moov);
    ASSERT_TRUE(expected);
    const uint64_t inMoov = expected->sdtp.start - moov.start;

    constexpr uint64_t kMediaSize = (uint64_t(5) << 30) + 12;
    const Bytes head = Atom("mdat").Extended(kMediaSize).Build();
    const auto folder = MakeTempFolder();
    const auto path = folder / "large.mov";
    WriteSparseFile(path, head, kMediaSize, moovBytes);

    EXPECT_EQ(FixFile(path), QT::kQTSuccess);
    EXPECT_EQ(std::filesystem::file_size(path), kMediaSize + moovBytes.size());
    const Bytes after = ReadFileRange(path, kMediaSize, moovBytes.size());
    EXPECT_EQ(DifferingPositions(moovBytes, after), (std::vector<uint64_t>{inMoov + 5, inMoov + 6}));
    EXPECT_EQ(ReadFileRange(path, kMediaSize + inMoov + 4, 4), (Bytes{'s', 'k', 'i', 'p'}));
    EXPECT_EQ(ReadFileRange(path, 0, head.size()), head);
    std::filesystem::remove_all(folder);
}
