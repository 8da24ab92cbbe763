#include <gtest/gtest.h>

#include <vector>

#include "TableTestSupport.h"

using namespace qttest;

TEST(TimeToSampleTable, OneEntryFillingTheAtomExactlyIsReadable)
{
    const BuiltTable stts(Stts({{4, 25}}));
    ASSERT_EQ(stts.bytes.size(), 24u);
    const uint8_t* entry = QT::FindTimeToSampleEntry(stts.Table(), 0);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(QT::ReadTimeToSampleEntry(entry).sampleCount, 4u);
    EXPECT_EQ(QT::ReadTimeToSampleEntry(entry).duration, 25u);
}

TEST(TimeToSampleTable, AnAbsentTableHasNoEntries)
{
    EXPECT_EQ(QT::FindTimeToSampleEntry(QT::TableAtom(), 0), nullptr);
    uint32_t duration = 7;
    QT::TimeToSampleCursor cursor{QT::TableAtom()};
    EXPECT_FALSE(cursor.Next(0, duration));
    EXPECT_EQ(duration, 7u);
}

TEST(TimeToSampleTable, AHugeCountFindsOnlyTheEntriesInsideTheAtom)
{
    const BuiltTable stts(Atom("stts").FullHeader().U32(0xFFFFFFFF).U32(1).U32(10));
    EXPECT_NE(QT::FindTimeToSampleEntry(stts.Table(), 0), nullptr);
    EXPECT_EQ(QT::FindTimeToSampleEntry(stts.Table(), 1), nullptr);
    // 16 + 8 * 0x20000000 wraps to 16 in 32 bits: the entry found there would be entry 0.
    EXPECT_EQ(QT::FindTimeToSampleEntry(stts.Table(), 0x20000000), nullptr);
    EXPECT_EQ(QT::FindTimeToSampleEntry(stts.Table(), 0xFFFFFFFE), nullptr);
}

TEST(TimeToSampleTable, TimeToSampleCursorLagsOneSampleAtEachNewEntry)
{
    const BuiltTable stts(Stts({{3, 10}, {2, 20}}));
    QT::TimeToSampleCursor cursor(stts.Table());
    std::vector<uint32_t> durations;
    uint32_t duration = 0;
    for (uint32_t sample = 0; sample < 5 && cursor.Next(sample, duration); ++sample)
        durations.push_back(duration);
    EXPECT_EQ(durations, (std::vector<uint32_t>{10, 10, 10, 10, 20}));
}

TEST(TimeToSampleTable, TimeToSampleCursorEndsWhenTheTableRunsOut)
{
    const BuiltTable stts(Stts({{2, 10}}));
    QT::TimeToSampleCursor cursor(stts.Table());
    uint32_t duration = 0;
    EXPECT_TRUE(cursor.Next(0, duration));
    EXPECT_TRUE(cursor.Next(1, duration));
    EXPECT_TRUE(cursor.Next(2, duration)); // steps past the last entry, still with its duration
    EXPECT_FALSE(cursor.Next(3, duration));
}

TEST(TimeToSampleTable, TimeToSampleCursorConsumesAnEmptyRunAsABoundary)
{
    const BuiltTable stts(Stts({{2, 10}, {0, 99}, {2, 30}}));
    QT::TimeToSampleCursor cursor(stts.Table());
    std::vector<uint32_t> durations;
    uint32_t duration = 0;
    for (uint32_t sample = 0; sample < 4 && cursor.Next(sample, duration); ++sample)
        durations.push_back(duration);
    // Sample 2 steps from the first entry, sample 3 consumes the empty one.
    EXPECT_EQ(durations, (std::vector<uint32_t>{10, 10, 10, 99}));
}

TEST(TimeToSampleTable, TimeToSampleCursorEndsAtACountBeyondTheAtom)
{
    // Claims three entries, holds one of two samples.
    const BuiltTable stts(Atom("stts").FullHeader().U32(3).U32(2).U32(10));
    QT::TimeToSampleCursor cursor(stts.Table());
    uint32_t duration = 0;
    EXPECT_TRUE(cursor.Next(0, duration));
    EXPECT_TRUE(cursor.Next(1, duration));
    EXPECT_TRUE(cursor.Next(2, duration));
    EXPECT_FALSE(cursor.Next(3, duration));
}
