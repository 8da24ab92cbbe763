// A few bytes of table can claim millions of samples in chunks the offset table lacks, or outside
// the edit. The pass reports the missing chunks once and passes over left-out samples run by run,
// so such a claim costs no more than the samples the caller gets back.
#include <gtest/gtest.h>

#include <vector>

#include "Capture.h"
#include "TrackTestSupport.h"

using namespace qttest;
using QT::VideoSampleTable;

namespace
{

// The most samples a video track may claim.
constexpr uint32_t kMillions = 1u << 27;

// One sample of inDuration ticks and one byte a chunk; the first run spans chunks 1 to
// inSecondRunChunk - 1, the second (the last) as many chunks as the offset table holds.
std::vector<Atom> OneSampleChunks(uint32_t inCount, uint32_t inDuration, uint32_t inSecondRunChunk,
                                  const std::vector<uint32_t>& inOffsets)
{
    return {Stsd(Code("avc1")), Stts({{inCount, inDuration}}),
            Stsc({{.firstChunk = 1, .samplesPerChunk = 1},
                  {.firstChunk = inSecondRunChunk, .samplesPerChunk = 1}}),
            Stsz(1, {}, inCount), Stco(inOffsets)};
}

OpenedTrack VideoTrack(const std::vector<Atom>& inTables, const std::vector<ElstEntry>& inEdits = {})
{
    TrackSpec spec;
    spec.timeToSample = {};
    return OpenTrack(MovieWith({TrakWith(spec, inTables, inEdits)}));
}

} // namespace

TEST(HostileSamplePass, ChunksTheOffsetTableLacksAreReportedOnceAndGiveOffsetZero)
{
    OpenedTrack t = VideoTrack(OneSampleChunks(100000, 1, 100001, {1000}));
    VideoSampleTable samples;
    AssertCounter asserts;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    ASSERT_EQ(samples.size(), 100000u);
    EXPECT_EQ(samples[0].fileOffset, 1000u);
    EXPECT_EQ(samples[1].fileOffset, 0u);
    EXPECT_EQ(samples[99999].fileOffset, 0u);
    EXPECT_EQ(samples[99999].startTime, 99999u);
    EXPECT_EQ(asserts.count, 1);
}

TEST(HostileSamplePass, ChunksTheOffsetTableLacksKeepTheirPlaceInTheChunk)
{
    // Two samples a chunk of sizes 10, 20, 30, ...: chunk 1 is missing, its samples start at 0.
    std::vector<uint32_t> sizes;
    for (uint32_t sample = 0; sample < 6; ++sample)
        sizes.push_back(10 * (sample + 1));
    OpenedTrack t =
        VideoTrack({Stsd(Code("avc1")), Stts({{6, 1}}),
                    Stsc({{.firstChunk = 1, .samplesPerChunk = 2}, {.firstChunk = 4, .samplesPerChunk = 2}}),
                    Stsz(0, sizes, 6), Stco({1000})});
    VideoSampleTable samples;
    AssertCounter asserts;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, true, samples, nullptr), 0u);
    std::vector<uint64_t> offsets;
    for (const QT::VideoSampleRecord& record : samples)
        offsets.push_back(record.fileOffset);
    EXPECT_EQ(offsets, (std::vector<uint64_t>{1000, 1010, 0, 30, 0, 50}));
    EXPECT_EQ(asserts.count, 1);
}

TEST(HostileSamplePass, MillionsOfSamplesPastTheEditAreNotWalkedOneByOne)
{
    // The edit keeps media time 0 to 2: samples 0 and 1. The rest, nearly 2^27 samples in chunks
    // the offset table lacks, are left out; stepping through each would take seconds.
    OpenedTrack t = VideoTrack(OneSampleChunks(kMillions, 300, kMillions + 1, {1000, 2000}),
                               {{.duration = 600, .mediaTime = 0}});
    VideoSampleTable samples;
    AssertCounter asserts;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, false, samples, nullptr), 0u);
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[0].fileOffset, 1000u);
    EXPECT_EQ(samples[1].fileOffset, 2000u);
    EXPECT_EQ(samples[1].startTime, 300u);
    // The left-out samples still pass through the chunk lookup, which reports the first it lacks.
    EXPECT_EQ(asserts.count, 1);
}

TEST(HostileSamplePass, MillionsOfSamplesBeforeTheEditAreNotWalkedOneByOne)
{
    // The edit starts at the last sample but one: all before it are left out.
    const uint32_t first = kMillions - 2;
    OpenedTrack t = VideoTrack(OneSampleChunks(kMillions, 1, kMillions + 1, {1000, 2000}),
                               {{.duration = 1, .mediaTime = first}});
    VideoSampleTable samples;
    ASSERT_EQ(t.track->MakeVideoSampleTable(false, false, samples, nullptr), 0u);
    ASSERT_EQ(samples.size(), 1u);
    // Its chunk is past the table.
    EXPECT_EQ(samples[0].fileOffset, 0u);
    EXPECT_EQ(samples[0].startTime, 0u);
}
