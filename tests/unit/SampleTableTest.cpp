#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "Capture.h"
#include "QTShared.h"
#include "TrackTestSupport.h"
#include "tenacore/debug.h"

using namespace qttest;

namespace
{

// An atom's bytes kept alive with a table view over them.
struct BuiltTable
{
    explicit BuiltTable(const Atom& inAtom) : bytes(inAtom.Build()) {}
    QT::ByteRange Range() const { return {bytes.data(), bytes.size()}; }
    QT::TableAtom Table() const { return QT::TableAtom(bytes.data(), Range()); }
    Bytes bytes;
};

} // namespace

TEST(SampleTables, TimeToSampleEntriesBeyondTheAtomAreNotRead)
{
    // Count 3, room for 2.
    Atom stts("stts");
    stts.FullHeader().U32(3).U32(2).U32(10).U32(5).U32(20);
    std::vector<Atom> tables = BasicSampleTables({{1, 1}});
    tables[1] = stts;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables)}));
    EXPECT_NE(t.impl->GetTimeToSampleEntry(1), nullptr);
    EXPECT_EQ(t.impl->GetTimeToSampleEntry(2), nullptr);
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
}

TEST(SampleTables, OneEntryFillingTheAtomExactlyIsReadable)
{
    const BuiltTable stts(Stts({{4, 25}}));
    ASSERT_EQ(stts.bytes.size(), 24u);
    const uint8_t* entry = QT::FindTimeToSampleEntry(stts.Table(), 0);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(QT::ReadTimeToSampleEntry(entry).sampleCount, 4u);
    EXPECT_EQ(QT::ReadTimeToSampleEntry(entry).duration, 25u);
}

TEST(SampleTables, SampleDurationOnePastTheLastSampleFails)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{3, 10}, {2, 20}}))}));
    uint32_t duration = 0;
    EXPECT_EQ(t.impl->GetSampleDuration(4, duration), 0u);
    EXPECT_EQ(duration, 20u);
    duration = 99;
    EXPECT_EQ(t.impl->GetSampleDuration(5, duration), QT::kQTErrFailed);
    EXPECT_EQ(duration, 99u);
}

TEST(SampleTables, EntriesOfNoSamplesAreStepOver)
{
    OpenedTrack t =
        OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{2, 10}, {0, 99}, {1, 30}}))}));
    uint32_t duration = 0;
    EXPECT_EQ(t.impl->GetSampleDuration(2, duration), 0u);
    EXPECT_EQ(duration, 30u);
}

TEST(SampleTables, SixtyFourBitOffsetsWinOverThirtyTwoBitOnes)
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

TEST(SampleTables, EmptySixtyFourBitTableStillWinsAndItsFirstEntryIsAContractViolation)
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

TEST(SampleTables, ChunkOffsetCountIsNotTrustedBeyondTheAtom)
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

TEST(SampleTables, TableSizeWordBeyondTheBufferIsCutAtTheBuffer)
{
    // The size word claims 64 bytes; the buffer holds 24.
    const BuiltTable stts(Atom("stts").FullHeader().U32(5).U32(1).U32(10).SizeWord(64));
    EXPECT_NE(QT::FindTimeToSampleEntry(stts.Table(), 0), nullptr);
    EXPECT_EQ(QT::FindTimeToSampleEntry(stts.Table(), 1), nullptr);
    EXPECT_EQ(stts.Table().TrustedCount(8), 1u);
}

TEST(SampleTables, TimeToSampleCursorLagsOneSampleAtEachNewEntry)
{
    const BuiltTable stts(Stts({{3, 10}, {2, 20}}));
    QT::TimeToSampleCursor cursor(stts.Table());
    std::vector<uint32_t> durations;
    uint32_t duration = 0;
    for (uint32_t sample = 0; sample < 5 && cursor.Next(sample, duration); ++sample)
        durations.push_back(duration);
    EXPECT_EQ(durations, (std::vector<uint32_t>{10, 10, 10, 10, 20}));
}

TEST(SampleTables, TimeToSampleCursorEndsWhenTheTableRunsOut)
{
    const BuiltTable stts(Stts({{2, 10}}));
    QT::TimeToSampleCursor cursor(stts.Table());
    uint32_t duration = 0;
    EXPECT_TRUE(cursor.Next(0, duration));
    EXPECT_TRUE(cursor.Next(1, duration));
    EXPECT_TRUE(cursor.Next(2, duration)); // steps past the last entry, still with its duration
    EXPECT_FALSE(cursor.Next(3, duration));
}

