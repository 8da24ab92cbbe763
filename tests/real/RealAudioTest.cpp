#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "IQTSifter.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// Where the atom of type inType starts inside moov, searched byte by byte; the movies made here
// have one track, so the first match is that track's. npos when there is none.
size_t FindInMoov(const Bytes& inBytes, const char (&inType)[5])
{
    const auto moov = FindAtom(ScanTopLevelAtoms(inBytes), Code("moov"));
    if (!moov)
        return std::string::npos;
    const uint32_t wanted = Code(inType);
    for (uint64_t at = moov->start + 4; at + 4 <= moov->End() && at + 4 <= inBytes.size(); ++at)
        if (ReadU32(inBytes, size_t(at)) == wanted)
            return size_t(at - 4);
    return std::string::npos;
}

// The first entry of the first stsd in moov: its start (the size word) and its size.
struct EntrySpan
{
    size_t start = 0;
    uint32_t size = 0;
};

std::optional<EntrySpan> FirstSoundEntry(const Bytes& inBytes)
{
    const size_t stsd = FindInMoov(inBytes, "stsd");
    if (stsd == std::string::npos)
        return std::nullopt;
    const size_t entry = stsd + 16;
    return EntrySpan{entry, ReadU32(inBytes, entry)};
}

// The chan atom's place inside the entry as ffmpeg wrote it: the first "chan" type in the entry.
std::optional<size_t> ChanOffsetInEntry(const Bytes& inBytes, const EntrySpan& inEntry)
{
    for (size_t at = 8; at + 8 <= inEntry.size; ++at)
        if (ReadU32(inBytes, inEntry.start + at + 4) == Code("chan"))
            return at;
    return std::nullopt;
}

// A run of bytes in the file.
struct ByteRun
{
    uint64_t offset = 0;
    uint64_t length = 0;

    bool operator==(const ByteRun&) const = default;
};

std::ostream& operator<<(std::ostream& inStream, const ByteRun& inRun)
{
    return inStream << "[" << inRun.offset << ", +" << inRun.length << ")";
}

// Sorts the runs by offset and joins each one that begins where the one before ends.
std::vector<ByteRun> Merged(std::vector<ByteRun> inRuns)
{
    std::sort(inRuns.begin(), inRuns.end(),
              [](const ByteRun& inA, const ByteRun& inB) { return inA.offset < inB.offset; });
    std::vector<ByteRun> merged;
    for (const ByteRun& run : inRuns)
    {
        if (!merged.empty() && merged.back().offset + merged.back().length == run.offset)
            merged.back().length += run.length;
        else
            merged.push_back(run);
    }
    return merged;
}

std::vector<ByteRun> RunsOfMap(const QT::AudioSampleRangeMap& inMap, uint64_t inBytesPerFrame)
{
    std::vector<ByteRun> runs;
    for (const auto& [key, range] : inMap)
        runs.push_back({range.mFileOffset, range.mSampleCount * inBytesPerFrame});
    return runs;
}

// One audio packet as ffprobe reports it.
struct ProbedPacket
{
    int64_t pts = 0;
    uint64_t pos = 0;
    uint64_t size = 0;
};

std::vector<ProbedPacket> PacketsOf(const nlohmann::json& inReport, int inStream)
{
    std::vector<ProbedPacket> packets;
    for (const nlohmann::json& packet : inReport.at("packets"))
        if (packet.at("stream_index").get<int>() == inStream)
            packets.push_back({FfprobeInteger(packet.at("pts")), uint64_t(FfprobeInteger(packet.at("pos"))),
                               uint64_t(FfprobeInteger(packet.at("size")))});
    return packets;
}

// The edit of stream inStream as ffprobe's trace tells it, from the line "Processing st: N, edit
// list 0 - media time: T, duration: D", where D is already in media ticks.
struct TracedAudioEdit
{
    int64_t mediaTime = 0;
    int64_t mediaDuration = 0;
};

