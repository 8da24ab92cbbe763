#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Capture.h"
#include "QTFourCC.h"
#include "QTSoundDescription.h"
#include "SoundAtoms.h"

using namespace qttest;

namespace
{

// An entry's bytes, held exactly: a read past them is a read outside the buffer.
struct Entry
{
    explicit Entry(const Atom& inAtom) : bytes(inAtom.Build()) {}
    explicit Entry(Bytes inBytes) : bytes(std::move(inBytes)) {}
    QT::SoundDescription View() const { return {QT::ByteRange(bytes.data(), bytes.size()), bytes.data()}; }
    const uint8_t* Find(const char (&inType)[5], uint32_t inBase) const
    {
        return QT::FindExtensionAtom({bytes.data(), bytes.size()}, bytes.data(), Code(inType), inBase);
    }
    Bytes bytes;
};

void PutU32(Bytes& ioBytes, size_t inOffset, uint32_t inValue)
{
    for (int i = 0; i < 4; ++i)
        ioBytes.at(inOffset + size_t(i)) = uint8_t(inValue >> (24 - 8 * i));
}

std::string Text(uint32_t inCode)
{
    return QT::FourCCText(inCode);
}

// The lines the reader traces while alive.
struct SoundTrace : TraceCapture
{
    SoundTrace() : TraceCapture("QT.SoundDescription") {}
};

std::string Line(const std::string& inText)
{
    return "5 QT.SoundDescription " + inText + "\n";
}

} // namespace

TEST(SoundDescription, AVersion1LayoutWithTheVersion2ConstantsIsReadAsVersion2)
{
    const SoundSpec spec{.format = Code("lpcm"),
                         .version = 1,
                         .channels = 3,
                         .sampleSize = 16,
                         .packetSize = 0,
                         .rate = 0x00010000};
    Bytes bytes = SoundDescription(spec, {Atom("free").Zeros(4)}).Build();
    // Read as version 1, the entry has 3 channels.
    EXPECT_EQ(Entry(bytes).View().GetNumChannels(), 3);
    PutU32(bytes, 52, 0x7F000000);
    // Read as version 2, the count is the word at 48, where version 1 keeps its bytes per sample.
    EXPECT_EQ(Entry(bytes).View().GetNumChannels(), 2);
}

TEST(SoundDescription, AVersion2EntryWhoseVersionWordIsZeroIsStillVersion2)
{
    const Entry entry(SoundDescription2({.version = 0, .rate = 96000.0, .channels = 6, .bits = 24}));
    const QT::SoundDescription view = entry.View();
    EXPECT_EQ(view.GetNumChannels(), 6);
    EXPECT_EQ(view.GetSampleRate(), 96000);
    EXPECT_EQ(view.GetBitsPerSample(), 24);
    EXPECT_EQ(Text(view.GetDataFormat()), "in24");
}

TEST(SoundDescription, AVersion2SowtIsReturnedAsItStands)
{
    EXPECT_EQ(Text(Entry(SoundDescription2({.format = Code("sowt")})).View().GetDataFormat()), "sowt");
}

TEST(SoundDescription, AVersion2LpcmThatIsFloatAndSignedIsUnknownAndReported)
{
    for (uint32_t bits : {8u, 32u, 64u})
    {
        SoundTrace trace;
        const Entry entry(SoundDescription2({.bits = bits, .flags = 1 | 4}));
        EXPECT_EQ(Text(entry.View().GetDataFormat()), "unkn") << bits;
        EXPECT_EQ(trace.lines,
                  std::vector<std::string>{
                      Line("QuickTime audio format claims signed int and floating point simultaneously.")});
    }
}

TEST(SoundDescription, AVersion2LpcmOfTwelveBitsIsUnknownAndReported)
{
    SoundTrace trace;
    EXPECT_EQ(Text(Entry(SoundDescription2({.bits = 12, .flags = 4})).View().GetDataFormat()), "unkn");
    EXPECT_EQ(trace.lines, std::vector<std::string>{Line("Unsupported QuickTime audio bit depth: 12")});
}

