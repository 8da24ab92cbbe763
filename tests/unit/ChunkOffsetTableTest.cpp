#include <gtest/gtest.h>

#include "Capture.h"
#include "TableTestSupport.h"

using namespace qttest;

TEST(ChunkOffsetTable, SixtyFourBitOffsetsWinOverThirtyTwoBitOnes)
{
    const BuiltTable stco(Stco({100, 200}));
    const BuiltTable co64(Atom("co64").FullHeader().U32(2).U64(0x100000000ull).U64(0x200000000ull));
    QT::TrackItem item;
    item.stco = stco.bytes.data();
    item.co64 = co64.bytes.data();
    // Both tables live in separate blocks; the range covers each in turn.
    QT::ChunkOffsetHelper offsets(item, co64.Range());
    EXPECT_TRUE(offsets.Is64Bit());
    EXPECT_EQ(offsets.EntryCount(), 2u);
    EXPECT_EQ(offsets.GetEntry(1), 0x200000000ull);
}

TEST(ChunkOffsetTable, EmptySixtyFourBitTableStillWinsAndItsFirstEntryIsAContractViolation)
{
    const BuiltTable stco(Stco({100, 200}));
    const BuiltTable co64(Atom("co64").FullHeader().U32(0));
    QT::TrackItem item;
    item.stco = stco.bytes.data();
    item.co64 = co64.bytes.data();
    QT::ChunkOffsetHelper offsets(item, co64.Range());
    AssertCounter asserts;
    EXPECT_EQ(offsets.GetEntry(0), 0u);
    EXPECT_EQ(asserts.count, 1);
    EXPECT_EQ(asserts.last, "QTSifter/Inc/QTShared|ChunkOffsetHelper::GetEntry|false|Invalid entryIdx");
}

TEST(ChunkOffsetTable, ChunkOffsetCountIsNotTrustedBeyondTheAtom)
{
    const BuiltTable stco(Atom("stco").FullHeader().U32(1000).U32(100).U32(200));
    QT::TrackItem item;
    item.stco = stco.bytes.data();
    QT::ChunkOffsetHelper offsets(item, stco.Range());
    EXPECT_EQ(offsets.EntryCount(), 2u);
    AssertCounter asserts;
    EXPECT_EQ(offsets.GetEntry(1), 200u);
    EXPECT_EQ(offsets.GetEntry(2), 0u);
    EXPECT_EQ(asserts.count, 1);
}

TEST(ChunkOffsetTable, SixtyFourBitCountIsTrustedForWholeEntriesOnly)
{
    // Claims three entries; one whole and half of another lie inside.
    const BuiltTable co64(Atom("co64").FullHeader().U32(3).U64(0x100000000ull).U32(1));
    QT::TrackItem item;
    item.co64 = co64.bytes.data();
    QT::ChunkOffsetHelper offsets(item, co64.Range());
    EXPECT_EQ(offsets.EntryCount(), 1u);
    AssertCounter asserts;
    EXPECT_EQ(offsets.GetEntry(0), 0x100000000ull);
    EXPECT_EQ(offsets.GetEntry(1), 0u);
    EXPECT_EQ(asserts.count, 1);
}

TEST(ChunkOffsetTable, WithoutEitherTableThereAreNoChunks)
{
    const QT::TrackItem item;
    const Bytes none;
    QT::ChunkOffsetHelper offsets(item, {none.data(), none.size()});
    EXPECT_FALSE(offsets.Is64Bit());
    EXPECT_EQ(offsets.EntryCount(), 0u);
    AssertCounter asserts;
    EXPECT_EQ(offsets.GetEntry(0), 0u);
    EXPECT_EQ(asserts.count, 1);
}

TEST(ChunkOffsetTable, ConstantSizeOffsetsMultiplyInSixtyFourBits)
{
    const BuiltTable stsz(Stsz(0x80000000u, {}, 4));
    const QT::SampleSizeTable sizes(stsz.Table());
    QT::ChunkPlace place{0, 0, 4};
    uint64_t offset = 0;
    ASSERT_TRUE(QT::FindOffsetInChunk(3, place, sizes, offset));
    EXPECT_EQ(offset, 3ull * 0x80000000u);
}

