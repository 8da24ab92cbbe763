#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "Capture.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "SoundAtoms.h"
#include "TrackTestSupport.h"
#include "tenacore/config.h"

using namespace qttest;

namespace
{

// The first track of a movie holding only inTrak.
OpenedTrack OpenedSound(const Atom& inTrak)
{
    return OpenTrack(MovieWith({inTrak}));
}

// A sound track of the given descriptions and plain tables: 1000 frames in ten chunks of 100.
OpenedTrack SoundTrack(const std::vector<Atom>& inDescriptions)
{
    return OpenedSound(
        SoundTrakWith(inDescriptions, {Stts({{.sampleCount = 1000, .duration = 1}}),
                                       Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}),
                                       Stco({0, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000})}));
}

const Atom kMono16 =
    SoundDescription({.format = Code("twos"), .version = 0, .channels = 1, .sampleSize = 16});

struct Range
{
    uint64_t key, count, position, offset;
    bool operator==(const Range&) const = default;
};

void PrintTo(const Range& inRange, std::ostream* outStream)
{
    *outStream << "{key " << inRange.key << ", count " << inRange.count << ", position " << inRange.position
               << ", offset " << inRange.offset << "}";
}

std::vector<Range> Ranges(const QT::AudioSampleRangeMap& inMap)
{
    std::vector<Range> ranges;
    for (const auto& [key, range] : inMap)
        ranges.push_back({key, range.mSampleCount, range.mPosition, range.mFileOffset});
    return ranges;
}

// The map of the first track of a movie holding inTrak, keyed as asked.
struct MappedRanges
{
    uint32_t result = 0;
    std::vector<Range> ranges;
};

MappedRanges MapOf(const Atom& inTrak, bool inKeyByFileOffset = false)
{
    OpenedTrack t = OpenedSound(inTrak);
    MappedRanges mapped;
    if (!t.track)
        return mapped;
    QT::AudioSampleRangeMap map;
    mapped.result = t.track->MakeAudioSampleRangeMap(map, inKeyByFileOffset);
    mapped.ranges = Ranges(map);
    return mapped;
}

// Ten chunks of 100 mono 16-bit frames, 1000 bytes apart, with the given edits.
Atom TenChunks(const std::vector<ElstEntry>& inEdits = {}, const Atom& inDescription = kMono16)
{
    return SoundTrakWith({inDescription},
                         {Stts({{.sampleCount = 1000, .duration = 1}}),
                          Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}),
                          Stco({0, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000})},
                         inEdits);
}

} // namespace

// The accessors.

TEST(AudioAccessors, AnswerFromTheSoundDescription)
{
    OpenedTrack t = SoundTrack({SoundDescription2(
        {.rate = 96000.0, .channels = 6, .bits = 24, .bytesPerPacket = 24, .framesPerPacket = 1},
        {Chan(0x00790006)})});
    EXPECT_EQ(t.track->GetAudioMediaSampleRate(0), 96000u);
    EXPECT_EQ(t.track->GetAudioMediaNumChannels(0), 6);
    EXPECT_EQ(t.track->GetAudioMediaBitsPerSample(0), 24);
    EXPECT_EQ(t.track->GetAudioMediaPackedBitsPerSample(0), 32u);
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaDataFormat(0)), "in24");
    EXPECT_TRUE(t.track->IsAudioMediaUncompressed(0));
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaRawDataFormat(0)), "lpcm");
    std::vector<int32_t> map;
    bool unsupported = true;
    EXPECT_TRUE(t.track->GetMultiChannelMap(0, map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_EQ(map, (std::vector<int32_t>{0, 1, 2, 3, 4, 5}));
}

TEST(AudioAccessors, OnAVideoTrackEachReportsAndRaises)
{
    OpenedTrack t = OpenTrack(SimpleMovie());
    AssertCounter asserts;
    EXPECT_THROW((void)t.track->GetAudioMediaSampleRate(0), tenacore::config::Error);
    EXPECT_THROW((void)t.track->IsAudioMediaUncompressed(0), tenacore::config::Error);
    QT::AudioSampleRangeMap map;
    map[7] = {1, 2, 3};
    EXPECT_THROW((void)t.track->MakeAudioSampleRangeMap(map, false), tenacore::config::Error);
    EXPECT_EQ(map.size(), 1u);
    ASSERT_EQ(asserts.count, 3);
    EXPECT_EQ(asserts.calls[1].function, "QT::QTTrack::GetAudioMediaDataFormat");
    EXPECT_EQ(asserts.calls[2].function, "QT::QTTrack::MakeAudioSampleRangeMap");
    EXPECT_EQ(asserts.calls[2].condition, "GetTrackMediaType() == kAudioMediaType");
}

TEST(AudioAccessors, AnIndexPastTheDescriptionsGivesTheAbsentValues)
{
    OpenedTrack t = SoundTrack({kMono16});
    EXPECT_EQ(t.track->GetAudioMediaSampleRate(1), 0u);
    EXPECT_EQ(t.track->GetAudioMediaNumChannels(1), 0);
    EXPECT_EQ(t.track->GetAudioMediaBitsPerSample(1), 0);
    EXPECT_EQ(t.track->GetAudioMediaPackedBitsPerSample(1), 0u);
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaDataFormat(1)), "unkn");
    EXPECT_FALSE(t.track->IsAudioMediaUncompressed(1));
    EXPECT_EQ(t.track->GetAudioMediaRawDataFormat(1), 0u);
    std::vector<int32_t> map;
    bool unsupported = true;
    EXPECT_FALSE(t.track->GetMultiChannelMap(1, map, unsupported));
    EXPECT_FALSE(unsupported);
}

