#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "AtomBuilder.h"
#include "Capture.h"
#include "QTFourCC.h"
#include "QTMovieFixer.h"
#include "QTMovieWalk.h"

using namespace qttest;

// Each rule of the movie walk, set apart from the parser's: the parser's answer first, then the
// answer under the changed rule, on the same bytes.

namespace
{

// An index over inMoov, as the loader leaves it for the walk.
QT::MovieIndex IndexOf(const Bytes& inMoov)
{
    QT::MovieIndex index;
    index.mooVAtom = std::make_shared<QTMooVAtom>();
    index.mooVAtom->buffer = tenacore::allocator::RecycledMemory::Create(inMoov.size());
    std::memcpy(index.mooVAtom->buffer->GetData(), inMoov.data(), inMoov.size());
    index.movieAtomSize = uint32_t(inMoov.size());
    return index;
}

struct Walked
{
    bool ok = false;
    QT::MovieIndex index;
};

Walked Walk(const Bytes& inMoov, const QT::WalkRules& inRules)
{
    Walked walked{false, IndexOf(inMoov)};
    walked.ok = QT::WalkMovieAtom(walked.index, inRules);
    return walked;
}

Bytes Moov(const std::vector<Atom>& inChildren)
{
    return MoovOf(inChildren).Build();
}

// The sample tables every kept track needs, and inExtra.
Atom StblOf(const std::vector<Atom>& inExtra = {})
{
    std::vector<Atom> tables = BasicSampleTables({{.sampleCount = 10, .duration = 100}});
    tables.insert(tables.end(), inExtra.begin(), inExtra.end());
    return Container("stbl", tables);
}

// A video track of the usual shape with inEdts ahead of mdia.
Atom EditedTrak(const Atom& inEdts)
{
    return TrakOfMedia({inEdts}, {Hdlr(Code("vide")), Container("minf", {Vmhd(), Dinf(), StblOf()})});
}

constexpr QT::WalkRules kParser = QT::kParserWalkRules;

} // namespace

TEST(WalkRules, EightBytesLeftAreEnoughOnlyUnderTheLowerMinimum)
{
    const Bytes moov = Moov({Trak(TrackSpec{}), Atom("udta").Children({Atom("abcd").U32(1), Atom("last")})});
    EXPECT_EQ(Walk(moov, kParser).index.userData.size(), 1u);
    const Walked lower = Walk(moov, {.minBytesLeft = 8});
    ASSERT_TRUE(lower.ok);
    ASSERT_EQ(lower.index.userData.size(), 2u);
    EXPECT_EQ(lower.index.userData[1].type, Code("last"));
    EXPECT_EQ(lower.index.userData[1].size, 0u);
}

TEST(WalkRules, ACompressedMovieIsExpandedOnlyWhenTheRulesSaySo)
{
    const Bytes moov = Atom("moov").Child(Cmov(Moov({Trak(TrackSpec{})}))).Build();
    const Walked parsed = Walk(moov, kParser);
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.index.trackItems.size(), 1u);
    EXPECT_FALSE(Walk(moov, {.expandCompressedMovie = false}).ok);
}

TEST(WalkRules, TheFirstChildOfEdtsIsTheEditListByTypeOrTakenAsOne)
{
    const Bytes moov = Moov(
        {EditedTrak(Atom("edts").Child(Atom("xlst").FullHeader(0).U32(1).U32(500).U32(0).U32(0x10000)))});
    const Walked parsed = Walk(moov, kParser);
    ASSERT_TRUE(parsed.ok);
    EXPECT_TRUE(parsed.index.trackItems.at(0).editList.empty());
    const Walked untested = Walk(moov, {.checkEditListType = false});
    ASSERT_TRUE(untested.ok);
    EXPECT_EQ(untested.index.trackItems.at(0).editList.size(), 1u);
}

TEST(WalkRules, EmptyEditsAreDroppedOrKept)
{
    const Bytes moov = Moov({EditedTrak(Atom("edts").Child(
        Elst({{.duration = 500, .mediaTime = 0xFFFFFFFF}, {.duration = 500, .mediaTime = 0}})))});
    EXPECT_EQ(Walk(moov, kParser).index.trackItems.at(0).editList.size(), 1u);
    EXPECT_EQ(Walk(moov, {.dropEmptyEdits = false}).index.trackItems.at(0).editList.size(), 2u);
}