std::optional<TracedAudioEdit> FirstTracedEdit(const std::string& inTrace, int inStream)
{
    const std::string key = "Processing st: " + std::to_string(inStream) + ", edit list 0 - media time: ";
    std::istringstream lines(inTrace);
    std::string line;
    while (std::getline(lines, line))
    {
        const size_t at = line.find(key);
        if (at == std::string::npos)
            continue;
        const size_t durationAt = line.find(", duration: ", at);
        if (durationAt == std::string::npos)
            return std::nullopt;
        return TracedAudioEdit{std::stoll(line.substr(at + key.size())),
                               std::stoll(line.substr(durationAt + std::string(", duration: ").size()))};
    }
    return std::nullopt;
}

constexpr std::string_view kStableFlags = "-fflags +bitexact -flags +bitexact -threads 1";

// Suites of this file make their own small audio-only movies beside the recipes' ones, once each.
class RealAudioBase : public RealMovieFixture
{
public:
    static void SetUpTestSuite()
    {
        RealMovieFixture::SetUpTestSuite();
        sOwnMovies.clear();
    }

protected:
    // Makes (once per suite) the movie named inName from ffmpeg's arguments inArguments, and opens
    // it. Skips the test when ffmpeg cannot make it.
    void MakeAndOpen(const std::string& inName, const std::string& inArguments)
    {
        auto found = sOwnMovies.find(inName);
        if (found == sOwnMovies.end())
        {
            const std::filesystem::path path = sMovies->Folder() / (inName + ".mov");
            std::vector<std::string> command = FfmpegCommand();
            for (std::string& argument : SplitArguments(inArguments + " " + std::string(kStableFlags)))
                command.push_back(std::move(argument));
            command.push_back(path.string());
            const CommandResult run = RunCommand(command);
            OwnMovie own;
            if (run.Succeeded())
            {
                own.path = path;
                own.probe = Ffprobe(path);
            }
            else
                own.why = "ffmpeg could not make " + inName + ": " + run.err.substr(0, 600);
            found = sOwnMovies.emplace(inName, std::move(own)).first;
        }
        if (found->second.path.empty())
            GTEST_SKIP() << found->second.why;
        ownPath = found->second.path;
        probe = &found->second.probe;
        bytes = ReadFileBytes(ownPath);
        const Opened opened = OpenPath(Wide(ownPath));
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        movie = opened.movie;
        ASSERT_EQ(movie->GetTrackCount(), 1u);
        movie->GetIndTrack(track, 0);
        ASSERT_TRUE(track);
        ASSERT_EQ(QT::FourCCText(track->GetTrackMediaType()), "soun");
        ASSERT_EQ(probe->at("streams").size(), 1u);
        stream = probe->at("streams")[0];
    }

    struct OwnMovie
    {
        std::filesystem::path path;
        nlohmann::json probe;
        std::string why;
    };
    static inline std::map<std::string, OwnMovie> sOwnMovies;

    std::filesystem::path ownPath;
    const nlohmann::json* probe = nullptr;
    nlohmann::json stream;
    InterfaceRef<QT::IQTMovie> movie;
    InterfaceRef<QT::IQTTrack> track;
};

std::string ToneInput(int inRate, const std::string& inDuration)
{
    return "-f lavfi -i sine=frequency=440:sample_rate=" + std::to_string(inRate) + ":duration=" + inDuration;
}

// ---------------------------------------------------------------------------------------------
// Each PCM codec at 8 kHz, where ffmpeg writes a version 0 or 1 description, and at 96 kHz, where
// it writes a version 2 "lpcm" one.

struct PcmCase
{
    std::string codec;
    int rate = 0;
    std::string format; // the normalised code the library gives
};

