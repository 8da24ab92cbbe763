#include <gtest/gtest.h>

#include "AliasAtoms.h"
#include "QTFourCC.h"
#include "TrackTestSupport.h"
#include "tenacore/string.h"

using namespace qttest;

namespace
{

OpenedTrack OpenReferringTrack(const std::optional<Atom>& inDinf, const char (&inHandler)[5] = "vide")
{
    return OpenTrack(MovieWith({ReferringTrak(inHandler, inDinf)}));
}

OpenedTrack OpenWithEntries(const std::vector<Atom>& inEntries,
                            std::optional<uint32_t> inCount = std::nullopt)
{
    return OpenReferringTrack(DinfOf({Dref(inEntries, inCount)}));
}

struct Collected
{
    bool result = false;
    QT::ExternalReferenceMap references;
};

Collected Collect(OpenedTrack& ioTrack)
{
    Collected collected;
    collected.result = ioTrack.track->CollectExternalReferences(collected.references);
    return collected;
}

// A dinf whose dref states inDrefSize and holds inEntries' bytes.
Atom DinfWithDrefSize(const std::vector<Atom>& inEntries, uint32_t inDrefSize)
{
    Atom dref = Dref(inEntries);
    dref.SizeWord(inDrefSize);
    return DinfOf({dref});
}

} // namespace

TEST(ExtRefRecords, TrackWithoutDinfIsNotSelfContainedAndCollectsNothing)
{
    // Only a caption track may lack dinf, and then its sample tables too.
    OpenedTrack opened =
        OpenTrack(MovieWith({TrakWithDataInformation({.handler = Code("clcp"), .sampleTables = false}, {})}));
    ASSERT_TRUE(opened.track);
    EXPECT_FALSE(opened.track->IsDataSelfContained());
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, AliasFlaggedSelfContainedCollectsNothing)
{
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov"), 1)});
    EXPECT_TRUE(opened.track->IsDataSelfContained());
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, UrlWithFlagZeroIsNotSelfContainedAndCollectsNothing)
{
    OpenedTrack opened = OpenWithEntries({DataReferenceEntry("url ", 0, "file:///a.mov")});
    EXPECT_FALSE(opened.track->IsDataSelfContained());
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, EntryOfUnknownTypeCountsAsSelfContained)
{
    OpenedTrack opened = OpenWithEntries({DataReferenceEntry("hndl", 0, "xxxx")});
    EXPECT_TRUE(opened.track->IsDataSelfContained());
}

TEST(ExtRefRecords, EmptyOrSeveralEntriesAreNotSelfContained)
{
    EXPECT_FALSE(OpenWithEntries({}).track->IsDataSelfContained());
    EXPECT_FALSE(OpenWithEntries({DataReferenceEntry("url ", 1), DataReferenceEntry("url ", 1)})
                     .track->IsDataSelfContained());
}

TEST(ExtRefRecords, WalkStopsAtAnAliasFlaggedSelfContained)
{
    OpenedTrack opened =
        OpenWithEntries({AliasEntry(AliasTo("first.mov")), AliasEntry(AliasTo("second.mov"), 1),
                         AliasEntry(AliasTo("third.mov"))},
                        3);
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_EQ(ReferenceKeys(collected.references), std::vector<std::u16string>{u"first.mov"});
}

TEST(ExtRefRecords, RecordFieldsAreRead)
{
    AliasSpec spec = AliasTo("clip.mov", "clips", "/Volumes/Media", "/projects/clips/clip.mov");
    spec.levelFrom = 2;
    spec.levelTo = 3;
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    const Collected collected = Collect(opened);
    ASSERT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    const auto& [key, reference] = *collected.references.begin();
    EXPECT_EQ(key, u"/Volumes/Media/projects/clips/clip.mov");
    EXPECT_EQ(reference.aliasPath, key);
    EXPECT_EQ(reference.fileName, u"clip.mov");
    EXPECT_EQ(reference.directoryName, u"clips");
    EXPECT_EQ(reference.levelFrom, 2);
    EXPECT_EQ(reference.levelTo, 3);
}

TEST(ExtRefRecords, LevelsAreZeroExtended)
{
    AliasSpec spec = AliasTo("a.mov");
    spec.levelFrom = 0xFFFF;
    spec.levelTo = 0x8000;
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    const Collected collected = Collect(opened);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.levelFrom, 65535);
    EXPECT_EQ(collected.references.begin()->second.levelTo, 32768);
}

TEST(ExtRefRecords, WithoutPathTagTheAliasPathIsTheFileNameEvenWithMountPoint)
{
    OpenedTrack plain = OpenWithEntries({AliasEntry(AliasTo("a.mov"))});
    EXPECT_EQ(ReferenceKeys(Collect(plain).references), std::vector<std::u16string>{u"a.mov"});
    OpenedTrack mounted = OpenWithEntries({AliasEntry(AliasTo("b.mov", "", "/Volumes/Media"))});
    const Collected collected = Collect(mounted);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.aliasPath, u"b.mov");
}

