#include <gtest/gtest.h>

#include <fstream>

#include <cstring>
#include <string>
#include <vector>

#include "AtomBuilder.h"
#include "FixerFiles.h"
#include "IQTMovieFixer.h"
#include "MetadataAtoms.h"
#include "MovieLayout.h"
#include "QTMovieFixer.h"
#include "QTResultCodes.h"
#include "SifterProbe.h"
#include "tenacore/filesupport.h"

using namespace qttest;

namespace
{

// A file of inBytes, fixed once: the result and the file's bytes before and after.
struct Fixed
{
    uint32_t result = 0;
    Bytes before;
    Bytes after;

    std::vector<uint64_t> Changes() const { return DifferingPositions(before, after); }
};

Fixed FixBytes(const Bytes& inBytes)
{
    TempFile file(inBytes);
    Fixed fixed;
    fixed.before = ReadFileBytes(file.Path());
    fixed.result = FixFile(file.Path());
    fixed.after = ReadFileBytes(file.Path());
    return fixed;
}

Bytes MovieOf(const std::vector<Atom>& inMoovChildren)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& child : inMoovChildren)
        moov.Child(child);
    return Build({Ftyp(), moov, Mdat()});
}

const std::vector<uint64_t> kNoChange;

// The positions of inAtom's type bytes that differ between its old type and "skip".
std::vector<uint64_t> SdtpToSkipChanges(size_t inStart)
{
    std::vector<uint64_t> changes;
    const char* sdtp = "sdtp";
    const char* skip = "skip";
    for (size_t i = 0; i < 4; ++i)
        if (sdtp[i] != skip[i])
            changes.push_back(inStart + 4 + i);
    return changes;
}

Bytes SkipAt(const Bytes& inBytes, size_t inAtomStart)
{
    return Bytes(inBytes.begin() + std::ptrdiff_t(inAtomStart + 4),
                 inBytes.begin() + std::ptrdiff_t(inAtomStart + 8));
}

const Bytes kSkip = {'s', 'k', 'i', 'p'};

// An stbl of the required tables and inExtra behind them.
Atom StblWith(const std::vector<Atom>& inExtra)
{
    std::vector<Atom> tables = BasicSampleTables({{.sampleCount = 3, .duration = 100}});
    tables.insert(tables.end(), inExtra.begin(), inExtra.end());
    return Container("stbl", tables);
}

Atom Sdtp3()
{
    return Sdtp({0x20, 0x10, 0x10});
}

// A video trak with inEdts ahead of mdia and an sdtp in its stbl.
Atom EditedTrakWithSdtp(const Atom& inEdts)
{
    return TrakOfMedia({inEdts}, {Hdlr(Code("vide")), MinfWithStbl(StblWith({Sdtp3()}))});
}

} // namespace

TEST(MovieFixer, AnEnabledVideoTrackWithSdtpGetsFourBytesAtItsTypeAndNothingElse)
{
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithSdtp()}));
    ASSERT_EQ(fixed.result, QT::kQTSuccess);
    const size_t sdtp = FindAtom(fixed.before, "sdtp");
    ASSERT_NE(sdtp, kNoAtom);
    EXPECT_EQ(fixed.after.size(), fixed.before.size());
    EXPECT_EQ(SkipAt(fixed.after, sdtp), kSkip);
    // "sdtp" and "skip" share their first and last letters.
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(sdtp));
}

TEST(MovieFixer, ASecondRunFindsNothingToFix)
{
    TempFile file(MovieOf({VideoTrakWithSdtp()}));
    ASSERT_EQ(FixFile(file.Path()), QT::kQTSuccess);
    const Bytes once = ReadFileBytes(file.Path());
    EXPECT_EQ(FixFile(file.Path()), QT::kQTErrFailed);
    EXPECT_EQ(ReadFileBytes(file.Path()), once);
}

TEST(MovieFixer, FreeAtomsBeforeTheSdtpAreKeptSoThePositionHolds)
{
    const Atom trak = VideoTrakWithTables({Free(12), Sdtp({0x20, 0x10, 0x10})});
    const Fixed fixed = FixBytes(MovieOf({Free(20), trak}));
    ASSERT_EQ(fixed.result, QT::kQTSuccess);
    const size_t sdtp = FindAtom(fixed.before, "sdtp");
    EXPECT_EQ(SkipAt(fixed.after, sdtp), kSkip);
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(sdtp));
}

