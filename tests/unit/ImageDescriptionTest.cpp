#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "VideoAtoms.h"
#include "tenacore/debug.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

using namespace qttest;

namespace
{

// A video (or other) track whose stsd holds exactly inEntries.
OpenedTrack TrackWithDescriptions(const std::vector<Atom>& inEntries, uint32_t inHandler = Code("vide"))
{
    TrackSpec spec;
    spec.handler = inHandler;
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[0] = StsdOf(inEntries);
    return OpenTrack(MovieWith({TrakWith(spec, tables)}));
}

} // namespace

TEST(ImageDescription, FixedFieldsAreRead)
{
    ImageSpec spec;
    spec.format = Code("hvc1");
    spec.width = 1920;
    spec.height = 1080;
    spec.depth = 32;
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({}, spec)});
    EXPECT_EQ(t.track->GetVideoMediaCompressionFourCC(0), Code("hvc1"));
    EXPECT_EQ(t.track->GetVideoMediaVendorFourCC(0), Code("test"));
    EXPECT_EQ(t.track->GetVideoMediaWidth(0), 1920);
    EXPECT_EQ(t.track->GetVideoMediaHeight(0), 1080);
    EXPECT_EQ(t.track->GetVideoMediaDepth(0), 32);
    uint32_t temporal = 0, spatial = 0;
    EXPECT_EQ(t.track->GetVideoMediaQuality(0, temporal, spatial), 0u);
    EXPECT_EQ(temporal, 512u);
    EXPECT_EQ(spatial, 1024u);
}

TEST(ImageDescription, WidthOfAllOnesIsMinusOne)
{
    ImageSpec spec;
    spec.width = -1;
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaWidth(0), -1);
}

TEST(ImageDescription, PixelAspectNeedsAnAtomOfSixteenBytes)
{
    uint32_t h = 0, v = 0;
    EXPECT_EQ(
        TrackWithDescriptions({ImageDescriptionWith({Pasp(4, 3)})}).track->GetVideoMediaPixelAspect(0, h, v),
        0u);
    EXPECT_EQ(h, 4u);
    EXPECT_EQ(v, 3u);
    h = v = 7;
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({Pasp(4, 3).U32(0)})})
                  .track->GetVideoMediaPixelAspect(0, h, v),
              QT::kQTErrNoSuchExtension);
    EXPECT_EQ(h, 7u);
}

TEST(ImageDescription, CleanApertureGivesItsEightWords)
{
    uint32_t w[8] = {};
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({Clap()})});
    ASSERT_EQ(t.track->GetVideoMediaCleanAperture(0, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]), 0u);
    EXPECT_EQ(w[0], 1920u);
    EXPECT_EQ(w[2], 1080u);
    EXPECT_EQ(w[6], 0xFFFFFFFEu);
    EXPECT_EQ(w[7], 2u);
}

TEST(ImageDescription, ColorInfoNeedsTheNclcType)
{
    uint32_t p = 0, t = 0, m = 0;
    EXPECT_EQ(
        TrackWithDescriptions({ImageDescriptionWith({Colr()})}).track->GetVideoMediaColorInfo(0, p, t, m),
        0u);
    EXPECT_EQ(p, 1u);
    EXPECT_EQ(m, 1u);
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({Colr("prof")})})
                  .track->GetVideoMediaColorInfo(0, p, t, m),
              QT::kQTErrNoSuchExtension);
}

TEST(ImageDescription, FieldInfoOfUnknownOrderingKeepsTheCount)
{
    uint8_t count = 0, ordering = 77;
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({Fiel(1, 3)})})
                  .track->GetVideoMediaFieldInfo(0, count, ordering),
              QT::kQTErrNoSuchExtension);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(ordering, 77);
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({Fiel(2, 14)})})
                  .track->GetVideoMediaFieldInfo(0, count, ordering),
              0u);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(ordering, 14);
    count = 9;
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({Fiel(3, 1)})})
                  .track->GetVideoMediaFieldInfo(0, count, ordering),
              QT::kQTErrNoSuchExtension);
    EXPECT_EQ(count, 9);
}