TEST(ExtRefRecords, OddTagDataIsFollowedByOnePadByte)
{
    // A directory name of 5 bytes, its pad, then the path: read right only if the pad is stepped.
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov", "clips", "", "/x/a.mov"))});
    const Collected collected = Collect(opened);
    ASSERT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.directoryName, u"clips");
    EXPECT_EQ(collected.references.begin()->first, u"/x/a.mov");
}

TEST(ExtRefRecords, RepeatedTagKeepsTheLast)
{
    AliasSpec spec = AliasTo("a.mov", "first");
    spec.tags.push_back({kDirectoryNameTag, "second"});
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    EXPECT_EQ(Collect(opened).references.begin()->second.directoryName, u"second");
}

TEST(ExtRefRecords, RecordsSharingAliasPathKeepTheFirst)
{
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov", "first", "", "/v/a.mov")),
                                          AliasEntry(AliasTo("a.mov", "second", "", "/v/a.mov"))});
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.directoryName, u"first");
}

TEST(ExtRefRecords, AnEntryAlreadyInTheCallersMapStays)
{
    QT::ExternalReferenceMap references;
    references[u"a.mov"] = {u"a.mov", u"mine", u"a.mov", 7, 7};
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov", "clips"))});
    EXPECT_TRUE(opened.track->CollectExternalReferences(references));
    EXPECT_EQ(references.at(u"a.mov").directoryName, u"mine");
    EXPECT_EQ(references.at(u"a.mov").levelFrom, 7);
}

TEST(ExtRefRecords, InvalidUtf8NameGoesToTheConversionAsItStands)
{
    AliasSpec spec = AliasTo(std::string("a\xFF\xFE.mov", 7));
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    const Collected collected = Collect(opened);
    ASSERT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.fileName,
              tenacore::string::UTF8to16(std::string_view("a\xFF\xFE.mov", 7)));
}

TEST(ExtRefRecords, NextEntryIsFoundByTheRecordLengthNotTheEntrySize)
{
    Atom first = AliasEntry(AliasTo("first.mov"));
    first.Zeros(20); // slack behind the record that the entry size covers
    OpenedTrack opened = OpenWithEntries({first, AliasEntry(AliasTo("second.mov"))});
    const Collected collected = Collect(opened);
    // The walk lands in the slack, reads zeros as an entry of type 0 and ends there.
    EXPECT_TRUE(collected.result);
    EXPECT_EQ(ReferenceKeys(collected.references), std::vector<std::u16string>{u"first.mov"});
}

TEST(ExtRefRecords, AliasBehindAForeignEntryIsNeverReached)
{
    OpenedTrack opened =
        OpenWithEntries({DataReferenceEntry("url ", 0, "file:///x.mov"), AliasEntry(AliasTo("a.mov"))});
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, SingleReferenceGivesItsAliasPath)
{
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov", "", "/Volumes/M", "/a.mov"))});
    std::u16string path;
    EXPECT_TRUE(opened.track->GetSingleExternalReference(&path));
    EXPECT_EQ(path, u"/Volumes/M/a.mov");
    EXPECT_TRUE(opened.track->GetSingleExternalReference(nullptr));
}

TEST(ExtRefRecords, TwoTargetsOrNoneAreNoSingleReference)
{
    std::u16string path = u"untouched";
    OpenedTrack two = OpenWithEntries({AliasEntry(AliasTo("a.mov")), AliasEntry(AliasTo("b.mov"))});
    EXPECT_FALSE(two.track->GetSingleExternalReference(&path));
    OpenedTrack none = OpenWithEntries({AliasEntry(AliasTo("a.mov"), 1)});
    EXPECT_FALSE(none.track->GetSingleExternalReference(&path));
    EXPECT_EQ(path, u"untouched");
}

TEST(ExtRefRecords, OneTargetNamedTwiceIsASingleReference)
{
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov")), AliasEntry(AliasTo("a.mov"))});
    std::u16string path;
    EXPECT_TRUE(opened.track->GetSingleExternalReference(&path));
    EXPECT_EQ(path, u"a.mov");
}

// Bounds of the dref data.

TEST(ExtRefRecords, EntryHeaderPastTheDrefGivesFalse)
{
    // Two entries promised, one there: the second header lies past the dref's end.
    OpenedTrack opened = OpenWithEntries({AliasEntry(AliasTo("a.mov"))}, 2);
    const Collected collected = Collect(opened);
    EXPECT_FALSE(collected.result);
    EXPECT_EQ(ReferenceKeys(collected.references), std::vector<std::u16string>{u"a.mov"});
    EXPECT_FALSE(opened.track->GetSingleExternalReference(nullptr));
}

