#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Capture.h"
#include "QTFourCC.h"
#include "SoundAtoms.h"
#include "TimecodeAtoms.h"
#include "TrackTestSupport.h"
#include "tenacore/config.h"
#include "tenacore/string.h"

using namespace qttest;

namespace
{

OpenedTrack Timecode(const TimecodeTrackSpec& inSpec)
{
    return OpenTrack(MovieWith({TimecodeTrak(inSpec)}));
}

// A "tmcd" track of one description and the usual tables.
OpenedTrack TimecodeOf(const Atom& inDescription, uint32_t inHandler = Code("tmcd"))
{
    return Timecode({.handler = inHandler, .descriptions = {inDescription}, .tables = TimecodeTables()});
}

struct InfoRead
{
    int32_t result = 99;
    QT::TimecodeMediaInfo info;
    std::u16string name = u"left over";
};

InfoRead ReadInfo(OpenedTrack& ioTrack, const QT::TimecodeMediaInfo& inStart = {})
{
    InfoRead read;
    read.info = inStart;
    read.result = ioTrack.track->GetTimecodeMediaInfo(read.info, read.name);
    return read;
}

Bytes WithName(const std::string& inText, std::optional<uint32_t> inSizeWord = std::nullopt)
{
    return NameAtom(inText, inSizeWord);
}

MK::BinaryData Data(const Bytes& inBytes)
{
    return MK::BinaryData(inBytes.data(), inBytes.size());
}

struct FrameRead
{
    int32_t result = 99;
    int64_t frame = 12345;
};

FrameRead FrameOf(OpenedTrack& ioTrack, const Bytes& inSample, uint32_t inFrameDuration = 1)
{
    QT::TimecodeMediaInfo info;
    info.mFrameDuration = inFrameDuration;
    FrameRead read;
    read.result = ioTrack.track->GetTimecodeMediaFrameNumber(Data(inSample), info, read.frame);
    return read;
}

} // namespace

// The description.

TEST(TimecodeInfo, FieldsComeFromTheDescriptionAndTheNameFromItsNameAtom)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.flags = 0x0F,
                                                    .timeScale = 30000,
                                                    .frameDuration = 1001,
                                                    .frameCount = 30,
                                                    .tail = WithName("Reel_One")}));
    const InfoRead read = ReadInfo(t);
    EXPECT_EQ(read.result, 0);
    EXPECT_TRUE(read.info.mDropFrame);
    EXPECT_EQ(read.info.mTimeScale, 30000u);
    EXPECT_EQ(read.info.mFrameDuration, 1001u);
    EXPECT_EQ(read.info.mFrameCount, 30);
    EXPECT_FALSE(read.info.mIsHandleReference);
    EXPECT_EQ(read.name, u"Reel_One");
}

TEST(TimecodeInfo, OnlyBitZeroOfTheFlagsIsDropFrame)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.flags = 0xFFFFFFFE}));
    QT::TimecodeMediaInfo start;
    start.mDropFrame = true;
    EXPECT_FALSE(ReadInfo(t, start).info.mDropFrame);
}

TEST(TimecodeInfo, ADescriptionOfExactly34BytesHasNoName)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = {}}));
    const InfoRead read = ReadInfo(t);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.name, u"");
    EXPECT_EQ(read.info.mFrameCount, 25);
}

TEST(TimecodeInfo, AnotherAtomWhereTheNameWouldBeGivesAnEmptyName)
{
    Atom text("text");
    text.U16(4).U16(0).Text("Reel");
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = text.Build()}));
    const InfoRead read = ReadInfo(t);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.name, u"");
}

TEST(TimecodeInfo, ANameAtomOfSize12IsEmpty)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = WithName("")}));
    EXPECT_EQ(ReadInfo(t).name, u"");
}

TEST(TimecodeInfo, AZeroByteEndsTheName)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = WithName(std::string("Reel\0One", 8))}));
    EXPECT_EQ(ReadInfo(t).name, u"Reel");
}

