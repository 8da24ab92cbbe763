#include <filesystem>
#include <memory>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "KSL/File.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "QTSifter.h"
#include "SifterProbe.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

constexpr uint32_t kLargestMovieAtom = 0x8000000;

// A sifter that has run one of the two loads and nothing else.
struct Loaded
{
    std::shared_ptr<QT::QTSifter> sifter = tenacore::classref::MakeObject<QT::QTSifter>();
    uint32_t status = 0;

    Loaded() { sifter->mooVAtom = std::make_shared<QTMooVAtom>(); }
    Bytes Buffer() const
    {
        const QTMooVAtom& moov = *sifter->mooVAtom;
        return moov.Data() ? Bytes(moov.Data(), moov.Data() + moov.Size()) : Bytes();
    }
};

Loaded LoadFromFile(const std::filesystem::path& inPath)
{
    Loaded loaded;
    KSL::File file;
    EXPECT_EQ(file.Create(Wide(inPath), KSL::File::kAccessRead, KSL::File::kShareRead,
                          KSL::File::kOpenExisting, KSL::File::kAttributeNormal, false),
              0);
    loaded.sifter->fileSize = uint64_t(file.SizeOnDisk());
    loaded.status = loaded.sifter->LoadMovieAtomFromFile(file);
    return loaded;
}

Loaded LoadFromFile(const Bytes& inBytes)
{
    TempFile file(inBytes);
    return LoadFromFile(file.Path());
}

Loaded LoadFromProvider(MemoryProvider& ioProvider, uint64_t inFileSize)
{
    Loaded loaded;
    loaded.sifter->provider = ioProvider.Table();
    loaded.sifter->fileSize = inFileSize;
    loaded.status = loaded.sifter->LoadMovieAtomFromProvider();
    return loaded;
}

Loaded LoadFromProvider(const Bytes& inBytes)
{
    MemoryProvider provider(inBytes);
    return LoadFromProvider(provider, inBytes.size());
}

// A file whose first bytes are inPrefix, made inTotal bytes long with zeros that are never written.
struct SparseFile
{
    SparseFile(const Bytes& inPrefix, uint64_t inTotal) : file(inPrefix)
    {
        std::filesystem::resize_file(file.Path(), inTotal);
    }
    TempFile file;
};

} // namespace

TEST(LoadMovieAtom, SetsTheOffsetAndSizeOfTheMovieAtom)
{
    const Bytes moov = SimpleMoov().Build();
    const Bytes bytes = Concat({Ftyp().Build(), moov, Mdat().Build()});
    for (const Loaded& loaded : {LoadFromFile(bytes), LoadFromProvider(bytes)})
    {
        ASSERT_EQ(loaded.status, 0u);
        EXPECT_EQ(loaded.sifter->movieAtomOffset, Ftyp().Size());
        EXPECT_EQ(loaded.sifter->movieAtomSize, moov.size());
        EXPECT_EQ(loaded.Buffer(), moov);
    }
}

TEST(LoadMovieAtom, MovieAtomOfEightBytesGivesReadFailed)
{
    const Bytes bytes = Build({Ftyp(), Atom("moov"), Mdat()});
    EXPECT_EQ(LoadFromFile(bytes).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(LoadFromProvider(bytes).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(OpenBytes(bytes).result, QT::kQTErrNotAMovie);
}

TEST(LoadMovieAtom, MovieAtomOfNineBytesLoadsAndThenFailsTheWalk)
{
    const Bytes bytes = Build({Ftyp(), Atom("moov").U8(0), Mdat()});
    for (const Loaded& loaded : {LoadFromFile(bytes), LoadFromProvider(bytes)})
    {
        EXPECT_EQ(loaded.status, 0u);
        EXPECT_EQ(loaded.sifter->movieAtomSize, 9u);
    }
    EXPECT_EQ(OpenBytes(bytes).result, QT::kQTErrNotAMovie);
}

TEST(LoadMovieAtom, MovieAtomOfTheLargestLoadableSizeLoads)
{
    // The movie atom is padded with zeros to 128 MiB; a zero size word ends the compaction.
    const Bytes prefix = Concat({Ftyp().Build(), SimpleMoov().SizeWord(kLargestMovieAtom).Build()});
    SparseFile sparse(prefix, Ftyp().Size() + kLargestMovieAtom);

    const Opened opened = OpenPath(sparse.file.WidePath());
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), kLargestMovieAtom);
    EXPECT_EQ(opened.movie->GetTrackCount(), 1u);
}

