#include <gtest/gtest.h>

#include <vector>

#include "TableTestSupport.h"

using namespace qttest;

namespace
{

// The samples below inCount that the cursor calls sync, asked in order.
std::vector<uint32_t> SyncSamples(const QT::TableAtom& inStss, uint32_t inCount)
{
    QT::SyncSampleCursor cursor(inStss);
    std::vector<uint32_t> result;
    for (uint32_t sample = 0; sample < inCount; ++sample)
    {
        bool isSync = false;
        EXPECT_TRUE(cursor.Next(sample, isSync));
        if (isSync)
            result.push_back(sample);
    }
    return result;
}

} // namespace

TEST(SyncSampleTable, WithoutATableEverySampleIsSync)
{
    EXPECT_EQ(SyncSamples(QT::TableAtom(), 4), (std::vector<uint32_t>{0, 1, 2, 3}));
}

TEST(SyncSampleTable, SampleNumbersAreOneBased)
{
    const BuiltTable stss(Stss({1, 3}));
    EXPECT_EQ(SyncSamples(stss.Table(), 5), (std::vector<uint32_t>{0, 2}));
}

TEST(SyncSampleTable, AnEmptyTableMakesOnlyTheFirstSampleSync)
{
    const BuiltTable stss(Stss({}));
    EXPECT_EQ(SyncSamples(stss.Table(), 4), (std::vector<uint32_t>{0}));
}

TEST(SyncSampleTable, ANegativeCountReadsAsAnEmptyTable)
{
    const BuiltTable stss(Atom("stss").FullHeader().U32(0x80000001).U32(2).U32(3));
    EXPECT_EQ(SyncSamples(stss.Table(), 4), (std::vector<uint32_t>{0}));
}

TEST(SyncSampleTable, AnEntryThatFallsBehindStopsTheMatching)
{
    const BuiltTable stss(Stss({2, 1, 4}));
    EXPECT_EQ(SyncSamples(stss.Table(), 5), (std::vector<uint32_t>{1}));
}

TEST(SyncSampleTable, ACountBeyondTheAtomMatchesOnlyTheEntriesInside)
{
    // Claims five entries, holds two; the words after the atom would name samples 3 and 4.
    Bytes bytes = Atom("stss").FullHeader().U32(5).U32(1).U32(3).Build();
    bytes.insert(bytes.end(), {0, 0, 0, 4, 0, 0, 0, 5});
    const QT::TableAtom table(bytes.data(), {bytes.data(), bytes.size()});
    EXPECT_EQ(SyncSamples(table, 6), (std::vector<uint32_t>{0, 2}));
}

TEST(SyncSampleTable, AnAtomCutBeforeItsFirstEntryMatchesNothing)
{
    const BuiltTable stss(Atom("stss").FullHeader().U32(2));
    EXPECT_EQ(SyncSamples(stss.Table(), 3), (std::vector<uint32_t>{}));
}