std::vector<PcmCase> PcmCases()
{
    const std::vector<std::pair<std::string, std::string>> codecs = {
        {"pcm_u8", "raw "},    {"pcm_s8", "twos"},    {"pcm_s16le", "16le"}, {"pcm_s16be", "16be"},
        {"pcm_s24le", "42ni"}, {"pcm_s24be", "in24"}, {"pcm_s32le", "23ni"}, {"pcm_s32be", "in32"},
        {"pcm_f32le", "23lf"}, {"pcm_f32be", "fl32"}, {"pcm_f64le", "46lf"}, {"pcm_f64be", "fl64"},
    };
    std::vector<PcmCase> cases;
    for (int rate : {8000, 96000})
        for (const auto& [codec, format] : codecs)
            cases.push_back({codec, rate, format});
    return cases;
}

void PrintTo(const PcmCase& inCase, std::ostream* outStream)
{
    *outStream << inCase.codec << " at " << inCase.rate << " Hz";
}

class RealAudioPcm : public RealAudioBase, public ::testing::WithParamInterface<PcmCase>
{
};

// ffmpeg writes 8-bit signed and 16-bit little-endian as "sowt", 16-bit big-endian as "twos", the
// wider integers and floats of either byte order under one fourcc with an enda atom in wave for
// the little-endian ones, and a sample size of 16 as a placeholder in its version 1 entries; above
// 65535 Hz everything becomes "lpcm" with the version 2 flags. The library folds all of these into
// one code per sample form, and takes the bits of a placeholder from that code.
TEST_P(RealAudioPcm, FormatRateChannelsAndBitsAgreeWithFfprobe)
{
    const PcmCase& param = GetParam();
    MakeAndOpen(param.codec + "_" + std::to_string(param.rate),
                ToneInput(param.rate, "0.1") + " -c:a " + param.codec);
    if (IsSkipped() || HasFatalFailure())
        return;

    ASSERT_EQ(stream.at("codec_name").get<std::string>(), param.codec);
    ASSERT_EQ(track->GetSampleDescriptionCount(), 1u);

    const std::string raw = QT::FourCCText(track->GetAudioMediaRawDataFormat(0));
    EXPECT_EQ(raw, stream.at("codec_tag_string").get<std::string>());
    if (param.rate > 65535)
        EXPECT_EQ(raw, "lpcm") << "ffmpeg writes version 2 above 65535 Hz";
    else
        EXPECT_NE(raw, "lpcm");

    EXPECT_EQ(QT::FourCCText(track->GetAudioMediaDataFormat(0)), param.format);
    EXPECT_TRUE(track->IsAudioMediaUncompressed(0));
    EXPECT_EQ(int64_t(track->GetAudioMediaSampleRate(0)), FfprobeInteger(stream.at("sample_rate")));
    EXPECT_EQ(int64_t(track->GetAudioMediaNumChannels(0)), FfprobeInteger(stream.at("channels")));
    EXPECT_EQ(int64_t(track->GetAudioMediaBitsPerSample(0)), FfprobeInteger(stream.at("bits_per_sample")));
    // No padding in ffmpeg's PCM: the packed size is the sample size.
    EXPECT_EQ(int64_t(track->GetAudioMediaPackedBitsPerSample(0)),
              FfprobeInteger(stream.at("bits_per_sample")));
}

INSTANTIATE_TEST_SUITE_P(RealAudio, RealAudioPcm, ::testing::ValuesIn(PcmCases()),
                         [](const ::testing::TestParamInfo<PcmCase>& inInfo)
                         { return inInfo.param.codec + "_" + std::to_string(inInfo.param.rate); });

// ---------------------------------------------------------------------------------------------
// Channel layouts. ffmpeg writes chan with a layout tag (or, for the back-surround 5.1, the channel
// bitmap 0x3F); it puts chan at offset 36 of a version 0 entry, after wave at 52 of a version 1
// entry, and at 72 of a version 2 entry.

struct LayoutCase
{
    std::string layout; // ffmpeg's name
    std::string codec;  // picks the description version with the rate
    int rate = 0;
    int version = 0;          // of the description ffmpeg writes
    uint32_t tag = 0;         // the layout tag ffmpeg writes
    uint32_t bitmap = 0;      // the bitmap ffmpeg writes beside it
    std::vector<int32_t> map; // the library's map; empty where it sets outUnsupported
};

