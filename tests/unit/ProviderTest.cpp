#include <vector>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "KSL/File.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// Counts the File::Create calls made while it lives.
class CreateCounter
{
public:
    CreateCounter()
    {
        mPrevious = KSL::File::SetCreateObserver([this](const KSL::File::CreateArgs&) { ++count; });
    }
    ~CreateCounter() { KSL::File::SetCreateObserver(mPrevious); }

    int count = 0;

private:
    KSL::File::CreateObserver mPrevious;
};

// ftyp, moov, mdat: the load reads two headers and then moov itself.
constexpr int kReadsOfTheLoad = 3;

} // namespace

TEST(Provider, ReadyProviderIsReadInsteadOfTheFile)
{
    const Bytes bytes = SimpleMovie({TrackSpec{}}, 600, 2500);
    MemoryProvider provider(bytes);
    CreateCounter creates;
    const Located located = LocateThroughProvider(provider, QT::FourCC("mdat"));
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(creates.count, 0);
    ASSERT_TRUE(located.movie);
    EXPECT_EQ(located.movie->GetMovieDuration(), 2500);
    EXPECT_EQ(located.movie->GetMovieAtomOffset(), Ftyp().Size());
    EXPECT_TRUE(located.found);
    EXPECT_EQ(located.offset, bytes.size() - Mdat().Size());
    EXPECT_EQ(located.size, Mdat().Size());
}

TEST(Provider, HandleIsFetchedAfreshForEveryRead)
{
    MemoryProvider provider(SimpleMovie());
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    // One for the size, one per header of the two scans (ftyp and moov each) and one for moov itself.
    EXPECT_EQ(provider.getHandleCalls, 6);
    EXPECT_EQ(provider.readAtCalls, 5);
    EXPECT_EQ(provider.readOffsets,
              (std::vector<uint64_t>{0, Ftyp().Size(), Ftyp().Size(), 0, Ftyp().Size()}));
}

TEST(Provider, SevenBytesAreRefusedBeforeAnyRead)
{
    MemoryProvider provider(Bytes{0, 0, 0, 7, 'm', 'o', 'o'});
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
    EXPECT_EQ(provider.readAtCalls, 0);
}

TEST(Provider, EightBytesAreNotAMovie)
{
    MemoryProvider provider(Atom("moov").Build());
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
}

TEST(Provider, AbortFromReadAtIsReturnedUnchanged)
{
    MemoryProvider provider(SimpleMovie());
    provider.readStatus = QT::kQTStatusProviderAbort;
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    EXPECT_EQ(located.result, QT::kQTStatusProviderAbort);
    EXPECT_FALSE(located.movie);
}

TEST(Provider, AbortWhileReadingTheMovieAtomIsReturnedUnchanged)
{
    MemoryProvider provider(SimpleMovie());
    provider.readStatus = QT::kQTStatusProviderAbort;
    provider.readStatusFromCall = kReadsOfTheLoad - 1;
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTStatusProviderAbort);
    EXPECT_EQ(provider.readAtCalls, kReadsOfTheLoad);
}

TEST(Provider, OtherReadFailureIsNotAMovie)
{
    for (uint32_t status : {1u, 99u, 0x800E0001u, 0xA0800004u})
    {
        MemoryProvider provider(SimpleMovie());
        provider.readStatus = status;
        EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie) << status;
    }
}

// The movie is already handed out when the locating scan is aborted; the found flag is left alone.
TEST(Provider, AbortWhileLocatingIsReturnedWithTheMovieSet)
{
    MemoryProvider provider(SimpleMovie());
    provider.readStatus = QT::kQTStatusProviderAbort;
    provider.readStatusFromCall = kReadsOfTheLoad;
    auto sifter = QT::MakeParser();
    InterfaceRef<QT::IQTMovie> movie;
    bool found = true;
    uint64_t offset = 0;
    uint64_t size = 0;
    EXPECT_EQ(
        sifter->MakeMovieAndLocateAtom(u"", movie, QT::FourCC("none"), found, offset, size, provider.Table()),
        QT::kQTStatusProviderAbort);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->GetTrackCount(), 1u);
    EXPECT_TRUE(found);
}

TEST(Provider, OtherFailureWhileLocatingIsNotFound)
{
    MemoryProvider provider(SimpleMovie());
    provider.readStatus = 7;
    provider.readStatusFromCall = kReadsOfTheLoad;
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    EXPECT_EQ(located.result, 0u);
    EXPECT_FALSE(located.found);
    EXPECT_TRUE(located.movie);
}

TEST(Provider, HandleFailureGivesReadFailed)
{
    MemoryProvider provider(SimpleMovie());
    provider.handleStatus = 1;
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    EXPECT_EQ(located.result, QT::kQTStatusReadFailed);
    EXPECT_FALSE(located.movie);
    EXPECT_EQ(provider.readAtCalls, 0);
}

TEST(Provider, SizeFailureGivesReadFailed)
{
    MemoryProvider provider(SimpleMovie());
    provider.sizeStatus = 1;
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    EXPECT_EQ(located.result, QT::kQTStatusReadFailed);
    EXPECT_FALSE(located.movie);
    EXPECT_EQ(provider.readAtCalls, 0);
}

TEST(Provider, EmptyDeliveryIsNotAMovie)
{
    MemoryProvider provider(SimpleMovie());
    provider.shortBy = 1u << 20;
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
}

TEST(Provider, ShortHeaderDeliveryIsNotAMovie)
{
    for (uint64_t shortBy : {1u, 4u, 7u})
    {
        MemoryProvider provider(SimpleMovie());
        provider.shortBy = shortBy;
        EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie) << shortBy;
        EXPECT_EQ(provider.readAtCalls, 1) << shortBy;
    }
}

// The pass over the atom would otherwise run past the bytes delivered.
TEST(Provider, ShortMovieAtomDeliveryIsNotAMovie)
{
    for (uint64_t shortBy : {1u, 8u, 100u})
    {
        MemoryProvider provider(SimpleMovie());
        provider.shortBy = shortBy;
        provider.shortFromCount = 9;
        EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie) << shortBy;
        EXPECT_EQ(provider.readAtCalls, kReadsOfTheLoad) << shortBy;
    }
}
