#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "SifterProbe.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

Bytes FileWithMoov(const Atom& inMoov)
{
    return Build({Ftyp(), inMoov, Mdat()});
}

Bytes FileWithTraks(std::initializer_list<Atom> inTraks)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& trak : inTraks)
        moov.Child(trak);
    return FileWithMoov(moov);
}

constexpr uint32_t kEmptyEdit = 0xFFFFFFFF;

// The word at inOffset from a pointer of the index; -4 reads the type in front of a payload.
uint32_t FieldAt(const uint8_t* inPointer, std::ptrdiff_t inOffset)
{
    return WordAt(inPointer + inOffset);
}

} // namespace

TEST(TrackIndex, CaptionTrackWithoutSampleTableIsAccepted)
{
    TrackSpec spec;
    spec.handler = QT::kCaptionMediaType;
    spec.sampleTables = false;
    const Probe probe = ProbeMakeMovie(FileWithTraks({Trak(spec)}));
    ASSERT_EQ(probe.result, 0u);
    ASSERT_EQ(probe.movie->GetTrackCount(), 1u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    EXPECT_EQ(item.stsd, nullptr);
    EXPECT_EQ(FieldAt(item.hdlr, 8), QT::kCaptionMediaType);
}

TEST(TrackIndex, VideoTrackWithoutSampleTableFailsTheFile)
{
    TrackSpec spec;
    spec.sampleTables = false;
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Trak(spec)})).result, QT::kQTErrNotAMovie);
}

TEST(TrackIndex, RejectedTrackBehindAnAcceptedOneFailsTheFile)
{
    TrackSpec bare;
    bare.sampleTables = false;
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Trak(TrackSpec{}), Trak(bare)})).result, QT::kQTErrNotAMovie);
}

TEST(TrackIndex, MovieWithoutTrackIsNoMovie)
{
    EXPECT_EQ(ProbeMakeMovie(FileWithMoov(Atom("moov").Child(Mvhd(600, 1000)))).result, QT::kQTErrNotAMovie);
}

TEST(TrackIndex, PointersStandAtPayloadsOrAtomStarts)
{
    TrackSpec spec;
    spec.handler = QT::kAudioMediaType;
    const Probe probe = ProbeMakeMovie(FileWithTraks({Trak(TrackSpec{}), Trak(spec)}));
    ASSERT_EQ(probe.result, 0u);
    ASSERT_EQ(probe.MooV().GetTrackCount(), 2u);
    const QT::TrackItem& video = probe.MooV().GetTrackItem(0);
    const QT::TrackItem& audio = probe.MooV().GetTrackItem(1);

    // Payload pointers stand behind the header, atom pointers at the size word.
    EXPECT_EQ(FieldAt(video.tkhd, -4), QT::kTkhdAtom);
    EXPECT_EQ(FieldAt(video.mdhd, -4), QT::kMdhdAtom);
    EXPECT_EQ(video.mdhd64, nullptr);
    EXPECT_EQ(FieldAt(video.hdlr, -4), QT::kHdlrAtom);
    EXPECT_EQ(FieldAt(video.hdlr, 8), QT::kVideoMediaType);
    EXPECT_EQ(FieldAt(video.mediaInfoHeader, 4), QT::kVmhdAtom);
    EXPECT_EQ(FieldAt(audio.mediaInfoHeader, 4), QT::kSmhdAtom);
    EXPECT_EQ(FieldAt(video.dinf, 4), QT::kDinfAtom);
    EXPECT_EQ(FieldAt(video.stsd, 4), QT::kStsdAtom);
    EXPECT_EQ(FieldAt(video.stts, 4), QT::kSttsAtom);
    EXPECT_EQ(FieldAt(video.stsc, 4), QT::kStscAtom);
    EXPECT_EQ(FieldAt(video.stsz, 4), QT::kStszAtom);
    EXPECT_EQ(FieldAt(video.stco, 4), QT::kStcoAtom);
    EXPECT_EQ(video.co64, nullptr);
    EXPECT_EQ(video.stss, nullptr);
    EXPECT_TRUE(video.editList.empty());
    EXPECT_TRUE(video.userData.empty());
    EXPECT_EQ(FieldAt(audio.hdlr, 8), QT::kAudioMediaType);
    EXPECT_LT(video.tkhd, audio.tkhd);
}