TEST(AudioAccessors, TheRawFormatIsTheFilesWhileTheFormatIsNormalised)
{
    OpenedTrack t = SoundTrack({SoundDescription({.format = Code("sowt"), .version = 0, .sampleSize = 16})});
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaRawDataFormat(0)), "sowt");
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaDataFormat(0)), "16le");
}

TEST(AudioAccessors, AVersion2RateIsTruncatedTo32Bits)
{
    EXPECT_EQ(SoundTrack({SoundDescription2({.rate = 44100.0})}).track->GetAudioMediaSampleRate(0), 44100u);
    EXPECT_EQ(SoundTrack({SoundDescription2({.rate = 44100.9})}).track->GetAudioMediaSampleRate(0), 44100u);
}

TEST(AudioAccessors, BitsPerSampleAreCutToSixteenBits)
{
    OpenedTrack t = SoundTrack({SoundDescription2({.bits = 0x18000})});
    EXPECT_EQ(t.track->GetAudioMediaBitsPerSample(0), int16_t(-0x8000));
}

TEST(AudioAccessors, WithoutChanTheMapIsLeftAndUnsupportedCleared)
{
    OpenedTrack t = SoundTrack({kMono16});
    std::vector<int32_t> map = {4, 5};
    bool unsupported = true;
    EXPECT_FALSE(t.track->GetMultiChannelMap(0, map, unsupported));
    EXPECT_FALSE(unsupported);
    EXPECT_EQ(map, (std::vector<int32_t>{4, 5}));
}

TEST(AudioAccessors, EachDescriptionIsItsOwnQuery)
{
    OpenedTrack t =
        SoundTrack({kMono16, SoundDescription({.format = Code("fl32"), .channels = 2, .sampleSize = 32})});
    EXPECT_EQ(t.track->GetSampleDescriptionCount(), 2u);
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaDataFormat(0)), "16be");
    EXPECT_EQ(QT::FourCCText(t.track->GetAudioMediaDataFormat(1)), "fl32");
    EXPECT_EQ(t.track->GetAudioMediaNumChannels(0), 1);
    EXPECT_EQ(t.track->GetAudioMediaNumChannels(1), 2);
}

TEST(AudioAccessors, CompressedAndUnknownFormatsAreNotUncompressed)
{
    EXPECT_FALSE(SoundTrack({SoundDescription({.format = Code("mp4a")})}).track->IsAudioMediaUncompressed(0));
    EXPECT_FALSE(
        SoundTrack({SoundDescription2({.format = Code("sowt")})}).track->IsAudioMediaUncompressed(0));
    EXPECT_FALSE(SoundTrack({SoundDescription({.format = Code("lpcm"), .sampleSize = 8})})
                     .track->IsAudioMediaUncompressed(0));
}