TEST(TimecodeInfo, TheTextLengthFieldIsNotUsed)
{
    Bytes name = WithName("Reel_One");
    name[9] = 2; // the 16-bit text length says 2
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = name}));
    EXPECT_EQ(ReadInfo(t).name, u"Reel_One");
}

TEST(TimecodeInfo, TheEightBitNameBecomesUtf16)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = WithName("Rolle \xC3\xBC")}));
    EXPECT_EQ(ReadInfo(t).name, tenacore::string::Std8ToUTF16String("Rolle \xC3\xBC"));
    EXPECT_EQ(tenacore::string::Std8ToUTF16String("Reel"), u"Reel");
}

TEST(TimecodeInfo, WithNoDescriptionTheNameIsEmptiedAndTheInfoKept)
{
    OpenedTrack t =
        Timecode({.descriptions = {}, .tables = TimecodeTables(), .dinf = HandleDinf({0, 0, 1, 0})});
    QT::TimecodeMediaInfo start;
    start.mTimeScale = 7;
    start.mIsHandleReference = false;
    const InfoRead read = ReadInfo(t, start);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.name, u"");
    EXPECT_EQ(read.info.mTimeScale, 7u);
    EXPECT_FALSE(read.info.mIsHandleReference) << "kept from the caller, though the reference is hndl";
    start.mIsHandleReference = true;
    EXPECT_TRUE(ReadInfo(t, start).info.mIsHandleReference);
}

TEST(TimecodeInfo, AHandleDataReferenceIsReported)
{
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})},
                              .tables = TimecodeTables(),
                              .dinf = HandleDinf({0, 0, 1, 0})});
    EXPECT_TRUE(ReadInfo(t).info.mIsHandleReference);
}

// ffmpeg's entries are 36 bytes: the name test would read the 6 bytes behind them, which here
// spell a name atom. Nothing past the entry is read.
TEST(TimecodeInfoGuard, ANameTestOfAShortEntryReadsNothingPastIt)
{
    Atom stsd("stsd");
    stsd.FullHeader().U32(1).Child(TimecodeDescription({}));
    stsd.Raw({0x00, 0x14, 'n', 'a', 'm', 'e', 0, 4, 0, 0, 'R', 'e', 'e', 'l', 0, 0, 0, 0});
    OpenedTrack shortEntry = Timecode({.tables = TimecodeTables(), .stsd = stsd});
    ASSERT_TRUE(shortEntry.track);
    const InfoRead read = ReadInfo(shortEntry);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.name, u"");
    EXPECT_EQ(read.info.mFrameCount, 25);
}

// A size below 12 wraps the text length; the text is held to the entry's end.
TEST(TimecodeInfoGuard, ANameSizeBelow12IsHeldToTheEntry)
{
    for (uint32_t sizeWord : {0u, 8u, 11u})
    {
        OpenedTrack t = TimecodeOf(TimecodeDescription({.tail = WithName("Reel", sizeWord)}));
        const InfoRead read = ReadInfo(t);
        EXPECT_EQ(read.result, 0);
        EXPECT_EQ(read.name, u"Reel") << sizeWord;
    }
}

TEST(TimecodeInfoGuard, ANameLongerThanItsEntryIsCutAtTheEntrysEnd)
{
    // Bytes that are not zero follow the entry at once, inside the stsd.
    Atom stsd = StsdOf({TimecodeDescription({.tail = WithName("Reel", 1000)})});
    stsd.Text("XYZW");
    OpenedTrack t = Timecode({.tables = TimecodeTables(), .stsd = stsd});
    EXPECT_EQ(ReadInfo(t).name, u"Reel");
}

// The handle sample.

TEST(TimecodeHandleSample, FourBytesOfHandleDataAreTheSample)
{
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})},
                              .tables = TimecodeTables(),
                              .dinf = HandleDinf({0, 0, 1, 0})});
    int64_t sample = -5;
    EXPECT_EQ(t.track->GetTimecodeMediaHandleSample(sample), 0);
    EXPECT_EQ(sample, 256);
}

