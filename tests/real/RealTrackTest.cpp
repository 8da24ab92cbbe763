#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "IQTSifter.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

uint32_t FourCC(const std::string& inText)
{
    EXPECT_EQ(inText.size(), 4u) << "not a four-character code: " << inText;
    uint32_t code = 0;
    for (size_t i = 0; i < 4 && i < inText.size(); ++i)
        code = code << 8 | uint8_t(inText[i]);
    return code;
}

// The media type a track should report for one of ffprobe's streams. ffprobe calls a timecode
// track a data stream and names its sample format tmcd.
std::optional<std::string> ExpectedMediaType(const nlohmann::json& inStream)
{
    const std::string type = inStream.at("codec_type").get<std::string>();
    if (type == "video")
        return "vide";
    if (type == "audio")
        return "soun";
    if (type == "data" && inStream.value("codec_tag_string", "") == "tmcd")
        return "tmcd";
    return std::nullopt;
}

// ffprobe gives a stream's time base as "1/12800"; for a movie track that is one over mdhd's scale.
uint32_t TimeBaseDenominator(const nlohmann::json& inStream)
{
    const std::string base = inStream.at("time_base").get<std::string>();
    const size_t slash = base.find('/');
    EXPECT_NE(slash, std::string::npos) << base;
    EXPECT_EQ(base.substr(0, slash), "1") << base;
    return uint32_t(std::stoul(base.substr(slash + 1)));
}

// The rotation in degrees counterclockwise that ffprobe reads from the track matrix, 0 without one.
int DisplayRotation(const nlohmann::json& inStream)
{
    if (!inStream.contains("side_data_list"))
        return 0;
    for (const nlohmann::json& sideData : inStream.at("side_data_list"))
        if (sideData.value("side_data_type", "") == "Display Matrix")
            return sideData.at("rotation").get<int>();
    return 0;
}

// One edit as ffprobe's trace log tells it: its length in movie ticks, where it starts in the media
// and its length converted to media ticks by ffprobe.
struct TracedEdit
{
    int64_t movieDuration = 0;
    int64_t mediaTime = 0;
    std::optional<int64_t> mediaDuration;
};

// The number after inKey in inLine, if inKey is there.
std::optional<int64_t> NumberAfter(const std::string& inLine, const std::string& inKey)
{
    const size_t at = inLine.find(inKey);
    if (at == std::string::npos)
        return std::nullopt;
    return std::stoll(inLine.substr(at + inKey.size()));
}

// Edits by stream, from the lines "track[N].edit_count = C", "duration=D time=T rate=R" (one per
// entry) and "Processing st: N, edit list E - media time: T, duration: D".
std::map<int, std::vector<TracedEdit>> TracedEdits(const std::string& inTrace)
{
    std::map<int, std::vector<TracedEdit>> edits;
    int current = -1;
    int64_t entriesLeft = 0;
    std::istringstream lines(inTrace);
    std::string line;
    while (std::getline(lines, line))
    {
        if (line.find("].edit_count = ") != std::string::npos)
        {
            current = int(*NumberAfter(line, "track["));
            entriesLeft = *NumberAfter(line, "].edit_count = ");
            edits[current];
        }
        else if (const auto movieDuration = NumberAfter(line, "] duration=");
                 movieDuration && entriesLeft > 0)
        {
            edits[current].push_back({*movieDuration, *NumberAfter(line, " time="), std::nullopt});
            --entriesLeft;
        }
        else if (const auto stream = NumberAfter(line, "Processing st: "))
        {
            std::vector<TracedEdit>& list = edits[int(*stream)];
            const size_t entry = size_t(*NumberAfter(line, ", edit list "));
            if (entry < list.size() && list[entry].mediaTime == *NumberAfter(line, "media time: "))
                list[entry].mediaDuration = NumberAfter(line, ", duration: ");
        }
    }
    return edits;
}

class RealTrack : public RealMovieFixture, public ::testing::WithParamInterface<std::string>
{
public:
    static void SetUpTestSuite()
    {
        RealMovieFixture::SetUpTestSuite();
        sMediaDurations.clear();
    }
    static void TearDownTestSuite()
    {
        sMediaDurations.clear();
        RealMovieFixture::TearDownTestSuite();
    }

protected:
    void SetUp() override
    {
        Prepare(GetParam());
        if (IsSkipped() || HasFatalFailure())
            return;
        probe = &sMovies->Probe(*made);
        streams = probe->at("streams");
        edits = TracedEdits(sMovies->ProbeTrace(*made));
        const Opened opened = OpenPath(made->WidePath());
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        movie = opened.movie;
        ASSERT_EQ(movie->GetTrackCount(), streams.size()) << "one track per ffprobe stream";
    }

    InterfaceRef<QT::IQTTrack> Track(size_t inIndex)
    {
        InterfaceRef<QT::IQTTrack> track;
        movie->GetIndTrack(track, inIndex);
        EXPECT_TRUE(track);
        return track;
    }

