#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "AtomBuilder.h"
#include "Capture.h"
#include "MetadataAtoms.h"
#include "TestFiles.h"
#include "tenacore/trace.h"

using namespace qttest;

namespace
{

// A one-track movie with extra moov children behind the track, and extra trak children.
Bytes MovieWithMetadata(const std::vector<Atom>& inMoovExtras, const std::vector<Atom>& inTrakExtras = {})
{
    Atom trak = Trak(TrackSpec{});
    for (const Atom& extra : inTrakExtras)
        trak.Child(extra);
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), trak});
    for (const Atom& extra : inMoovExtras)
        moov.Child(extra);
    return Build({Ftyp(), moov, Mdat()});
}

QT::MetadataMap ItemsOf(const Opened& inOpened)
{
    QT::MetadataMap items;
    inOpened.movie->GetMetadataItems(items);
    return items;
}

const uint32_t kCopyrightTitle = 0xA96E616D; // "\xA9nam"

} // namespace

TEST(Metadata, KeyedItemsOfEveryTypeCodeAreDecoded)
{
    const Opened opened = OpenBytes(MovieWithMetadata(
        {KeyedMeta(Keys({"bin", "utf8", "wide", "s1", "s2", "s4", "u1", "u2", "u4", "f32", "f64"}),
                   {MetadataItem(1, 0, {1, 2, 3}), MetadataItem(2, 1, TextBytes("caf\xC3\xA9")),
                    MetadataItem(3, 2, {0, 'A', 0, 'B'}), MetadataItem(4, 0x15, {0xFF}),
                    MetadataItem(5, 0x15, {0xFF, 0xFE}), MetadataItem(6, 0x15, {0x80, 0, 0, 1}),
                    MetadataItem(7, 0x16, {0xFF}), MetadataItem(8, 0x16, {0xFF, 0xFE}),
                    MetadataItem(9, 0x16, {0x80, 0, 0, 1}), MetadataItem(10, 0x17, {0x3F, 0xC0, 0, 0}),
                    MetadataItem(11, 0x18, {0x40, 0x09, 0x21, 0xFB, 0x54, 0x44, 0x2D, 0x18})})}));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap items = ItemsOf(opened);
    ASSERT_EQ(items.size(), 11u);
    EXPECT_EQ(std::get<MK::BinaryData>(items.at("bin").value), MK::BinaryData("\x01\x02\x03", 3));
    EXPECT_EQ(std::get<std::string>(items.at("utf8").value), "caf\xC3\xA9");
    EXPECT_EQ(std::get<std::u16string>(items.at("wide").value), std::u16string(u"\0A\0B", 4));
    EXPECT_EQ(std::get<int32_t>(items.at("s1").value), -1);
    EXPECT_EQ(std::get<int32_t>(items.at("s2").value), -2);
    EXPECT_EQ(std::get<int32_t>(items.at("s4").value), int32_t(0x80000001));
    EXPECT_EQ(std::get<uint32_t>(items.at("u1").value), 0xFFu);
    EXPECT_EQ(std::get<uint32_t>(items.at("u2").value), 0xFFFEu);
    EXPECT_EQ(std::get<uint32_t>(items.at("u4").value), 0x80000001u);
    EXPECT_EQ(std::get<float>(items.at("f32").value), 1.5f);
    EXPECT_DOUBLE_EQ(std::get<double>(items.at("f64").value), 3.141592653589793);
    EXPECT_EQ(items.at("s1").typeCode, 0x15);
    EXPECT_EQ(items.at("u1").typeCode, 0x16);
}

TEST(Metadata, KeyedOffsetsPointAtTheValueBytesInTheLoadedAtom)
{
    const Opened opened =
        OpenBytes(MovieWithMetadata({KeyedMeta(Keys({"k"}), {MetadataItem(1, 1, TextBytes("value"))})}));
    uint32_t offset = 0;
    ASSERT_TRUE(opened.movie->GetMetadataValueOffset("k", offset));
    MK::BinaryData whole;
    // The loaded atom is not exposed whole; its tail is: the value is the last thing in moov.
    EXPECT_EQ(offset + 5, opened.movie->GetMovieAtomSize());
    EXPECT_FALSE(opened.movie->GetMetadataValueOffset("missing", offset));
    QT::MetadataValue value;
    EXPECT_TRUE(opened.movie->GetMetadataValue("k", value));
    EXPECT_FALSE(opened.movie->GetMetadataValue("missing", value));
}

