#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "SifterProbe.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

Opened OpenMoov(const Atom& inMoov)
{
    return OpenBytes(Build({Ftyp(), inMoov, Mdat()}));
}

Opened OpenMovieWith(std::initializer_list<Atom> inExtraChildren)
{
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), Trak(TrackSpec{})});
    for (const Atom& child : inExtraChildren)
        moov.Child(child);
    return OpenMoov(moov);
}

constexpr std::array<uint8_t, 16> kUUID = {0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87,
                                           0x98, 0xA9, 0xBA, 0xCB, 0xDC, 0xED, 0xFE, 0x0F};

Bytes Contents(const std::shared_ptr<tenacore::allocator::RecycledMemory>& inBuffer)
{
    return Bytes(inBuffer->GetData(), inBuffer->GetData() + inBuffer->GetSize());
}

Bytes Contents(const MK::BinaryData& inData)
{
    return Bytes(inData.GetData(), inData.GetData() + inData.GetSize());
}

} // namespace

TEST(MovieObject, VersionZeroHeaderGivesItsFields)
{
    const Opened opened = OpenMoov(Atom("moov").Children({Mvhd(2997, 123456, 77), Trak(TrackSpec{})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 2997u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 123456);
    EXPECT_EQ(opened.movie->GetMoviePosterTime(), 77u);
}

TEST(MovieObject, VersionOneHeaderReadsTheSixtyFourBitLayout)
{
    const Opened opened =
        OpenMoov(Atom("moov").Children({Mvhd64(90000, 0x123456789ull, 33), Trak(TrackSpec{})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 90000u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 0x123456789ll);
    EXPECT_EQ(opened.movie->GetMoviePosterTime(), 33u);
}

TEST(MovieObject, VersionOneHeaderIsKeptAsTheLongForm)
{
    const Probe probe =
        ProbeMakeMovie(Build({Ftyp(), Atom("moov").Children({Mvhd64(90000, 5, 0), Trak(TrackSpec{})})}));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.MooV().mvhd64, probe.MooV().mvhd);
    EXPECT_EQ(WordAt(probe.MooV().mvhd + 4), QT::kMvhdAtom);

    const Probe version0 = ProbeMakeMovie(SimpleMovie());
    ASSERT_EQ(version0.result, 0u);
    EXPECT_EQ(version0.MooV().mvhd64, nullptr);
}

TEST(MovieObject, VersionZeroDurationIsSignExtended)
{
    const Opened opened = OpenMoov(Atom("moov").Children({Mvhd(600, 0x80000000u), Trak(TrackSpec{})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), -2147483648ll);
}

// The header is the last atom of the buffer and ends behind its time scale.
TEST(MovieObject, HeaderCutShortAtTheBufferEndReadsZeroBeyondIt)
{
    const Atom cut = Atom("mvhd").FullHeader(0).U32(0).U32(0).U32(600);
    const Opened opened = OpenMoov(Atom("moov").Children({Trak(TrackSpec{}), cut}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 600u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 0);
    EXPECT_EQ(opened.movie->GetMoviePosterTime(), 0u);

    const Atom cut64 = Atom("mvhd").FullHeader(1).U64(0).U64(0).U32(90000).U32(1);
    const Opened opened64 = OpenMoov(Atom("moov").Children({Trak(TrackSpec{}), cut64}));
    ASSERT_EQ(opened64.result, 0u);
    EXPECT_EQ(opened64.movie->GetMovieTimeScale(), 90000u);
    EXPECT_EQ(opened64.movie->GetMovieDuration(), 0);
    EXPECT_EQ(opened64.movie->GetMoviePosterTime(), 0u);

    const Atom tiny = Atom("mvhd").U8(1);
    const Opened openedTiny = OpenMoov(Atom("moov").Children({Trak(TrackSpec{}), tiny}));
    ASSERT_EQ(openedTiny.result, 0u);
    EXPECT_EQ(openedTiny.movie->GetMovieTimeScale(), 0u);
    EXPECT_EQ(openedTiny.movie->GetMovieDuration(), 0);
}

TEST(MovieObject, MovieAtomSizeAndOffsetAreThoseOfTheLoadedAtom)
{
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{})});
    const Opened opened = OpenBytes(Build({Ftyp(), Mdat(100), moov}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), moov.Size());
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), Ftyp().Size() + Mdat(100).Size());
}