TEST(TrackIndex, VersionOneMdhdIsAlsoStoredAsTheLongForm)
{
    const TrackSpec spec;
    const Atom mdhd = Atom("mdhd").FullHeader(1).U64(0).U64(0).U32(600).U64(1000).U16(0).U16(0);
    const Atom mdia = Atom("mdia").Children({mdhd, Hdlr(QT::kVideoMediaType), Minf(spec)});
    const Probe probe = ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), mdia})}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    EXPECT_EQ(item.mdhd64, item.mdhd);
    EXPECT_NE(item.mdhd, nullptr);
}

TEST(TrackIndex, TwoEditsOfWhichOneIsEmptyLeaveOnePointer)
{
    const Atom elst = Elst({{.duration = 500, .mediaTime = kEmptyEdit}, {.duration = 1000, .mediaTime = 0}});
    const Probe probe = ProbeMakeMovie(FileWithTraks({TrakWithEdits(TrackSpec{}, elst)}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    ASSERT_EQ(item.editList.size(), 1u);
    EXPECT_EQ(FieldAt(item.editList[0], 0), 1000u);
    EXPECT_EQ(FieldAt(item.editList[0], 4), 0u);
}

TEST(TrackIndex, SingleEmptyEditIsKept)
{
    const Atom elst = Elst({{.duration = 500, .mediaTime = kEmptyEdit}});
    const Probe probe = ProbeMakeMovie(FileWithTraks({TrakWithEdits(TrackSpec{}, elst)}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    ASSERT_EQ(item.editList.size(), 1u);
    EXPECT_EQ(FieldAt(item.editList[0], 4), kEmptyEdit);
}

TEST(TrackIndex, CaptionTrackKeepsItsEmptyEdits)
{
    TrackSpec spec;
    spec.handler = QT::kCaptionMediaType;
    const Atom elst = Elst({{.duration = 500, .mediaTime = kEmptyEdit}, {.duration = 1000, .mediaTime = 0}});
    const Probe probe = ProbeMakeMovie(FileWithTraks({TrakWithEdits(spec, elst)}));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.MooV().GetTrackItem(0).editList.size(), 2u);
}

TEST(TrackIndex, EditCountWhoseTimesEightExceedsTheSizeEndsTheWalk)
{
    // One entry makes 28 bytes; four entries at 8 bytes each make 32.
    const Atom elst = ElstCounting(4, {{.duration = 1000, .mediaTime = 0}});
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({TrakWithEdits(TrackSpec{}, elst)})).result, QT::kQTErrNotAMovie);
}

TEST(TrackIndex, EditCountIsTestedAtEightBytesAnEntry)
{
    // Three entries at 8 bytes make 24, within the 28 of the atom; the entries beyond it are read
    // from whatever follows.
    const Atom elst = ElstCounting(3, {{.duration = 1000, .mediaTime = 0}});
    const Probe probe = ProbeMakeMovie(FileWithTraks({TrakWithEdits(TrackSpec{}, elst)}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    ASSERT_EQ(item.editList.size(), 3u);
    EXPECT_EQ(item.editList[1], item.editList[0] + 12);
    EXPECT_EQ(FieldAt(item.editList[1], 4), QT::kMdiaAtom);
}

// 0x20000001 times 8 wraps to 8 and passes the test; the entries are then taken only while they lie
// inside the buffer.
TEST(TrackIndex, WrappingEditCountStoresOnlyEntriesInsideTheBuffer)
{
    const Atom elst = ElstCounting(0x20000001, {{.duration = 1000, .mediaTime = 0}});
    const Probe probe = ProbeMakeMovie(FileWithTraks({TrakWithEdits(TrackSpec{}, elst)}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    const Bytes buffer = probe.Buffer();
    const size_t firstEntry = FindAtom(buffer, "elst") + 16;
    size_t expected = 0;
    for (size_t entry = firstEntry; entry + 12 <= buffer.size(); entry += 12)
        expected += WordAt(buffer, entry + 4) != kEmptyEdit;
    EXPECT_EQ(item.editList.size(), expected);
    const uint8_t* end = probe.MooV().Data() + probe.MooV().Size();
    for (const uint8_t* entry : item.editList)
        EXPECT_LE(entry + 12, end);
}

TEST(TrackIndex, ElstCutAtTheBufferEndAbandonsTheTrack)
{
    const TrackSpec spec;
    const Atom trak =
        Atom("trak").Children({Tkhd(spec), Atom("edts").Child(Atom("elst").FullHeader(0).U8(0))});
    EXPECT_EQ(ProbeMakeMovie(Build({Ftyp(), Atom("moov").Children({Mvhd(600, 1000), trak})})).result,
              QT::kQTErrNotAMovie);
}

TEST(TrackIndex, MdhdNotFirstInMdiaFailsTheFile)
{
    const TrackSpec spec;
    const Atom mdia = Atom("mdia").Children({Hdlr(QT::kVideoMediaType), Mdhd(600, 1000), Minf(spec)});
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), mdia})})).result,
              QT::kQTErrNotAMovie);
}