TEST(MovieFixer, TheLoadIsAByteExactCopyOfTheStoredMovieAtom)
{
    const Bytes bytes = MovieOf({Free(20), VideoTrakWithTables({Free(12), Sdtp({0x20})})});
    TempFile file(bytes);
    auto fixer = tenacore::classref::MakeObject<QT::QTMovieFixer>();
    KSL::File in;
    ASSERT_GE(in.Create(file.WidePath(), 1, 1, 8, 1, false), 0);
    fixer->fileSize = bytes.size();
    fixer->mooVAtom = std::make_shared<QTMooVAtom>();
    ASSERT_EQ(fixer->LoadMovieAtom(in), QT::kQTSuccess);
    const auto moov = FindAtom(ScanTopLevelAtoms(bytes), Code("moov"));
    ASSERT_TRUE(moov);
    EXPECT_EQ(fixer->movieAtomOffset, moov->start);
    const Bytes loaded(fixer->Data(), fixer->Data() + fixer->movieAtomSize);
    EXPECT_EQ(loaded, Bytes(bytes.begin() + std::ptrdiff_t(moov->start),
                            bytes.begin() + std::ptrdiff_t(moov->End())));
}

TEST(MovieFixer, ADisabledFirstVideoTrackIsSteppedOverAndTheSecondIsFixed)
{
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithSdtp(0), VideoTrakWithSdtp(1)}));
    ASSERT_EQ(fixed.result, QT::kQTSuccess);
    const size_t second = FindAtom(fixed.before, "sdtp", 1);
    ASSERT_NE(second, kNoAtom);
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(second));
}

TEST(MovieFixer, AnEnabledFirstVideoTrackWithoutSdtpEndsTheSearch)
{
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithTables({}), VideoTrakWithSdtp()}));
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, ASoundOnlyMovieHasNothingToFix)
{
    const Fixed fixed = FixBytes(MovieOf({SoundTrakWithSdtp()}));
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, AMovieAtomBehindFourGigabytesOfMediaIsWrittenAtItsSixtyFourBitPosition)
{
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), VideoTrakWithSdtp()}).Build();
    constexpr uint64_t kMediaSize = (uint64_t(1) << 32) + 4096;
    const Bytes head = Concat({Ftyp().Build(), Atom("mdat").Extended(kMediaSize).Build()});
    const uint64_t moovStart = Ftyp().Size() + kMediaSize;
    const auto folder = MakeTempFolder();
    const auto path = folder / "large.mov";
    WriteSparseFile(path, Concat({head}), moovStart, moov);
    const size_t sdtpInMoov = FindAtom(moov, "sdtp");
    ASSERT_NE(sdtpInMoov, kNoAtom);

    EXPECT_EQ(FixFile(path), QT::kQTSuccess);
    EXPECT_EQ(std::filesystem::file_size(path), moovStart + moov.size());
    const Bytes after = ReadFileRange(path, moovStart, moov.size());
    EXPECT_EQ(DifferingPositions(moov, after), SdtpToSkipChanges(sdtpInMoov));
    EXPECT_EQ(ReadFileRange(path, moovStart + sdtpInMoov + 4, 4), kSkip);
    EXPECT_EQ(ReadFileRange(path, 0, head.size()), head);
    std::filesystem::remove_all(folder);
}

TEST(MovieFixer, MovieFixerAnswersItsTwoNames)
{
    auto fixer = QT::MakeFixer();
    ASSERT_TRUE(fixer);
    EXPECT_NE(fixer->QueryInterface("QT::QTMovieFixer"), nullptr);
    EXPECT_NE(fixer->QueryInterface("QT::IQTMovieFixer"), nullptr);
    EXPECT_EQ(fixer->QueryInterface("QT::IQTMovieFixerX"), nullptr);
    EXPECT_EQ(fixer->QueryInterface("QT::IQTSifter"), nullptr);
}

// What cannot be loaded is left alone.

TEST(MovieFixer, AFileThatCannotBeOpenedHasNothingToFix)
{
    EXPECT_EQ(QT::MakeFixer()->FixMovie(u"/nonexistent/folder/movie.mov"), QT::kQTErrFailed);
}