TEST(ChunkOffsetTable, SizesInsideAChunkAreSummedAsSigned)
{
    const BuiltTable stsz(Stsz(0, {10, 0xFFFFFFFF, 5}, 3));
    const QT::SampleSizeTable sizes(stsz.Table());
    QT::ChunkPlace place{0, 0, 3};
    uint64_t offset = 0;
    ASSERT_TRUE(QT::FindOffsetInChunk(2, place, sizes, offset));
    EXPECT_EQ(offset, 9u);
}

TEST(ChunkOffsetTable, SizesBeyondTheSizeTableFailThePlacement)
{
    // Claims four samples, holds two.
    const BuiltTable stsz(Stsz(0, {10, 20}, 4));
    const QT::SampleSizeTable sizes(stsz.Table());
    QT::ChunkPlace place{0, 0, 4};
    uint64_t offset = 0;
    EXPECT_TRUE(QT::FindOffsetInChunk(2, place, sizes, offset));
    EXPECT_EQ(offset, 30u);
    EXPECT_FALSE(QT::FindOffsetInChunk(3, place, sizes, offset));
}

TEST(ChunkOffsetTable, NoSamplesPerChunkPlacesNothing)
{
    const BuiltTable stsz(Stsz(8, {}, 4));
    const QT::SampleSizeTable sizes(stsz.Table());
    uint64_t offset = 7;
    EXPECT_FALSE(QT::FindOffsetInChunk(2, QT::ChunkPlace{0, 0, 0}, sizes, offset));
}

TEST(ChunkOffsetTable, OneSamplePerChunkTakesTheChunkOfTheSameIndex)
{
    const BuiltTable stsz(Stsz(100, {}, 3));
    // The samples-per-chunk field says 7, and is not looked at.
    const BuiltTable stsc(Stsc({{1, 7, 1}}));
    const QT::SampleSizeTable sizes(stsz.Table());
    const QT::SampleToChunkTable runs(stsc.Table());
    EXPECT_TRUE(QT::IsOneSamplePerChunk(sizes, runs, 3, 3));
    EXPECT_FALSE(QT::IsOneSamplePerChunk(sizes, runs, 2, 3));
    const BuiltTable variable(Stsz(0, {1, 2, 3}, 3));
    EXPECT_FALSE(QT::IsOneSamplePerChunk(QT::SampleSizeTable(variable.Table()), runs, 3, 3));
}

TEST(ChunkOffsetTable, OneSamplePerChunkGoesByTheStatedRunCount)
{
    // One run stated, none inside the atom: no run is read, so the shortcut still holds.
    const BuiltTable stsz(Stsz(100, {}, 3));
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(1));
    const QT::SampleToChunkTable runs(stsc.Table());
    EXPECT_EQ(runs.RunCount(), 0u);
    EXPECT_TRUE(QT::IsOneSamplePerChunk(QT::SampleSizeTable(stsz.Table()), runs, 3, 3));
}

TEST(ChunkOffsetTable, AHelperReportsOnlyTheFirstIndexPastItsTable)
{
    const BuiltTable stco(Stco({100, 200}));
    QT::TrackItem item;
    item.stco = stco.bytes.data();
    QT::ChunkOffsetHelper offsets(item, stco.Range());
    AssertCounter asserts;
    EXPECT_EQ(offsets.GetEntry(2), 0u);
    EXPECT_EQ(offsets.GetEntry(7), 0u);
    EXPECT_EQ(offsets.GetEntry(1), 200u);
    EXPECT_EQ(offsets.GetEntry(0xFFFFFFFFu), 0u);
    EXPECT_EQ(asserts.count, 1);
    // Each operation makes its own helper, and reports afresh.
    EXPECT_EQ(QT::ChunkOffsetHelper(item, stco.Range()).GetEntry(2), 0u);
    EXPECT_EQ(asserts.count, 2);
}
