#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "AtomBuilder.h"
#include "Capture.h"
#include "QTShared.h"
#include "QTVideoSamplePass.h"

using namespace qttest;
using QT::kQTErrBadSampleTable;
using QT::kQTErrInvalid;
using QT::kQTSuccess;
using QT::VideoSampleRecord;
using QT::VideoSampleTable;

namespace
{

// The sample tables of one track in one buffer, with the index pointing into it.
struct BuiltTables
{
    BuiltTables(const std::vector<Atom>& inTables, bool inHasSyncTable)
    {
        std::vector<size_t> starts;
        for (const Atom& table : inTables)
        {
            starts.push_back(bytes.size());
            const Bytes built = table.Build();
            bytes.insert(bytes.end(), built.begin(), built.end());
        }
        const uint8_t* base = bytes.data();
        item.stts = base + starts[0];
        item.stsc = base + starts[1];
        item.stsz = base + starts[2];
        item.stco = base + starts[3];
        if (inHasSyncTable)
            item.stss = base + starts[4];
    }
    QT::ByteRange Range() const { return {bytes.data(), bytes.size()}; }

    Bytes bytes;
    QT::TrackItem item;
};

struct PassOutcome
{
    uint32_t result = 0;
    bool variable = false;
    VideoSampleTable records;
    int reports = 0;
};

PassOutcome RunPass(const BuiltTables& inTables, uint32_t inSampleCount, const QT::SamplePassEdit& inEdit,
                    uint32_t inMaxSamples, QT::SamplePassStride inStride)
{
    AssertCounter reports;
    PassOutcome outcome;
    outcome.result = QT::RunVideoSamplePass(inTables.item, inTables.Range(), inSampleCount, inEdit,
                                            inMaxSamples, inStride, outcome.records, outcome.variable);
    outcome.reports = reports.count;
    return outcome;
}

void ExpectSameOutcome(const PassOutcome& inStepped, const PassOutcome& inStretched, int inRound)
{
    ASSERT_EQ(inStretched.result, inStepped.result) << "round " << inRound;
    EXPECT_EQ(inStretched.variable, inStepped.variable) << "round " << inRound;
    EXPECT_EQ(inStretched.reports, inStepped.reports) << "round " << inRound;
    ASSERT_EQ(inStretched.records.size(), inStepped.records.size()) << "round " << inRound;
    for (size_t i = 0; i < inStepped.records.size(); ++i)
    {
        const VideoSampleRecord& a = inStepped.records[i];
        const VideoSampleRecord& b = inStretched.records[i];
        ASSERT_TRUE(a.fileOffset == b.fileOffset && a.duration == b.duration && a.startTime == b.startTime &&
                    a.size == b.size && a.isSync == b.isSync)
            << "round " << inRound << " record " << i << ": offset " << a.fileOffset << "/" << b.fileOffset
            << " duration " << a.duration << "/" << b.duration << " start " << a.startTime << "/"
            << b.startTime << " size " << a.size << "/" << b.size << " sync " << a.isSync << "/" << b.isSync;
    }
}

// Tables of the kinds writers make (long runs, long entries) and of the kinds a hostile file
// makes (entries of no samples, negative durations, runs of no chunks, sync tables out of order,
// too few chunks), mixed at random.
class RandomTrack
{
public:
    explicit RandomTrack(std::mt19937& ioRandom) : mRandom(ioRandom) {}

    uint32_t Below(uint32_t inLimit) { return inLimit == 0 ? 0 : uint32_t(mRandom() % inLimit); }
    bool OneIn(uint32_t inChance) { return Below(inChance) == 0; }

    Atom TimeToSample(uint32_t inSamples)
    {
        std::vector<SttsEntry> entries;
        uint32_t covered = 0;
        while (covered < inSamples + Below(3))
        {
            uint32_t count = OneIn(8) ? 0 : 1 + Below(OneIn(2) ? 40 : 4);
            uint32_t duration = OneIn(10) ? 0 : 1 + Below(OneIn(3) ? 3000 : 3);
            if (OneIn(12))
                duration = 0xFFFFFFFFu - Below(4); // negative
            entries.push_back({count, duration});
            covered += count;
            if (OneIn(20))
                break; // a table that ends early ends the pass
        }
        return Stts(entries);
    }