TEST(MovieObject, MovieChildAtomOfATypeThatIsAbsentIsNotFound)
{
    const Opened opened = OpenMovieWith({});
    ASSERT_EQ(opened.result, 0u);
    MK::BinaryData data("keep", 4);
    EXPECT_EQ(opened.movie->GetMovieChildAtom(QT::FourCC("abcd"), data), QT::kQTErrNotFound);
    EXPECT_EQ(data, MK::BinaryData("keep", 4));
}

// The payload is given with the length of the whole atom, so it runs 8 bytes into what follows.
TEST(MovieObject, MovieChildAtomRunsEightBytesPastTheAtom)
{
    const Atom child = Atom("abcd").Text("1234");
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), child, Trak(TrackSpec{})});
    const Opened opened = OpenMoov(moov);
    ASSERT_EQ(opened.result, 0u);
    MK::BinaryData data;
    ASSERT_EQ(opened.movie->GetMovieChildAtom(QT::FourCC("abcd"), data), 0u);
    const Bytes trak = Trak(TrackSpec{}).Build();
    EXPECT_EQ(Contents(data), Concat({Bytes{'1', '2', '3', '4'}, Bytes(trak.begin(), trak.begin() + 8)}));
}

TEST(MovieObject, MovieChildAtomThatIsLastIsClippedAtTheBufferEnd)
{
    const Opened opened = OpenMovieWith({Atom("abcd").Text("1234")});
    ASSERT_EQ(opened.result, 0u);
    MK::BinaryData data;
    ASSERT_EQ(opened.movie->GetMovieChildAtom(QT::FourCC("abcd"), data), 0u);
    EXPECT_EQ(Contents(data), (Bytes{'1', '2', '3', '4'}));
}

TEST(MovieObject, MovieChildAtomGivesTheFirstOfItsType)
{
    const Opened opened = OpenMovieWith({Atom("abcd").Text("1"), Atom("abcd").Text("2")});
    ASSERT_EQ(opened.result, 0u);
    MK::BinaryData data;
    ASSERT_EQ(opened.movie->GetMovieChildAtom(QT::FourCC("abcd"), data), 0u);
    EXPECT_EQ(data.GetData()[0], '1');
}

TEST(MovieObject, UuidAtomOfTwentyFourBytesKeepsItsHeaderEvenWhenStripping)
{
    const Atom uuid = Uuid(kUUID, {});
    const Opened opened = OpenMovieWith({uuid});
    ASSERT_EQ(opened.result, 0u);
    for (bool strip : {true, false})
    {
        std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
        opened.movie->GetUUIDAtom(buffer, kUUID, strip);
        ASSERT_TRUE(buffer);
        EXPECT_EQ(Contents(buffer), uuid.Build());
    }
}

TEST(MovieObject, UuidAtomIsStrippedFromTwentyFiveBytes)
{
    const Atom uuid = Uuid(kUUID, {0xAB});
    const Opened opened = OpenMovieWith({uuid});
    ASSERT_EQ(opened.result, 0u);
    std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
    opened.movie->GetUUIDAtom(buffer, kUUID, true);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(Contents(buffer), Bytes{0xAB});
    opened.movie->GetUUIDAtom(buffer, kUUID, false);
    EXPECT_EQ(Contents(buffer), uuid.Build());
}

TEST(MovieObject, UuidAtomWithAnotherIdentifierIsNotGiven)
{
    std::array<uint8_t, 16> other = kUUID;
    other[15] ^= 1;
    const Opened opened = OpenMovieWith({Uuid(other, {1, 2, 3})});
    ASSERT_EQ(opened.result, 0u);
    std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
    opened.movie->GetUUIDAtom(buffer, kUUID, true);
    EXPECT_FALSE(buffer);
}

// An identifier would run past the buffer: the atom is not compared.
TEST(MovieObject, UuidAtomCutAtTheBufferEndIsNotGiven)
{
    const Opened opened = OpenMovieWith({Atom("uuid").Raw(Bytes(kUUID.begin(), kUUID.begin() + 8))});
    ASSERT_EQ(opened.result, 0u);
    std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
    opened.movie->GetUUIDAtom(buffer, kUUID, false);
    EXPECT_FALSE(buffer);
}

TEST(MovieObject, MovieOutlivesItsSifter)
{
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    {
        TempFile file(SimpleMovie({TrackSpec{}}, 600, 4321));
        auto sifter = QT::MakeParser();
        ASSERT_EQ(sifter->MakeMovie(file.WidePath(), movie), 0u);
    }
    EXPECT_EQ(movie->GetMovieDuration(), 4321);
    EXPECT_EQ(movie->GetTrackCount(), 1u);
}