// The range map.

TEST(AudioSampleRangeMap, AnUneditedTrackGivesOneRangeAChunk)
{
    const MappedRanges mapped = MapOf(TenChunks());
    ASSERT_EQ(mapped.result, 0u);
    ASSERT_EQ(mapped.ranges.size(), 10u);
    for (uint64_t i = 0; i < 10; ++i)
        EXPECT_EQ(mapped.ranges[i], (Range{i * 100, 100, i * 100, i * 1000}));
}

TEST(AudioSampleRangeMap, TheEditTrimsTheFirstAndLastChunks)
{
    // Media time 150, 300 ticks long: the span is frames 150 to 450.
    const MappedRanges mapped = MapOf(TenChunks({{.duration = 300, .mediaTime = 150}}));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges,
              (std::vector<Range>{
                  {0, 50, 0, 1100}, {50, 100, 50, 2000}, {150, 100, 150, 3000}, {250, 50, 250, 4000}}));
}

TEST(AudioSampleRangeMap, AChunkHoldingBothEndsKeepsItsSkippedFramesInItsCount)
{
    const Atom trak = SoundTrakWith({kMono16},
                                    {Stts({{.sampleCount = 100, .duration = 1}}),
                                     Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({5000})},
                                    {{.duration = 10, .mediaTime = 10}});
    // Frames 10 to 20: the count is 20, not 10.
    EXPECT_EQ(MapOf(trak).ranges, (std::vector<Range>{{0, 20, 0, 5020}}));
    // Frames 60 to 90: the count is 90, more than the 40 frames the chunk holds behind frame 60.
    const Atom late = SoundTrakWith({kMono16},
                                    {Stts({{.sampleCount = 100, .duration = 1}}),
                                     Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({5000})},
                                    {{.duration = 30, .mediaTime = 60}});
    EXPECT_EQ(MapOf(late).ranges, (std::vector<Range>{{0, 90, 0, 5120}}));
}

TEST(AudioSampleRangeMap, ChunksThatOnlyTouchTheSpanGiveNothing)
{
    // The span 100 to 200 is exactly chunk 1: chunk 0 ends at its start, chunk 2 begins at its end.
    const MappedRanges mapped = MapOf(TenChunks({{.duration = 100, .mediaTime = 100}}));
    EXPECT_EQ(mapped.ranges, (std::vector<Range>{{0, 100, 0, 1000}}));
}

TEST(AudioSampleRangeMap, AnEmptySpanInsideAChunkCountsUpToItsStart)
{
    const MappedRanges mapped = MapOf(TenChunks({{.duration = 0, .mediaTime = 130}}));
    EXPECT_EQ(mapped.ranges, (std::vector<Range>{{0, 30, 0, 1060}}));
}

TEST(AudioSampleRangeMap, ChunksAtOneOffsetKeepTheFirstWhilePositionsCountBoth)
{
    const Atom trak =
        SoundTrakWith({kMono16},
                      {Stts({{.sampleCount = 300, .duration = 1}}),
                       Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({4000, 4000, 9000})},
                      {}, 300);
    EXPECT_EQ(MapOf(trak, true).ranges, (std::vector<Range>{{4000, 100, 0, 4000}, {9000, 100, 200, 9000}}));
}

TEST(AudioSampleRangeMap, RunsTakeTheirChunksFromTheNextFirstChunk)
{
    const Atom trak = SoundTrakWith(
        {kMono16},
        {Stts({{.sampleCount = 1000, .duration = 1}}),
         Stsc({{.firstChunk = 1, .samplesPerChunk = 50}, {.firstChunk = 4, .samplesPerChunk = 100}}),
         Stco({0, 1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000})},
        {}, 850);
    const MappedRanges mapped = MapOf(trak);
    ASSERT_EQ(mapped.ranges.size(), 10u);
    EXPECT_EQ(mapped.ranges[2], (Range{100, 50, 100, 2000}));
    EXPECT_EQ(mapped.ranges[3], (Range{150, 100, 150, 3000}));
    EXPECT_EQ(mapped.ranges[9], (Range{750, 100, 750, 9000}));
}

