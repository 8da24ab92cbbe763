// The index a parse builds (tracks, user data, metadata) is handed to the movie, not copied: a
// hostile movie of millions of items would otherwise be held twice at once.
#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "MetadataAtoms.h"
#include "SifterProbe.h"

using namespace qttest;

TEST(HostileIndex, TheSifterHandsItsIndexToTheMovie)
{
    Atom udta("udta");
    udta.Children({Atom("aaaa").U32(1), Atom("bbbb").U32(2), Atom("cccc").U32(3)});
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), Trak(TrackSpec{}), udta,
                   KeyedMeta(Keys({"k1", "k2"}),
                             {MetadataItem(1, 1, TextBytes("one")), MetadataItem(2, 1, TextBytes("two"))})});
    const Probe probe = ProbeMakeMovie(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(probe.result, 0u);

    // The movie has everything ...
    EXPECT_EQ(probe.movie->GetTrackCount(), 1u);
    EXPECT_EQ(probe.movie->GetUserDataCount(), 3u);
    QT::MetadataMap items;
    probe.movie->GetMetadataItems(items);
    EXPECT_EQ(items.size(), 2u);
    uint32_t offset = 0;
    EXPECT_TRUE(probe.movie->GetMetadataValueOffset("k2", offset));
    // ... and the sifter keeps no second copy.
    EXPECT_TRUE(probe.sifter->trackItems.empty());
    EXPECT_TRUE(probe.sifter->userData.empty());
    EXPECT_TRUE(probe.sifter->metadataItems.empty());
    EXPECT_TRUE(probe.sifter->metadataKeys.empty());
}

// A second parse on one sifter still adds to the first one's index, which comes back as a copy.
TEST(HostileIndex, ASecondParseStillAddsToTheFirstIndex)
{
    Atom udta("udta");
    udta.Children({Atom("aaaa").U32(1), Atom("bbbb").U32(2)});
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000), Trak(TrackSpec{}), udta});
    TempFile file(Build({Ftyp(), moov, Mdat()}));
    Probe probe;
    tenacore::classref::InterfaceRef<QT::IQTMovie> first, second;
    ASSERT_EQ(probe.sifter->MakeMovie(file.WidePath(), first), 0u);
    ASSERT_EQ(probe.sifter->MakeMovie(file.WidePath(), second), 0u);
    EXPECT_EQ(first->GetUserDataCount(), 2u);
    EXPECT_EQ(second->GetUserDataCount(), 4u);
    EXPECT_EQ(second->GetTrackCount(), 2u);
    EXPECT_TRUE(probe.sifter->userData.empty());
}