std::vector<LayoutCase> LayoutCases()
{
    const std::vector<int32_t> inOrder = {0, 1, 2, 3, 4, 5};
    std::vector<LayoutCase> cases;
    for (const auto& [codec, rate, version] : {std::tuple<std::string, int, int>{"pcm_s16le", 8000, 0},
                                               {"pcm_s24le", 8000, 1},
                                               {"pcm_s24le", 96000, 2}})
    {
        cases.push_back({"5.1", codec, rate, version, 0x00010000, 0x3F, inOrder});
        cases.push_back({"5.1(side)", codec, rate, version, 0x00790006, 0, inOrder});
        cases.push_back({"stereo", codec, rate, version, 0x00650002, 0, {}});
        cases.push_back({"quad", codec, rate, version, 0x006C0004, 0, {}});
        cases.push_back({"7.1", codec, rate, version, 0x00800008, 0, {}});
    }
    return cases;
}

std::string LayoutCaseName(const LayoutCase& inCase)
{
    std::string name = inCase.layout;
    std::replace(name.begin(), name.end(), '.', '_');
    name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c == '(' || c == ')'; }),
               name.end());
    return name + "_v" + std::to_string(inCase.version);
}

void PrintTo(const LayoutCase& inCase, std::ostream* outStream)
{
    *outStream << inCase.layout << " in a version " << inCase.version << " entry";
}

class RealAudioChannels : public RealAudioBase, public ::testing::WithParamInterface<LayoutCase>
{
};

// The map gives, for left, right, centre, LFE, left surround and right surround, the file channel
// holding it. ffmpeg's 5.1 and 5.1(side) both store their channels in that order, so both map to
// 0..5; the other layouts have tags the library does not map, and it says so through outUnsupported.
// The chan atom is looked for among the extension atoms from offset 52 (72 in a version 2 entry).
// ffmpeg's version 0 entries keep it at 36, so none is found there and the library reports no map,
// though ffprobe reads the layout.
TEST_P(RealAudioChannels, ChannelMapFollowsTheChanAtom)
{
    const LayoutCase& param = GetParam();
    MakeAndOpen("layout_" + LayoutCaseName(param), ToneInput(param.rate, "0.1") +
                                                       " -af aformat=channel_layouts=" + param.layout +
                                                       " -c:a " + param.codec);
    if (IsSkipped() || HasFatalFailure())
        return;

    EXPECT_EQ(stream.at("channel_layout").get<std::string>(), param.layout);
    EXPECT_EQ(int64_t(track->GetAudioMediaNumChannels(0)), FfprobeInteger(stream.at("channels")));

    // What ffmpeg wrote: where chan lies and what it holds.
    const auto entry = FirstSoundEntry(bytes);
    ASSERT_TRUE(entry);
    const auto chan = ChanOffsetInEntry(bytes, *entry);
    ASSERT_TRUE(chan) << "ffmpeg wrote no chan";
    const size_t expectedAt = param.version == 0 ? 36 : param.version == 2 ? 72 : 52 + 0x26;
    EXPECT_EQ(*chan, expectedAt);
    EXPECT_EQ(ReadU32(bytes, entry->start + *chan + 12), param.tag);
    EXPECT_EQ(ReadU32(bytes, entry->start + *chan + 16), param.bitmap);

    std::vector<int32_t> map = {42};
    bool unsupported = true;
    const bool found = track->GetMultiChannelMap(0, map, unsupported);
    if (param.version == 0)
    {
        // chan at 36 lies before 52, where the search begins: no map, ffprobe notwithstanding.
        EXPECT_FALSE(found);
        EXPECT_FALSE(unsupported);
        EXPECT_EQ(map, std::vector<int32_t>{42});
    }
    else if (param.map.empty())
    {
        EXPECT_TRUE(found);
        EXPECT_TRUE(unsupported);
        EXPECT_EQ(map, std::vector<int32_t>{42}) << "an unsupported layout leaves the map as it was";
    }
    else
    {
        EXPECT_TRUE(found);
        EXPECT_FALSE(unsupported);
        EXPECT_EQ(map, param.map);
    }
}