TEST(WalkRules, AnExtendedLanguageAtomIsSteppedOverOrRefusesTheTrack)
{
    const Bytes moov = Moov({TrakOfMedia({}, {Atom("elng").FullHeader(0).Text("en"), Hdlr(Code("vide")),
                                              Container("minf", {Vmhd(), Dinf(), StblOf()})})});
    EXPECT_TRUE(Walk(moov, kParser).ok);
    EXPECT_FALSE(Walk(moov, {.skipExtendedLanguage = false}).ok);
}

TEST(WalkRules, TheMediaInformationHeaderIsFoundByTypeOrIsTheFirstChild)
{
    const Bytes moov = Moov({TrakOfMedia(
        {}, {Hdlr(Code("vide")), Container("minf", {Atom("abcd").U32(7), Vmhd(), Dinf(), StblOf()})})});
    const Walked parsed = Walk(moov, kParser);
    ASSERT_TRUE(parsed.ok);
    const QT::TrackItem& byType = parsed.index.trackItems.at(0);
    ASSERT_NE(byType.mediaInfoHeader, nullptr);
    EXPECT_EQ(QT::BE::U32(byType.mediaInfoHeader + 4), Code("vmhd"));
    const Walked first = Walk(moov, {.mediaInformation = QT::MediaInformationWalk::FirstChildIsHeader});
    ASSERT_TRUE(first.ok);
    const QT::TrackItem& byPlace = first.index.trackItems.at(0);
    ASSERT_NE(byPlace.mediaInfoHeader, nullptr);
    EXPECT_EQ(QT::BE::U32(byPlace.mediaInfoHeader + 4), Code("abcd"));
    EXPECT_NE(byPlace.dinf, nullptr);
    EXPECT_NE(byPlace.stsd, nullptr);
}

TEST(WalkRules, AnEmptyMediaInformationHasNoFirstChildToBeItsHeader)
{
    const Bytes moov = Moov({TrakOfMedia({}, {Hdlr(Code("clcp")), Container("minf", {})})});
    EXPECT_TRUE(Walk(moov, kParser).ok);
    EXPECT_FALSE(Walk(moov, {.mediaInformation = QT::MediaInformationWalk::FirstChildIsHeader}).ok);
}

TEST(WalkRules, ACaptionTrackWithoutTablesIsKeptOrRefused)
{
    const Bytes moov = Moov({TrakOfMedia({}, {Hdlr(Code("clcp")), Container("minf", {Atom("gmhd")})})});
    const Walked parsed = Walk(moov, kParser);
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.index.trackItems.size(), 1u);
    EXPECT_FALSE(Walk(moov, {.captionTracksNeedNoTables = false}).ok);
}

TEST(WalkRules, PartialSyncSamplesAreRecordedOrNot)
{
    const Atom stps = Stps({1});
    const Bytes moov =
        Moov({TrakOfMedia({}, {Hdlr(Code("vide")), Container("minf", {Vmhd(), Dinf(), StblOf({stps})})})});
    EXPECT_NE(Walk(moov, kParser).index.trackItems.at(0).stps, nullptr);
    EXPECT_EQ(Walk(moov, {.recordPartialSync = false}).index.trackItems.at(0).stps, nullptr);
}

TEST(WalkRules, ATrackWithoutMediaInformationHeaderIsKeptOrRefused)
{
    const Bytes moov = Moov({TrakOfMedia({}, {Hdlr(Code("vide")), Container("minf", {Dinf(), StblOf()})})});
    EXPECT_TRUE(Walk(moov, kParser).ok);
    EXPECT_FALSE(Walk(moov, {.requireMediaInfoHeader = true}).ok);
}

TEST(WalkRules, UserDataCollectsNameTaggedMetadataOrOnlyRecords)
{
    const Atom item = Atom(0xA96E616D).Child(Atom("data").U32(1).U32(0).Text("Title"));
    const Atom meta = Atom("meta").FullHeader(0).Child(Atom("ilst").Child(item));
    const Bytes moov = Moov({Trak(TrackSpec{}), Atom("udta").Child(meta)});
    const Walked parsed = Walk(moov, kParser);
    ASSERT_EQ(parsed.index.metadataItems.count("nam"), 1u);
    const Walked recorded = Walk(moov, {.userData = QT::UserDataWalk::RecordOnly});
    EXPECT_TRUE(recorded.index.metadataItems.empty());
    ASSERT_EQ(recorded.index.userData.size(), 1u);
    EXPECT_EQ(recorded.index.userData[0].type, Code("meta"));
}

