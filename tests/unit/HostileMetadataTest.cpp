// A movie atom can hold millions of metadata items, each a node of an ordered map. The walk keeps
// the first 2^16 distinct keys, ending there as at a malformed item; repeats of a key cost nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AtomBuilder.h"
#include "Capture.h"
#include "MetadataAtoms.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

constexpr uint32_t kMostItems = 1u << 16;

Bytes MovieWithMoovExtra(const Atom& inExtra)
{
    return Build({Ftyp(), Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), inExtra}), Mdat()});
}

// A name-tagged text item whose key is the three bytes of inKey, as tags 0xA9xxxxxx give them.
Atom TaggedItem(uint32_t inKey)
{
    return MetadataItem(0xA9000000u | inKey, 1, TextBytes("v"));
}

QT::MetadataMap ItemsOf(const Opened& inOpened)
{
    QT::MetadataMap items;
    inOpened.movie->GetMetadataItems(items);
    return items;
}

} // namespace

TEST(HostileMetadata, TaggedItemsPastTheMostDistinctKeysEndTheWalk)
{
    std::vector<Atom> items;
    for (uint32_t i = 0; i < kMostItems + 5; ++i)
        items.push_back(TaggedItem(i + 1));
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(MovieWithMoovExtra(TaggedUdta(items)));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap found = ItemsOf(opened);
    EXPECT_EQ(found.size(), kMostItems);
    // The last kept key is that of item kMostItems, whose tag is kMostItems (0x010000).
    EXPECT_EQ(found.count(std::string("\x01\x00\x00", 3)), 1u);
    EXPECT_EQ(found.count(std::string("\x01\x00\x01", 3)), 0u);
    // The movie's user data behind its track is read twice, and each read ends at the same item.
    const std::string line =
        "5 QTSifter Malformed metadata item found: " + std::string("\x01\x00\x01", 3) + ".  Size: 1\r\n";
    EXPECT_EQ(trace.lines, (std::vector<std::string>{line, line}));
}

TEST(HostileMetadata, KeyedItemsPastTheMostDistinctKeysEndTheWalk)
{
    std::vector<std::string> keys;
    std::vector<Atom> items;
    for (uint32_t i = 0; i < kMostItems + 5; ++i)
    {
        keys.push_back("k" + std::to_string(i));
        items.push_back(MetadataItem(i + 1, 1, TextBytes("v")));
    }
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(MovieWithMoovExtra(KeyedMeta(Keys(keys), items)));
    ASSERT_EQ(opened.result, 0u);
    const QT::MetadataMap found = ItemsOf(opened);
    EXPECT_EQ(found.size(), kMostItems);
    EXPECT_EQ(found.count("k65535"), 1u);
    EXPECT_EQ(found.count("k65536"), 0u);
    EXPECT_EQ(trace.lines,
              (std::vector<std::string>{"5 QTSifter Malformed metadata item found: 65536.  Size: 1\r\n"}));
}

TEST(HostileMetadata, RepeatsOfOneKeyDoNotCountAgainstTheMost)
{
    std::vector<Atom> items(kMostItems * 2, TaggedItem(1));
    items.push_back(TaggedItem(2));
    TraceCapture trace("QTSifter");
    const Opened opened = OpenBytes(MovieWithMoovExtra(TaggedUdta(items)));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(ItemsOf(opened).size(), 2u);
    EXPECT_TRUE(trace.lines.empty());
}