TEST(ExtRefRecords, RecordShorterThanItsTagListStartGivesFalse)
{
    Bytes record = AliasRecord(AliasTo("a.mov"));
    record.resize(140);
    OpenedTrack opened = OpenWithEntries({AliasEntry(record)});
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, TagDataPastTheDrefGivesFalse)
{
    AliasSpec spec = AliasTo("a.mov", "clips");
    spec.endTag = false;
    Bytes record = AliasRecord(spec);
    record[150 + 3] = 200; // the directory tag claims 200 bytes
    OpenedTrack opened = OpenWithEntries({AliasEntry(record)});
    const Collected collected = Collect(opened);
    EXPECT_FALSE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, NextTagHeadPastTheDrefGivesFalse)
{
    AliasSpec spec = AliasTo("a.mov", "clips");
    spec.endTag = false;
    spec.recordLength = 400; // the record claims more than the data holds
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, TagWalkEndsAtTheRecordEndWithoutEndTag)
{
    AliasSpec spec = AliasTo("a.mov", "clips");
    spec.endTag = false;
    Bytes record = AliasRecord(spec);
    record.insert(record.end(), 8, 0xEE); // bytes behind the record, inside the dref
    OpenedTrack opened = OpenWithEntries({AliasEntry(record)});
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.directoryName, u"clips");
}

// Guards against hostile sizes and counts.

TEST(ExtRefRecords, TagWalkEndsWhenItPassesTheRecordEnd)
{
    // The record's length ends it inside its directory tag's data: the walk passes the end in one
    // step and must stop there rather than read the bytes behind as a tag.
    AliasSpec spec = AliasTo("a.mov", "clipsfolder", "", "/x/a.mov");
    spec.recordLength = 150 + 6;
    Bytes record = AliasRecord(spec);
    OpenedTrack opened = OpenWithEntries({AliasEntry(record)}, 1);
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    ASSERT_EQ(collected.references.size(), 1u);
    EXPECT_EQ(collected.references.begin()->second.directoryName, u"clipsfolder");
    EXPECT_EQ(collected.references.begin()->first, u"a.mov"); // the path tag behind was not read
}

TEST(ExtRefRecords, NameBytesPastTheRecordGiveFalse)
{
    AliasSpec spec = AliasTo("a.mov");
    spec.nameLength = 255;
    spec.recordLength = 160; // the name would run to 306
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, NameBytesPastTheDataReferencesGiveFalse)
{
    // A record of 154 bytes that claims 65,280: a name of 255 bytes would run past the dref and
    // dinf into the atoms behind.
    AliasSpec spec = AliasTo("a.mov");
    spec.nameLength = 255;
    spec.recordLength = 0xFF00;
    OpenedTrack opened = OpenWithEntries({AliasEntry(spec)});
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, DrefSizeWordPastDinfIsHeldToDinf)
{
    // The dref claims 1 MiB; the record's tag list claims far more than dinf holds.
    AliasSpec spec = AliasTo("a.mov", "clips");
    spec.endTag = false;
    spec.recordLength = 0xFFFF;
    OpenedTrack opened = OpenReferringTrack(DinfWithDrefSize({AliasEntry(spec)}, 1u << 20));
    ASSERT_TRUE(opened.track);
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, ForeignFirstEntryWithHugeCountEndsAtOnce)
{
    // 2^32 - 1 repetitions on one url entry: the walk must end with the answer it would reach.
    OpenedTrack opened = OpenWithEntries({DataReferenceEntry("url ", 0)}, 0xFFFFFFFF);
    const Collected collected = Collect(opened);
    EXPECT_TRUE(collected.result);
    EXPECT_TRUE(collected.references.empty());
}

TEST(ExtRefRecords, ForeignEntryPastTheDrefStillGivesFalse)
{
    // The entry's header lies past the dref's stated end: false, as every repetition would say.
    OpenedTrack opened = OpenReferringTrack(DinfWithDrefSize({DataReferenceEntry("url ", 0)}, 20));
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, SelfContainedReadsAreHeldToDinf)
{
    // A dinf of 30 bytes whose count says 1: the type and flag lie past dinf, inside other atoms.
    Atom dinf("dinf");
    dinf.U32(100).Type("dref").FullHeader().U32(1).U16(0x5a5a);
    OpenedTrack opened = OpenReferringTrack(dinf);
    ASSERT_TRUE(opened.track);
    EXPECT_FALSE(opened.track->IsDataSelfContained());
    EXPECT_FALSE(Collect(opened).result);
}

TEST(ExtRefRecords, SelfContainedTypePastDinfIsNotRead)
{
    // dinf ends behind the count; the atom that follows is of type hndl, which read as the entry's
    // type would count as self-contained.
    Atom dinf("dinf");
    dinf.U32(16).Type("dref").FullHeader().U32(1);
    const Atom trak = TrakWithDataInformation({}, {dinf, Atom("hndl").Zeros(8)});
    OpenedTrack opened = OpenTrack(MovieWith({trak}));
    ASSERT_TRUE(opened.track);
    EXPECT_FALSE(opened.track->IsDataSelfContained());
    EXPECT_FALSE(Collect(opened).result);
}