    Atom SampleToChunk(uint32_t inSamples, uint32_t& outChunksNeeded)
    {
        std::vector<StscEntry> runs;
        uint32_t firstChunk = 1;
        uint32_t placed = 0;
        while (placed < inSamples)
        {
            const uint32_t perChunk = OneIn(15) ? 0 : 1 + Below(OneIn(2) ? 12 : 3);
            const uint32_t chunks = OneIn(10) ? 0 : 1 + Below(6);
            runs.push_back({firstChunk, perChunk, 1});
            firstChunk += chunks;
            placed += perChunk * chunks + (perChunk == 0 ? 1 : 0);
        }
        outChunksNeeded = firstChunk - 1 + 8;
        return Stsc(runs);
    }

    Atom Sizes(uint32_t inSamples)
    {
        if (OneIn(4))
            return Stsz(1 + Below(OneIn(8) ? 0xFFFFFFFFu : 5000), {}, inSamples);
        std::vector<uint32_t> sizes;
        for (uint32_t i = 0; i < inSamples; ++i)
            sizes.push_back(OneIn(25) ? 0xFFFFFF00u + Below(256) : Below(OneIn(2) ? 100000 : 10));
        return Stsz(0, sizes, inSamples);
    }

    Atom ChunkOffsets(uint32_t inChunks)
    {
        std::vector<uint32_t> offsets;
        uint32_t offset = Below(1000);
        for (uint32_t i = 0; i < inChunks; ++i)
        {
            offsets.push_back(offset);
            offset += Below(1u << 20);
        }
        return Stco(offsets);
    }

    Atom SyncSamples(uint32_t inSamples)
    {
        std::vector<uint32_t> numbers;
        uint32_t next = 1 + Below(3);
        while (next <= inSamples + 2)
        {
            numbers.push_back(next);
            next += OneIn(12) ? uint32_t(-int32_t(Below(5))) : 1 + Below(OneIn(2) ? 30 : 3);
        }
        return Stss(numbers);
    }

    QT::SamplePassEdit Edit(uint32_t inSamples)
    {
        QT::SamplePassEdit edit;
        edit.apply = !OneIn(3);
        edit.firstIndex = OneIn(2) ? 0 : Below(inSamples + 2);
        edit.firstDuration = OneIn(2) ? 0 : Below(5000);
        edit.endTime = OneIn(4) ? 0xFFFFFFFFu : Below(inSamples * 1500 + 10);
        return edit;
    }

private:
    std::mt19937& mRandom;
};

} // namespace

TEST(VideoSamplePass, RunByRunGivesWhatSampleBySampleGivesOnRandomTables)
{
    std::mt19937 random(20261122);
    RandomTrack track(random);
    int stretchedRounds = 0;
    for (int round = 0; round < 3000; ++round)
    {
        const uint32_t samples = 1 + track.Below(track.OneIn(3) ? 400 : 30);
        uint32_t chunksNeeded = 0;
        std::vector<Atom> tables{track.TimeToSample(samples), track.SampleToChunk(samples, chunksNeeded),
                                 track.Sizes(samples)};
        // Sometimes one chunk a sample, so that the shortcut that skips stsc is taken.
        const bool oneAChunk = track.OneIn(5);
        if (oneAChunk)
        {
            tables[1] = Stsc({{1, 1, 1}});
            tables[2] = Stsz(1 + track.Below(5000), {}, samples);
            chunksNeeded = samples;
        }
        // Too few chunks now and then: the offset table then reports the chunks it lacks.
        const uint32_t chunks = track.OneIn(6) ? track.Below(chunksNeeded) : chunksNeeded;
        tables.push_back(track.ChunkOffsets(oneAChunk && !track.OneIn(6) ? samples : chunks));
        const bool hasSync = !track.OneIn(3);
        tables.push_back(track.SyncSamples(samples));
        const BuiltTables built(tables, hasSync);
        const QT::SamplePassEdit edit = track.Edit(samples);
        const uint32_t most = track.OneIn(4) ? track.Below(samples + 1) : 0xFFFFFFFFu;

        const PassOutcome stepped = RunPass(built, samples, edit, most, QT::SamplePassStride::SampleBySample);
        const PassOutcome stretched = RunPass(built, samples, edit, most, QT::SamplePassStride::RunByRun);
        ExpectSameOutcome(stepped, stretched, round);
        if (HasFatalFailure())
            return;
        if (stepped.records.size() > 8)
            ++stretchedRounds;
    }
    // The mix must reach long passes often enough to mean something.
    EXPECT_GT(stretchedRounds, 500);
}