TEST(AudioSampleRangeMap, AFirstChunkThatFallsBackIsEndedByTheChunkCount)
{
    const Atom trak = SoundTrakWith(
        {kMono16},
        {Stts({{.sampleCount = 1000, .duration = 1}}),
         Stsc({{.firstChunk = 5, .samplesPerChunk = 100}, {.firstChunk = 2, .samplesPerChunk = 100}}),
         Stco({0, 1000, 2000})},
        {}, 300);
    const MappedRanges mapped = MapOf(trak);
    EXPECT_EQ(mapped.ranges,
              (std::vector<Range>{{0, 100, 0, 0}, {100, 100, 100, 1000}, {200, 100, 200, 2000}}));
}

TEST(AudioSampleRangeMap, Co64IsUsedOverStco)
{
    const Atom trak =
        SoundTrakWith({kMono16},
                      {Stts({{.sampleCount = 100, .duration = 1}}),
                       Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({16}), Co64({0x100000000ull})},
                      {}, 100);
    EXPECT_EQ(MapOf(trak).ranges, (std::vector<Range>{{0, 100, 0, 0x100000000ull}}));
}

TEST(AudioSampleRangeMap, TheWalkEndsAfterTheRunThatCoversTheTrack)
{
    // One frame by stts, but the first run claims three chunks of 100: the run is visited whole.
    const Atom trak = SoundTrakWith(
        {kMono16},
        {Stts({{.sampleCount = 1, .duration = 1000}}),
         Stsc({{.firstChunk = 1, .samplesPerChunk = 100}, {.firstChunk = 4, .samplesPerChunk = 100}}),
         Stco({0, 1000, 2000, 3000, 4000})},
        {}, 1000);
    const MappedRanges mapped = MapOf(trak);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges.size(), 3u);
}

TEST(AudioSampleRangeMap, FramesOfTwentyFourBitStereoAreSixBytes)
{
    const Atom stereo24 = SoundDescription({.format = Code("in24"), .channels = 2, .sampleSize = 24});
    const MappedRanges mapped = MapOf(TenChunks({{.duration = 97, .mediaTime = 3}}, stereo24));
    ASSERT_FALSE(mapped.ranges.empty());
    EXPECT_EQ(mapped.ranges[0], (Range{0, 97, 0, 18}));
}

TEST(AudioSampleRangeMap, TwelveBitsCountAsOneByteAChannelAndFourAreRefused)
{
    const Atom twelve = SoundDescription({.format = Code("twos"), .channels = 2, .sampleSize = 12});
    const MappedRanges mapped = MapOf(TenChunks({{.duration = 100, .mediaTime = 1}}, twelve));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges.at(0).offset, 2u);
    const Atom four = SoundDescription({.format = Code("twos"), .sampleSize = 4});
    EXPECT_EQ(MapOf(TenChunks({}, four)).result, QT::kQTErrUnsupportedAudio);
}

TEST(AudioSampleRangeMap, ACompressedTrackOfOneDurationIsMappedInItsSamples)
{
    const Atom aac = SoundDescription({.format = Code("mp4a"), .channels = 2, .sampleSize = 16});
    const MappedRanges mapped = MapOf(TenChunks({}, aac));
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges.size(), 10u);
}

TEST(AudioSampleRangeMap, RefusesWhatItCannotMapAndLeavesTheMap)
{
    // Two stts entries: durations vary.
    const Atom varying = SoundTrakWith(
        {kMono16}, {Stts({{.sampleCount = 1, .duration = 2048}, {.sampleCount = 10, .duration = 1024}}),
                    Stsc({{.firstChunk = 1, .samplesPerChunk = 11}}), Stco({0})});
    EXPECT_EQ(MapOf(varying).result, QT::kQTErrUnsupportedAudio);
    // No channels.
    const Atom silent = SoundDescription({.channels = 0});
    EXPECT_EQ(MapOf(TenChunks({}, silent)).result, QT::kQTErrUnsupportedAudio);
    // Two edits that do not make the track's duration.
    EXPECT_EQ(
        MapOf(TenChunks({{.duration = 100, .mediaTime = 0}, {.duration = 100, .mediaTime = 200}})).result,
        QT::kQTErrComplexEditList);
    // A rate other than 1.
    EXPECT_EQ(MapOf(TenChunks({{.duration = 1000, .mediaTime = 0, .rate = 0x20000}})).result,
              QT::kQTErrComplexEditList);
}

