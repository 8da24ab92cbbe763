#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "AtomBuilder.h"
#include "QTShared.h"

using namespace qttest;

namespace
{

// The sample-to-chunk lookup as a plain walk from the run in hand, one sample at a time, with
// nothing remembered but the run: what the cursor must answer for every sample of a pass.
class ReferenceLocator
{
public:
    ReferenceLocator(std::vector<std::array<uint32_t, 2>> inRuns, uint32_t inChunkCount)
        : mRuns(std::move(inRuns)), mChunkCount(inChunkCount)
    {
    }

    bool Next(uint32_t inSample, QT::ChunkPlace& outPlace)
    {
        if (mRunIndex >= mRuns.size())
            return false;
        const uint32_t samplesPerChunk = mRuns[mRunIndex][1];
        uint32_t counted = 0;
        for (int tried = 0;; ++tried)
        {
            uint32_t chunks;
            if (mRunIndex + 1 < mRuns.size())
            {
                chunks = mRuns[mRunIndex + 1][0] - mRuns[mRunIndex][0];
                counted += chunks;
            }
            else
                chunks = mChunkCount - counted;
            const uint32_t runSamples = samplesPerChunk * chunks;
            if (inSample >= mRunFirst && inSample < mRunFirst + runSamples)
            {
                const uint32_t chunkInRun = chunks > 1 ? (inSample - mRunFirst) / samplesPerChunk : 0;
                outPlace = {mRuns[mRunIndex][0] - 1 + chunkInRun, mRunFirst, samplesPerChunk,
                            (inSample - mRunFirst) % samplesPerChunk};
                return true;
            }
            mRunFirst += runSamples;
            ++mRunIndex;
            if (mRunIndex >= mRuns.size() || tried == 1)
                return false;
        }
    }

private:
    std::vector<std::array<uint32_t, 2>> mRuns; // first chunk, samples per chunk
    uint32_t mChunkCount;
    size_t mRunIndex = 0;
    uint32_t mRunFirst = 0;
};

} // namespace

TEST(SampleCursorProperty, CursorPlacesEverySampleAsAFreshWalkWould)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 400; ++round)
    {
        std::vector<std::array<uint32_t, 2>> runs;
        uint32_t firstChunk = 1;
        const int runCount = 1 + int(random() % 5);
        for (int i = 0; i < runCount; ++i)
        {
            runs.push_back({firstChunk, uint32_t(random() % 5)}); // 0 samples a chunk now and then
            firstChunk += uint32_t(random() % 4);                 // and runs of no chunks
        }
        const uint32_t chunkCount = firstChunk - 1 + uint32_t(random() % 3);
        Atom stsc("stsc");
        stsc.FullHeader().U32(uint32_t(runs.size()));
        for (const auto& run : runs)
            stsc.U32(run[0]).U32(run[1]).U32(1);
        const Bytes bytes = stsc.Build();
        const QT::SampleToChunkTable table(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
        QT::SampleToChunkCursor cursor(table, chunkCount);
        ReferenceLocator reference(runs, chunkCount);
        for (uint32_t sample = 0; sample < 64; ++sample)
        {
            QT::ChunkPlace expected, actual;
            const bool found = reference.Next(sample, expected);
            ASSERT_EQ(cursor.Next(sample, actual), found) << "round " << round << " sample " << sample;
            if (!found)
                break;
            EXPECT_EQ(actual.chunkIndex, expected.chunkIndex) << round << "/" << sample;
            EXPECT_EQ(actual.runFirstSample, expected.runFirstSample) << round << "/" << sample;
            EXPECT_EQ(actual.samplesPerChunk, expected.samplesPerChunk) << round << "/" << sample;
            EXPECT_EQ(actual.positionInChunk, expected.positionInChunk) << round << "/" << sample;
        }
    }
}

TEST(SampleCursorProperty, RunningChunkOffsetsEqualFreshSums)
{
    std::mt19937 random(7);
    std::vector<uint32_t> sizes;
    for (int i = 0; i < 200; ++i)
        sizes.push_back(random() % 3 == 0 ? 0xFFFFFFF0u + uint32_t(random() % 16)
                                          : uint32_t(random() % 5000));
    const Bytes bytes = Stsz(0, sizes, uint32_t(sizes.size())).Build();
    const QT::SampleSizeTable table(QT::TableAtom(bytes.data(), {bytes.data(), bytes.size()}));
    for (uint32_t perChunk : {1u, 3u, 17u, 200u})
    {
        QT::ChunkOffsetCursor cursor(table);
        for (uint32_t sample = 0; sample < sizes.size(); ++sample)
        {
            const QT::ChunkPlace place{sample / perChunk, 0, perChunk, sample % perChunk};
            int64_t expected = 0;
            for (uint32_t before = sample - sample % perChunk; before < sample; ++before)
                expected += int32_t(sizes[before]);
            uint64_t actual = 0;
            ASSERT_TRUE(cursor.Next(sample, sizes[sample], place, actual));
            EXPECT_EQ(actual, uint64_t(expected)) << perChunk << "/" << sample;
        }
    }
}