INSTANTIATE_TEST_SUITE_P(RealAudio, RealAudioChannels, ::testing::ValuesIn(LayoutCases()),
                         [](const ::testing::TestParamInfo<LayoutCase>& inInfo)
                         { return LayoutCaseName(inInfo.param); });

// ---------------------------------------------------------------------------------------------
// AAC.

class RealAudioAac : public RealAudioBase
{
};

TEST_F(RealAudioAac, PassesThroughAsMp4aAndIsNotUncompressed)
{
    MakeAndOpen("aac", ToneInput(8000, "1") + " -c:a aac -b:a 16k");
    if (IsSkipped() || HasFatalFailure())
        return;
    ASSERT_EQ(stream.at("codec_name").get<std::string>(), "aac");
    EXPECT_EQ(QT::FourCCText(track->GetAudioMediaRawDataFormat(0)), "mp4a");
    EXPECT_EQ(QT::FourCCText(track->GetAudioMediaDataFormat(0)), "mp4a");
    EXPECT_FALSE(track->IsAudioMediaUncompressed(0));
    EXPECT_EQ(int64_t(track->GetAudioMediaSampleRate(0)), FfprobeInteger(stream.at("sample_rate")));
    EXPECT_EQ(int64_t(track->GetAudioMediaNumChannels(0)), FfprobeInteger(stream.at("channels")));
}

// Packets of 1024 frames and a shorter last one give stts two entries; the map is built only for
// a single sample duration, so the track is refused and the map left as it was.
TEST_F(RealAudioAac, RangeMapRefusesTwoSampleDurations)
{
    MakeAndOpen("aac", ToneInput(8000, "1") + " -c:a aac -b:a 16k");
    if (IsSkipped() || HasFatalFailure())
        return;
    const size_t stts = FindInMoov(bytes, "stts");
    ASSERT_NE(stts, std::string::npos);
    ASSERT_GE(ReadU32(bytes, stts + 12), 2u) << "ffmpeg wrote a single-entry stts";

    QT::AudioSampleRangeMap map;
    map[7] = {1, 2, 3};
    EXPECT_EQ(track->MakeAudioSampleRangeMap(map, true), QT::kQTErrUnsupportedAudio);
    ASSERT_EQ(map.size(), 1u);
    EXPECT_EQ(map.begin()->first, 7u);
}

// ---------------------------------------------------------------------------------------------
// The range map of interleaved H.264 and 16-bit PCM, and of a trimmed copy.

class RealAudioRanges : public RealMovieFixture
{
protected:
    void Open(const std::string& inRecipe)
    {
        Prepare(inRecipe);
        if (IsSkipped() || HasFatalFailure())
            return;
        const Opened opened = OpenPath(made->WidePath());
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        movie = opened.movie;
        const nlohmann::json& streams = sMovies->Probe(*made).at("streams");
        for (size_t i = 0; i < streams.size(); ++i)
            if (streams[i].at("codec_type").get<std::string>() == "audio")
                audioStream = int(i);
        ASSERT_GE(audioStream, 0) << "no audio stream";
        stream = streams[size_t(audioStream)];
        movie->GetIndTrack(track, uint32_t(audioStream));
        ASSERT_TRUE(track);
        ASSERT_EQ(QT::FourCCText(track->GetTrackMediaType()), "soun");
        ASSERT_TRUE(track->IsAudioMediaUncompressed(0));
        bytesPerFrame =
            uint64_t(track->GetAudioMediaBitsPerSample(0) / 8) * uint64_t(track->GetAudioMediaNumChannels(0));
        ASSERT_EQ(bytesPerFrame, uint64_t(FfprobeInteger(stream.at("bits_per_sample")) / 8 *
                                          FfprobeInteger(stream.at("channels"))));
    }

