#include <gtest/gtest.h>

#include <limits>

#include "TableTestSupport.h"

using namespace qttest;

TEST(TableAtom, TableSizeWordBeyondTheBufferIsCutAtTheBuffer)
{
    // The size word claims 64 bytes; the buffer holds 24.
    const BuiltTable stts(Atom("stts").FullHeader().U32(5).U32(1).U32(10).SizeWord(64));
    EXPECT_NE(QT::FindTimeToSampleEntry(stts.Table(), 0), nullptr);
    EXPECT_EQ(QT::FindTimeToSampleEntry(stts.Table(), 1), nullptr);
    EXPECT_EQ(stts.Table().TrustedCount(8), 1u);
}

TEST(TableAtom, ReadsEndAtTheSizeWordWhenTheBufferGoesOn)
{
    // 24 bytes of atom, then 8 more bytes of buffer that belong to no table.
    Bytes bytes = Atom("stss").FullHeader().U32(2).U32(1).U32(5).SizeWord(20).Build();
    ASSERT_EQ(bytes.size(), 24u);
    bytes.insert(bytes.end(), {0, 0, 0, 9});
    const QT::TableAtom table(bytes.data(), {bytes.data(), bytes.size()});
    EXPECT_EQ(table.SizeWord(), 20u);
    EXPECT_TRUE(table.Has(16, 4));
    EXPECT_FALSE(table.Has(20, 4));
    EXPECT_EQ(table.U32(16), 1u);
    EXPECT_EQ(table.U32(20), 0u);
    EXPECT_EQ(table.TrustedCount(4), 1u);
}

TEST(TableAtom, HasTakesTheLastWholeFieldAndNothingPastIt)
{
    const BuiltTable stco(Atom("stco").FullHeader().U32(1).U32(7));
    const QT::TableAtom table = stco.Table();
    EXPECT_TRUE(table.Has(16, 4));
    EXPECT_TRUE(table.Has(20, 0));
    EXPECT_FALSE(table.Has(17, 4));
    EXPECT_FALSE(table.Has(16, 8));
    EXPECT_FALSE(table.Has(21, 0));
    EXPECT_EQ(table.U64(16), 0u);
    EXPECT_EQ(table.U64(12), (uint64_t(1) << 32) | 7u);
}

TEST(TableAtom, HugeOffsetsAndWidthsDoNotWrapIntoTheAtom)
{
    const BuiltTable stco(Atom("stco").FullHeader().U32(1).U32(7));
    const QT::TableAtom table = stco.Table();
    constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
    EXPECT_FALSE(table.Has(kMax, 4));
    EXPECT_FALSE(table.Has(4, kMax));
    EXPECT_FALSE(table.Has(kMax - 2, 4));
    EXPECT_EQ(table.U32(kMax - 2), 0u);
}

TEST(TableAtom, AnAbsentAtomReadsAsEmpty)
{
    const QT::TableAtom table;
    EXPECT_FALSE(table);
    EXPECT_FALSE(table.Has(0, 1));
    EXPECT_EQ(table.StatedCount(), 0u);
    EXPECT_EQ(table.TrustedCount(4), 0u);
}

TEST(TableAtom, ABufferTooShortForTheSizeWordReadsNothing)
{
    const Bytes bytes = {0, 0, 0};
    const QT::TableAtom table(bytes.data(), {bytes.data(), bytes.size()});
    EXPECT_TRUE(table);
    EXPECT_EQ(table.SizeWord(), 0u);
    EXPECT_FALSE(table.Has(0, 1));
}

TEST(TableAtom, ASizeWordBelowTheFirstEntryTrustsNoEntries)
{
    // The count says 3, but the size word ends the atom before the entries begin.
    const BuiltTable stss(Atom("stss").FullHeader().U32(3).U32(1).U32(2).U32(3).SizeWord(16));
    EXPECT_EQ(stss.Table().StatedCount(), 3u);
    EXPECT_EQ(stss.Table().TrustedCount(4), 0u);
}