TEST(Metadata, KeyedFormWithoutHandlerYieldsNothingSilently)
{
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(MovieWithMetadata(
        {Atom("meta").Children({Keys({"k"}), Ilst({MetadataItem(1, 1, TextBytes("value"))})})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
    EXPECT_TRUE(trace.lines.empty());
}

// The ilst lies right behind keys and hdlr comes after it: a walk that stepped over keys would
// reach hdlr and take the item. From the count word (1) the walk crawls off and never gets there.
TEST(Metadata, KeysBeforeHandlerSendsTheWalkIntoTheCountWord)
{
    const Opened opened = OpenBytes(MovieWithMetadata({Atom("meta").Children(
        {Keys({"k"}), Ilst({MetadataItem(1, 1, TextBytes("value"))}), Hdlr(Code("mdta"))})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
}

// The count word (13) read as a size lands on an hdlr that lies inside keys, behind the one key:
// only a walk that goes on at the count word finds it. The hdlr's bytes are then read as a second
// key, and the ilst's size word as a third that runs past keys.
TEST(Metadata, HandlerInsideKeysIsFoundFromTheCountWord)
{
    TraceCapture trace("QTSifter");
    const Atom hdlr = Hdlr(Code("mdta"));
    Atom keys("keys");
    keys.FullHeader().U32(13).U32(9).Type("mdta").Text("k").Child(hdlr);
    const Atom ilst = Ilst({MetadataItem(1, 1, TextBytes("value"))});
    const Opened opened = OpenBytes(MovieWithMetadata({Atom("meta").Children({keys, ilst})}));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap items = ItemsOf(opened);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(std::get<std::string>(items.at("k").value), "value");
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QTSifter Malformed metadata key found: 2.  Size: " +
                                                     std::to_string(ilst.Size()) + "\r\n"}));
}

TEST(Metadata, AnAtomBetweenKeysAndIlstMeansNoKeyedItems)
{
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(
        MovieWithMetadata({Atom("meta").Children({Hdlr(Code("mdta")), Keys({"k"}), Atom("skip").U32(0),
                                                  Ilst({MetadataItem(1, 1, TextBytes("value"))})})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
    EXPECT_TRUE(trace.lines.empty());
}

TEST(Metadata, KeyTableBrokenAtEntryThreeKeepsThreeKeys)
{
    TraceCapture trace("QTSifter");
    Atom keys("keys");
    keys.FullHeader().U32(5);
    for (const std::string key : {"a", "b", "c"})
        keys.U32(9).Type("mdta").Text(key);
    keys.U32(0x7FFF).Type("mdta").Text("d"); // runs past the atom
    const Opened opened = OpenBytes(MovieWithMetadata(
        {KeyedMeta(keys, {MetadataItem(1, 1, TextBytes("1")), MetadataItem(4, 1, TextBytes("4")),
                          MetadataItem(3, 1, TextBytes("3")), MetadataItem(2, 1, TextBytes("2"))})}));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap items = ItemsOf(opened);
    // Three keys bound the walk to three items: "1", the stepped-over "4", and "3".
    EXPECT_EQ(items.size(), 2u);
    EXPECT_EQ(std::get<std::string>(items.at("a").value), "1");
    EXPECT_EQ(std::get<std::string>(items.at("c").value), "3");
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTSifter Malformed metadata key found: 3.  Size: 32767\r\n"}));
}

TEST(Metadata, SurplusItemsBeyondTheKeyCountAreNeverRead)
{
    const Opened opened = OpenBytes(MovieWithMetadata(
        {KeyedMeta(Keys({"a", "b"}), {MetadataItem(1, 1, TextBytes("1")), MetadataItem(2, 1, TextBytes("2")),
                                      MetadataItem(1, 0x99, TextBytes("x"))})}));
    EXPECT_EQ(ItemsOf(opened).size(), 2u);
}

TEST(Metadata, FirstValueStaysForRepeatedKeysInBothMaps)
{
    const Opened opened = OpenBytes(
        MovieWithMetadata({KeyedMeta(Keys({"k", "k"}), {MetadataItem(1, 1, TextBytes("first")),
                                                        MetadataItem(2, 1, TextBytes("second"))})}));
    const QT::MetadataMap items = ItemsOf(opened);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(std::get<std::string>(items.at("k").value), "first");
    uint32_t offset = 0;
    ASSERT_TRUE(opened.movie->GetMetadataValueOffset("k", offset));
    // The first item's value, not the second's (which is the last thing in the atom).
    EXPECT_LT(offset + 6, opened.movie->GetMovieAtomSize());
}

TEST(Metadata, IntegerOfOddLengthHasAnOffsetButNoValue)
{
    const Opened opened =
        OpenBytes(MovieWithMetadata({KeyedMeta(Keys({"odd"}), {MetadataItem(1, 0x15, {1, 2, 3})})}));
    QT::MetadataValue value;
    EXPECT_FALSE(opened.movie->GetMetadataValue("odd", value));
    uint32_t offset = 0;
    EXPECT_TRUE(opened.movie->GetMetadataValueOffset("odd", offset));
}

TEST(Metadata, ShortFloatStillReadsItsFullWidth)
{
    // A two-byte float payload followed by two bytes behind the item, inside the ilst. One key
    // means one item is read, so the trailing bytes are never taken for an item.
    Atom ilst = Ilst({MetadataItem(1, 0x17, {0x3F, 0x80})});
    ilst.Raw({0x12, 0x34});
    const Opened opened =
        OpenBytes(MovieWithMetadata({Atom("meta").Children({Hdlr(Code("mdta")), Keys({"f"}), ilst})}));
    QT::MetadataValue value;
    ASSERT_TRUE(opened.movie->GetMetadataValue("f", value));
    const uint32_t bits = 0x3F801234;
    float expected;
    std::memcpy(&expected, &bits, sizeof expected);
    EXPECT_EQ(std::get<float>(value.value), expected);
}

TEST(Metadata, ShortFloatAtTheEndOfTheBufferReadsNothingOutside)
{
    // The float is the last payload of moov, and moov the last atom of the file.
    Atom trak = Trak(TrackSpec{});
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), trak,
                   KeyedMeta(Keys({"f", "d"}), {MetadataItem(1, 0x18, {0x3F}), MetadataItem(2, 0x17, {1})})});
    const Opened opened = OpenBytes(Build({Ftyp(), moov}));
    ASSERT_EQ(opened.result, 0u);
    QT::MetadataValue value;
    EXPECT_TRUE(opened.movie->GetMetadataValue("f", value)); // 8 bytes lie inside the buffer
    EXPECT_FALSE(opened.movie->GetMetadataValue("d", value));
    uint32_t offset = 0;
    EXPECT_TRUE(opened.movie->GetMetadataValueOffset("d", offset));
}

TEST(Metadata, WideTextTakesOneUnitPerByte)
{
    const Opened opened = OpenBytes(
        MovieWithMetadata({KeyedMeta(Keys({"w"}), {MetadataItem(1, 2, {0xFE, 0xFF, 0x00, 0x48})})}));
    QT::MetadataValue value;
    ASSERT_TRUE(opened.movie->GetMetadataValue("w", value));
    EXPECT_EQ(std::get<std::u16string>(value.value), (std::u16string{0xFE, 0xFF, 0x00, 0x48}));
}

TEST(Metadata, OffsetOfAnotherAlternativeRaisesBadVariantAccessNever)
{
    const Opened opened =
        OpenBytes(MovieWithMetadata({KeyedMeta(Keys({"k"}), {MetadataItem(1, 1, TextBytes("v"))})}));
    uint32_t offset = 0;
    EXPECT_NO_THROW(opened.movie->GetMetadataValueOffset("k", offset));
    QT::MetadataValue value;
    ASSERT_TRUE(opened.movie->GetMetadataValue("k", value));
    EXPECT_THROW((void)std::get<uint32_t>(value.value), std::bad_variant_access);
}

TEST(Metadata, NameTaggedTextIsKeyedByItsLastThreeBytes)
{
    const Opened opened =
        OpenBytes(MovieWithMetadata({TaggedUdta({MetadataItem(kCopyrightTitle, 1, TextBytes("A title"))})}));
    ASSERT_EQ(opened.result, 0u);
    QT::MetadataValue value;
    ASSERT_TRUE(opened.movie->GetMetadataValue("nam", value));
    EXPECT_EQ(value.typeCode, 1);
    EXPECT_EQ(std::get<std::string>(value.value), "A title");
    uint32_t offset = 0;
    EXPECT_FALSE(opened.movie->GetMetadataValueOffset("nam", offset));
}

TEST(Metadata, NameTaggedNonTextStoresAndReportsNothing)
{
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(MovieWithMetadata(
        {TaggedUdta({MetadataItem(Code("tmpo"), 0x15, {0, 120}), MetadataItem(Code("cpil"), 0, {1})})}));
    EXPECT_TRUE(ItemsOf(opened).empty());
    EXPECT_TRUE(trace.lines.empty());
}

TEST(Metadata, TrackUserDataComesFirstThenMovieUserDataThenKeyedItems)
{
    const Opened opened = OpenBytes(
        MovieWithMetadata({TaggedUdta({MetadataItem(Code("xnam"), 1, TextBytes("movie")),
                                       MetadataItem(Code("xart"), 1, TextBytes("movie artist"))}),
                           KeyedMeta(Keys({"nam", "day"}), {MetadataItem(1, 1, TextBytes("keyed")),
                                                            MetadataItem(2, 1, TextBytes("2026"))})},
                          {TaggedUdta({MetadataItem(kCopyrightTitle, 1, TextBytes("track"))})}));
    const QT::MetadataMap items = ItemsOf(opened);
    EXPECT_EQ(std::get<std::string>(items.at("nam").value), "track");
    EXPECT_EQ(std::get<std::string>(items.at("art").value), "movie artist");
    EXPECT_EQ(std::get<std::string>(items.at("day").value), "2026");
}

TEST(Metadata, MovieUserDataBehindTheLastTrackIsReadTwiceAndReportedTwice)
{
    TraceCapture trace("QTSifter");
    Atom broken = MetadataItem(kCopyrightTitle, 1, TextBytes("over"));
    Atom ilst("ilst");
    const Bytes item = broken.Build();
    Bytes overrun = item;
    overrun[3] += 4; // one item running 4 bytes past its ilst
    ilst.Raw(overrun);
    Atom udta("udta");
    udta.Child(Atom("meta").FullHeader().Child(ilst)).Zeros(8);
    const Opened opened = OpenBytes(MovieWithMetadata({udta}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
    const std::string line = "5 QTSifter Malformed metadata item found: nam.  Size: 8\r\n";
    EXPECT_EQ(trace.lines, (std::vector<std::string>{line, line}));
}

TEST(Metadata, KeyedItemRunningPastItsIlstIsReportedByOrdinal)
{
    TraceCapture trace("QTSifter");
    Atom item = MetadataItem(2, 1, TextBytes("long"));
    Bytes bytes = item.Build();
    bytes[3] += 16;
    Atom ilst("ilst");
    ilst.Child(MetadataItem(1, 1, TextBytes("ok"))).Raw(bytes);
    Atom meta("meta");
    meta.Children({Hdlr(Code("mdta")), Keys({"a", "b"}), ilst}).Zeros(16);
    const Opened opened = OpenBytes(MovieWithMetadata({meta}));
    EXPECT_EQ(ItemsOf(opened).size(), 1u);
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTSifter Malformed metadata item found: 1.  Size: 20\r\n"}));
}

TEST(Metadata, NameTaggedItemOfSizeZeroEndsItsIlst)
{
    Atom ilst("ilst");
    ilst.Child(MetadataItem(kCopyrightTitle, 1, TextBytes("before")))
        .U32(0)
        .Type("\xA9"
              "art")
        .Zeros(16);
    Atom udta("udta");
    udta.Child(Atom("meta").FullHeader().Child(ilst));
    const Opened opened = OpenBytes(MovieWithMetadata({udta}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(ItemsOf(opened).size(), 1u);
}

// An item of size 0 never moves the keyed walk on, but each pass counts against the keys: of three
// passes the first item takes one and the empty item the other two. The item behind it is never reached.
TEST(Metadata, KeyedItemOfSizeZeroEndsTheWalkAfterOnePassPerKey)
{
    TraceCapture trace("QTSifter");
    Atom ilst("ilst");
    ilst.Child(MetadataItem(1, 1, TextBytes("first")))
        .U32(0)
        .U32(2)
        .U32(24)
        .Type("data")
        .U32(1)
        .U32(0)
        .Child(MetadataItem(3, 1, TextBytes("third")));
    const Opened opened = OpenBytes(
        MovieWithMetadata({Atom("meta").Children({Hdlr(Code("mdta")), Keys({"a", "b", "c"}), ilst})}));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap items = ItemsOf(opened);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(std::get<std::string>(items.at("a").value), "first");
    EXPECT_TRUE(trace.lines.empty());
}

TEST(Metadata, MetaDirectlyUnderTrakAndDeepUserDataAreNotLookedAt)
{
    const Opened opened = OpenBytes(MovieWithMetadata(
        {Atom("udta").Child(Atom("udta").Child(
            Atom("meta").FullHeader().Child(Ilst({MetadataItem(Code("xdep"), 1, TextBytes("deep"))}))))},
        {Atom("meta").FullHeader().Child(Ilst({MetadataItem(Code("xtrk"), 1, TextBytes("trak meta"))}))}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
}

TEST(Metadata, NegativeKeyCountIsAMalformedKeyTable)
{
    TraceCapture trace("QTSifter");
    Atom keys("keys");
    keys.FullHeader().U32(0x80000001).U32(9).Type("mdta").Text("a");
    const Opened opened =
        OpenBytes(MovieWithMetadata({KeyedMeta(keys, {MetadataItem(1, 1, TextBytes("1"))})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_TRUE(ItemsOf(opened).empty());
    EXPECT_EQ(trace.lines, (std::vector<std::string>{
                               "5 QTSifter Malformed metadata key found: 0.  Size: -2147483647\r\n"}));
}

TEST(Metadata, HugeKeyCountKeepsTheKeysThatFit)
{
    TraceCapture trace("QTSifter");
    Atom keys("keys");
    keys.FullHeader().U32(0x7FFFFFFF).U32(9).Type("mdta").Text("a");
    const Opened opened =
        OpenBytes(MovieWithMetadata({KeyedMeta(keys, {MetadataItem(1, 1, TextBytes("1"))})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(ItemsOf(opened).size(), 1u);
    ASSERT_EQ(trace.lines.size(), 1u);
    EXPECT_EQ(trace.lines[0].rfind("5 QTSifter Malformed metadata key found: 1.  Size: ", 0), 0u);
}

class KeyEntryTooShortForItsHeader : public testing::TestWithParam<uint32_t>
{
};

TEST_P(KeyEntryTooShortForItsHeader, IsMalformed)
{
    const uint32_t size = GetParam();
    TraceCapture trace("QTSifter");
    Atom keys("keys");
    keys.FullHeader().U32(2).U32(9).Type("mdta").Text("a").U32(size).Type("mdta");
    const Opened opened = OpenBytes(MovieWithMetadata(
        {KeyedMeta(keys, {MetadataItem(1, 1, TextBytes("1")), MetadataItem(2, 1, TextBytes("2"))})}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(ItemsOf(opened).size(), 1u);
    EXPECT_EQ(trace.lines, (std::vector<std::string>{"5 QTSifter Malformed metadata key found: 1.  Size: " +
                                                     std::to_string(size) + "\r\n"}));
}

INSTANTIATE_TEST_SUITE_P(Metadata, KeyEntryTooShortForItsHeader, testing::Range(0u, 8u));

TEST(Metadata, DisabledTracingBuildsNoMessageAndAsksOnce)
{
    Atom keys("keys");
    keys.FullHeader().U32(0x80000000);
    const Bytes movie = MovieWithMetadata({KeyedMeta(keys, {})});
    tenacore::debug::ResetTraceSettings();
    OpenBytes(movie);
    const uint64_t asked = tenacore::debug::TraceEnabledQueryCount();
    OpenBytes(movie);
    OpenBytes(movie);
    EXPECT_EQ(tenacore::debug::TraceEnabledQueryCount(), asked);
}
