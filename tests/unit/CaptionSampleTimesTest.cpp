#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "AtomBuilder.h"
#include "QTCaptionSampleTimes.h"

using namespace qttest;

namespace
{

// The times as a table built in full, one value a sample and one more: what the cursor must give
// without building it.
struct FullTable
{
    std::vector<uint64_t> times;
    int64_t total = 0;
};

FullTable BuildFullTable(const std::vector<SttsEntry>& inEntries, uint64_t inStart)
{
    FullTable table;
    table.times.push_back(inStart);
    for (const SttsEntry& entry : inEntries)
    {
        const int32_t count = int32_t(entry.sampleCount);
        table.total += count;
        for (int32_t i = 0; i < count; ++i)
            table.times.push_back(table.times.back() + uint64_t(int64_t(int32_t(entry.duration))));
    }
    return table;
}

struct SttsBytes
{
    Bytes bytes;
    QT::TableAtom Table() const
    {
        return QT::TableAtom(bytes.data(), QT::ByteRange(bytes.data(), bytes.size()));
    }
};

SttsBytes SttsOf(const std::vector<SttsEntry>& inEntries)
{
    return {Stts(inEntries).Build()};
}

void ExpectSameAsFullTable(const std::vector<SttsEntry>& inEntries, uint64_t inStart)
{
    const SttsBytes stts = SttsOf(inEntries);
    const FullTable table = BuildFullTable(inEntries, inStart);
    QT::CaptionSampleTimes times(stts.Table(), inStart);
    ASSERT_EQ(times.TotalSamples(), table.total);
    ASSERT_EQ(times.TimeCount(), table.times.size());
    for (size_t i = 0; i < table.times.size(); ++i)
    {
        EXPECT_EQ(times.Current(), table.times[i]) << "pass, sample " << i;
        EXPECT_EQ(times.TimeAt(i), table.times[i]) << "at random, sample " << i;
        times.Advance();
    }
    EXPECT_EQ(times.Current(), table.times.back()) << "the pass stays at the end";
}

} // namespace

TEST(CaptionSampleTimes, AreTheTimesOfAFullTable)
{
    ExpectSameAsFullTable({{.sampleCount = 3, .duration = 1001}, {.sampleCount = 2, .duration = 2002}}, 0);
    ExpectSameAsFullTable({{.sampleCount = 2, .duration = 10}}, 30000);
}

TEST(CaptionSampleTimes, EntriesOfNoOrNegativeCountAddNoSampleButCountAgainstTheTotal)
{
    ExpectSameAsFullTable({{.sampleCount = 2, .duration = 5},
                           {.sampleCount = 0, .duration = 7},
                           {.sampleCount = uint32_t(-1), .duration = 9},
                           {.sampleCount = 3, .duration = 11}},
                          0);
}

TEST(CaptionSampleTimes, NegativeDurationsGoBack)
{
    ExpectSameAsFullTable(
        {{.sampleCount = 2, .duration = 100}, {.sampleCount = 2, .duration = uint32_t(-30)}}, 5);
}

TEST(CaptionSampleTimes, RandomTablesMatchTheFullTable)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 200; ++round)
    {
        std::vector<SttsEntry> entries(random() % 6);
        for (SttsEntry& entry : entries)
        {
            entry.sampleCount = random() % 5 == 0 ? uint32_t(-int32_t(random() % 3)) : random() % 7;
            entry.duration = random() % 4 == 0 ? uint32_t(-int32_t(random() % 2000)) : random() % 3000;
        }
        ExpectSameAsFullTable(entries, random() % 2 ? 0 : 30000);
        if (HasFailure())
            return;
    }
}

// A count of two billion samples in 8 bytes: nothing is built, and a time far in is one walk away.
TEST(CaptionSampleTimesGuard, AHugeCountBuildsNothing)
{
    const SttsBytes stts =
        SttsOf({{.sampleCount = 0x7FFFFFFF, .duration = 3}, {.sampleCount = 0x7FFFFFFF, .duration = 1}});
    const QT::CaptionSampleTimes times(stts.Table(), 7);
    EXPECT_EQ(times.TotalSamples(), 2 * int64_t(0x7FFFFFFF));
    EXPECT_EQ(times.TimeCount(), 2 * uint64_t(0x7FFFFFFF) + 1);
    EXPECT_EQ(times.TimeAt(0x7FFFFFFF + 5ull), 7 + 3 * uint64_t(0x7FFFFFFF) + 5);
    EXPECT_EQ(times.TimeAt(times.TimeCount()), 0u) << "past the times";
}

TEST(CaptionSampleTimes, EntriesPastTheAtomAreNotRead)
{
    Atom stts("stts");
    stts.FullHeader().U32(2).U32(2).U32(10); // claims 2, holds 1
    const Bytes bytes = Concat({stts.Build(), Bytes{0, 0, 0, 9, 0, 0, 0, 9}});
    const QT::CaptionSampleTimes times(QT::TableAtom(bytes.data(), QT::ByteRange(bytes.data(), bytes.size())),
                                       0);
    EXPECT_EQ(times.TotalSamples(), 2);
    EXPECT_EQ(times.TimeCount(), 3u);
}