    // Both keys give the same entries; positions run on from 0 by the counts, in playing order.
    QT::AudioSampleRangeMap CheckedMap()
    {
        QT::AudioSampleRangeMap byOffset, byPosition;
        EXPECT_EQ(track->MakeAudioSampleRangeMap(byOffset, true), QT::kQTSuccess);
        EXPECT_EQ(track->MakeAudioSampleRangeMap(byPosition, false), QT::kQTSuccess);
        EXPECT_EQ(byOffset.size(), byPosition.size());
        uint64_t position = 0;
        for (const auto& [key, range] : byPosition)
        {
            EXPECT_EQ(key, range.mPosition);
            EXPECT_EQ(range.mPosition, position);
            position += range.mSampleCount;
            const auto same = byOffset.find(range.mFileOffset);
            EXPECT_NE(same, byOffset.end()) << "offset " << range.mFileOffset;
            if (same != byOffset.end())
            {
                EXPECT_EQ(same->second.mSampleCount, range.mSampleCount);
                EXPECT_EQ(same->second.mPosition, range.mPosition);
            }
        }
        return byPosition;
    }

    InterfaceRef<QT::IQTMovie> movie;
    InterfaceRef<QT::IQTTrack> track;
    nlohmann::json stream;
    int audioStream = -1;
    uint64_t bytesPerFrame = 0;
};

// ffprobe splits a chunk of more than 1024 frames into several packets and the library gives one
// entry a chunk, so both sides are compared as merged runs of contiguous bytes.
TEST_F(RealAudioRanges, InterleavedMovieCoversExactlyFfprobesAudioPackets)
{
    Open("h264_pcm_timecode");
    if (IsSkipped() || HasFatalFailure())
        return;
    ASSERT_EQ(track->GetFirstSampleIndex(), 0u);
    const QT::AudioSampleRangeMap map = CheckedMap();
    ASSERT_FALSE(map.empty());

    std::vector<ByteRun> probed;
    uint64_t probedFrames = 0;
    for (const ProbedPacket& packet : PacketsOf(sMovies->ProbePackets(*made), audioStream))
    {
        probed.push_back({packet.pos, packet.size});
        probedFrames += packet.size / bytesPerFrame;
    }
    ASSERT_FALSE(probed.empty());
    const std::vector<ByteRun> expected = Merged(probed);
    ASSERT_GT(expected.size(), 1u) << "the audio should be interleaved with the video";
    EXPECT_EQ(Merged(RunsOfMap(map, bytesPerFrame)), expected);

    const auto& last = *map.rbegin();
    EXPECT_EQ(last.second.mPosition + last.second.mSampleCount, probedFrames);
}

