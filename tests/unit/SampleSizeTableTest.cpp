#include <gtest/gtest.h>

#include "TableTestSupport.h"

using namespace qttest;

TEST(SampleSizeTable, AConstantSizeStandsForEverySample)
{
    const BuiltTable stsz(Stsz(188, {}, 1000));
    const QT::SampleSizeTable sizes(stsz.Table());
    EXPECT_EQ(sizes.ConstantSize(), 188u);
    EXPECT_EQ(sizes.StatedCount(), 1000u);
    EXPECT_FALSE(sizes.HasEntry(0));
    EXPECT_EQ(sizes.EntrySize(0), 0u);
}

TEST(SampleSizeTable, EntriesAreReadUpToTheAtomsEnd)
{
    const BuiltTable stsz(Stsz(0, {10, 20, 30}, 3));
    const QT::SampleSizeTable sizes(stsz.Table());
    EXPECT_EQ(sizes.ConstantSize(), 0u);
    EXPECT_TRUE(sizes.HasEntry(2));
    EXPECT_FALSE(sizes.HasEntry(3));
    EXPECT_EQ(sizes.EntrySize(0), 10u);
    EXPECT_EQ(sizes.EntrySize(2), 30u);
    EXPECT_EQ(sizes.VouchedEntrySize(1), 20u);
    EXPECT_EQ(sizes.EntrySize(3), 0u);
}

TEST(SampleSizeTable, AHugeCountVouchesForNoEntryOutsideTheAtom)
{
    const BuiltTable stsz(Stsz(0, {10, 20}, 0xFFFFFFFF));
    const QT::SampleSizeTable sizes(stsz.Table());
    EXPECT_EQ(sizes.StatedCount(), 0xFFFFFFFFu);
    EXPECT_TRUE(sizes.HasEntry(1));
    EXPECT_FALSE(sizes.HasEntry(2));
    // 20 + 4 * 0xFFFFFFFF wraps to 16 in 32 bits, inside the atom.
    EXPECT_FALSE(sizes.HasEntry(0xFFFFFFFF));
    EXPECT_EQ(sizes.EntrySize(0xFFFFFFFF), 0u);
    EXPECT_FALSE(sizes.HasEntry(0x40000000));
}

TEST(SampleSizeTable, ACutAtomHasNoCountAndNoEntries)
{
    // Size word 14: the constant size is cut in two, and the count lies outside.
    const BuiltTable stsz(Stsz(0, {10}, 1).SizeWord(14));
    const QT::SampleSizeTable sizes(stsz.Table());
    EXPECT_EQ(sizes.ConstantSize(), 0u);
    EXPECT_EQ(sizes.StatedCount(), 0u);
    EXPECT_FALSE(sizes.HasEntry(0));
}

TEST(SampleSizeTable, AnAbsentTableHasNoSizes)
{
    const QT::SampleSizeTable sizes{QT::TableAtom()};
    EXPECT_EQ(sizes.ConstantSize(), 0u);
    EXPECT_EQ(sizes.StatedCount(), 0u);
    EXPECT_FALSE(sizes.HasEntry(0));
}
