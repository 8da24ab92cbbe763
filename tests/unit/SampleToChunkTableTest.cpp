#include <gtest/gtest.h>

#include <vector>

#include "TableTestSupport.h"

using namespace qttest;

namespace
{

QT::SampleToChunkTable Runs(const BuiltTable& inStsc)
{
    return QT::SampleToChunkTable(inStsc.Table());
}

} // namespace

TEST(SampleToChunkTable, ReadsEachRunAsTheFileWritesIt)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}, {3, 1, 2}, {6, 4, 1}}));
    const QT::SampleToChunkTable runs = Runs(stsc);
    EXPECT_EQ(runs.RunCount(), 3u);
    EXPECT_EQ(runs.StatedRunCount(), 3u);
    EXPECT_EQ(runs.FirstChunk(0), 1u);
    EXPECT_EQ(runs.FirstChunk(2), 6u);
    EXPECT_EQ(runs.SamplesPerChunk(0), 2u);
    EXPECT_EQ(runs.SamplesPerChunk(1), 1u);
    EXPECT_EQ(runs.SamplesPerChunk(2), 4u);
}

TEST(SampleToChunkTable, RunsSpanToTheNextFirstChunkAndTheLastTakesTheRest)
{
    // First chunks 1 and 4 among 10 chunks: runs of 3 and 7.
    const BuiltTable stsc(Stsc({{1, 5, 1}, {4, 5, 1}}));
    const QT::SampleToChunkTable runs = Runs(stsc);
    uint32_t seen = 0;
    EXPECT_EQ(runs.RunChunks(0, 10, seen), 3u);
    EXPECT_EQ(seen, 3u);
    EXPECT_EQ(runs.RunChunks(1, 10, seen), 7u);
    EXPECT_EQ(seen, 3u);
}

TEST(SampleToChunkTable, ALoneRunHoldsEveryChunk)
{
    const BuiltTable stsc(Stsc({{1, 5, 1}}));
    uint32_t seen = 0;
    EXPECT_EQ(Runs(stsc).RunChunks(0, 10, seen), 10u);
    EXPECT_EQ(seen, 0u);
}

TEST(SampleToChunkTable, AFirstChunkThatFallsBackWrapsToAHugeRun)
{
    const BuiltTable stsc(Stsc({{5, 1, 1}, {2, 1, 1}}));
    const QT::SampleToChunkTable runs = Runs(stsc);
    uint32_t seen = 0;
    EXPECT_EQ(runs.RunChunks(0, 10, seen), 0xFFFFFFFDu);
    // The last run takes what is left of the chunk count, wrapping likewise.
    EXPECT_EQ(runs.RunChunks(1, 10, seen), 13u);
}

TEST(SampleToChunkTable, MoreChunksSeenThanThereAreWrapsTheLastRun)
{
    const BuiltTable stsc(Stsc({{1, 1, 1}, {10, 1, 1}}));
    const QT::SampleToChunkTable runs = Runs(stsc);
    uint32_t seen = 0;
    EXPECT_EQ(runs.RunChunks(0, 5, seen), 9u);
    EXPECT_EQ(runs.RunChunks(1, 5, seen), 0xFFFFFFFCu);
}

TEST(SampleToChunkTable, AHugeCountReadsOnlyTheRunsInsideTheAtom)
{
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(0x10000000).U32(1).U32(3).U32(1));
    const QT::SampleToChunkTable runs = Runs(stsc);
    EXPECT_EQ(runs.StatedRunCount(), 0x10000000u);
    EXPECT_EQ(runs.RunCount(), 1u);
    EXPECT_EQ(runs.SamplesPerChunk(0), 3u);
    EXPECT_EQ(runs.FirstChunk(1), 0u);
    EXPECT_EQ(runs.SamplesPerChunk(1), 0u);
    // 16 + 12 * 0x15555556 wraps to 24 in 32 bits, where run 0 keeps its samples per chunk.
    EXPECT_EQ(runs.FirstChunk(0x15555556), 0u);
    EXPECT_EQ(runs.SamplesPerChunk(0x15555555), 0u);
    EXPECT_EQ(runs.FirstChunk(0xFFFFFFFF), 0u);
    // Run 0 is the last that can be read, so it takes the chunk count.
    uint32_t seen = 0;
    EXPECT_EQ(runs.RunChunks(0, 4, seen), 4u);
}