// The copy from 0.5 s keeps whole audio chunks and gives the audio an edit that starts inside the
// first one. The map covers the edit's span only: the first run starts at the edit's media time,
// inside the first chunk, and the runs end at the end of the edit or of the media, whichever comes
// first. The chunks come from ffprobe's packets with the edit list ignored.
TEST_F(RealAudioRanges, TrimmedCopyCoversTheEditsSpan)
{
    Open("h264_trimmed");
    if (IsSkipped() || HasFatalFailure())
        return;
    const auto edit = FirstTracedEdit(sMovies->ProbeTrace(*made), audioStream);
    ASSERT_TRUE(edit) << "ffprobe did not trace the audio edit";
    ASSERT_GT(edit->mediaTime, 0) << "the copy should skip into the first audio chunk";
    // For 16-bit PCM one tick of media time is one frame.
    ASSERT_EQ(track->GetFirstSampleIndex(), uint32_t(edit->mediaTime));

    const CommandResult run = RunCommand({"ffprobe", "-v", "error", "-ignore_editlist", "1", "-print_format",
                                          "json", "-show_packets", made->path.string()});
    ASSERT_TRUE(run.Succeeded()) << run.err;
    const std::vector<ProbedPacket> media = PacketsOf(nlohmann::json::parse(run.out), audioStream);
    ASSERT_FALSE(media.empty());

    const uint64_t spanStart = uint64_t(edit->mediaTime);
    const uint64_t spanEnd = spanStart + uint64_t(edit->mediaDuration);
    std::vector<ByteRun> clipped;
    uint64_t firstOffset = 0;
    uint64_t spanFrames = 0;
    for (const ProbedPacket& packet : media)
    {
        const uint64_t first = uint64_t(packet.pts);
        const uint64_t end = first + packet.size / bytesPerFrame;
        const uint64_t from = std::max(first, spanStart);
        const uint64_t to = std::min(end, spanEnd);
        if (from >= to)
            continue;
        if (clipped.empty())
            firstOffset = packet.pos + (from - first) * bytesPerFrame;
        clipped.push_back({packet.pos + (from - first) * bytesPerFrame, (to - from) * bytesPerFrame});
        spanFrames += to - from;
    }
    ASSERT_FALSE(clipped.empty());

    const QT::AudioSampleRangeMap map = CheckedMap();
    ASSERT_FALSE(map.empty());
    EXPECT_EQ(map.begin()->first, 0u);
    EXPECT_EQ(map.begin()->second.mFileOffset, firstOffset);
    EXPECT_EQ(Merged(RunsOfMap(map, bytesPerFrame)), Merged(clipped));
    const auto& last = *map.rbegin();
    EXPECT_EQ(last.second.mPosition + last.second.mSampleCount, spanFrames);

    // ffprobe applying the edit shows the first chunk whole, its pts counting back to the edit's start.
    const std::vector<ProbedPacket> edited = PacketsOf(sMovies->ProbePackets(*made), audioStream);
    ASSERT_FALSE(edited.empty());
    EXPECT_EQ(edited.front().pts, -edit->mediaTime + int64_t(media.front().pts));
    EXPECT_EQ(edited.front().pos + uint64_t(-edited.front().pts) * bytesPerFrame, firstOffset);
}

// With no video to interleave, ffmpeg puts the whole second of stereo audio into one chunk, which
// ffprobe reads as several packets; the library gives the chunk as one entry.
class RealAudioChunks : public RealAudioBase
{
};

TEST_F(RealAudioChunks, OneLongChunkCoversFfprobesSplitPackets)
{
    MakeAndOpen("s16le_stereo_1s", ToneInput(8000, "1") + " -ac 2 -c:a pcm_s16le");
    if (IsSkipped() || HasFatalFailure())
        return;
    const uint64_t bytesPerFrame = 4;
    ASSERT_EQ(track->GetAudioMediaNumChannels(0), 2);
    ASSERT_EQ(track->GetAudioMediaBitsPerSample(0), 16);

    const nlohmann::json report = Ffprobe(ownPath, true);
    std::vector<ByteRun> probed;
    uint64_t probedFrames = 0;
    for (const ProbedPacket& packet : PacketsOf(report, 0))
    {
        probed.push_back({packet.pos, packet.size});
        probedFrames += packet.size / bytesPerFrame;
    }
    ASSERT_GT(probed.size(), 1u) << "ffprobe should split the chunk";
    EXPECT_EQ(probedFrames, 8000u);

    QT::AudioSampleRangeMap map;
    ASSERT_EQ(track->MakeAudioSampleRangeMap(map, true), QT::kQTSuccess);
    ASSERT_LT(map.size(), probed.size()) << "one entry a chunk, not a packet";
    EXPECT_EQ(Merged(RunsOfMap(map, bytesPerFrame)), Merged(probed));
    const auto& last = *map.rbegin();
    EXPECT_EQ(last.second.mPosition + last.second.mSampleCount, probedFrames);
}

} // namespace