    // Each stream's duration_ts when ffprobe ignores the edit lists: the media's own length, as mdhd
    // gives it.
    const std::vector<int64_t>& MediaDurations()
    {
        auto found = sMediaDurations.find(made->recipe);
        if (found != sMediaDurations.end())
            return found->second;
        const CommandResult run = RunCommand({"ffprobe", "-v", "error", "-ignore_editlist", "1",
                                              "-print_format", "json", "-show_streams", made->path.string()});
        EXPECT_TRUE(run.Succeeded()) << run.err;
        std::vector<int64_t> durations;
        if (run.Succeeded())
        {
            const nlohmann::json report = nlohmann::json::parse(run.out);
            for (const nlohmann::json& stream : report.at("streams"))
                durations.push_back(stream.value("duration_ts", int64_t(-1)));
        }
        return sMediaDurations.emplace(made->recipe, std::move(durations)).first->second;
    }

    // The stream's one edit; a failure when it has another number of them.
    const TracedEdit* OnlyEdit(size_t inStream)
    {
        const auto found = edits.find(int(inStream));
        if (found == edits.end() || found->second.size() != 1)
        {
            ADD_FAILURE() << "stream " << inStream << " should have exactly one edit in ffprobe's trace";
            return nullptr;
        }
        return &found->second.front();
    }

    static inline std::map<std::string, std::vector<int64_t>> sMediaDurations;
    const nlohmann::json* probe = nullptr;
    nlohmann::json streams;
    std::map<int, std::vector<TracedEdit>> edits;
    InterfaceRef<QT::IQTMovie> movie;
};

TEST_P(RealTrack, MediaTypeTimeScaleAndEnabledStateMatchEachStream)
{
    for (size_t i = 0; i < streams.size(); ++i)
    {
        SCOPED_TRACE("track " + std::to_string(i));
        const nlohmann::json& stream = streams[i];
        InterfaceRef<QT::IQTTrack> track = Track(i);
        ASSERT_TRUE(track);
        EXPECT_EQ(track->GetTrackIndex(), i);
        const auto mediaType = ExpectedMediaType(stream);
        ASSERT_TRUE(mediaType) << "unexpected stream: " << stream.dump();
        EXPECT_EQ(FourCCText(track->GetTrackMediaType()), *mediaType);
        EXPECT_EQ(track->GetMediaTimeScale(), TimeBaseDenominator(stream));
        // ffprobe sets the default disposition from the enabled flag of tkhd.
        ASSERT_TRUE(stream.contains("disposition"));
        EXPECT_EQ(track->IsTrackEnabled(), stream.at("disposition").at("default").get<int>() == 1);
    }
}

// The movie-tick durations of the library against ffprobe, whose stream durations come from the
// edit lists (a single edit each in ffmpeg's movies):
// - GetTrackDurationInMediaTime is tkhd's duration times the media scale over the movie scale,
//   truncated. Where tkhd's duration equals the edit's, ffprobe's duration_ts is the same product
//   rounded to nearest, so the two differ by at most the one tick that the truncation drops.
// - GetEditedTrackDuration brings the edit's length to media ticks and back, truncating each way, so
//   it lies within one tick below the edit's movie-tick length, and within that tick (plus one
//   media tick of ffprobe's rounding and its printing to microseconds) of ffprobe's seconds.
TEST_P(RealTrack, DurationsAgreeWithTheEditsThatFfprobeApplies)
{
    const uint64_t movieScale = movie->GetMovieTimeScale();
    ASSERT_GT(movieScale, 0u);
    for (size_t i = 0; i < streams.size(); ++i)
    {
        SCOPED_TRACE("track " + std::to_string(i));
        const nlohmann::json& stream = streams[i];
        InterfaceRef<QT::IQTTrack> track = Track(i);
        ASSERT_TRUE(track);
        const uint64_t mediaScale = track->GetMediaTimeScale();
        ASSERT_GT(mediaScale, 0u);
        const uint64_t trackDuration = track->GetTrackDuration();
        EXPECT_EQ(track->GetTrackDurationInMediaTime(), trackDuration * mediaScale / movieScale);

        const TracedEdit* edit = OnlyEdit(i);
        ASSERT_TRUE(edit);
        const int64_t durationTs = stream.at("duration_ts").get<int64_t>();
        if (uint64_t(edit->movieDuration) == trackDuration)
        {
            const int64_t inMedia = int64_t(track->GetTrackDurationInMediaTime());
            EXPECT_LE(inMedia, durationTs);
            EXPECT_GE(inMedia, durationTs - 1);
        }
        else
        {
            // ffmpeg's timecode track in a trimmed copy keeps the movie's length in tkhd but an edit
            // over its whole sample; tkhd then says nothing that ffprobe reports.
            EXPECT_EQ(*ExpectedMediaType(stream), "tmcd")
                << "tkhd " << trackDuration << " against edit " << edit->movieDuration;
        }

        const uint64_t edited = track->GetEditedTrackDuration();
        EXPECT_LE(edited, uint64_t(edit->movieDuration));
        EXPECT_GE(edited + 1, uint64_t(edit->movieDuration));
        const double seconds = std::stod(stream.at("duration").get<std::string>());
        EXPECT_NEAR(double(edited) / double(movieScale), seconds,
                    1.0 / double(movieScale) + 1.0 / double(mediaScale) + 1e-6);
    }
}

