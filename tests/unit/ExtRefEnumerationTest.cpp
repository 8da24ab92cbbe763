#include <gtest/gtest.h>

#include "AliasAtoms.h"
#include "QTExternalReferences.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

Atom DinfNaming(std::initializer_list<AliasSpec> inTargets)
{
    std::vector<Atom> entries;
    for (const AliasSpec& target : inTargets)
        entries.push_back(AliasEntry(target));
    return DinfOf({Dref(entries)});
}

Atom DinfNaming(const std::string& inFileName)
{
    return DinfNaming({AliasTo(inFileName)});
}

struct Enumerated
{
    bool allResult = false;
    QT::ExternalReferenceMap all;
    QT::TrackReferenceMap video, audio, timecode;
};

Enumerated Enumerate(const std::vector<Atom>& inTraks)
{
    Enumerated enumerated;
    Opened opened = OpenBytes(MovieWith(inTraks));
    EXPECT_EQ(opened.result, 0u);
    if (opened.result != 0)
        return enumerated;
    enumerated.allResult = QT::GetAllExternalReferences(opened.movie, enumerated.all);
    QT::GetExternalReferences(opened.movie, enumerated.video, enumerated.audio, enumerated.timecode);
    return enumerated;
}

using TrackPaths = std::vector<std::pair<uint32_t, std::u16string>>;

TrackPaths Entries(const QT::TrackReferenceMap& inMap)
{
    return {inMap.begin(), inMap.end()};
}

} // namespace

TEST(ExtRefEnumeration, TwoTracksNamingOneFileGiveOneEntryWithTheFirstTracksLevels)
{
    AliasSpec first = AliasTo("a.mov");
    first.levelFrom = 2;
    first.levelTo = 5;
    AliasSpec second = AliasTo("a.mov");
    second.levelFrom = 9;
    second.levelTo = 9;
    const Enumerated enumerated =
        Enumerate({ReferringTrak("vide", DinfNaming({first})), ReferringTrak("soun", DinfNaming({second}))});
    EXPECT_TRUE(enumerated.allResult);
    ASSERT_EQ(enumerated.all.size(), 1u);
    EXPECT_EQ(enumerated.all.at(u"a.mov").levelFrom, 2);
    EXPECT_EQ(enumerated.all.at(u"a.mov").levelTo, 5);
}

TEST(ExtRefEnumeration, DisabledVideoTrackIsInNoMap)
{
    const Enumerated enumerated = Enumerate({ReferringTrak("vide", DinfNaming("a.mov"), false)});
    EXPECT_TRUE(enumerated.allResult);
    EXPECT_TRUE(enumerated.all.empty());
    EXPECT_TRUE(enumerated.video.empty());
    EXPECT_TRUE(enumerated.audio.empty());
    EXPECT_TRUE(enumerated.timecode.empty());
}

TEST(ExtRefEnumeration, DisabledTimecodeTrackIsListed)
{
    const Enumerated enumerated = Enumerate({ReferringTrak("tmcd", DinfNaming("tc.mov"), false)});
    EXPECT_EQ(ReferenceKeys(enumerated.all), std::vector<std::u16string>{u"tc.mov"});
    EXPECT_EQ(Entries(enumerated.timecode), (TrackPaths{{0, u"tc.mov"}}));
    EXPECT_TRUE(enumerated.video.empty());
}

TEST(ExtRefEnumeration, EnabledTextTrackIsOnlyInTheMapOfAll)
{
    const Enumerated enumerated = Enumerate({ReferringTrak("text", DinfNaming("t.mov"))});
    EXPECT_EQ(ReferenceKeys(enumerated.all), std::vector<std::u16string>{u"t.mov"});
    EXPECT_TRUE(enumerated.video.empty());
    EXPECT_TRUE(enumerated.audio.empty());
    EXPECT_TRUE(enumerated.timecode.empty());
}