TEST(SoundDescription, AVersion2LpcmFloatTakesItsByteOrderFromTheFlags)
{
    EXPECT_EQ(Text(Entry(SoundDescription2({.bits = 32, .flags = 1})).View().GetDataFormat()), "23lf");
    EXPECT_EQ(Text(Entry(SoundDescription2({.bits = 32, .flags = 3})).View().GetDataFormat()), "fl32");
}

TEST(SoundDescription, EndaCountsOnlyInsideWave)
{
    const SoundSpec in24{.format = Code("in24"), .version = 1, .sampleSize = 24};
    EXPECT_EQ(Text(Entry(SoundDescription(in24, {Wave({Enda(1)})})).View().GetDataFormat()), "42ni");
    EXPECT_EQ(Text(Entry(SoundDescription(in24, {Enda(1)})).View().GetDataFormat()), "in24");
    EXPECT_EQ(Text(Entry(SoundDescription(in24, {Wave({Enda(0)})})).View().GetDataFormat()), "in24");
}

TEST(SoundDescription, AWaveOfAVersion0EntryIsNotSearched)
{
    const SoundSpec in32{.format = Code("in32"), .version = 0, .sampleSize = 32};
    const Entry entry(SoundDescription(in32, {Wave({Enda(1)})}));
    EXPECT_EQ(entry.Find("wave", 52), nullptr);
    EXPECT_NE(entry.Find("wave", 36), nullptr);
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "in32");
}

TEST(SoundDescription, FpcmWithoutPcmCTakesEndaForItsByteOrder)
{
    const SoundSpec fpcm{.format = Code("fpcm"), .version = 1, .sampleSize = 32};
    EXPECT_EQ(Text(Entry(SoundDescription(fpcm)).View().GetDataFormat()), "fl32");
    EXPECT_EQ(Text(Entry(SoundDescription(fpcm, {Wave({Enda(1)})})).View().GetDataFormat()), "23lf");
}

TEST(SoundDescription, PcmCDepthWinsOverTheSampleSizeWithAReport)
{
    {
        SoundTrace trace;
        const SoundSpec ipcm{.format = Code("ipcm"), .version = 0, .sampleSize = 16};
        EXPECT_EQ(Text(Entry(SoundDescription(ipcm, {PcmC(1, 24)})).View().GetDataFormat()), "42ni");
        EXPECT_EQ(trace.lines, std::vector<std::string>{
                                   Line("QuickTime audio format pcmC bit depth mismatch: 16 vs \x18")});
    }
    SoundTrace trace;
    const SoundSpec unsized{.format = Code("ipcm"), .version = 0, .sampleSize = 0};
    EXPECT_EQ(Text(Entry(SoundDescription(unsized, {PcmC(1, 24)})).View().GetDataFormat()), "42ni");
    EXPECT_TRUE(trace.lines.empty());
}

TEST(SoundDescription, AnUnsupportedPcmCDepthIsReportedAndTheSampleSizeStandsIn)
{
    SoundTrace trace;
    const SoundSpec ipcm{.format = Code("ipcm"), .version = 0, .sampleSize = 16};
    EXPECT_EQ(Text(Entry(SoundDescription(ipcm, {PcmC(0, 20)})).View().GetDataFormat()), "16be");
    EXPECT_EQ(trace.lines,
              std::vector<std::string>{Line("QuickTime audio format pcmC unsupported bit depth: \x14")});
}

TEST(SoundDescription, PcmCGivesTheByteOrderAndADepthOfZeroLeavesTheSampleSize)
{
    const SoundSpec ipcm{.format = Code("ipcm"), .version = 0, .sampleSize = 24};
    EXPECT_EQ(Text(Entry(SoundDescription(ipcm, {PcmC(0, 24)})).View().GetDataFormat()), "in24");
    EXPECT_EQ(Text(Entry(SoundDescription(ipcm, {PcmC(1, 0)})).View().GetDataFormat()), "42ni");
}

TEST(SoundDescription, SratGivesRatesAboveTheFixedPointField)
{
    const SoundSpec zeroRate{.version = 0, .rate = 0};
    EXPECT_EQ(Entry(SoundDescription(zeroRate, {Srat(96000)})).View().GetSampleRate(), 96000);
    const SoundSpec fixed{.version = 0, .rate = 44100u << 16};
    EXPECT_EQ(Entry(SoundDescription(fixed, {Srat(48000)})).View().GetSampleRate(), 44100);
    // A version 1 entry keeps srat at 52.
    const SoundSpec version1{.version = 1, .rate = 0};
    EXPECT_EQ(Entry(SoundDescription(version1, {Srat(192000)})).View().GetSampleRate(), 192000);
}