TEST(AudioSampleRangeMap, AnEmptySttsIsFineOnlyForATrackOfNoDuration)
{
    EXPECT_EQ(
        MapOf(SoundTrakWith({kMono16}, {Stts({}), Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stco({0})},
                            {}, 0))
            .result,
        0u);
    EXPECT_EQ(MapOf(SoundTrakWith({kMono16},
                                  {Stts({}), Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stco({0})}))
                  .result,
              QT::kQTErrUnsupportedAudio);
}

TEST(AudioSampleRangeMap, NewRangesAreAddedToTheCallersMapWhoseKeysStay)
{
    OpenedTrack t = OpenedSound(TenChunks());
    QT::AudioSampleRangeMap map;
    map[100] = {7, 7, 7};
    map[12345] = {1, 1, 1};
    ASSERT_EQ(t.track->MakeAudioSampleRangeMap(map, false), 0u);
    EXPECT_EQ(map.size(), 11u);
    EXPECT_EQ(map[100].mSampleCount, 7u);
    EXPECT_EQ(map[200].mFileOffset, 2000u);
}

TEST(AudioSampleRangeMap, DescriptionZeroGovernsTheWholeTrack)
{
    const Atom none = SoundDescription({.channels = 0});
    const Atom trak =
        SoundTrakWith({none, kMono16}, {Stts({{.sampleCount = 100, .duration = 1}}),
                                        Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), Stco({0})});
    EXPECT_EQ(MapOf(trak).result, QT::kQTErrUnsupportedAudio);
}

// Hostile tables.

TEST(AudioSampleRangeMapBounds, AHugeRunCountIsWalkedOnlyAsFarAsTheAtomHoldsRuns)
{
    // 2^32 - 1 runs are claimed; two lie inside the atom.
    Atom stsc("stsc");
    stsc.FullHeader().U32(0xFFFFFFFF).U32(1).U32(100).U32(1).U32(3).U32(100).U32(1);
    const Atom trak = SoundTrakWith(
        {kMono16}, {Stts({{.sampleCount = 0x7FFFFFFF, .duration = 1}}), stsc, Stco({0, 1000, 2000, 3000})});
    const MappedRanges mapped = MapOf(trak);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges.size(), 4u);
}

TEST(AudioSampleRangeMapBounds, AHugeChunkCountIsWalkedOnlyAsFarAsTheAtomHoldsChunks)
{
    Atom stco("stco");
    stco.FullHeader().U32(0xFFFFFFFF).U32(0).U32(1000);
    const Atom trak = SoundTrakWith({kMono16},
                                    {Stts({{.sampleCount = 0x7FFFFFFF, .duration = 1}}),
                                     Stsc({{.firstChunk = 1, .samplesPerChunk = 100}}), stco},
                                    {}, 0x7FFFFFFF);
    const MappedRanges mapped = MapOf(trak);
    ASSERT_EQ(mapped.result, 0u);
    EXPECT_EQ(mapped.ranges.size(), 2u);
}

TEST(AudioSampleRangeMapBounds, ASampleCountWithItsTopBitSetIsEnormous)
{
    // Runs of chunks are walked to the end of stsc, since the track is never covered.
    const Atom trak = SoundTrakWith(
        {kMono16},
        {Stts({{.sampleCount = 0x80000000, .duration = 1}}),
         Stsc({{.firstChunk = 1, .samplesPerChunk = 100}, {.firstChunk = 2, .samplesPerChunk = 100}}),
         Stco({0, 1000, 2000})},
        {}, 0x7FFFFFFF);
    EXPECT_EQ(MapOf(trak).ranges.size(), 3u);
}