TEST(TrackIndex, ElngBetweenMdhdAndHdlrIsStepped)
{
    const TrackSpec spec;
    const Atom mdia = Atom("mdia").Children(
        {Mdhd(600, 1000), Atom("elng").Text("en"), Hdlr(QT::kVideoMediaType), Minf(spec)});
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), mdia})})).result, 0u);
}

TEST(TrackIndex, OtherAtomBetweenHdlrAndMinfFailsTheFile)
{
    const TrackSpec spec;
    const Atom mdia =
        Atom("mdia").Children({Mdhd(600, 1000), Hdlr(QT::kVideoMediaType), Atom("skip"), Minf(spec)});
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), mdia})})).result,
              QT::kQTErrNotAMovie);
}

// The udta holds an item and a meta with one text item: reading it anywhere would leave a user
// data item or the text behind.
TEST(TrackIndex, UdtaBeforeMdiaIsSkippedUnread)
{
    const TrackSpec spec;
    const Atom text = Atom("xnam").Child(Atom("data").U32(1).U32(0).Text("unread"));
    const Atom udta = Atom("udta").Children(
        {Atom("name").Text("track"),
         Atom("meta").FullHeader().Children({Hdlr(Code("mdir")), Atom("ilst").Child(text)})});
    const Probe probe =
        ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), udta, Mdia(spec)})}));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.movie->GetUserDataCount(), 0u);
    EXPECT_TRUE(probe.MooV().GetTrackItem(0).userData.empty());
    QT::MetadataMap items;
    probe.movie->GetMetadataItems(items);
    EXPECT_TRUE(items.empty());
}

TEST(TrackIndex, ApertureAtomsAreStoredAsAtomPointers)
{
    const TrackSpec spec;
    const Atom tapt = Atom("tapt").Children({Atom("clef").FullHeader().U32(640 << 16).U32(480 << 16),
                                             Atom("prof").FullHeader().U32(640 << 16).U32(480 << 16),
                                             Atom("enof").FullHeader().U32(640 << 16).U32(480 << 16)});
    const Probe probe =
        ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), tapt, Mdia(spec)})}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    EXPECT_EQ(FieldAt(item.clef, 4), QT::kClefAtom);
    EXPECT_EQ(FieldAt(item.prof, 4), QT::kProfAtom);
    EXPECT_EQ(FieldAt(item.enof, 4), QT::kEnofAtom);
}

TEST(TrackIndex, UserDataOfATrackIsNotKept)
{
    const TrackSpec spec;
    const Atom udta = Atom("udta").Child(Atom("name").Text("track"));
    const Probe probe =
        ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), Mdia(spec), udta})}));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_TRUE(probe.MooV().GetTrackItem(0).userData.empty());
    EXPECT_EQ(probe.movie->GetUserDataCount(), 0u);
}

TEST(TrackIndex, MovieUserDataIsIndexed)
{
    const Atom udta = Atom("udta").Children({Atom("name").Text("movie"), Atom("abcd"), Atom("abcd").U8(9)});
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), udta});
    const Probe probe = ProbeMakeMovie(FileWithMoov(moov));
    ASSERT_EQ(probe.result, 0u);
    ASSERT_EQ(probe.movie->GetUserDataCount(), 3u);
    MK::BinaryData data;
    uint32_t type = 0;
    probe.movie->GetUserData(0, data, type);
    EXPECT_EQ(type, QT::FourCC("name"));
    EXPECT_EQ(data, MK::BinaryData("movie", 5));
    probe.movie->GetUserData(1, data, type);
    EXPECT_EQ(data.GetSize(), 0u);
    // The first item of the type that is not empty.
    ASSERT_TRUE(probe.movie->FindUserData(QT::FourCC("abcd"), data));
    EXPECT_EQ(data, MK::BinaryData("\x09", 1));
    EXPECT_FALSE(probe.movie->FindUserData(QT::FourCC("none"), data));
}