// A track counts as edited when its one edit starts inside the media or does not span all of it.
// ffprobe's trace gives the edit's start and length in media ticks, and its duration_ts with the
// edits ignored gives the media's length. ffmpeg writes the composition delay of B-frames as an edit
// that starts at the first frame's offset, so the untrimmed H.264 video counts as edited too.
TEST_P(RealTrack, EditedStateFollowsTheTracedEdit)
{
    const std::vector<int64_t>& mediaDurations = MediaDurations();
    ASSERT_EQ(mediaDurations.size(), streams.size());
    for (size_t i = 0; i < streams.size(); ++i)
    {
        SCOPED_TRACE("track " + std::to_string(i));
        InterfaceRef<QT::IQTTrack> track = Track(i);
        ASSERT_TRUE(track);
        const TracedEdit* edit = OnlyEdit(i);
        ASSERT_TRUE(edit);
        ASSERT_TRUE(edit->mediaDuration) << "ffprobe did not trace the edit's media length";
        EXPECT_TRUE(track->IsEditListSupported(true));
        const bool expectEdited = edit->mediaTime != 0 || *edit->mediaDuration != mediaDurations[i];
        EXPECT_EQ(track->IsTrackEdited(), expectEdited)
            << "edit at " << edit->mediaTime << " for " << *edit->mediaDuration << " of "
            << mediaDurations[i];
        if (GetParam() == "h264_trimmed" && track->GetTrackMediaType() == FourCC("vide"))
        {
            // The copy starts on the key frame before 0.5 s, so its edit skips into the media.
            EXPECT_GT(edit->mediaTime, 0);
            EXPECT_TRUE(track->IsTrackEdited());
        }
        if (track->GetTrackMediaType() == FourCC("soun"))
        {
            // For 16-bit PCM one sample lasts one tick, so the edit's media time is a sample number.
            EXPECT_EQ(track->GetFirstSampleIndex(), uint32_t(edit->mediaTime));
        }
    }
}

// ffprobe reports the matrix's rotation in degrees counterclockwise, 90 for a = 0, b = -1, c = 1,
// d = 0. The library reports that matrix as 1, so its value counts quarter turns counterclockwise:
// ffprobe's 90, -180 and -90 are 1, 2 and 3.
TEST_P(RealTrack, RotationCountsFfprobesCounterclockwiseQuarterTurns)
{
    for (size_t i = 0; i < streams.size(); ++i)
    {
        SCOPED_TRACE("track " + std::to_string(i));
        InterfaceRef<QT::IQTTrack> track = Track(i);
        ASSERT_TRUE(track);
        const int degrees = DisplayRotation(streams[i]);
        ASSERT_EQ(degrees % 90, 0) << degrees;
        const uint32_t quarterTurns = uint32_t((degrees / 90 % 4 + 4) % 4);
        EXPECT_EQ(track->GetTrackRotation(), quarterTurns) << "ffprobe: " << degrees << " degrees";
        EXPECT_TRUE(track->HasRightAngleTransform());
        EXPECT_EQ(track->HasIdentityTransform(), degrees == 0);
        EXPECT_EQ(track->HasUnscaledTransform(), degrees == 0);
    }
    // The recipes' own rotation tags, so that a recipe that did not take shows as well.
    const std::map<std::string, uint32_t> byRecipe = {
        {"h264_rotated_90", 1}, {"h264_rotated_180", 2}, {"h264_rotated_270", 3}};
    const auto found = byRecipe.find(GetParam());
    InterfaceRef<QT::IQTTrack> video = Track(0);
    ASSERT_TRUE(video);
    ASSERT_EQ(FourCCText(video->GetTrackMediaType()), "vide");
    EXPECT_EQ(video->GetTrackRotation(), found == byRecipe.end() ? 0u : found->second);
}

// The sound and timecode tracks have no size, so the bounds are the video track's: its picture size,
// since these movies have square pixels and tkhd holds the size before the matrix.
TEST_P(RealTrack, MovieBoundsAreTheVideoSize)
{
    std::optional<QT::QTRect> video;
    for (const nlohmann::json& stream : streams)
        if (stream.at("codec_type") == "video")
        {
            ASSERT_FALSE(video) << "one video stream expected";
            ASSERT_EQ(stream.value("sample_aspect_ratio", "1:1"), "1:1");
            video = QT::QTRect{0, 0, stream.at("width").get<int32_t>(), stream.at("height").get<int32_t>()};
        }
    ASSERT_TRUE(video);
    QT::QTRect bounds{-1, -1, -1, -1};
    movie->GetMovieBounds(bounds);
    EXPECT_EQ(bounds, *video) << bounds.left << "," << bounds.top << " " << bounds.width << "x"
                              << bounds.height;
}

INSTANTIATE_TEST_SUITE_P(Recipes, RealTrack,
                         ::testing::Values("h264_pcm_timecode", "h264_trimmed", "h264_rotated_90",
                                           "h264_rotated_180", "h264_rotated_270"),
                         [](const ::testing::TestParamInfo<std::string>& inInfo) { return inInfo.param; });

} // namespace
