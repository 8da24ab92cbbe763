// Closed captions that ffmpeg stream-copies from a Scenarist file into a movie, mapped by the library
// and compared with ffprobe's packets.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <sstream>
#include <string>
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

// Four captions: a pop-on line, its clear, a second line, its clear.
constexpr const char* kScenarist =
    "Scenarist_SCC V1.0\n\n"
    "00:00:00:00\t9420 9420 94ae 94ae 9452 9452 97a1 97a1 c8e5 ecec eff2 942c 942c "
    "942f 942f\n\n"
    "00:00:01:00\t942c 942c\n\n"
    "00:00:01:15\t9420 9420 9452 9452 d7ef f2ec 6480 942f 942f\n\n"
    "00:00:02:10\t942c 942c\n";

// One caption packet as ffprobe reports it. ffmpeg hands CEA-608 on as 3-byte triplets, one a pair.
struct Packet
{
    int64_t pts = 0;
    int64_t duration = 0;
    uint64_t pos = 0;
    uint64_t pairs = 0;
};

class RealCaption : public RealMovieFixture
{
protected:
    // Makes (once per suite) a movie of inSeconds of mjpeg frames at NTSC rate with ffmpeg's input
    // and output arguments for the second stream, opens it and takes its track 1.
    void MakeAndOpen(const std::string& inName, const std::string& inSeconds,
                     const std::string& inSecondInput, const std::string& inCodec)
    {
        auto found = sOwn.find(inName);
        if (found == sOwn.end())
        {
            const std::filesystem::path scc = sMovies->Folder() / "captions.scc";
            const std::filesystem::path srt = sMovies->Folder() / "subtitles.srt";
            std::ofstream(scc, std::ios::binary) << kScenarist;
            std::ofstream(srt, std::ios::binary) << "1\n00:00:00,000 --> 00:00:00,500\nHello\n";
            const std::filesystem::path moviePath = sMovies->Folder() / (inName + ".mov");
            std::vector<std::string> command = FfmpegCommand(
                {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=30000/1001:duration=" + inSeconds});
            for (std::string& argument : SplitArguments(inSecondInput))
                command.push_back(argument == "{scc}"   ? scc.string()
                                  : argument == "{srt}" ? srt.string()
                                                        : argument);
            for (std::string& argument : SplitArguments("-map 0 -map 1 -c:v mjpeg -c:s " + inCodec))
                command.push_back(std::move(argument));
            command.push_back(moviePath.string());
            const CommandResult run = RunCommand(command);
            Own own;
            if (run.Succeeded())
                own.path = moviePath;
            else
                own.why = "ffmpeg could not make " + inName + ": " + run.err.substr(0, 600);
            found = sOwn.emplace(inName, std::move(own)).first;
        }
        if (found->second.path.empty())
            GTEST_SKIP() << found->second.why;
        path = found->second.path;
        bytes = ReadFileBytes(path);
        const Opened opened = OpenPath(Wide(path));
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        ASSERT_EQ(opened.movie->GetTrackCount(), 2u);
        opened.movie->GetIndTrack(track, 1);
        ASSERT_TRUE(track);
    }

    // ffprobe's packets of stream 1, with or without the edit list applied.
    std::vector<Packet> Packets(bool inIgnoreEditList) const
    {
        std::vector<std::string> command = {"ffprobe", "-v", "error"};
        if (inIgnoreEditList)
            command.insert(command.end(), {"-ignore_editlist", "1"});
        command.insert(command.end(), {"-select_streams", "1", "-show_entries",
                                       "packet=pts,duration,size,pos", "-of", "json", path.string()});
        const CommandResult run = RunCommand(command);
        EXPECT_TRUE(run.Succeeded()) << run.err;
        std::vector<Packet> packets;
        if (!run.Succeeded())
            return packets;
        const nlohmann::json report = nlohmann::json::parse(run.out);
        EXPECT_TRUE(report.contains("packets")) << run.out;
        for (const nlohmann::json& packet : report.value("packets", nlohmann::json::array()))
            packets.push_back({FfprobeInteger(packet.at("pts")),
                               FfprobeInteger(packet.value("duration", nlohmann::json(0))),
                               uint64_t(FfprobeInteger(packet.at("pos"))),
                               uint64_t(FfprobeInteger(packet.at("size"))) / 3});
        return packets;
    }

    QT::CaptionSampleMap Map(bool inKeyByFileOffset)
    {
        QT::CaptionSampleMap map;
        EXPECT_EQ(track->MakeCaptionSampleMap(Wide(path), map, inKeyByFileOffset), QT::kQTSuccess);
        return map;
    }

    // Every pair of every packet, keyed by its offset: the 8-byte cdat header first, then one pair a
    // frame, each shifted by inShift.
    void ExpectEveryPair(const std::vector<Packet>& inPackets, int64_t inShift)
    {
        const QT::CaptionSampleMap byOffset = Map(true);
        const uint32_t frame = track->GetCaptionMediaFrameDuration();
        uint64_t pairs = 0;
        for (const Packet& packet : inPackets)
        {
            ASSERT_LE(packet.pos + 8, bytes.size());
            EXPECT_EQ(std::string(bytes.begin() + long(packet.pos) + 4, bytes.begin() + long(packet.pos) + 8),
                      "cdat");
            for (uint64_t i = 0; i < packet.pairs; ++i)
            {
                const auto found = byOffset.find(packet.pos + 8 + 2 * i);
                ASSERT_NE(found, byOffset.end()) << "pair " << i << " of the packet at " << packet.pos;
                EXPECT_EQ(int64_t(found->second.mTime), packet.pts + inShift + int64_t(i * frame));
                EXPECT_EQ(found->second.mLength, 2u);
                EXPECT_FALSE(found->second.mHasSecondField);
            }
            pairs += packet.pairs;
        }
        EXPECT_EQ(byOffset.size(), pairs);
    }

    struct Own
    {
        std::filesystem::path path;
        std::string why;
    };
    static inline std::map<std::string, Own> sOwn;

    std::filesystem::path path;
    Bytes bytes;
    InterfaceRef<QT::IQTTrack> track;
};

} // namespace

TEST_F(RealCaption, AStreamCopiedSccFileIsACaptionTrackOfCdatSamples)
{
    MakeAndOpen("captions", "3", "-i {scc}", "copy");
    if (IsSkipped() || HasFatalFailure())
        return;
    EXPECT_EQ(QT::FourCCText(track->GetTrackMediaType()), "clcp");
    EXPECT_EQ(QT::FourCCText(track->GetCaptionMediaDataFormat(0)), "c608");
    const std::vector<Packet> packets = Packets(true);
    ASSERT_EQ(packets.size(), 4u);
    ExpectEveryPair(packets, 0);
}

namespace
{

// The stts durations of track 1 as ffprobe's trace lists them ("track[1].stts.entries = N", then N
// lines "sample_count=C, sample_duration=D"). ffmpeg writes 0 for the last sample, whose packet
// duration ffprobe then makes up, so the packets' own durations are not the table's.
std::vector<int64_t> TracedDurations(const std::string& inTrace)
{
    std::vector<int64_t> durations;
    std::istringstream lines(inTrace);
    std::string line;
    size_t left = 0;
    bool inTrack = false;
    while (std::getline(lines, line))
    {
        const size_t entries = line.find("track[1].stts.entries = ");
        if (entries != std::string::npos)
        {
            inTrack = true;
            left = std::stoul(line.substr(entries + std::string("track[1].stts.entries = ").size()));
            continue;
        }
        const size_t duration = line.find("sample_duration=");
        if (inTrack && left > 0 && duration != std::string::npos)
        {
            durations.push_back(std::stoll(line.substr(duration + std::string("sample_duration=").size())));
            if (--left == 0)
                break;
        }
    }
    return durations;
}

} // namespace

// The common divisor of the durations when it is above 1, else one NTSC frame at the media's scale.
TEST_F(RealCaption, TheFrameDurationIsTheCommonDivisorOfTheTablesDurations)
{
    MakeAndOpen("captions", "3", "-i {scc}", "copy");
    if (IsSkipped() || HasFatalFailure())
        return;
    const std::vector<int64_t> durations = TracedDurations(FfprobeTrace(path));
    ASSERT_EQ(durations.size(), 4u);
    int64_t divisor = 0;
    int64_t least = INT64_MAX;
    for (int64_t duration : durations)
    {
        divisor = std::gcd(divisor, duration);
        least = std::min(least, duration);
    }
    const int64_t expected = divisor > 1 || least == 1
                                 ? divisor
                                 : int64_t(double(track->GetMediaTimeScale()) * 1.001 / 30.0 + 0.5);
    EXPECT_EQ(int64_t(track->GetCaptionMediaFrameDuration()), expected);
}

TEST_F(RealCaption, KeyedByTimeEachSampleStartsAtItsPacketsTime)
{
    MakeAndOpen("captions", "3", "-i {scc}", "copy");
    if (IsSkipped() || HasFatalFailure())
        return;
    const QT::CaptionSampleMap byTime = Map(false);
    for (const Packet& packet : Packets(true))
    {
        const auto found = byTime.find(uint64_t(packet.pts));
        ASSERT_NE(found, byTime.end()) << packet.pts;
        EXPECT_EQ(found->second.mFileOffset, packet.pos + 8);
    }
}

// -itsoffset 1 gives the caption track an empty edit of one second before its media: every time
// moves by the edit, as ffprobe's times with the edit list show.
TEST_F(RealCaption, AnEmptyEditShiftsEveryTime)
{
    MakeAndOpen("captions_offset", "4", "-itsoffset 1 -i {scc}", "copy");
    if (IsSkipped() || HasFatalFailure())
        return;
    const std::vector<Packet> raw = Packets(true);
    const std::vector<Packet> edited = Packets(false);
    ASSERT_FALSE(raw.empty());
    ASSERT_FALSE(edited.empty());
    // The media starts at 0; with the edit list it starts one second (of the media's 1000) later.
    EXPECT_EQ(raw.front().pts, 0);
    const int64_t shift = edited.front().pts - raw.front().pts;
    EXPECT_EQ(shift, 1000);
    ExpectEveryPair(raw, shift);
    const QT::CaptionSampleMap byTime = Map(false);
    for (const Packet& packet : edited)
        EXPECT_NE(byTime.find(uint64_t(packet.pts)), byTime.end()) << packet.pts;
}

TEST_F(RealCaption, AMovTextSubtitleTrackIsNotACaptionTrack)
{
    MakeAndOpen("mov_text", "1", "-i {srt}", "mov_text");
    if (IsSkipped() || HasFatalFailure())
        return;
    EXPECT_NE(QT::FourCCText(track->GetTrackMediaType()), "clcp");
    EXPECT_EQ(QT::FourCCText(track->GetCaptionMediaDataFormat(0)), "unkn");
    const QT::CaptionSampleMap map = Map(false);
    EXPECT_TRUE(map.empty());
}