TEST(SampleToChunkTable, ARunPastTheTableHoldsNoChunks)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}}));
    const QT::SampleToChunkTable runs = Runs(stsc);
    uint32_t seen = 2;
    EXPECT_EQ(runs.RunChunks(1, 10, seen), 0u);
    EXPECT_EQ(runs.RunChunks(0xFFFFFFFF, 10, seen), 0u);
    EXPECT_EQ(seen, 2u);
}

TEST(SampleToChunkTable, APartEntryAtTheEndIsNotARun)
{
    // The count claims one run; its first two fields fit, its third does not.
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(1).U32(1).U32(4));
    const QT::SampleToChunkTable runs = Runs(stsc);
    EXPECT_EQ(runs.RunCount(), 0u);
    EXPECT_EQ(runs.FirstChunk(0), 0u);
    EXPECT_EQ(runs.SamplesPerChunk(0), 0u);
}

TEST(SampleToChunkTable, ASizeWordPastTheBufferIsCutAtTheBuffer)
{
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(2).U32(1).U32(4).U32(1).SizeWord(40));
    const QT::SampleToChunkTable runs = Runs(stsc);
    EXPECT_EQ(runs.RunCount(), 1u);
    EXPECT_EQ(runs.SamplesPerChunk(0), 4u);
}

TEST(SampleToChunkTable, AnAbsentTableHasNoRuns)
{
    const QT::SampleToChunkTable runs{QT::TableAtom()};
    EXPECT_EQ(runs.RunCount(), 0u);
    EXPECT_EQ(runs.StatedRunCount(), 0u);
    EXPECT_EQ(runs.FirstChunk(0), 0u);
    uint32_t seen = 0;
    EXPECT_EQ(runs.RunChunks(0, 3, seen), 0u);
    QT::SampleToChunkCursor cursor(runs, 3);
    QT::ChunkPlace place;
    EXPECT_FALSE(cursor.Next(0, place));
}

TEST(SampleToChunkTable, SampleToChunkCursorPlacesSamplesAcrossRuns)
{
    // Chunks 1-2 hold two samples each, chunks 3-5 one each.
    const BuiltTable stsc(Stsc({{1, 2, 1}, {3, 1, 1}}));
    QT::SampleToChunkCursor cursor(Runs(stsc), 5);
    const BuiltTable stsz(Stsz(0, {10, 11, 12, 13, 14, 15, 16}, 7));
    const QT::SampleSizeTable sizes(stsz.Table());
    std::vector<uint32_t> chunks;
    QT::ChunkPlace place;
    uint64_t offset = 0;
    for (uint32_t sample = 0; sample < 6; ++sample)
    {
        ASSERT_TRUE(cursor.Next(sample, place)) << sample;
        chunks.push_back(place.chunkIndex);
        ASSERT_TRUE(QT::FindOffsetInChunk(sample, place, sizes, offset));
        if (sample == 1)
        {
            EXPECT_EQ(offset, 10u);
        }
        if (sample == 4)
        {
            EXPECT_EQ(offset, 0u);
        }
    }
    EXPECT_EQ(chunks, (std::vector<uint32_t>{0, 0, 1, 1, 2, 3}));
}

TEST(SampleToChunkTable, SampleToChunkCursorFailsAfterTwoEmptyRuns)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}, {2, 0, 1}, {2, 0, 1}, {2, 1, 1}}));
    QT::SampleToChunkCursor cursor(Runs(stsc), 4);
    QT::ChunkPlace place;
    EXPECT_TRUE(cursor.Next(0, place));
    EXPECT_TRUE(cursor.Next(1, place));
    EXPECT_FALSE(cursor.Next(2, place));
}

TEST(SampleToChunkTable, SampleToChunkCursorFailsPastTheLastRun)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}}));
    QT::SampleToChunkCursor cursor(Runs(stsc), 2);
    QT::ChunkPlace place;
    for (uint32_t sample = 0; sample < 4; ++sample)
        EXPECT_TRUE(cursor.Next(sample, place));
    EXPECT_FALSE(cursor.Next(4, place));
}

TEST(SampleToChunkTable, SampleToChunkCountIsNotTrustedBeyondTheAtom)
{
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(0x10000000).U32(1).U32(1).U32(1));
    QT::SampleToChunkCursor cursor(Runs(stsc), 3);
    QT::ChunkPlace place;
    for (uint32_t sample = 0; sample < 3; ++sample)
    {
        ASSERT_TRUE(cursor.Next(sample, place));
        EXPECT_EQ(place.chunkIndex, sample);
    }
    EXPECT_FALSE(cursor.Next(3, place));
}