namespace
{

// The map as a literal walk gives it, chunk by chunk: the stsc runs in order, each up to the next
// run's first chunk (the last up to the chunk count), each chunk cut to the span, the walk ending
// after the run that covers the track. Written apart from the library's pass, as its oracle.
std::vector<Range> LiteralWalk(const std::vector<StscEntry>& inRuns, const std::vector<uint64_t>& inOffsets,
                               uint64_t inTotal, uint64_t inStart, uint64_t inEnd, bool inKeyByFileOffset)
{
    std::map<uint64_t, Range> byKey;
    uint64_t cursor = 0;
    uint64_t position = 0;
    uint32_t chunk = 0;
    uint32_t seen = 0;
    for (size_t run = 0; run < inRuns.size(); ++run)
    {
        uint32_t chunks = 0;
        if (run + 1 < inRuns.size())
        {
            chunks = inRuns[run + 1].firstChunk - inRuns[run].firstChunk;
            seen += chunks;
        }
        else
            chunks = uint32_t(inOffsets.size()) - seen;
        const uint64_t perChunk = inRuns[run].samplesPerChunk;
        for (uint32_t i = 0; i < chunks && chunk < inOffsets.size(); ++i, ++chunk)
        {
            const uint64_t end = cursor + perChunk;
            if (end >= inStart && cursor <= inEnd)
            {
                uint64_t count = perChunk;
                uint64_t offset = inOffsets[chunk];
                if (inStart > cursor)
                {
                    count -= inStart - cursor;
                    offset += (inStart - cursor) * 2;
                }
                if (end > inEnd)
                    count = inEnd - cursor;
                if (count != 0)
                {
                    const uint64_t key = inKeyByFileOffset ? offset : position;
                    byKey.try_emplace(key, Range{key, count, position, offset});
                    position += count;
                }
            }
            cursor = end;
        }
        if (cursor >= inTotal)
            break;
    }
    std::vector<Range> ranges;
    for (const auto& [key, range] : byKey)
        ranges.push_back(range);
    return ranges;
}

} // namespace

TEST(AudioSampleRangeMap, RandomTablesGiveWhatALiteralWalkGives)
{
    std::mt19937 random(20261122);
    auto below = [&](uint32_t inLimit) { return uint32_t(random() % inLimit); };
    for (int trial = 0; trial < 400; ++trial)
    {
        const uint32_t chunkCount = 1 + below(40);
        std::vector<uint64_t> offsets;
        const bool wide = below(3) == 0;
        uint64_t next = wide ? 0xFFFFF000ull : 0;
        for (uint32_t i = 0; i < chunkCount; ++i)
        {
            // Mostly rising, sometimes repeated or falling back, as keys by offset may be.
            const uint32_t step = below(8);
            if (step == 0 && next >= 500)
                next -= 500;
            else if (step != 1)
                next += 100 * step;
            offsets.push_back(next);
        }
        std::vector<StscEntry> runs;
        uint32_t firstChunk = 1;
        const uint32_t runCount = 1 + below(4);
        for (uint32_t run = 0; run < runCount; ++run)
        {
            runs.push_back({.firstChunk = firstChunk, .samplesPerChunk = below(5) == 0 ? 0 : 1 + below(120)});
            // Now and then a first chunk that falls back, or one past the table.
            firstChunk = below(10) == 0 ? 1 + below(chunkCount) : firstChunk + below(12);
        }
        const uint32_t total = 1 + below(3000);
        const uint32_t duration = 1 + below(3000);
        std::vector<ElstEntry> edits;
        uint64_t start = 0;
        uint64_t end = duration;
        if (below(3) != 0)
        {
            const uint32_t mediaTime = below(2000);
            const uint32_t editDuration = below(1500);
            edits.push_back({.duration = editDuration, .mediaTime = mediaTime});
            start = mediaTime;
            end = uint64_t(mediaTime) + editDuration;
        }
        std::vector<uint32_t> narrow(offsets.begin(), offsets.end());
        std::vector<Atom> tables = {Stts({{.sampleCount = total, .duration = 1}}), Stsc(runs)};
        tables.push_back(wide ? Co64(offsets) : Stco(narrow));
        const Atom trak = SoundTrakWith({kMono16}, tables, edits, duration);
        for (const bool byOffset : {false, true})
        {
            SCOPED_TRACE(::testing::Message() << "trial " << trial << (byOffset ? ", keyed by offset" : ""));
            const MappedRanges mapped = MapOf(trak, byOffset);
            ASSERT_EQ(mapped.result, 0u);
            EXPECT_EQ(mapped.ranges, LiteralWalk(runs, offsets, total, start, end, byOffset));
        }
    }
}