TEST(ImageDescription, CodecNameIsCutToThirtyOneBytes)
{
    ImageSpec spec;
    spec.name = std::string(31, 'n');
    spec.nameLength = 40;
    // The bytes behind the 31 are printable, so a longer read would show in the name.
    spec.depth = 0x6D6D;
    spec.colorTableId = 0x6D6D;
    std::u16string name;
    ASSERT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaCodecName(0, name),
              0u);
    EXPECT_EQ(name, std::u16string(31, u'n'));
}

TEST(ImageDescription, CodecNameEndsAtAnInnerZero)
{
    ImageSpec spec;
    spec.name = std::string("ab\0cd", 5);
    std::u16string name;
    ASSERT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaCodecName(0, name),
              0u);
    EXPECT_EQ(name, u"ab");
}

TEST(ImageDescription, CodecNameOfLengthZeroIsAbsentAndLeavesTheOutAlone)
{
    ImageSpec spec;
    spec.nameLength = 0;
    std::u16string name = u"kept";
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaCodecName(0, name),
              QT::kQTErrNoSuchExtension);
    EXPECT_EQ(name, u"kept");
}

TEST(ImageDescription, CodecNameThatNeedsRepairIsAbsent)
{
#if defined(_WIN32)
    GTEST_SKIP() << "the ANSI code page makes every byte a character, so no name needs repair on Windows";
#endif
    ImageSpec spec;
    spec.name = "bad\xFF";
    std::u16string name = u"kept";
    EXPECT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaCodecName(0, name),
              QT::kQTErrNoSuchExtension);
    EXPECT_EQ(name, u"kept");
}

// The name is in the system's 8-bit encoding: the ANSI code page on Windows, UTF-8 elsewhere.
TEST(ImageDescription, CodecNameIsReadInTheSystemEncoding)
{
    ImageSpec spec;
#if defined(_WIN32)
    if (GetACP() != 1252)
        GTEST_SKIP() << "the bytes are written for code page 1252, and this system's is " << GetACP();
    spec.name = "caf\xE9 \x80";
#else
    spec.name = "caf\xC3\xA9 \xE2\x82\xAC";
#endif
    std::u16string name;
    ASSERT_EQ(TrackWithDescriptions({ImageDescriptionWith({}, spec)}).track->GetVideoMediaCodecName(0, name),
              0u);
    EXPECT_EQ(name, u"caf\u00E9 \u20AC");
}

TEST(ImageDescription, PlainEntryHasNoExtensionsButCopiesWhole)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({})});
    uint32_t a = 0, b = 0, c = 0;
    uint8_t f = 0, g = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, a, b), QT::kQTErrNoSuchExtension);
    EXPECT_EQ(t.track->GetVideoMediaColorInfo(0, a, b, c), QT::kQTErrNoSuchExtension);
    EXPECT_EQ(t.track->GetVideoMediaFieldInfo(0, f, g), QT::kQTErrNoSuchExtension);
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("pasp"), data),
              QT::kQTErrInvalid);
    ASSERT_EQ(t.track->GetVideoMediaImageDescriptionAsBinary(0, data), 0u);
    EXPECT_EQ(data.GetSize(), 86u);
    EXPECT_EQ(data.GetData()[7], '1');
}

TEST(ImageDescription, ArbitraryExtensionGivesItsPayloadInFileOrder)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({Atom("avcC").U32(0x01020304)})});
    MK::BinaryData data;
    ASSERT_EQ(t.track->GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("avcC"), data), 0u);
    EXPECT_EQ(data, MK::BinaryData("\x01\x02\x03\x04", 4));
    EXPECT_EQ(t.track->GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("hvcC"), data),
              QT::kQTErrInvalid);
}

TEST(ImageDescription, EmptyExtensionAtTheEndIsNotFound)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({Atom("btrt")})});
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("btrt"), data),
              QT::kQTErrInvalid);
}

// The clut is just over 16 MiB, so that the byte at 86, its size's top byte, is 1: a skip that took
// the file-order "clut" for the mark would step one byte and lose the walk.
TEST(ImageDescription, RealClutAtomIsSteppedOverByItsOwnSize)
{
    ImageSpec spec;
    spec.colorTableId = 0;
    OpenedTrack t = TrackWithDescriptions(
        {ImageDescriptionWith({Atom("clut").Zeros(size_t(1) << 24), Pasp(3, 2)}, spec)});
    uint32_t h = 0, v = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, h, v), 0u);
    EXPECT_EQ(h, 3u);
    EXPECT_EQ(v, 2u);
}

