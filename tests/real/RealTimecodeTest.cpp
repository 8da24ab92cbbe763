// Timecode tracks that ffmpeg writes with -timecode, read by the library and compared with ffprobe.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
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

// A frame number as ffprobe's timecode tag shows it: HH:MM:SS:FF, or ';' before the frames when
// frames are dropped (two a minute at 30 frames a second, but every tenth minute).
std::string TimecodeText(int64_t inFrame, int64_t inRate, bool inDropFrame)
{
    int64_t frames = inFrame;
    if (inDropFrame && inRate == 30)
    {
        const int64_t perTenMinutes = 30 * 600 - 18;
        const int64_t rest = frames % perTenMinutes;
        frames += 18 * (frames / perTenMinutes) + 2 * ((rest - 2) / (perTenMinutes / 10));
    }
    char text[96];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%02lld", (long long)(frames / (inRate * 3600)),
                  (long long)(frames / (inRate * 60) % 60), (long long)(frames / inRate % 60),
                  inDropFrame ? ';' : ':', (long long)(frames % inRate));
    return text;
}

class RealTimecode : public RealMovieFixture
{
protected:
    // Makes (once per suite) a one-second movie of mjpeg frames at inRate with ffmpeg's extra
    // arguments, opens it and finds its timecode track and ffprobe's stream for it. Skips the test
    // when ffmpeg cannot make it.
    void MakeAndOpen(const std::string& inName, const std::string& inRate, const std::string& inArguments)
    {
        auto found = sOwn.find(inName);
        if (found == sOwn.end())
        {
            const std::filesystem::path path = sMovies->Folder() / (inName + ".mov");
            std::vector<std::string> command = FfmpegCommand(
                {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=" + inRate + ":duration=1", "-c:v", "mjpeg"});
            for (std::string& argument : SplitArguments(inArguments))
                command.push_back(std::move(argument));
            command.push_back(path.string());
            const CommandResult run = RunCommand(command);
            Own own;
            if (run.Succeeded())
            {
                own.path = path;
                own.probe = Ffprobe(path, true);
            }
            else
                own.why = "ffmpeg could not make " + inName + ": " + run.err.substr(0, 600);
            found = sOwn.emplace(inName, std::move(own)).first;
        }
        if (found->second.path.empty())
            GTEST_SKIP() << found->second.why;
        path = found->second.path;
        probe = found->second.probe;
        const Opened opened = OpenPath(Wide(path));
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        for (uint32_t index = 0; index < opened.movie->GetTrackCount(); ++index)
        {
            InterfaceRef<QT::IQTTrack> candidate;
            opened.movie->GetIndTrack(candidate, index);
            if (candidate->GetTrackMediaType() == QT::kTimecodeMediaType)
                track = candidate;
        }
        ASSERT_TRUE(track) << "no timecode track";
        for (const nlohmann::json& candidate : probe.at("streams"))
            if (candidate.value("codec_tag_string", "") == "tmcd")
                stream = candidate;
        ASSERT_FALSE(stream.is_null()) << "ffprobe sees no tmcd stream";
    }

    // ffprobe's one packet of the timecode stream.
    nlohmann::json TimecodePacket() const
    {
        for (const nlohmann::json& packet : probe.at("packets"))
            if (packet.at("stream_index") == stream.at("index"))
                return packet;
        return nullptr;
    }

    // The sample's bytes as the caller reads them, from where the library says.
    MK::BinaryData ReadSample(int64_t inOffset, uint32_t inSize) const
    {
        std::ifstream file(path, std::ios::binary);
        std::vector<char> bytes(inSize);
        file.seekg(inOffset);
        file.read(bytes.data(), std::streamsize(bytes.size()));
        EXPECT_TRUE(file) << "the file does not hold the sample";
        return MK::BinaryData(bytes.data(), bytes.size());
    }

    struct Own
    {
        std::filesystem::path path;
        nlohmann::json probe;
        std::string why;
    };
    static inline std::map<std::string, Own> sOwn;

    std::filesystem::path path;
    nlohmann::json probe;
    nlohmann::json stream;
    InterfaceRef<QT::IQTTrack> track;
};

} // namespace

TEST_F(RealTimecode, TheSampleLocationIsFfprobesPacketAndTheFrameItsTimecode)
{
    MakeAndOpen("timecode_25", "25", "-timecode 01:00:00:00");
    if (IsSkipped() || HasFatalFailure())
        return;
    QT::TimecodeMediaInfo info;
    std::u16string name = u"x";
    ASSERT_EQ(track->GetTimecodeMediaInfo(info, name), 0);
    EXPECT_FALSE(info.mDropFrame);
    EXPECT_EQ(info.mFrameCount, 25);
    EXPECT_FALSE(info.mIsHandleReference);
    EXPECT_EQ(name, u"") << "ffmpeg's 36-byte entry has no name atom";
    EXPECT_EQ(info.mTimeScale / info.mFrameDuration, 25u);

    int64_t offset = 0;
    uint32_t size = 0;
    ASSERT_EQ(track->GetTimecodeMediaSampleLocation(offset, size), 0);
    const nlohmann::json packet = TimecodePacket();
    ASSERT_FALSE(packet.is_null());
    EXPECT_EQ(offset, FfprobeInteger(packet.at("pos")));
    EXPECT_EQ(int64_t(size), FfprobeInteger(packet.at("size")));

    int64_t frame = 0;
    ASSERT_EQ(track->GetTimecodeMediaFrameNumber(ReadSample(offset, size), info, frame), 0);
    EXPECT_EQ(frame, 90000);
    EXPECT_EQ(TimecodeText(frame, info.mFrameCount, info.mDropFrame),
              stream.at("tags").at("timecode").get<std::string>());
}

TEST_F(RealTimecode, DropFrameAndTheReelNameAtNtscRate)
{
    MakeAndOpen("timecode_2997_drop", "30000/1001",
                "-timecode 01:00:00;00 -metadata:s:v:0 reel_name=Reel_One");
    if (IsSkipped() || HasFatalFailure())
        return;
    QT::TimecodeMediaInfo info;
    std::u16string name;
    ASSERT_EQ(track->GetTimecodeMediaInfo(info, name), 0);
    EXPECT_TRUE(info.mDropFrame);
    EXPECT_EQ(info.mTimeScale, 30000u);
    EXPECT_EQ(info.mFrameDuration, 1001u);
    EXPECT_EQ(info.mFrameCount, 30);
    EXPECT_EQ(name, u"Reel_One");
    EXPECT_EQ(stream.at("tags").at("reel_name"), "Reel_One");

    int64_t offset = 0;
    uint32_t size = 0;
    ASSERT_EQ(track->GetTimecodeMediaSampleLocation(offset, size), 0);
    const nlohmann::json packet = TimecodePacket();
    ASSERT_FALSE(packet.is_null());
    EXPECT_EQ(offset, FfprobeInteger(packet.at("pos")));
    int64_t frame = 0;
    ASSERT_EQ(track->GetTimecodeMediaFrameNumber(ReadSample(offset, size), info, frame), 0);
    EXPECT_EQ(frame, 107892);
    EXPECT_EQ(TimecodeText(frame, info.mFrameCount, info.mDropFrame), "01:00:00;00");
    EXPECT_EQ(TimecodeText(frame, info.mFrameCount, info.mDropFrame),
              stream.at("tags").at("timecode").get<std::string>());
}

// The handle sample is for data kept in a handle reference; ffmpeg's track keeps it in the file.
TEST_F(RealTimecode, FfmpegsTrackHasNoHandleSample)
{
    MakeAndOpen("timecode_25", "25", "-timecode 01:00:00:00");
    if (IsSkipped() || HasFatalFailure())
        return;
    int64_t sample = 77;
    EXPECT_EQ(track->GetTimecodeMediaHandleSample(sample), -1);
    EXPECT_EQ(sample, 77);
}