TEST(MovieFixer, AFileUnderEightBytesHasNothingToFix)
{
    const Fixed fixed = FixBytes(Bytes{0, 0, 0, 7, 'm', 'o', 'o'});
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, ACompressedMovieCannotBeFixed)
{
    const Bytes inner = Atom("moov").Children({Mvhd(600, 1000), VideoTrakWithSdtp()}).Build();
    const Fixed fixed = FixBytes(Build({Ftyp(), Atom("moov").Child(Cmov(inner)), Mdat()}));
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, AnExtendedLanguageAtomBeforeHdlrRefusesTheTrackAndTheFile)
{
    const Atom trak = TrakOfMedia(
        {}, {Atom("elng").FullHeader(0).Text("en"), Hdlr(Code("vide")), MinfWithStbl(StblWith({Sdtp3()}))});
    const Fixed fixed = FixBytes(MovieOf({trak}));
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

// Bad input.

TEST(MovieFixer, AnUntestedEditListChildGivesOnlyEntriesInsideItself)
{
    // Any child of edts is taken as the edit list. This one holds one entry but counts three,
    // which the loose test (8 bytes an entry) lets pass; the other two would lie in mdia.
    const Atom edts = Atom("edts").Child(Atom("xlst").FullHeader(0).U32(3).U32(500).U32(0).U32(0x10000));
    const Atom trak = EditedTrakWithSdtp(edts);
    const Bytes bytes = MovieOf({trak});
    TempFile file(bytes);
    auto fixer = tenacore::classref::MakeObject<QT::QTMovieFixer>();
    const QT::FixPlan plan = fixer->PlanFix(file.WidePath());
    ASSERT_EQ(plan.finding, QT::FixPlan::Finding::Ready);
    ASSERT_EQ(fixer->trackItems.size(), 1u);
    const auto& edits = fixer->trackItems[0].editList;
    ASSERT_EQ(edits.size(), 1u);
    const size_t xlst = FindAtom(bytes, "xlst");
    const auto moov = FindAtom(ScanTopLevelAtoms(bytes), Code("moov"));
    EXPECT_EQ(uint64_t(edits[0] - fixer->Data()) + moov->start, xlst + 16);
    EXPECT_EQ(FixFile(file.Path()), QT::kQTSuccess);
}

TEST(MovieFixer, AWrappingEditCountStaysInsideTheUntestedChild)
{
    // 0x20000001 times 8 wraps to 8 and passes the test.
    const Atom edts =
        Atom("edts").Child(Atom("free").FullHeader(0).U32(0x20000001).U32(500).U32(0).U32(0x10000));
    const Atom trak = EditedTrakWithSdtp(edts);
    TempFile file(MovieOf({trak}));
    auto fixer = tenacore::classref::MakeObject<QT::QTMovieFixer>();
    ASSERT_EQ(fixer->PlanFix(file.WidePath()).finding, QT::FixPlan::Finding::Ready);
    EXPECT_EQ(fixer->trackItems.at(0).editList.size(), 1u);
}

TEST(MovieFixer, AnUncheckedKeyTableWithANegativeCountThrowsNothing)
{
    const Atom meta = KeyedMeta(Atom("keys").FullHeader(0).U32(0x80000000), {});
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithSdtp(), meta}));
    EXPECT_EQ(fixed.result, QT::kQTSuccess);
    EXPECT_EQ(fixed.Changes().size(), 2u);
}

TEST(MovieFixer, AnUncheckedKeyEntryTooShortForItsHeaderThrowsNothing)
{
    // An entry of 4 bytes would give a key of -4 bytes.
    const Atom keys = Atom("keys").FullHeader(0).U32(2).U32(4).Type("mdta");
    const Atom meta = Atom("meta").Children({Atom("hdlr").Zeros(24), keys, Atom("ilst").Zeros(16)});
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithSdtp(), meta}));
    EXPECT_EQ(fixed.result, QT::kQTSuccess);
    EXPECT_EQ(fixed.Changes().size(), 2u);
}

TEST(MovieFixer, ZeroSizedAtomsEndEachWalk)
{
    // In stbl behind the sdtp, in a udta that is only recorded, and at the level of moov.
    const Atom zero = Atom("zero").SizeWord(0).U32(0);
    const Atom trak = VideoTrakWithTables({Sdtp({0x20, 0x10, 0x10}), zero});
    const Fixed fixed = FixBytes(MovieOf({trak, Atom("udta").Children({Atom("abcd").U32(1), zero}), zero}));
    EXPECT_EQ(fixed.result, QT::kQTSuccess);
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(FindAtom(fixed.before, "sdtp")));
}