TEST(SoundDescription, AZeroSizeAtomBeforeSratHidesIt)
{
    const SoundSpec spec{.version = 0, .rate = 44100u << 16};
    const Entry entry(SoundDescription(spec, {Atom("zero").SizeWord(0).Zeros(4), Srat(96000)}));
    EXPECT_EQ(entry.View().GetSampleRate(), 44100);
}

TEST(SoundDescription, ASixteenBitSampleSizeIsAPlaceholderThatTheFormatReplaces)
{
    EXPECT_EQ(Entry(SoundDescription({.format = Code("fl32"), .sampleSize = 16})).View().GetBitsPerSample(),
              32);
    EXPECT_EQ(Entry(SoundDescription({.format = Code("fl32"), .sampleSize = 8})).View().GetBitsPerSample(),
              8);
    EXPECT_EQ(Entry(SoundDescription({.format = Code("in24"), .sampleSize = 16})).View().GetBitsPerSample(),
              24);
    EXPECT_EQ(Entry(SoundDescription({.format = Code("fl64"), .sampleSize = 16})).View().GetBitsPerSample(),
              64);
    EXPECT_EQ(Entry(SoundDescription({.format = Code("twos"), .sampleSize = 16})).View().GetBitsPerSample(),
              16);
}

TEST(SoundDescription, ChannelDescriptionsMustCountTheChannels)
{
    std::vector<int32_t> map;
    bool unsupported = true;
    const Entry two(SoundDescription({.channels = 2}, {Chan(0, 0, {1, 2})}));
    EXPECT_TRUE(two.View().GetChannelMap(map, unsupported));
    EXPECT_TRUE(unsupported);
    const Entry three(SoundDescription({.channels = 2}, {Chan(0, 0, {1, 2, 3})}));
    EXPECT_FALSE(three.View().GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_TRUE(map.empty());
}

TEST(SoundDescription, ABitmapOtherThanFivePointOneIsUnsupported)
{
    std::vector<int32_t> map;
    bool unsupported = false;
    EXPECT_TRUE(Entry(SoundDescription({}, {Chan(0x00010000, 0x3)})).View().GetChannelMap(map, unsupported));
    EXPECT_TRUE(unsupported);
    EXPECT_TRUE(Entry(SoundDescription({}, {Chan(0x00010000, 0x3F)})).View().GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_EQ(map, (std::vector<int32_t>{0, 1, 2, 3, 4, 5}));
}

TEST(SoundDescription, AVersion2ChanIsFoundAtSeventyTwoWithItsChannelsAtFortyEight)
{
    const Entry entry(SoundDescription2({.channels = 6}, {Chan(0, 0, {3, 1, 2, 5, 6, 4})}));
    std::vector<int32_t> map;
    bool unsupported = true;
    EXPECT_NE(entry.Find("chan", 52), nullptr);
    ASSERT_TRUE(entry.View().GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_EQ(map, (std::vector<int32_t>{1, 2, 0, 5, 3, 4}));
}

struct LayoutCase
{
    uint32_t tag;
    std::vector<int32_t> map;
};

class ChannelLayout : public testing::TestWithParam<LayoutCase>
{
};

TEST_P(ChannelLayout, MapsItsOrderToLeftRightCentreLfeSurrounds)
{
    std::vector<int32_t> map = {9, 9, 9, 9, 9, 9, 9};
    bool unsupported = true;
    ASSERT_TRUE(Entry(SoundDescription({.channels = 6}, {Chan(GetParam().tag)}))
                    .View()
                    .GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_EQ(map, GetParam().map);
}

INSTANTIATE_TEST_SUITE_P(SoundDescription, ChannelLayout,
                         testing::Values(LayoutCase{0x00790006, {0, 1, 2, 3, 4, 5}},
                                         LayoutCase{0x007A0006, {0, 1, 4, 5, 2, 3}},
                                         LayoutCase{0x007B0006, {0, 2, 1, 5, 3, 4}},
                                         LayoutCase{0x007C0006, {1, 2, 0, 5, 3, 4}}));

TEST(SoundDescription, AnyOtherLayoutTagIsUnsupportedAndLeavesTheMap)
{
    std::vector<int32_t> map = {7};
    bool unsupported = false;
    EXPECT_TRUE(Entry(SoundDescription({}, {Chan(0x00650002)})).View().GetChannelMap(map, unsupported));
    EXPECT_TRUE(unsupported);
    EXPECT_EQ(map, std::vector<int32_t>{7});
}

TEST(SoundDescription, SixDescriptionsMapTheirLabelsTheLastOfATwinWinning)
{
    std::vector<int32_t> map;
    bool unsupported = true;
    const Entry entry(SoundDescription({.channels = 6}, {Chan(0, 0, {2, 1, 1, 9, 5, 6})}));
    ASSERT_TRUE(entry.View().GetChannelMap(map, unsupported));
    EXPECT_EQ(map, (std::vector<int32_t>{2, 0, -1, -1, 4, 5}));
}

TEST(SoundDescription, WithoutChanThereIsNoMap)
{
    std::vector<int32_t> map;
    bool unsupported = true;
    EXPECT_FALSE(Entry(SoundDescription({})).View().GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
}

TEST(SoundDescription, PackedBitsComeFromTheVersion2PacketFields)
{
    EXPECT_EQ(Entry(SoundDescription2({.channels = 2, .bits = 24, .bytesPerPacket = 8, .framesPerPacket = 1}))
                  .View()
                  .GetPackedBitsPerSample(),
              32u);
    EXPECT_EQ(Entry(SoundDescription2({.bits = 24, .bytesPerPacket = 0})).View().GetPackedBitsPerSample(),
              24u);
    EXPECT_EQ(
        Entry(SoundDescription({.format = Code("in24"), .sampleSize = 24})).View().GetPackedBitsPerSample(),
        24u);
}

TEST(SoundDescription, TheClassicRateIsTheIntegerPartOfItsFixedPointField)
{
    EXPECT_EQ(Entry(SoundDescription({.rate = (22050u << 16) | 0x8000})).View().GetSampleRate(), 22050);
}

// The version 2 rate is a double from the file, truncated.
struct RateCase
{
    double rate;
    int64_t expected;
};

class Version2Rate : public testing::TestWithParam<RateCase>
{
};

TEST_P(Version2Rate, IsTruncatedNanGivesZeroAndHugeValuesClamp)
{
    EXPECT_EQ(Entry(SoundDescription2({.rate = GetParam().rate})).View().GetSampleRate(),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    SoundDescription, Version2Rate,
    testing::Values(RateCase{44100.9, 44100}, RateCase{-3.5, -3}, RateCase{std::nan(""), 0},
                    RateCase{1e300, std::numeric_limits<int64_t>::max()},
                    RateCase{-1e300, std::numeric_limits<int64_t>::min()},
                    RateCase{std::numeric_limits<double>::infinity(), std::numeric_limits<int64_t>::max()}));

// The normalisation of version 0 and 1 entries, row by row, quirks included.
struct ClassicCase
{
    const char* fourCC;
    int16_t sampleSize;
    bool littleEndian;
    const char* expected;
};

void PrintTo(const ClassicCase& inCase, std::ostream* outStream)
{
    *outStream << inCase.fourCC << "/" << inCase.sampleSize << (inCase.littleEndian ? "/le" : "/be");
}

class ClassicFormat : public testing::TestWithParam<ClassicCase>
{
};

TEST_P(ClassicFormat, Normalises)
{
    const ClassicCase& c = GetParam();
    const uint32_t fourCC = (uint32_t(uint8_t(c.fourCC[0])) << 24) | (uint32_t(uint8_t(c.fourCC[1])) << 16) |
                            (uint32_t(uint8_t(c.fourCC[2])) << 8) | uint32_t(uint8_t(c.fourCC[3]));
    const SoundSpec spec{.format = fourCC, .version = 1, .sampleSize = c.sampleSize};
    const Entry entry(c.littleEndian ? SoundDescription(spec, {Wave({Enda(1)})}) : SoundDescription(spec));
    EXPECT_EQ(Text(entry.View().GetDataFormat()), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    SoundDescription, ClassicFormat,
    testing::Values(ClassicCase{"lpcm", 16, false, "16be"}, ClassicCase{"lpcm", 16, true, "16le"},
                    ClassicCase{"mcpl", 24, false, "in24"}, ClassicCase{"lpcm", 24, true, "42ni"},
                    ClassicCase{"lpcm", 32, false, "in32"}, ClassicCase{"mcpl", 32, true, "23ni"},
                    ClassicCase{"lpcm", 8, false, "unkn"}, ClassicCase{"raw ", 16, true, "raw "},
                    ClassicCase{"twos", 8, false, "twos"}, ClassicCase{"twos", 24, true, "in24"},
                    ClassicCase{"twos", 32, false, "16be"}, ClassicCase{"twos", 16, true, "16be"},
                    ClassicCase{"sowt", 8, false, "twos"}, ClassicCase{"sowt", 24, false, "42ni"},
                    ClassicCase{"sowt", 16, false, "16le"}, ClassicCase{"fl32", 32, false, "fl32"},
                    ClassicCase{"fl32", 32, true, "23lf"}, ClassicCase{"fl64", 64, true, "46lf"},
                    ClassicCase{"in24", 24, false, "in24"}, ClassicCase{"in32", 32, true, "23ni"},
                    ClassicCase{"42ni", 24, false, "42ni"}, ClassicCase{"mp4a", 16, true, "mp4a"}),
    [](const testing::TestParamInfo<ClassicCase>& inInfo)
    {
        std::string name = std::string(inInfo.param.fourCC) + std::to_string(inInfo.param.sampleSize) +
                           (inInfo.param.littleEndian ? "le" : "be");
        std::erase(name, ' ');
        return name;
    });

// FormatFromBitDepth over its table: depth, flags, the result.
struct DepthCase
{
    uint32_t bits;
    uint32_t flags;
    const char* expected;
};

class BitDepth : public testing::TestWithParam<DepthCase>
{
};

TEST_P(BitDepth, GivesItsFormat)
{
    EXPECT_EQ(Text(QT::FormatFromBitDepth(GetParam().bits, GetParam().flags)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(SoundDescription, BitDepth,
                         testing::Values(DepthCase{8, 0, "raw "}, DepthCase{8, 4, "twos"},
                                         DepthCase{8, 1, "raw "}, DepthCase{16, 2, "16be"},
                                         DepthCase{16, 0, "16le"}, DepthCase{16, 3, "unkn"},
                                         DepthCase{24, 6, "in24"}, DepthCase{24, 4, "42ni"},
                                         DepthCase{24, 1, "unkn"}, DepthCase{32, 2, "in32"},
                                         DepthCase{32, 0, "23ni"}, DepthCase{32, 3, "fl32"},
                                         DepthCase{32, 1, "23lf"}, DepthCase{64, 2, "unkn"},
                                         DepthCase{64, 3, "fl64"}, DepthCase{64, 1, "46lf"}));

TEST(SoundDescription, AnUnsupportedDepthIsReportedAsAnUnsignedNumber)
{
    SoundTrace trace;
    EXPECT_EQ(Text(QT::FormatFromBitDepth(0xFFFFFFFF, 4)), "unkn");
    EXPECT_EQ(trace.lines,
              std::vector<std::string>{Line("Unsupported QuickTime audio bit depth: 4294967295")});
}

// Hostile entries: nothing is read outside the entry or the buffer.

TEST(SoundDescriptionBounds, AnEntryLargerThanTheBufferIsReadOnlyToTheBuffersEnd)
{
    Bytes bytes = SoundDescription({.version = 1}).Build();
    PutU32(bytes, 0, 4000);
    const Entry entry(bytes);
    EXPECT_EQ(entry.Find("wave", 52), nullptr);
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "16be");
    EXPECT_EQ(entry.View().GetSampleRate(), 48000);
}

TEST(SoundDescriptionBounds, AnExtensionHeaderNeedsEightBytesInsideTheEntry)
{
    // Four bytes of a size word at 52, and the entry's end behind them.
    Bytes bytes = SoundDescription({.version = 1}).Build();
    bytes.insert(bytes.end(), {0, 0, 0, 4});
    PutU32(bytes, 0, uint32_t(bytes.size()));
    const Entry entry(bytes);
    EXPECT_EQ(entry.Find("wave", 52), nullptr);
    std::vector<int32_t> map;
    bool unsupported = false;
    EXPECT_FALSE(entry.View().GetChannelMap(map, unsupported));
}

TEST(SoundDescriptionBounds, EndaTooShortForItsValueIsNotRead)
{
    // Behind the empty enda, inside wave, stand bytes that would read as a non-zero value.
    const Atom wave = Atom("wave").Child(Atom("enda")).Raw({0x01, 0x00, 0x00, 0x00});
    const Entry entry(SoundDescription({.format = Code("in24"), .sampleSize = 24}, {wave}));
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "in24");
}

TEST(SoundDescriptionBounds, PcmCTooShortForItsFieldsIsNoPcmC)
{
    // The little-endian reading of the size word passes the old guard; the atom holds no depth.
    SoundTrace trace;
    const SoundSpec ipcm{.format = Code("ipcm"), .version = 0, .sampleSize = 24};
    const Entry entry(SoundDescription(ipcm, {Atom("pcmC").FullHeader().U8(1)}));
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "in24");
    EXPECT_TRUE(trace.lines.empty());
}

TEST(SoundDescriptionBounds, SratTooShortForItsRateIsIgnored)
{
    const SoundSpec spec{.version = 0, .rate = 44100u << 16};
    EXPECT_EQ(Entry(SoundDescription(spec, {Atom("srat").FullHeader().U16(1)})).View().GetSampleRate(),
              44100);
}

TEST(SoundDescriptionBounds, ChanTooShortForItsTagIsNoChan)
{
    std::vector<int32_t> map;
    bool unsupported = true;
    EXPECT_FALSE(
        Entry(SoundDescription({}, {Atom("chan").FullHeader()})).View().GetChannelMap(map, unsupported));
    EXPECT_FALSE(unsupported);
}

TEST(SoundDescriptionBounds, ChannelLabelsOutsideChanCountAsMissing)
{
    // Six descriptions are claimed; the atom, and the entry, end after the third.
    Bytes chan = Chan(0, 0, {3, 2, 1}).Build();
    PutU32(chan, 20, 6);
    const Entry entry(
        SoundDescription({.channels = 6}, {Atom("chan").Raw(Bytes(chan.begin() + 8, chan.end()))}));
    std::vector<int32_t> map;
    bool unsupported = true;
    ASSERT_TRUE(entry.View().GetChannelMap(map, unsupported));
    EXPECT_EQ(map, (std::vector<int32_t>{2, 1, 0, -1, -1, -1}));
}

TEST(SoundDescriptionBounds, AVersion2EntryShorterThanItsFieldsReadsThemAsZero)
{
    Bytes bytes = SoundDescription2({.bits = 24, .flags = 6}).Build();
    bytes.resize(56);
    PutU32(bytes, 0, 56);
    SoundTrace trace;
    const Entry entry(bytes);
    EXPECT_EQ(entry.View().GetBitsPerSample(), 0);
    EXPECT_EQ(entry.View().GetPackedBitsPerSample(), 0u);
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "unkn");
    EXPECT_EQ(trace.lines, std::vector<std::string>{Line("Unsupported QuickTime audio bit depth: 0")});
}

TEST(SoundDescriptionBounds, AnEntryOfFewerBytesThanItsFixedFieldsReadsThemAsZero)
{
    Bytes bytes = SoundDescription({.version = 0}).Build();
    bytes.resize(20);
    PutU32(bytes, 0, 20);
    const Entry entry(bytes);
    EXPECT_EQ(entry.View().GetNumChannels(), 0);
    EXPECT_EQ(entry.View().GetSampleRate(), 0);
    EXPECT_EQ(Text(entry.View().GetDataFormat()), "16be");
}

TEST(SoundDescriptionBounds, PackedBitsWrapAsUnsignedArithmetic)
{
    const Entry entry(
        SoundDescription2({.channels = 3, .bits = 8, .bytesPerPacket = 0xFFFFFFFF, .framesPerPacket = 1}));
    EXPECT_EQ(entry.View().GetPackedBitsPerSample(), uint32_t(0xFFFFFFFFu * 8u) / 3u);
}