TEST(ImageDescription, ReversedClutMarkSkipsByOneByte)
{
    // Bytes 86.. : a step byte of 8, then "tulc" at 90; the walk resumes at 94.
    ImageSpec spec;
    spec.colorTableId = 0;
    Atom entry = ImageDescription(spec);
    entry.U8(8).Zeros(3).Text("tulc").Child(Pasp(2, 1));
    OpenedTrack t = TrackWithDescriptions({entry});
    uint32_t h = 0, v = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, h, v), 0u);
    EXPECT_EQ(h, 2u);
    // A negative step byte sends the walk past the end.
    Atom backwards = ImageDescription(spec);
    backwards.U8(0xF8).Zeros(3).Text("tulc").Child(Pasp(2, 1));
    EXPECT_EQ(TrackWithDescriptions({backwards}).track->GetVideoMediaPixelAspect(0, h, v),
              QT::kQTErrNoSuchExtension);
}

TEST(ImageDescription, OnlyTheFirstAtomOfATypeCounts)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({Pasp(1, 1).U32(0), Pasp(2, 2)})});
    uint32_t h = 0, v = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, h, v), QT::kQTErrNoSuchExtension);
}

TEST(ImageDescription, PlatformBinaryIsInHostOrderButForExtensionHeaders)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({Pasp(4, 3), Clap(), Fiel(2, 9), Colr()})});
    MK::BinaryData file, host;
    ASSERT_EQ(t.track->GetVideoMediaImageDescriptionAsBinary(0, file), 0u);
    ASSERT_EQ(t.track->GetVideoMediaImageDescriptionAsPlatformBinary(0, host), 0u);
    ASSERT_EQ(file.GetSize(), host.GetSize());
    const uint8_t* h = host.GetData();
    const uint8_t* f = file.GetData();
    auto le32 = [](const uint8_t* inP)
    { return uint32_t(inP[0]) | uint32_t(inP[1]) << 8 | uint32_t(inP[2]) << 16 | uint32_t(inP[3]) << 24; };
    auto be32 = [](const uint8_t* inP)
    { return uint32_t(inP[0]) << 24 | uint32_t(inP[1]) << 16 | uint32_t(inP[2]) << 8 | uint32_t(inP[3]); };
    EXPECT_EQ(le32(h), be32(f));                   // size
    EXPECT_EQ(le32(h + 4), Code("avc1"));          // format, swapped as a number
    EXPECT_EQ(h[32] | h[33] << 8, 640);            // width
    EXPECT_EQ(std::memcmp(h + 50, f + 50, 32), 0); // the name stays
    // pasp at 86: its header stays big-endian, its payload is host order.
    EXPECT_EQ(be32(h + 86), 16u);
    EXPECT_EQ(be32(h + 90), Code("pasp"));
    EXPECT_EQ(le32(h + 94), 4u);
    EXPECT_EQ(le32(h + 98), 3u);
    // clap at 102: payload swapped.
    EXPECT_EQ(le32(h + 110), 1920u);
    // fiel at 142 stays as it is.
    EXPECT_EQ(std::memcmp(h + 142, f + 142, 10), 0);
    // colr at 152: nclc and the three values swapped.
    EXPECT_EQ(le32(h + 160), Code("nclc"));
    EXPECT_EQ(h[164], 1);
    // The reserved bytes at 8 go as 4 and 2.
    EXPECT_EQ(h[12], f[13]);
}

TEST(ImageDescription, PlatformBinaryOfAnEmptyEntryIsInvalid)
{
    // One entry of size 0: the walk answers with it, and its copy would be empty.
    OpenedTrack t = TrackWithDescriptions({Atom("avc1").Zeros(78).SizeWord(0)});
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaImageDescriptionAsPlatformBinary(0, data), QT::kQTErrInvalid);
}