TEST(VideoSamplePass, RunByRunGivesWhatSampleBySampleGivesOnAWritersTables)
{
    // Long stts entries, two runs of many-sample chunks, a sync sample every 12: the shape the
    // stretches are made for, with a trimming edit.
    std::vector<uint32_t> sizes;
    for (uint32_t i = 0; i < 1000; ++i)
        sizes.push_back(100 + i % 37);
    std::vector<uint32_t> offsets;
    for (uint32_t i = 0; i < 120; ++i)
        offsets.push_back(5000 + i * 100000);
    std::vector<uint32_t> syncs;
    for (uint32_t i = 1; i <= 1000; i += 12)
        syncs.push_back(i);
    const BuiltTables built({Stts({{600, 1001}, {400, 1000}}), Stsc({{1, 10, 1}, {41, 7, 1}}),
                             Stsz(0, sizes, 1000), Stco(offsets), Stss(syncs)},
                            true);
    for (const QT::SamplePassEdit& edit : {QT::SamplePassEdit{}, QT::SamplePassEdit{true, 0, 0, 900000},
                                           QT::SamplePassEdit{true, 3, 500, 700123}})
    {
        const PassOutcome stepped =
            RunPass(built, 1000, edit, 0xFFFFFFFFu, QT::SamplePassStride::SampleBySample);
        const PassOutcome stretched = RunPass(built, 1000, edit, 0xFFFFFFFFu, QT::SamplePassStride::RunByRun);
        ASSERT_EQ(stepped.result, kQTSuccess);
        EXPECT_GT(stepped.records.size(), 600u);
        ExpectSameOutcome(stepped, stretched, 0);
    }
}

TEST(VideoSamplePass, SizeTableThatMissesASampleIsRefusedBeforeAnyRecord)
{
    const BuiltTables built({Stts({{4, 10}}), Stsc({{1, 4, 1}}), Stsz(0, {1, 2, 3}, 4), Stco({100})}, false);
    const PassOutcome outcome = RunPass(built, 4, {}, 0xFFFFFFFFu, QT::SamplePassStride::RunByRun);
    EXPECT_EQ(outcome.result, kQTErrBadSampleTable);
    EXPECT_TRUE(outcome.records.empty());
}

TEST(VideoSamplePass, FailedChunkLookupKeepsWhatWasAppended)
{
    // Two runs of no samples after the first. Sample 4 is still placed, by the first run's samples
    // a chunk, which stay in force for a lookup that steps on; sample 5 starts in a run of none and
    // fails.
    const BuiltTables built({Stts({{8, 10}}), Stsc({{1, 4, 1}, {2, 0, 1}, {3, 0, 1}}),
                             Stsz(0, {1, 2, 3, 4, 5, 6, 7, 8}, 8), Stco({100, 200, 300})},
                            false);
    bool variable = true;
    VideoSampleTable records;
    EXPECT_EQ(QT::RunVideoSamplePass(built.item, built.Range(), 8, {}, 0xFFFFFFFFu,
                                     QT::SamplePassStride::RunByRun, records, variable),
              kQTErrInvalid);
    EXPECT_EQ(records.size(), 5u);
    EXPECT_FALSE(variable);
}