TEST(ExtRefEnumeration, VideoTrackWithTwoAliasesIsInNoTrackMap)
{
    const Enumerated enumerated =
        Enumerate({ReferringTrak("vide", DinfNaming({AliasTo("a.mov"), AliasTo("b.mov")}))});
    EXPECT_EQ(ReferenceKeys(enumerated.all), (std::vector<std::u16string>{u"a.mov", u"b.mov"}));
    EXPECT_TRUE(enumerated.video.empty());
}

TEST(ExtRefEnumeration, TwoVideoTracksNamingOneFile)
{
    const Enumerated enumerated =
        Enumerate({ReferringTrak("vide", DinfNaming("a.mov")), ReferringTrak("vide", DinfNaming("a.mov"))});
    EXPECT_EQ(ReferenceKeys(enumerated.all), std::vector<std::u16string>{u"a.mov"});
    EXPECT_EQ(Entries(enumerated.video), (TrackPaths{{0, u"a.mov"}, {1, u"a.mov"}}));
}

TEST(ExtRefEnumeration, TrackMapsAreKeyedByMovieTrackIndex)
{
    const Enumerated enumerated =
        Enumerate({ReferringTrak("soun", DinfNaming("s.mov")), ReferringTrak("vide", DinfNaming("v.mov"))});
    EXPECT_EQ(Entries(enumerated.video), (TrackPaths{{1, u"v.mov"}}));
    EXPECT_EQ(Entries(enumerated.audio), (TrackPaths{{0, u"s.mov"}}));
}

TEST(ExtRefEnumeration, BoundsFailureInTheThirdOfFiveTracksStopsTheWalk)
{
    AliasSpec broken = AliasTo("c.mov");
    broken.endTag = false;
    broken.recordLength = 400;
    const Enumerated enumerated =
        Enumerate({ReferringTrak("vide", DinfNaming("a.mov")), ReferringTrak("vide", DinfNaming("b.mov")),
                   ReferringTrak("vide", DinfNaming({broken})), ReferringTrak("vide", DinfNaming("d.mov")),
                   ReferringTrak("vide", DinfNaming("e.mov"))});
    EXPECT_FALSE(enumerated.allResult);
    EXPECT_EQ(ReferenceKeys(enumerated.all), (std::vector<std::u16string>{u"a.mov", u"b.mov"}));
    // The track maps ignore the failure and go on.
    EXPECT_EQ(Entries(enumerated.video),
              (TrackPaths{{0, u"a.mov"}, {1, u"b.mov"}, {3, u"d.mov"}, {4, u"e.mov"}}));
}

TEST(ExtRefEnumeration, MovieWithoutReferencesGivesTrueAndNothing)
{
    const Enumerated enumerated = Enumerate({Trak(TrackSpec{})});
    EXPECT_TRUE(enumerated.allResult);
    EXPECT_TRUE(enumerated.all.empty());
    EXPECT_TRUE(enumerated.video.empty());
}

TEST(ExtRefEnumeration, TrackMapEntryIsReplacedAndOthersKept)
{
    Opened opened = OpenBytes(MovieWith({ReferringTrak("vide", DinfNaming("a.mov"))}));
    ASSERT_EQ(opened.result, 0u);
    QT::TrackReferenceMap video{{0, u"old"}, {7, u"kept"}}, audio, timecode;
    QT::GetExternalReferences(opened.movie, video, audio, timecode);
    EXPECT_EQ(Entries(video), (TrackPaths{{0, u"a.mov"}, {7, u"kept"}}));
}

TEST(ExtRefEnumeration, NullMovieThrows)
{
    tenacore::classref::InterfaceRef<QT::IQTMovie> none;
    QT::ExternalReferenceMap all;
    QT::TrackReferenceMap video, audio, timecode;
    EXPECT_ANY_THROW(QT::GetAllExternalReferences(none, all));
    EXPECT_ANY_THROW(QT::GetExternalReferences(none, video, audio, timecode));
}