TEST(ImageDescription, ShortEntryAtTheBufferEndReadsNothingOutside)
{
    // An image description of 20 bytes, in an stsd that ends the movie buffer.
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables.erase(tables.begin());
    tables.push_back(StsdOf({Atom("avc1").Zeros(12)}));
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), TrakWith(TrackSpec{}, tables)});
    TempFile file(Build({Ftyp(), moov}));
    OpenedTrack t;
    t.opened = OpenPath(file.WidePath());
    ASSERT_EQ(t.opened.result, 0u);
    t.opened.movie->GetIndTrack(t.track, 0);
    EXPECT_EQ(t.track->GetVideoMediaCompressionFourCC(0), Code("avc1"));
    EXPECT_EQ(t.track->GetVideoMediaWidth(0), 0);
    EXPECT_EQ(t.track->GetVideoMediaDepth(0), 0u);
    uint32_t a = 0, b = 0;
    EXPECT_EQ(t.track->GetVideoMediaQuality(0, a, b), QT::kQTErrNoSuchExtension);
    std::u16string name;
    EXPECT_EQ(t.track->GetVideoMediaCodecName(0, name), QT::kQTErrNoSuchExtension);
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, a, b), QT::kQTErrNoSuchExtension);
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaImageDescriptionAsBinary(0, data), 0u);
    EXPECT_EQ(data.GetSize(), 20u);
    EXPECT_EQ(t.track->GetVideoMediaImageDescriptionAsPlatformBinary(0, data), 0u);
}

TEST(ImageDescription, ExtensionRunningPastTheEntryIsNotReadBeyondTheBuffer)
{
    // The pasp claims 16 bytes but the entry, and the buffer, end 4 bytes into its payload.
    Atom entry = ImageDescription({});
    entry.U32(16).Type("pasp").U32(1);
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables.erase(tables.begin());
    tables.push_back(StsdOf({entry}));
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), TrakWith(TrackSpec{}, tables)});
    TempFile file(Build({Ftyp(), moov}));
    OpenedTrack t;
    t.opened = OpenPath(file.WidePath());
    ASSERT_EQ(t.opened.result, 0u);
    t.opened.movie->GetIndTrack(t.track, 0);
    uint32_t h = 0, v = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, h, v), QT::kQTErrNoSuchExtension);
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("pasp"), data),
              QT::kQTErrInvalid);
}

TEST(ImageDescription, OtherMediaTypesViolateTheContract)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({})}, Code("soun"));
    AssertCounter asserts;
    EXPECT_EQ(t.track->GetVideoMediaDepth(0), 0u);
    EXPECT_EQ(asserts.count, 1);
    EXPECT_EQ(asserts.last,
              "QTSifter/Src/QTTrack_Video|QT::QTTrack::GetVideoMediaDepth|false|Invalid Video Media Type");
    uint32_t h = 0, v = 0;
    EXPECT_EQ(t.track->GetVideoMediaPixelAspect(0, h, v), QT::kQTErrInvalid);
    MK::BinaryData data;
    EXPECT_EQ(t.track->GetVideoMediaImageDescriptionAsBinary(0, data), QT::kQTErrInvalid);
    EXPECT_EQ(asserts.count, 3);
}

TEST(DescriptionComparison, OneDescriptionIsEquivalentEvenWhenUnreadable)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({}).SizeWord(5000)});
    EXPECT_TRUE(t.track->GetAllSampleDescriptionsEquivalent());
    EXPECT_TRUE(t.track->GetAllImageDescriptionsEquivalent(false));
}

TEST(DescriptionComparison, DifferentExtensionsMatterOnlyThroughTheEntrySize)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({}), ImageDescriptionWith({Pasp(1, 1)})});
    EXPECT_TRUE(t.track->GetAllSampleDescriptionsEquivalent());
    EXPECT_FALSE(t.track->GetAllImageDescriptionsEquivalent(false));
    EXPECT_TRUE(t.track->GetAllImageDescriptionsEquivalent(true));
}

TEST(DescriptionComparison, EntryOfSizeZeroAnswersForEveryLaterIndexAtOnce)
{
    // Four billion entries claimed; the second has size 0, so the walk gives it for every index
    // from 1 on. Its fields are a copy of the first's.
    Atom copy = ImageDescriptionWith({});
    Bytes zero = copy.Build();
    zero[0] = zero[1] = zero[2] = zero[3] = 0;
    Atom stsd("stsd");
    stsd.FullHeader().U32(0xFFFFFFFF).Child(ImageDescriptionWith({})).Raw(zero);
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[0] = stsd;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    EXPECT_TRUE(t.track->GetAllSampleDescriptionsEquivalent());
    EXPECT_FALSE(t.track->GetAllImageDescriptionsEquivalent(false));
    EXPECT_TRUE(t.track->GetAllImageDescriptionsEquivalent(true));
}