// Samples the edit leaves out cost a stretch a run, however many the tables claim: 2^27 constant-
// size samples of one chunk each, in chunks the offset table lacks but for two.
class LeftOutSamples : public ::testing::Test
{
protected:
    static constexpr uint32_t kClaimed = 1u << 27;

    static BuiltTables Tables(const std::vector<SttsEntry>& inDurations)
    {
        return BuiltTables({Stts(inDurations), Stsc({{1, 1, 1}, {kClaimed + 1, 1, 1}}),
                            Stsz(16, {}, kClaimed), Stco({1000, 2000})},
                           false);
    }

    QT::SamplePassCounts Run(const BuiltTables& inTables, const QT::SamplePassEdit& inEdit)
    {
        QT::SamplePassCounts counts;
        bool variable = false;
        result = QT::RunVideoSamplePass(inTables.item, inTables.Range(), kClaimed, inEdit, 0xFFFFFFFFu,
                                        QT::SamplePassStride::RunByRun, records, variable, &counts);
        return counts;
    }

    uint32_t result = 0;
    VideoSampleTable records;
    AssertCounter reports;
};

TEST_F(LeftOutSamples, PastTheEditsEndTakeAStretch)
{
    const QT::SamplePassCounts counts = Run(Tables({{kClaimed, 300}}), {true, 0, 0, 600});
    EXPECT_EQ(result, kQTSuccess);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].fileOffset, 2000u);
    EXPECT_LE(counts.singleSteps + counts.stretches, 4u);
}

TEST_F(LeftOutSamples, BeforeTheEditsFirstSampleTakeAStretch)
{
    const QT::SamplePassCounts counts = Run(Tables({{kClaimed, 1}}), {true, kClaimed - 1, 0, 0xFFFFFFFFu});
    EXPECT_EQ(result, kQTSuccess);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].fileOffset, 0u); // its chunk is past the table
    EXPECT_LE(counts.singleSteps + counts.stretches, 4u);
}

TEST_F(LeftOutSamples, OfANegativeDurationTakeAStretchUntilTheyComeBackIntoTheEdit)
{
    // Two samples of 300 are kept; the rest last -2^31 each. The decode time of sample 2 is 600,
    // at the edit's end, and sample 3's wraps below 0: both out, and every later one, as the time
    // never comes back under 600 before the samples end.
    const QT::SamplePassCounts counts =
        Run(Tables({{2, 300}, {kClaimed - 2, 0x80000000u}}), {true, 0, 0, 600});
    EXPECT_EQ(result, kQTSuccess);
    EXPECT_EQ(records.size(), 2u);
    EXPECT_LE(counts.singleSteps + counts.stretches, 6u);
}

TEST_F(LeftOutSamples, KeptInChunksTheTableLacksTakeAStretchAndOneReport)
{
    const QT::SamplePassCounts counts = Run(Tables({{kClaimed, 1}}), {true, 0, 0, 1u << 20});
    EXPECT_EQ(result, kQTSuccess);
    EXPECT_EQ(records.size(), 1u << 20);
    EXPECT_EQ(reports.count, 1);
    EXPECT_LE(counts.singleSteps + counts.stretches, 6u);
}

// The cursors' look-aheads answer what their steps would.