TEST(TimecodeHandleSample, TheSampleIsWidenedWithoutSign)
{
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})},
                              .tables = TimecodeTables(),
                              .dinf = HandleDinf({0xFF, 0xFF, 0xFF, 0xFE})});
    int64_t sample = -5;
    EXPECT_EQ(t.track->GetTimecodeMediaHandleSample(sample), 0);
    EXPECT_EQ(sample, 0xFFFFFFFEll);
}

TEST(TimecodeHandleSample, EightBytesOfHandleDataGiveMinusOne)
{
    OpenedTrack t = Timecode({.handler = Code("tc64"),
                              .descriptions = {TimecodeDescription({})},
                              .tables = TimecodeTables(8),
                              .dinf = HandleDinf({0, 0, 0, 0, 0, 0, 1, 0})});
    int64_t sample = -5;
    EXPECT_EQ(t.track->GetTimecodeMediaHandleSample(sample), -1);
    EXPECT_EQ(sample, -5);
}

TEST(TimecodeHandleSample, AnotherKindOfReferenceGivesMinusOne)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}));
    int64_t sample = -5;
    EXPECT_EQ(t.track->GetTimecodeMediaHandleSample(sample), -1);
    EXPECT_EQ(sample, -5);
}

// The sample location.

TEST(TimecodeSampleLocation, TheConstantSizeAndTheFirstChunk)
{
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})}, .tables = TimecodeTables(4, 1234)});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), 0);
    EXPECT_EQ(offset, 1234);
    EXPECT_EQ(size, 4u);
}

TEST(TimecodeSampleLocation, WithoutAConstantSizeTheFirstEntryWhateverTheCount)
{
    OpenedTrack t = Timecode(
        {.descriptions = {TimecodeDescription({})},
         .tables = {Stts({{.sampleCount = 1, .duration = 1000}}),
                    Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stsz(0, {8}, 0), Stco({0xFFFFFFF0u})}});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), 0);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(offset, 0xFFFFFFF0ll) << "widened without sign";
}

TEST(TimecodeSampleLocation, Co64IsUsedWhenPresent)
{
    std::vector<Atom> tables = TimecodeTables(4, 100);
    tables.push_back(Co64({0x123456789ull}));
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})}, .tables = tables});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), 0);
    EXPECT_EQ(offset, 0x123456789ll);
}

TEST(TimecodeSampleLocation, AnEmptyCo64BesideAGoodStcoGivesMinusOne)
{
    std::vector<Atom> tables = TimecodeTables(4, 100);
    tables.push_back(Co64({}));
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})}, .tables = tables});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), -1);
    EXPECT_EQ(offset, -5);
    EXPECT_EQ(size, 4u) << "the size is set before the chunk table is looked at";
}

TEST(TimecodeSampleLocation, ATc64TrackIsATimecodeTrack)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}), Code("tc64"));
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), 0);
    EXPECT_EQ(offset, 48);
}

TEST(TimecodeSampleLocation, ANonTimecodeTrackReportsAndRaises)
{
    OpenedTrack t = OpenTrack(SimpleMovie());
    AssertCounter asserts;
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_THROW((void)t.track->GetTimecodeMediaSampleLocation(offset, size), tenacore::config::Error);
    ASSERT_EQ(asserts.count, 1);
    EXPECT_EQ(asserts.calls[0].function, "QT::QTTrack::GetTimecodeMediaSampleLocation");
    EXPECT_EQ(asserts.calls[0].condition, "GetTrackMediaType() == kTimecodeMediaType");
    EXPECT_EQ(asserts.calls[0].sourcePath, "QTSifter/Src/QTTrack_TimeCode");
    EXPECT_EQ(offset, -5);
}

TEST(TimecodeSampleLocationGuard, ASizeOutsideTheSizeTableGivesMinusOne)
{
    OpenedTrack t =
        Timecode({.descriptions = {TimecodeDescription({})},
                  .tables = {Stts({{.sampleCount = 1, .duration = 1000}}),
                             Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stsz(0, {}, 1), Stco({100})}});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), -1);
    EXPECT_EQ(size, 99u);
}