TEST(WalkRules, MalformedKeyedMetadataIsReportedOnlyWhenChecked)
{
    // A key entry of size 4 cannot hold its own header.
    const Atom keys = Atom("keys").FullHeader(0).U32(1).U32(4).Type("mdta");
    const Atom meta = Atom("meta").Children({Atom("hdlr").Zeros(24), keys, Atom("ilst")});
    const Bytes moov = Moov({Trak(TrackSpec{}), meta});
    {
        TraceCapture trace("QTSifter");
        EXPECT_TRUE(Walk(moov, kParser).ok);
        EXPECT_EQ(trace.lines,
                  (std::vector<std::string>{"5 QTSifter Malformed metadata key found: 0.  Size: 4\r\n"}));
    }
    TraceCapture trace("QTSifter");
    EXPECT_TRUE(Walk(moov, {.checkKeyedMetadata = false}).ok);
    EXPECT_TRUE(trace.lines.empty());
}

TEST(WalkRules, AnSdtpJustBehindStblIsTakenOrLeft)
{
    const Atom minf = Container("minf", {Vmhd(), Dinf(), StblOf(), Sdtp({0x20})});
    const Bytes moov = Moov({TrakOfMedia({}, {Hdlr(Code("vide")), minf})});
    const Walked parsed = Walk(moov, kParser);
    ASSERT_TRUE(parsed.ok);
    const uint8_t* behind = parsed.index.trackItems.at(0).sdtp;
    ASSERT_NE(behind, nullptr);
    EXPECT_EQ(QT::BE::U32(behind + 4), Code("sdtp"));
    const Walked inside = Walk(moov, {.sdtpBehindSampleTable = false});
    ASSERT_TRUE(inside.ok);
    EXPECT_EQ(inside.index.trackItems.at(0).sdtp, nullptr);
}

TEST(WalkRules, AnSdtpInsideStblIsTakenUnderEitherSetting)
{
    const Atom minf = Container("minf", {Vmhd(), Dinf(), StblOf({Sdtp({0x20})})});
    const Bytes moov = Moov({TrakOfMedia({}, {Hdlr(Code("vide")), minf})});
    EXPECT_NE(Walk(moov, kParser).index.trackItems.at(0).sdtp, nullptr);
    EXPECT_NE(Walk(moov, {.sdtpBehindSampleTable = false}).index.trackItems.at(0).sdtp, nullptr);
}

TEST(WalkRules, TheFixerWalksWithEveryRuleTheOtherWay)
{
    const QT::WalkRules rules = QT::kFixerWalkRules;
    EXPECT_EQ(rules.minBytesLeft, 8u);
    EXPECT_FALSE(rules.expandCompressedMovie);
    EXPECT_FALSE(rules.checkEditListType);
    EXPECT_FALSE(rules.dropEmptyEdits);
    EXPECT_FALSE(rules.skipExtendedLanguage);
    EXPECT_EQ(rules.mediaInformation, QT::MediaInformationWalk::FirstChildIsHeader);
    EXPECT_FALSE(rules.captionTracksNeedNoTables);
    EXPECT_FALSE(rules.recordPartialSync);
    EXPECT_TRUE(rules.requireMediaInfoHeader);
    EXPECT_EQ(rules.userData, QT::UserDataWalk::RecordOnly);
    EXPECT_FALSE(rules.checkKeyedMetadata);
    EXPECT_FALSE(rules.sdtpBehindSampleTable);
}

TEST(WalkRules, TheSifterWalksUnderTheParsersRules)
{
    const QT::WalkRules rules = QT::kParserWalkRules;
    EXPECT_EQ(rules.minBytesLeft, 9u);
    EXPECT_TRUE(rules.expandCompressedMovie);
    EXPECT_TRUE(rules.checkEditListType);
    EXPECT_TRUE(rules.dropEmptyEdits);
    EXPECT_TRUE(rules.skipExtendedLanguage);
    EXPECT_EQ(rules.mediaInformation, QT::MediaInformationWalk::InLine);
    EXPECT_TRUE(rules.captionTracksNeedNoTables);
    EXPECT_TRUE(rules.recordPartialSync);
    EXPECT_FALSE(rules.requireMediaInfoHeader);
    EXPECT_EQ(rules.userData, QT::UserDataWalk::CollectNameTaggedMetadata);
    EXPECT_TRUE(rules.checkKeyedMetadata);
    EXPECT_TRUE(rules.sdtpBehindSampleTable);
}