TEST(TimeToSampleCursor, SamplesLeftInEntryAreThoseNextAnswersWithoutMoving)
{
    const Bytes bytes = Stts({{5, 7}, {3, 9}}).Build();
    QT::TimeToSampleCursor cursor(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
    uint32_t duration = 0;
    EXPECT_EQ(cursor.SamplesLeftInEntry(0, duration), 0u); // no entry in hand yet
    ASSERT_TRUE(cursor.Next(0, duration));
    EXPECT_EQ(cursor.SamplesLeftInEntry(1, duration), 4u);
    EXPECT_EQ(duration, 7u);
    for (uint32_t sample = 1; sample < 5; ++sample)
        ASSERT_TRUE(cursor.Next(sample, duration));
    // Sample 5 opens the next entry but takes the lagging duration, and moves the cursor.
    EXPECT_EQ(cursor.SamplesLeftInEntry(5, duration), 0u);
    ASSERT_TRUE(cursor.Next(5, duration));
    EXPECT_EQ(duration, 7u);
}

TEST(SyncSampleCursor, SamplesAlikeStopBeforeTheNextSyncSample)
{
    const Bytes bytes = Stss({1, 6}).Build();
    QT::SyncSampleCursor cursor(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
    bool isSync = true;
    EXPECT_EQ(cursor.SamplesAlike(0, isSync), 0u);
    ASSERT_TRUE(cursor.Next(0, isSync));
    EXPECT_EQ(cursor.SamplesAlike(1, isSync), 4u);
    EXPECT_FALSE(isSync);
    const QT::SyncSampleCursor none{QT::TableAtom()};
    EXPECT_EQ(none.SamplesAlike(3, isSync), UINT32_MAX);
    EXPECT_TRUE(isSync);
}

TEST(SampleToChunkCursor, LookAheadAndSkipPlaceAsNextWould)
{
    const Bytes bytes = Stsc({{1, 3, 1}, {4, 2, 1}}).Build();
    const QT::SampleToChunkTable runs(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
    QT::SampleToChunkCursor skipping(runs, 6);
    QT::SampleToChunkCursor stepping(runs, 6);
    QT::ChunkPlace place;
    QT::RunAhead ahead;
    EXPECT_FALSE(skipping.LookAhead(0, ahead)); // nothing placed yet
    ASSERT_TRUE(skipping.Next(0, place) && skipping.Next(1, place));
    ASSERT_TRUE(stepping.Next(0, place) && stepping.Next(1, place));
    ASSERT_TRUE(skipping.LookAhead(2, ahead));
    EXPECT_EQ(ahead.chunkIndex, 0u);
    EXPECT_EQ(ahead.positionInChunk, 2u);
    EXPECT_EQ(ahead.samplesPerChunk, 3u);
    EXPECT_EQ(ahead.samplesLeftInRun, 7u);      // samples 2 to 8 of the first run
    EXPECT_FALSE(skipping.LookAhead(3, ahead)); // not the sample after the last
    skipping.Skip(5);                           // samples 2 to 6
    for (uint32_t sample = 2; sample < 7; ++sample)
        ASSERT_TRUE(stepping.Next(sample, place));
    QT::ChunkPlace skipped, stepped;
    ASSERT_TRUE(skipping.Next(7, skipped));
    ASSERT_TRUE(stepping.Next(7, stepped));
    EXPECT_EQ(skipped.chunkIndex, stepped.chunkIndex);
    EXPECT_EQ(skipped.positionInChunk, stepped.positionInChunk);
    EXPECT_EQ(skipped.chunkIndex, 2u);
}

TEST(ChunkOffsetCursor, RunningTotalAndResumeSumAsNextWould)
{
    const Bytes bytes = Stsz(0, {10, 20, 0xFFFFFFF0u, 40}, 4).Build();
    const QT::SampleSizeTable sizes(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
    QT::ChunkOffsetCursor cursor(sizes);
    int64_t total = 0;
    EXPECT_FALSE(cursor.RunningTotal(1, 1, total));
    uint64_t offset = 0;
    ASSERT_TRUE(cursor.Next(0, 10, {0, 0, 4, 0}, offset));
    ASSERT_TRUE(cursor.RunningTotal(1, 1, total));
    EXPECT_EQ(total, 10);
    EXPECT_FALSE(cursor.RunningTotal(2, 2, total)); // not the sample after the last
    // A pass that placed samples 1 and 2 itself hands the sum back; sample 3 goes on from it.
    cursor.Resume(2, 2, 0xFFFFFFF0u, 30);
    ASSERT_TRUE(cursor.Next(3, 40, {0, 0, 4, 3}, offset));
    EXPECT_EQ(offset, 14u); // 10 + 20 - 16
}