TEST(SampleTables, TimeToSampleCursorConsumesAnEmptyRunAsABoundary)
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

TEST(SampleTables, SampleToChunkCursorPlacesSamplesAcrossRuns)
{
    // Chunks 1-2 hold two samples each, chunks 3-5 one each.
    const BuiltTable stsc(Stsc({{1, 2, 1}, {3, 1, 1}}));
    QT::SampleToChunkCursor cursor(QT::SampleToChunkTable(stsc.Table()), 5);
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

TEST(SampleTables, SampleToChunkCursorFailsAfterTwoEmptyRuns)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}, {2, 0, 1}, {2, 0, 1}, {2, 1, 1}}));
    QT::SampleToChunkCursor cursor(QT::SampleToChunkTable(stsc.Table()), 4);
    QT::ChunkPlace place;
    EXPECT_TRUE(cursor.Next(0, place));
    EXPECT_TRUE(cursor.Next(1, place));
    EXPECT_FALSE(cursor.Next(2, place));
}

TEST(SampleTables, SampleToChunkCursorFailsPastTheLastRun)
{
    const BuiltTable stsc(Stsc({{1, 2, 1}}));
    QT::SampleToChunkCursor cursor(QT::SampleToChunkTable(stsc.Table()), 2);
    QT::ChunkPlace place;
    for (uint32_t sample = 0; sample < 4; ++sample)
        EXPECT_TRUE(cursor.Next(sample, place));
    EXPECT_FALSE(cursor.Next(4, place));
}

TEST(SampleTables, SampleToChunkCountIsNotTrustedBeyondTheAtom)
{
    const BuiltTable stsc(Atom("stsc").FullHeader().U32(0x10000000).U32(1).U32(1).U32(1));
    QT::SampleToChunkCursor cursor(QT::SampleToChunkTable(stsc.Table()), 3);
    QT::ChunkPlace place;
    for (uint32_t sample = 0; sample < 3; ++sample)
    {
        ASSERT_TRUE(cursor.Next(sample, place));
        EXPECT_EQ(place.chunkIndex, sample);
    }
    EXPECT_FALSE(cursor.Next(3, place));
}

TEST(SampleTables, ConstantSizeOffsetsMultiplyInSixtyFourBits)
{
    const BuiltTable stsz(Stsz(0x80000000u, {}, 4));
    const QT::SampleSizeTable sizes(stsz.Table());
    QT::ChunkPlace place{0, 0, 4};
    uint64_t offset = 0;
    ASSERT_TRUE(QT::FindOffsetInChunk(3, place, sizes, offset));
    EXPECT_EQ(offset, 3ull * 0x80000000u);
}

TEST(SampleTables, SizesInsideAChunkAreSummedAsSigned)
{
    const BuiltTable stsz(Stsz(0, {10, 0xFFFFFFFF, 5}, 3));
    const QT::SampleSizeTable sizes(stsz.Table());
    QT::ChunkPlace place{0, 0, 3};
    uint64_t offset = 0;
    ASSERT_TRUE(QT::FindOffsetInChunk(2, place, sizes, offset));
    EXPECT_EQ(offset, 9u);
}

TEST(SampleTables, SizesBeyondTheSizeTableFailThePlacement)
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

TEST(SampleTables, NoSamplesPerChunkPlacesNothing)
{
    const BuiltTable stsz(Stsz(8, {}, 4));
    const QT::SampleSizeTable sizes(stsz.Table());
    uint64_t offset = 7;
    EXPECT_FALSE(QT::FindOffsetInChunk(2, QT::ChunkPlace{0, 0, 0}, sizes, offset));
}

TEST(SampleTables, OneSamplePerChunkTakesTheChunkOfTheSameIndex)
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

TEST(SampleTables, SampleCountIsCachedOnceNonZero)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, BasicSampleTables({{3, 10}, {4, 20}}))}));
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
    EXPECT_EQ(t.impl->GetSampleCount(), 7u);
}

TEST(SampleTables, CompositionSearchIgnoresACountBeyondTheAtom)
{
    // ctts claims 0x10000000 entries but holds one; the edit search must stop at the atom's end.
    std::vector<Atom> tables = BasicSampleTables({{30, 10}});
    tables.push_back(Atom("ctts").FullHeader().U32(0x10000000).U32(2).U32(20));
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(TrackSpec{}, tables, {{1000, 45, 0x10000}})}));
    // Minimum composition time 20: 45 - 20 = 25 lies in sample 2 with 5 left.
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 2u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 5u);
}
