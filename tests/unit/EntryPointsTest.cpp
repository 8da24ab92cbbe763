#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "KSL/File.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "TestFiles.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// Records the arguments of every File::Create while it lives.
class CreateRecorder
{
public:
    CreateRecorder()
    {
        mPrevious = KSL::File::SetCreateObserver([this](const KSL::File::CreateArgs& inArgs)
                                                 { calls.push_back(inArgs); });
    }
    ~CreateRecorder() { KSL::File::SetCreateObserver(mPrevious); }

    std::vector<KSL::File::CreateArgs> calls;

private:
    KSL::File::CreateObserver mPrevious;
};

void ExpectOpenedForReading(const KSL::File::CreateArgs& inArgs, const std::u16string& inPath,
                            uint32_t inShare)
{
    EXPECT_EQ(inArgs.path, inPath);
    EXPECT_EQ(inArgs.access, 1u);
    EXPECT_EQ(inArgs.share, inShare);
    EXPECT_EQ(inArgs.disposition, 8u);
    EXPECT_EQ(inArgs.attributes, 1u);
}

// Both operations on one path that cannot be a movie; each must give inExpected and no movie.
void ExpectBothOperationsGive(const std::u16string& inPath, uint32_t inExpected)
{
    const Opened opened = OpenPath(inPath);
    EXPECT_EQ(opened.result, inExpected);
    EXPECT_FALSE(opened.movie);
    const Located located = LocatePath(inPath, QT::kMoovAtom);
    EXPECT_EQ(located.result, inExpected);
    EXPECT_FALSE(located.movie);
    EXPECT_FALSE(located.found);
}

} // namespace

TEST(EntryPoints, MakeMovieOpensTheFileWithShareModeThree)
{
    TempFile file(SimpleMovie());
    CreateRecorder recorder;
    EXPECT_EQ(OpenPath(file.WidePath()).result, 0u);
    ASSERT_EQ(recorder.calls.size(), 1u);
    ExpectOpenedForReading(recorder.calls[0], file.WidePath(), 3);
}

TEST(EntryPoints, MakeMovieAndLocateAtomOpensTheFileWithShareModeOne)
{
    TempFile file(SimpleMovie());
    CreateRecorder recorder;
    EXPECT_EQ(LocatePath(file.WidePath(), QT::kMoovAtom).result, 0u);
    ASSERT_EQ(recorder.calls.size(), 1u);
    ExpectOpenedForReading(recorder.calls[0], file.WidePath(), 1);
}

TEST(EntryPoints, ProviderThatIsNotReadyIsPassedOverForTheFileWithShareModeOne)
{
    const Bytes bytes = SimpleMovie();
    TempFile file(bytes);
    MemoryProvider provider(bytes);
    provider.readyAnswer = 1;
    CreateRecorder recorder;
    const Located located = LocatePath(file.WidePath(), QT::FourCC("mdat"), provider.Table());
    ASSERT_EQ(located.result, 0u);
    EXPECT_TRUE(located.found);
    EXPECT_EQ(located.offset, bytes.size() - Mdat().Size());
    ASSERT_EQ(recorder.calls.size(), 1u);
    ExpectOpenedForReading(recorder.calls[0], file.WidePath(), 1);
    EXPECT_GT(provider.isReadyCalls, 0);
    EXPECT_EQ(provider.getHandleCalls, 0);
    EXPECT_EQ(provider.readAtCalls, 0);
}

TEST(EntryPoints, MissingFileCannotBeOpened)
{
    const auto folder = MakeTempFolder();
    ExpectBothOperationsGive(Wide(folder / "absent.mov"), QT::kQTErrOpenFailed);
    std::filesystem::remove_all(folder);
}

TEST(EntryPoints, DirectoryCannotBeOpened)
{
    const auto folder = MakeTempFolder();
    ExpectBothOperationsGive(Wide(folder), QT::kQTErrOpenFailed);
    std::filesystem::remove_all(folder);
}

TEST(EntryPoints, PathThroughARegularFileCannotBeOpened)
{
    TempFile file(SimpleMovie());
    ExpectBothOperationsGive(Wide(file.Path() / "inner.mov"), QT::kQTErrOpenFailed);
}