TEST(LoadMovieAtom, MovieAtomOneByteAboveTheLargestSizeGivesReadFailed)
{
    const Bytes prefix = Concat({Ftyp().Build(), SimpleMoov().SizeWord(kLargestMovieAtom + 1).Build()});
    SparseFile sparse(prefix, Ftyp().Size() + kLargestMovieAtom + 1);
    EXPECT_EQ(LoadFromFile(sparse.file.Path()).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(OpenPath(sparse.file.WidePath()).result, QT::kQTErrNotAMovie);

    // The provider is not asked for the atom itself: only the two headers are read.
    MemoryProvider provider(prefix);
    EXPECT_EQ(LoadFromProvider(provider, Ftyp().Size() + kLargestMovieAtom + 1).status,
              QT::kQTStatusReadFailed);
    EXPECT_EQ(provider.readAtCalls, 2);
}

TEST(LoadMovieAtom, ExtendedSizeMovieAtomLoadsWithNothingRemovedAndIsRefusedByTheWalk)
{
    // The extended field stands where the first child would: the compaction reads a size of 0 there.
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Free(8), Trak(TrackSpec{})}).Extended();
    const Bytes bytes = Build({Ftyp(), moov, Mdat()});
    const Loaded loaded = LoadFromFile(bytes);
    ASSERT_EQ(loaded.status, 0u);
    EXPECT_EQ(loaded.sifter->movieAtomSize, moov.Size());
    EXPECT_EQ(WordAt(loaded.Buffer(), 0), moov.Size());
    EXPECT_EQ(OpenBytes(bytes).result, QT::kQTErrNotAMovie);

    MemoryProvider provider(bytes);
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
}

TEST(LoadMovieAtom, MovieAtomWithSizeWordZeroAtTheEndLoadsToTheEndOfTheFile)
{
    const Atom moov = SimpleMoov().SizeWord(0);
    const Bytes bytes = Build({Ftyp(), Mdat(), moov});
    const Opened opened = OpenBytes(bytes);
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), moov.Size());
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), Ftyp().Size() + Mdat().Size());
    EXPECT_EQ(opened.movie->GetTrackCount(), 1u);

    MemoryProvider provider(bytes);
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomSize(), moov.Size());
}

TEST(LoadMovieAtom, MovieAtomRunningPastTheEndOfTheFileGivesReadFailed)
{
    const Bytes whole = Build({Ftyp(), SimpleMoov()});
    const Bytes cut(whole.begin(), whole.end() - 12);
    EXPECT_EQ(LoadFromFile(cut).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(LoadFromProvider(cut).status, QT::kQTStatusReadFailed);
}

TEST(LoadMovieAtom, FileWithoutMovieAtomIsNotAMovie)
{
    const Bytes bytes = Build({Ftyp(), Mdat(), Free(4)});
    EXPECT_EQ(LoadFromFile(bytes).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(LoadFromProvider(bytes).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(OpenBytes(bytes).result, QT::kQTErrNotAMovie);
}

TEST(TopLevelScan, SizeWordBetweenTwoAndSevenEndsTheScan)
{
    for (uint32_t sizeWord : {2u, 7u})
    {
        const Bytes bytes = Build({Ftyp(), Atom("junk").Zeros(8).SizeWord(sizeWord), SimpleMoov()});
        EXPECT_EQ(LoadFromFile(bytes).status, QT::kQTStatusReadFailed) << sizeWord;
        EXPECT_EQ(LoadFromProvider(bytes).status, QT::kQTStatusReadFailed) << sizeWord;
    }
}

TEST(TopLevelScan, ExtendedSizeOfAnAtomBeforeTheMovieIsFollowed)
{
    const Atom wide = Atom("wide").Zeros(20).Extended();
    const Bytes bytes = Build({Ftyp(), wide, SimpleMoov(), Mdat()});
    const Opened opened = OpenBytes(bytes);
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), Ftyp().Size() + wide.Size());

    MemoryProvider provider(bytes);
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomOffset(), Ftyp().Size() + wide.Size());
}

TEST(TopLevelScan, ExtendedSizeOfSixteenIsSteppedOver)
{
    const Bytes bytes = Build({Ftyp(), Atom("skip").Extended(16), SimpleMoov()});
    EXPECT_EQ(OpenBytes(bytes).result, 0u);
    MemoryProvider provider(bytes);
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, 0u);
}

// A 64-bit size of 0 would leave the scan where it stands, and one below 16 cannot hold its own header.
TEST(TopLevelScan, ExtendedSizeBelowSixteenEndsTheScanOnTheFileRoute)
{
    for (uint64_t extended : {0ull, 1ull, 8ull, 15ull})
    {
        const Bytes bytes = Build({Ftyp(), Atom("skip").Zeros(8).Extended(extended), SimpleMoov()});
        EXPECT_EQ(LoadFromFile(bytes).status, QT::kQTStatusReadFailed) << extended;
        EXPECT_EQ(OpenBytes(bytes).result, QT::kQTErrNotAMovie) << extended;
    }
}