TEST(MovieFixer, AZeroSizedFirstChildOfMinfRefusesTheTrack)
{
    const Atom minf = Atom("minf").Children({Atom("zero").SizeWord(0).U32(0), Vmhd(), Dinf()});
    const Fixed fixed = FixBytes(MovieOf({TrakOfMedia({}, {Hdlr(Code("vide")), minf})}));
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, ATopLevelExtendedSizeOfZeroEndsTheScan)
{
    const Bytes bytes = Build(
        {Ftyp(), Atom("wide").Extended(0), Atom("moov").Children({Mvhd(600, 1000), VideoTrakWithSdtp()})});
    const Fixed fixed = FixBytes(bytes);
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, AMovieAtomOfSizeWordZeroRunsToTheEndOfTheFile)
{
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), VideoTrakWithSdtp()}).SizeWord(0);
    const Fixed fixed = FixBytes(Build({Ftyp(), Mdat(), moov}));
    ASSERT_EQ(fixed.result, QT::kQTSuccess);
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(FindAtom(fixed.before, "sdtp")));
}

// The sample table walk reads one atom past the end of stbl. The parser's index takes an sdtp
// there as the track's; the fixer writes only inside the track's own stbl.
TEST(MovieFixer, AnSdtpJustBehindStblIsLeftAlone)
{
    const Atom minf = Atom("minf").Children({Vmhd(), Dinf(), StblWith({}), Sdtp3()});
    const Bytes bytes = MovieOf({TrakOfMedia({}, {Hdlr(Code("vide")), minf})});
    const Probe parsed = ProbeMakeMovie(bytes);
    ASSERT_EQ(parsed.result, QT::kQTSuccess);
    EXPECT_NE(parsed.MooV().GetTrackItem(0).sdtp, nullptr);

    const Fixed fixed = FixBytes(bytes);
    EXPECT_EQ(fixed.result, QT::kQTErrFailed);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

TEST(MovieFixer, AnSdtpBehindStblDoesNotDisplaceTheOneInside)
{
    const Atom minf = Atom("minf").Children({Vmhd(), Dinf(), StblWith({Sdtp3()}), Sdtp3()});
    const Fixed fixed = FixBytes(MovieOf({TrakOfMedia({}, {Hdlr(Code("vide")), minf})}));
    ASSERT_EQ(fixed.result, QT::kQTSuccess);
    EXPECT_EQ(fixed.Changes(), SdtpToSkipChanges(FindAtom(fixed.before, "sdtp", 0)));
}

// Failed writes.

namespace
{

// Makes one step of every stream fail while it lives.
class FailingStep
{
public:
    explicit FailingStep(tenacore::filesupport::StreamStep inStep)
        : mPrevious(tenacore::filesupport::SetFailureInjector(
              [inStep](tenacore::filesupport::StreamStep inAsked) { return inAsked == inStep; }))
    {
    }
    ~FailingStep() { tenacore::filesupport::SetFailureInjector(mPrevious); }

private:
    tenacore::filesupport::FailureInjector mPrevious;
};

} // namespace

class MovieFixerWriteFailure : public ::testing::TestWithParam<tenacore::filesupport::StreamStep>
{
};

TEST_P(MovieFixerWriteFailure, GivesTheWriteFailureAndLeavesTheFile)
{
    const FailingStep failing(GetParam());
    const Fixed fixed = FixBytes(MovieOf({VideoTrakWithSdtp()}));
    EXPECT_EQ(fixed.result, QT::kQTErrFixerWrite);
    EXPECT_EQ(fixed.Changes(), kNoChange);
}

INSTANTIATE_TEST_SUITE_P(EachStep, MovieFixerWriteFailure,
                         ::testing::Values(tenacore::filesupport::StreamStep::Open,
                                           tenacore::filesupport::StreamStep::Seek,
                                           tenacore::filesupport::StreamStep::Write));

TEST(MovieFixer, AReadOnlyFileGivesTheWriteFailure)
{
    TempFile file(MovieOf({VideoTrakWithSdtp()}));
    const Bytes before = ReadFileBytes(file.Path());
    std::filesystem::permissions(file.Path(),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
    // Root, and root under wine, write to such a file all the same.
    if (std::fstream(file.Path(), std::ios::in | std::ios::out | std::ios::binary).is_open())
    {
        std::filesystem::permissions(file.Path(), std::filesystem::perms::owner_all);
        GTEST_SKIP() << "this user writes to a read-only file all the same";
    }
    EXPECT_EQ(FixFile(file.Path()), QT::kQTErrFixerWrite);
    EXPECT_EQ(ReadFileBytes(file.Path()), before);
    // A read-only file cannot be removed on Windows.
    std::filesystem::permissions(file.Path(), std::filesystem::perms::owner_all);
}