TEST(EntryPoints, FileWithoutReadPermissionCannotBeOpened)
{
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no read permission to take away (permissions() sets only the read-only "
                    "attribute); FileHeldWithoutSharingCannotBeOpened has the open refused instead";
#endif
    TempFile file(SimpleMovie());
    std::filesystem::permissions(file.Path(), std::filesystem::perms::none);
    if (std::ifstream(file.Path()).is_open())
        GTEST_SKIP() << "this user reads files regardless of their permissions";
    ExpectBothOperationsGive(file.WidePath(), QT::kQTErrOpenFailed);
}

#if defined(_WIN32)

// Share modes hold on Windows only. A handle that shares nothing keeps every other open out.
TEST(EntryPoints, FileHeldWithoutSharingCannotBeOpened)
{
    TempFile file(SimpleMovie());
    const HANDLE holder = CreateFileW(file.Path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    ExpectBothOperationsGive(file.WidePath(), QT::kQTErrOpenFailed);
    CloseHandle(holder);
}

// MakeMovie shares writing and so opens a file that another handle writes; MakeMovieAndLocateAtom
// shares reading only and is refused.
TEST(EntryPoints, FileWrittenElsewhereOpensOnlyWhereWritingIsShared)
{
    TempFile file(SimpleMovie());
    const HANDLE writer = CreateFileW(file.Path().c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    const Opened opened = OpenPath(file.WidePath());
    EXPECT_EQ(opened.result, 0u);
    EXPECT_TRUE(opened.movie);
    const Located located = LocatePath(file.WidePath(), QT::kMoovAtom);
    EXPECT_EQ(located.result, QT::kQTErrOpenFailed);
    EXPECT_FALSE(located.movie);
    CloseHandle(writer);
}

#endif

// The path reaches the file system whole: as UTF-16 on Windows, as UTF-8 elsewhere, a character
// beyond the 16-bit range included.
TEST(EntryPoints, FileWithANameBeyondAsciiOpens)
{
    TempFile file(SimpleMovie(), "caf\xC3\xA9 \xF0\x9F\x8E\xAC.mov");
    ASSERT_NE(file.WidePath().find(u"caf\u00E9 \U0001F3AC.mov"), std::u16string::npos);
    const Opened opened = OpenPath(file.WidePath());
    EXPECT_EQ(opened.result, 0u);
    EXPECT_TRUE(opened.movie);
    EXPECT_EQ(LocatePath(file.WidePath(), QT::kMoovAtom).result, 0u);
}

TEST(EntryPoints, SevenByteFileIsNotAMovie)
{
    TempFile file(Bytes{0, 0, 0, 7, 'm', 'o', 'o'});
    ExpectBothOperationsGive(file.WidePath(), QT::kQTErrNotAMovie);
}

// Eight bytes pass the size test and fail in the load. The result is the same as for seven, so
// the provider route, whose reads can be counted, shows that the load read them.
TEST(EntryPoints, EightByteFileIsNotAMovie)
{
    for (const Bytes& bytes : {Atom("moov").Build(), Atom("ftyp").Build(), Bytes(8, 0)})
    {
        TempFile file(bytes);
        ExpectBothOperationsGive(file.WidePath(), QT::kQTErrNotAMovie);
        MemoryProvider provider(bytes);
        const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
        EXPECT_EQ(located.result, QT::kQTErrNotAMovie);
        EXPECT_FALSE(located.movie);
        EXPECT_GT(provider.readAtCalls, 0);
    }
}

TEST(EntryPoints, AtomThatIsNotInTheFileIsNotFoundButTheMovieIsMade)
{
    TempFile file(SimpleMovie());
    auto sifter = QT::MakeParser();
    InterfaceRef<QT::IQTMovie> movie;
    bool found = true;
    uint64_t offset = 1234;
    uint64_t size = 5678;
    EXPECT_EQ(sifter->MakeMovieAndLocateAtom(file.WidePath(), movie, QT::FourCC("none"), found, offset, size,
                                             nullptr),
              0u);
    EXPECT_FALSE(found);
    EXPECT_EQ(offset, 1234u);
    EXPECT_EQ(size, 5678u);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->GetTrackCount(), 1u);
}

TEST(EntryPoints, LocatedAtomIsGivenWithItsOffsetAndSize)
{
    const Bytes bytes = SimpleMovie();
    const Located located = LocateInBytes(bytes, QT::FourCC("ftyp"));
    ASSERT_EQ(located.result, 0u);
    EXPECT_TRUE(located.found);
    EXPECT_EQ(located.offset, 0u);
    EXPECT_EQ(located.size, Ftyp().Size());
    ASSERT_TRUE(located.movie);
    EXPECT_EQ(located.movie->GetMovieAtomOffset(), Ftyp().Size());
}

TEST(EntryPoints, FailedOperationLeavesTheCallersMovieAlone)
{
    const Opened good = OpenBytes(SimpleMovie());
    ASSERT_EQ(good.result, 0u);
    InterfaceRef<QT::IQTMovie> movie = good.movie;

    TempFile bad(Build({Ftyp(), Mdat()}));
    EXPECT_EQ(QT::MakeParser()->MakeMovie(bad.WidePath(), movie), QT::kQTErrNotAMovie);
    EXPECT_EQ(movie.Get(), good.movie.Get());
    bool found = false;
    uint64_t offset = 0;
    uint64_t size = 0;
    EXPECT_EQ(QT::MakeParser()->MakeMovieAndLocateAtom(bad.WidePath(), movie, QT::kMoovAtom, found, offset,
                                                       size, nullptr),
              QT::kQTErrNotAMovie);
    EXPECT_EQ(movie.Get(), good.movie.Get());
}

// A sifter serves one parse: a second one adds its index to that of the first.
TEST(EntryPoints, SecondParseOnOneSifterAppendsToTheFirstIndex)
{
    TempFile first(SimpleMovie({TrackSpec{}}));
    TempFile second(SimpleMovie({TrackSpec{}, TrackSpec{}}));
    auto sifter = QT::MakeParser();
    InterfaceRef<QT::IQTMovie> firstMovie;
    InterfaceRef<QT::IQTMovie> secondMovie;
    ASSERT_EQ(sifter->MakeMovie(first.WidePath(), firstMovie), 0u);
    ASSERT_EQ(sifter->MakeMovie(second.WidePath(), secondMovie), 0u);
    EXPECT_EQ(firstMovie->GetTrackCount(), 1u);
    EXPECT_EQ(secondMovie->GetTrackCount(), 3u);
}