TEST(TopLevelScan, ExtendedSizeBelowSixteenEndsTheScanOnTheProviderRoute)
{
    for (uint64_t extended : {0ull, 1ull, 8ull, 15ull})
    {
        const Bytes bytes = Build({Ftyp(), Atom("skip").Zeros(8).Extended(extended), SimpleMoov()});
        EXPECT_EQ(LoadFromProvider(bytes).status, QT::kQTStatusReadFailed) << extended;
        MemoryProvider provider(bytes);
        EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie) << extended;
    }
}

TEST(TopLevelScan, NegativeExtendedSizeEndsTheScan)
{
    const Bytes bytes = Build({Ftyp(), Atom("skip").Zeros(8).Extended(0x8000000000000010ull), SimpleMoov()});
    EXPECT_EQ(LoadFromFile(bytes).status, QT::kQTStatusReadFailed);
    EXPECT_EQ(LoadFromProvider(bytes).status, QT::kQTStatusReadFailed);
}

namespace
{

// moov first, then inFillers atoms of 16 bytes, then the atom to locate.
Bytes MovieWithTargetBehind(int inFillers)
{
    Bytes bytes = SimpleMoov().Build();
    for (int i = 0; i < inFillers; ++i)
        bytes = Concat({bytes, Atom("fill").Zeros(8).Build()});
    return Concat({bytes, Atom("tgt ").Zeros(24).Build()});
}

constexpr uint32_t kTarget = QT::FourCC("tgt ");

} // namespace

TEST(LocateAtom, AtomThatIsTheFiftyFirstIsFound)
{
    const Bytes bytes = MovieWithTargetBehind(49);
    const uint64_t expectedOffset = SimpleMoov().Size() + 49 * 16;

    const Located viaFile = LocateInBytes(bytes, kTarget);
    ASSERT_EQ(viaFile.result, 0u);
    EXPECT_TRUE(viaFile.found);
    EXPECT_EQ(viaFile.offset, expectedOffset);
    EXPECT_EQ(viaFile.size, 32u);

    MemoryProvider provider(bytes);
    const Located viaProvider = LocateThroughProvider(provider, kTarget);
    ASSERT_EQ(viaProvider.result, 0u);
    EXPECT_TRUE(viaProvider.found);
    EXPECT_EQ(viaProvider.offset, expectedOffset);
    EXPECT_EQ(viaProvider.size, 32u);
}

TEST(LocateAtom, AtomThatIsTheFiftySecondIsNotFound)
{
    const Bytes bytes = MovieWithTargetBehind(50);

    const Located viaFile = LocateInBytes(bytes, kTarget);
    EXPECT_EQ(viaFile.result, 0u);
    EXPECT_FALSE(viaFile.found);
    EXPECT_TRUE(viaFile.movie);

    MemoryProvider provider(bytes);
    const Located viaProvider = LocateThroughProvider(provider, kTarget);
    EXPECT_EQ(viaProvider.result, 0u);
    EXPECT_FALSE(viaProvider.found);
    EXPECT_TRUE(viaProvider.movie);
}

TEST(LocateAtom, AtomOfEightBytesIsNotFound)
{
    const Bytes bytes = Build({SimpleMoov(), Atom("tgt "), Mdat()});
    const Located located = LocateInBytes(bytes, kTarget);
    EXPECT_EQ(located.result, 0u);
    EXPECT_FALSE(located.found);

    const Bytes nine = Build({SimpleMoov(), Atom("tgt ").U8(0), Mdat()});
    EXPECT_TRUE(LocateInBytes(nine, kTarget).found);
}

TEST(LocateAtom, ScanStopsBehindAnAtomOfEightBytes)
{
    const Bytes bytes = Build({SimpleMoov(), Atom("stop"), Atom("tgt ").Zeros(8)});
    EXPECT_FALSE(LocateInBytes(bytes, kTarget).found);
    MemoryProvider provider(bytes);
    EXPECT_FALSE(LocateThroughProvider(provider, kTarget).found);
}

TEST(LocateAtom, AtomBeforeTheMovieIsFoundWithItsOffsetAndSize)
{
    const Bytes bytes = Build({Ftyp(), Mdat(40), SimpleMoov()});
    const Located located = LocateInBytes(bytes, QT::FourCC("mdat"));
    ASSERT_EQ(located.result, 0u);
    EXPECT_TRUE(located.found);
    EXPECT_EQ(located.offset, Ftyp().Size());
    EXPECT_EQ(located.size, Mdat(40).Size());
}
