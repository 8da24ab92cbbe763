// Alias records whose tags run on past their record's end, over the data references behind.
#include <gtest/gtest.h>

#include "AliasAtoms.h"
#include "TrackTestSupport.h"

using namespace qttest;

namespace
{

OpenedTrack OpenWithEntries(const std::vector<Atom>& inEntries,
                            std::optional<uint32_t> inCount = std::nullopt)
{
    return OpenTrack(MovieWith({ReferringTrak("vide", DinfOf({Dref(inEntries, inCount)}))}));
}

// A record of 154 bytes whose one path tag claims inLength bytes: its data runs on past the
// record's end, over whatever follows.
Bytes ShortRecordWithLongTag(const std::string& inFileName, uint16_t inLength)
{
    AliasSpec alias = AliasTo(inFileName);
    alias.endTag = false;
    alias.recordLength = 154;
    Bytes record = AliasRecord(alias);
    record.resize(154);
    record[150] = 0;
    record[151] = 18; // path on the volume
    record[152] = uint8_t(inLength >> 8);
    record[153] = uint8_t(inLength);
    return record;
}

} // namespace

// With another data reference behind, a tag's data may not run into it.
TEST(HostileReferences, TagDataRunningIntoTheNextEntryGivesFalse)
{
    OpenedTrack opened =
        OpenWithEntries({AliasEntry(ShortRecordWithLongTag("a.mov", 40)), AliasEntry(AliasTo("b.mov"))});
    ASSERT_TRUE(opened.track);
    QT::ExternalReferenceMap references;
    EXPECT_FALSE(opened.track->CollectExternalReferences(references));
    EXPECT_TRUE(references.empty());
}

// The last data reference's tags may still run on past its record, inside the data references.
TEST(HostileReferences, TheLastRecordsTagMayRunPastItsEnd)
{
    Bytes record = ShortRecordWithLongTag("a.mov", 6);
    for (const char c : std::string("/x/y/z"))
        record.push_back(uint8_t(c));
    record.insert(record.end(), {0xFF, 0xFF, 0, 0}); // the next tag's head must lie inside too
    OpenedTrack opened = OpenWithEntries({AliasEntry(record)});
    ASSERT_TRUE(opened.track);
    QT::ExternalReferenceMap references;
    EXPECT_TRUE(opened.track->CollectExternalReferences(references));
    ASSERT_EQ(references.size(), 1u);
    EXPECT_EQ(references.begin()->first, u"/x/y/z");
}

// Well-formed records one behind another keep their answers.
TEST(HostileReferences, RecordsWhoseTagsStayInsideAreAllRead)
{
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov", "clips", "/Volumes/M", "/a/a.mov")),
                                          AliasEntry(AliasTo("b.mov", "clips"))});
    ASSERT_TRUE(opened.track);
    QT::ExternalReferenceMap references;
    EXPECT_TRUE(opened.track->CollectExternalReferences(references));
    ASSERT_EQ(references.size(), 2u);
    EXPECT_EQ(references.count(u"/Volumes/M/a/a.mov"), 1u);
    EXPECT_EQ(references.count(u"b.mov"), 1u);
}

// 6,000 records of 154 bytes, each with a tag of nearly 64 KiB over the records behind: read as
// text each time, they would cost 6,000 conversions of 64 KiB and as many keys of that length
// (gigabytes). The first record ends the walk.
TEST(HostileReferences, ManyShortRecordsWithLongTags)
{
    constexpr uint32_t kRecords = 6000;
    std::vector<Atom> entries;
    for (uint32_t i = 0; i < kRecords; ++i)
    {
        const std::string name = "f" + std::to_string(i);
        entries.push_back(AliasEntry(ShortRecordWithLongTag(name, 0xFFF0)));
    }
    for (int i = 0; i < 4; ++i)
        entries.push_back(AliasEntry(AliasTo("pad.mov", std::string(250, 'p'))));
    OpenedTrack opened = OpenWithEntries(entries);
    ASSERT_TRUE(opened.track);
    QT::ExternalReferenceMap references;
    EXPECT_FALSE(opened.track->CollectExternalReferences(references));
    EXPECT_TRUE(references.empty());
}