TEST(TimecodeSampleLocationGuard, AChunkTableWhoseEntryLiesOutsideItGivesMinusOne)
{
    Atom stco("stco");
    stco.FullHeader().U32(1); // one entry claimed, none there
    OpenedTrack t =
        Timecode({.descriptions = {TimecodeDescription({})},
                  .tables = {Stts({{.sampleCount = 1, .duration = 1000}}),
                             Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stsz(4, {}, 1), stco}});
    int64_t offset = -5;
    uint32_t size = 99;
    EXPECT_EQ(t.track->GetTimecodeMediaSampleLocation(offset, size), -1);
    EXPECT_EQ(offset, -5);
}

// The frame number.

TEST(TimecodeFrameNumber, ATmcdSampleIsASigned32BitFrame)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}));
    const FrameRead read = FrameOf(t, {0x00, 0x01, 0x5F, 0x90});
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.frame, 90000);
    EXPECT_EQ(FrameOf(t, {0xFF, 0xFF, 0xFF, 0xFF}).frame, -1);
}

TEST(TimecodeFrameNumber, ATc64SampleIsA64BitFrame)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}), Code("tc64"));
    const FrameRead read = FrameOf(t, {0, 0, 0, 0, 0, 0, 1, 0});
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.frame, 256);
}

TEST(TimecodeFrameNumber, ATmcdTrackWithEightBytesUsesTheFirstFour)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}));
    const FrameRead read = FrameOf(t, {0, 0, 1, 0, 0x7F, 0x7F, 0x7F, 0x7F});
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.frame, 256);
}

TEST(TimecodeFrameNumber, ATc64TrackWithSixBytesGivesMinusOne)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}), Code("tc64"));
    const FrameRead read = FrameOf(t, {0, 0, 0, 0, 1, 0});
    EXPECT_EQ(read.result, -1);
    EXPECT_EQ(read.frame, 12345);
}

TEST(TimecodeFrameNumber, TheFirstEditMovesTheFrameOnByWholeFrames)
{
    OpenedTrack t = Timecode({.descriptions = {TimecodeDescription({})},
                              .tables = TimecodeTables(),
                              .edits = {{.duration = 1000, .mediaTime = 3000}}});
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 100}, 1000).frame, 103);
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 100}, 1001).frame, 102) << "the division truncates";
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 100}, 0).frame, 100);
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 100}, 0x80000000u).frame, 100) << "a duration negative as signed";
    EXPECT_EQ(FrameOf(t, {0xFF, 0xFF, 0xFF, 0xFF}, 1000).frame, 2) << "-1, then three frames on";
}

TEST(TimecodeFrameNumber, WithoutAnEditTheFrameStands)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}));
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 100}, 1000).frame, 100);
}

TEST(TimecodeFrameNumberGuard, ATc64SampleOfFourBytesIsNotReadPast)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}), Code("tc64"));
    const FrameRead read = FrameOf(t, {0, 0, 1, 0});
    EXPECT_EQ(read.result, -1);
    EXPECT_EQ(read.frame, 12345);
}

TEST(TimecodeFrameNumberGuard, ATmcdSampleOfFewerThanFourBytesIsNotReadPast)
{
    OpenedTrack t = TimecodeOf(TimecodeDescription({}));
    for (const Bytes& sample : {Bytes{}, Bytes{1}, Bytes{0, 0, 1}})
    {
        const FrameRead read = FrameOf(t, sample);
        EXPECT_EQ(read.result, -1) << sample.size();
        EXPECT_EQ(read.frame, 12345);
    }
}

// Every operation but the sample location runs on any track.
TEST(TimecodeOnOtherTracks, InfoAndFrameNumberAnswerOnASoundTrack)
{
    OpenedTrack t = OpenTrack(MovieWith({SoundTrakWith(
        {SoundDescription({})}, {Stts({{.sampleCount = 1, .duration = 1}}),
                                 Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stco({0})})}));
    AssertCounter asserts;
    EXPECT_EQ(ReadInfo(t).result, 0);
    EXPECT_EQ(FrameOf(t, {0, 0, 0, 7}).frame, 7);
    int64_t sample = 0;
    EXPECT_EQ(t.track->GetTimecodeMediaHandleSample(sample), -1);
    EXPECT_EQ(asserts.count, 0);
}