// A child below 8 bytes has no payload; taking one would wrap its length.
TEST(TrackIndex, UserDataChildOfSizeBelowEightEndsTheRead)
{
    for (uint32_t size = 1; size < 8; ++size)
    {
        const Atom udta = Atom("udta").Children(
            {Atom("name").Text("movie"), Atom("bad!").Zeros(8).SizeWord(size), Atom("more").Text("x")});
        const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), udta});
        const Probe probe = ProbeMakeMovie(FileWithMoov(moov));
        ASSERT_EQ(probe.result, 0u) << size;
        ASSERT_EQ(probe.movie->GetUserDataCount(), 1u) << size;
        MK::BinaryData data;
        uint32_t type = 0;
        probe.movie->GetUserData(0, data, type);
        EXPECT_EQ(data.GetSize(), 5u) << size;
    }
}

TEST(TrackIndex, LastTrakOverrunningTheBufferIsEnteredAndFailsWithoutTkhd)
{
    const Atom cut = Atom("trak").Child(Atom("zzzz").Zeros(4)).SizeWord(4000);
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Trak(TrackSpec{}), cut})).result, QT::kQTErrNotAMovie);
}

TEST(TrackIndex, LastTrakWithoutTkhdFailsTheWalk)
{
    const Atom bare = Atom("trak").Child(Atom("zzzz").Zeros(4));
    EXPECT_EQ(ProbeMakeMovie(FileWithTraks({Trak(TrackSpec{}), bare})).result, QT::kQTErrNotAMovie);
}

// The last child of stbl ends a few bytes before the buffer does; the walk keeps its position 8
// bytes behind the child it reads and must not take a header from those few bytes.
TEST(TrackIndex, SampleTableNearTheBufferEndIsNotReadBeyond)
{
    for (size_t tail = 1; tail < 8; ++tail)
    {
        const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{})}).Raw(Bytes(tail, 0x20));
        const Probe probe = ProbeMakeMovie(FileWithMoov(moov));
        ASSERT_EQ(probe.result, 0u) << tail;
        EXPECT_NE(probe.MooV().GetTrackItem(0).stco, nullptr);
    }
}

TEST(TrackIndex, HdlrCutAtTheBufferEndAbandonsTheTrack)
{
    const TrackSpec spec;
    for (size_t payload = 0; payload < 12; payload += 4)
    {
        const Atom hdlr = Atom("hdlr").Zeros(payload);
        const Atom trak = Atom("trak").Children({Tkhd(spec), Atom("mdia").Children({Mdhd(600, 1000), hdlr})});
        EXPECT_EQ(ProbeMakeMovie(Build({Ftyp(), Atom("moov").Children({Mvhd(600, 1000), trak})})).result,
                  QT::kQTErrNotAMovie)
            << payload;
    }
}

// The atom right behind stbl is read as if it were one of its children.
TEST(TrackIndex, AtomRightBehindStblIsReadWithIt)
{
    const TrackSpec spec;
    const Atom minf =
        Atom("minf").Children({Atom("vmhd").FullHeader(0, 1).U16(0x40).Zeros(6), Dinf(), Stbl(spec)});
    const Atom stss = Atom("stss").FullHeader().U32(1).U32(1);
    const Atom mdia = Atom("mdia").Children({Mdhd(600, 1000), Hdlr(QT::kVideoMediaType), minf});
    const Probe probe = ProbeMakeMovie(FileWithTraks({Atom("trak").Children({Tkhd(spec), mdia, stss})}));
    ASSERT_EQ(probe.result, 0u);
    const QT::TrackItem& item = probe.MooV().GetTrackItem(0);
    ASSERT_NE(item.stss, nullptr);
    EXPECT_EQ(FieldAt(item.stss, 4), QT::kStssAtom);
}