TEST(DescriptionComparison, ManyEntriesAreComparedInOneWalk)
{
    // 20000 equal descriptions and then a corrupt one: one walk reaches the corruption.
    Atom stsd("stsd");
    stsd.FullHeader().U32(20001);
    for (int i = 0; i < 20000; ++i)
        stsd.Child(ImageDescriptionWith({}));
    stsd.U32(0x7FFFFFFF).Type("avc1");
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[0] = stsd;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    EXPECT_FALSE(t.track->GetAllSampleDescriptionsEquivalent());
    EXPECT_EQ(t.track->GetSampleDescriptionCount(), 20001u);
}

TEST(DescriptionComparison, DifferentFormatIsNotEquivalent)
{
    ImageSpec other;
    other.height = 720;
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({}), ImageDescriptionWith({}, other)});
    EXPECT_FALSE(t.track->GetAllSampleDescriptionsEquivalent());
}

TEST(DescriptionComparison, SoundTrackComparesButCannotAskForImages)
{
    OpenedTrack t = TrackWithDescriptions({ImageDescriptionWith({}), ImageDescriptionWith({})}, Code("soun"));
    EXPECT_TRUE(t.track->GetAllSampleDescriptionsEquivalent());
    AssertCounter asserts;
    EXPECT_FALSE(t.track->GetAllImageDescriptionsEquivalent(true));
    EXPECT_EQ(asserts.count, 1);
}

TEST(DescriptionComparison, UnreadableSecondEntryIsNotEquivalent)
{
    Atom stsd("stsd");
    stsd.FullHeader().U32(2).Child(ImageDescriptionWith({})).U32(0x7FFF).Type("avc1");
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[0] = stsd;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    EXPECT_FALSE(t.track->GetAllSampleDescriptionsEquivalent());
}

namespace
{

OpenedTrack TrackWithAperture(const Atom& inTapt, uint32_t inHandler = Code("vide"))
{
    TrackSpec spec;
    spec.handler = inHandler;
    return OpenTrack(MovieWith({Atom("trak").Children({Tkhd(spec), inTapt, Mdia(spec)})}));
}

} // namespace

TEST(TrackAperture, DimensionsAreFixedPointPixels)
{
    OpenedTrack t =
        TrackWithAperture(Atom("tapt").Children({ApertureDimensions("clef", 0x02D00000, 0x01E00000),
                                                 ApertureDimensions("prof", 0x02D08000, 0x01E00000),
                                                 ApertureDimensions("enof", 0x02D00000, -0x10000)}));
    float w = 0, h = 0;
    ASSERT_TRUE(t.track->GetTrackCleanApertureDimensions(w, h));
    EXPECT_EQ(w, 720.0f);
    EXPECT_EQ(h, 480.0f);
    ASSERT_TRUE(t.track->GetTrackProductionApertureDimensions(w, h));
    EXPECT_EQ(w, 720.5f);
    ASSERT_TRUE(t.track->GetTrackEncodedPixelsDimensions(w, h));
    EXPECT_EQ(h, -1.0f);
}

TEST(TrackAperture, NoTaptLeavesTheOutsAlone)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{1, 1}}))}));
    float w = 3, h = 4;
    EXPECT_FALSE(t.track->GetTrackCleanApertureDimensions(w, h));
    EXPECT_FALSE(t.track->GetTrackProductionApertureDimensions(w, h));
    EXPECT_FALSE(t.track->GetTrackEncodedPixelsDimensions(w, h));
    EXPECT_EQ(w, 3.0f);
    EXPECT_EQ(h, 4.0f);
}

TEST(TrackAperture, CleanApertureIsForVideoOnlyTheOthersForAny)
{
    OpenedTrack t = TrackWithAperture(Atom("tapt").Children({ApertureDimensions("clef", 0x10000, 0x10000),
                                                             ApertureDimensions("prof", 0x20000, 0x20000)}),
                                      Code("soun"));
    float w = 0, h = 0;
    AssertCounter asserts;
    EXPECT_FALSE(t.track->GetTrackCleanApertureDimensions(w, h));
    EXPECT_EQ(asserts.count, 1);
    EXPECT_TRUE(t.track->GetTrackProductionApertureDimensions(w, h));
    EXPECT_EQ(w, 2.0f);
}
