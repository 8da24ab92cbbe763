#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Capture.h"
#include "QTContract.h"
#include "QTShared.h"
#include "SifterProbe.h"
#include "TrackTestSupport.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"

using namespace qttest;

namespace
{

// A movie with one video and one sound track, to break each contract on.
Bytes TwoTrackMovie()
{
    TrackSpec sound;
    sound.handler = Code("soun");
    return SimpleMovie({TrackSpec{}, sound});
}

// One way to break one site: what to call, under which function name the report comes, and
// whether the call raises.
struct Breach
{
    const QT::ContractSite* site;
    std::string function;
    bool raises;
    std::function<void(const Probe&, QT::IQTTrack& inSoundTrack, QT::IQTTrack& inVideoTrack)> call;
};

void PrintTo(const Breach& inBreach, std::ostream* outStream)
{
    *outStream << inBreach.function;
}

std::vector<Breach> EveryBreach()
{
    using namespace QT::ContractSites;
    std::vector<Breach> breaches = {
        {&kGetTrackItem, "QTMooVAtom::GetTrackItem", true,
         [](const Probe& inProbe, QT::IQTTrack&, QT::IQTTrack&) { (void)inProbe.MooV().GetTrackItem(2); }},
        {&kGetUserData, "QTMooVAtom::GetUserData", true,
         [](const Probe& inProbe, QT::IQTTrack&, QT::IQTTrack&)
         {
             MK::BinaryData data;
             uint32_t type = 0;
             inProbe.movie->GetUserData(0, data, type);
         }},
        {&kGetIndTrack, "QT::QTMovie::GetIndTrack", true,
         [](const Probe& inProbe, QT::IQTTrack&, QT::IQTTrack&)
         {
             tenacore::classref::InterfaceRef<QT::IQTTrack> track;
             inProbe.movie->GetIndTrack(track, 2);
         }},
        {&kChunkOffsetEntry, "ChunkOffsetHelper::GetEntry", false,
         [](const Probe& inProbe, QT::IQTTrack&, QT::IQTTrack&)
         {
             const QT::ChunkOffsetHelper offsets(inProbe.MooV().GetTrackItem(0), inProbe.MooV().Bytes());
             EXPECT_EQ(offsets.GetEntry(offsets.EntryCount()), 0u);
         }},
    };
    // Every video accessor opens with the media type check and names itself in the report.
    using Call = std::function<void(QT::IQTTrack&)>;
    const std::vector<std::pair<std::string, Call>> video = {
        {"GetVideoMediaCompressionFourCC",
         [](QT::IQTTrack& t) { (void)t.GetVideoMediaCompressionFourCC(0); }},
        {"GetVideoMediaVendorFourCC", [](QT::IQTTrack& t) { (void)t.GetVideoMediaVendorFourCC(0); }},
        {"GetVideoMediaWidth", [](QT::IQTTrack& t) { (void)t.GetVideoMediaWidth(0); }},
        {"GetVideoMediaHeight", [](QT::IQTTrack& t) { (void)t.GetVideoMediaHeight(0); }},
        {"GetVideoMediaDepth", [](QT::IQTTrack& t) { (void)t.GetVideoMediaDepth(0); }},
        {"GetVideoMediaCleanAperture",
         [](QT::IQTTrack& t)
         {
             uint32_t a, b, c, d, e, f, g, h;
             (void)t.GetVideoMediaCleanAperture(0, a, b, c, d, e, f, g, h);
         }},
        {"GetVideoMediaPixelAspect",
         [](QT::IQTTrack& t)
         {
             uint32_t h, v;
             (void)t.GetVideoMediaPixelAspect(0, h, v);
         }},
        {"GetVideoMediaCodecName",
         [](QT::IQTTrack& t)
         {
             std::u16string name;
             (void)t.GetVideoMediaCodecName(0, name);
         }},
        {"GetVideoMediaQuality",
         [](QT::IQTTrack& t)
         {
             uint32_t temporal, spatial;
             (void)t.GetVideoMediaQuality(0, temporal, spatial);
         }},
        {"GetVideoMediaFieldInfo",
         [](QT::IQTTrack& t)
         {
             uint8_t count, ordering;
             (void)t.GetVideoMediaFieldInfo(0, count, ordering);
         }},
        {"GetVideoMediaColorInfo",
         [](QT::IQTTrack& t)
         {
             uint32_t p, f, m;
             (void)t.GetVideoMediaColorInfo(0, p, f, m);
         }},
        {"GetVideoMediaArbitraryImageDescriptionExtensionAsBinary",
         [](QT::IQTTrack& t)
         {
             MK::BinaryData data;
             (void)t.GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(0, Code("pasp"), data);
         }},
        {"GetVideoMediaImageDescriptionAsBinary",
         [](QT::IQTTrack& t)
         {
             MK::BinaryData data;
             (void)t.GetVideoMediaImageDescriptionAsBinary(0, data);
         }},
        {"GetVideoMediaImageDescriptionAsPlatformBinary",
         [](QT::IQTTrack& t)
         {
             MK::BinaryData data;
             (void)t.GetVideoMediaImageDescriptionAsPlatformBinary(0, data);
         }},
        {"VideoTrackContainsDeltaFrames", [](QT::IQTTrack& t) { (void)t.VideoTrackContainsDeltaFrames(); }},
        {"MakeVideoTemporalReferenceTable",
         [](QT::IQTTrack& t)
         {
             std::vector<QT::VideoTemporalReference> table;
             EXPECT_EQ(t.MakeVideoTemporalReferenceTable(table), 0xFFFFFFFFu);
         }},
        {"GetAllImageDescriptionsEquivalent",
         [](QT::IQTTrack& t) { (void)t.GetAllImageDescriptionsEquivalent(false); }},
        {"GetTrackCleanApertureDimensions",
         [](QT::IQTTrack& t)
         {
             float w, h;
             (void)t.GetTrackCleanApertureDimensions(w, h);
         }},
    };
    for (const auto& [name, call] : video)
        breaches.push_back({&kVideoMediaType, "QT::QTTrack::" + name, false,
                            [call](const Probe&, QT::IQTTrack& inSound, QT::IQTTrack&) { call(inSound); }});
    // Every audio accessor opens with the same check in its raising form.
    const std::vector<std::pair<std::string, Call>> audio = {
        {"GetAudioMediaSampleRate", [](QT::IQTTrack& t) { (void)t.GetAudioMediaSampleRate(0); }},
        {"GetAudioMediaNumChannels", [](QT::IQTTrack& t) { (void)t.GetAudioMediaNumChannels(0); }},
        {"GetAudioMediaBitsPerSample", [](QT::IQTTrack& t) { (void)t.GetAudioMediaBitsPerSample(0); }},
        {"GetAudioMediaPackedBitsPerSample",
         [](QT::IQTTrack& t) { (void)t.GetAudioMediaPackedBitsPerSample(0); }},
        {"GetAudioMediaDataFormat", [](QT::IQTTrack& t) { (void)t.GetAudioMediaDataFormat(0); }},
        // It has no check of its own: the format's check, asked through the interface, raises.
        {"GetAudioMediaDataFormat", [](QT::IQTTrack& t) { (void)t.IsAudioMediaUncompressed(0); }},
        {"GetAudioMediaRawDataFormat", [](QT::IQTTrack& t) { (void)t.GetAudioMediaRawDataFormat(0); }},
        {"MakeAudioSampleRangeMap",
         [](QT::IQTTrack& t)
         {
             QT::AudioSampleRangeMap map;
             (void)t.MakeAudioSampleRangeMap(map, true);
         }},
        {"GetMultiChannelMap",
         [](QT::IQTTrack& t)
         {
             std::vector<int32_t> map;
             bool unsupported = false;
             (void)t.GetMultiChannelMap(0, map, unsupported);
         }},
    };
    for (const auto& [name, call] : audio)
        breaches.push_back({&kAudioMediaType, "QT::QTTrack::" + name, true,
                            [call](const Probe&, QT::IQTTrack&, QT::IQTTrack& inVideo) { call(inVideo); }});
    // The timecode sample location, the one timecode operation with a check, in the raising form.
    breaches.push_back({&kTimecodeMediaType, "QT::QTTrack::GetTimecodeMediaSampleLocation", true,
                        [](const Probe&, QT::IQTTrack&, QT::IQTTrack& inVideo)
                        {
                            int64_t offset = 0;
                            uint32_t size = 0;
                            (void)inVideo.GetTimecodeMediaSampleLocation(offset, size);
                        }});
    return breaches;
}

class ContractSiteTest : public testing::TestWithParam<Breach>
{
};

} // namespace

TEST_P(ContractSiteTest, ReportsItsSiteInItsForm)
{
    const Breach& breach = GetParam();
    const Probe probe = ProbeMakeMovie(TwoTrackMovie());
    ASSERT_EQ(probe.result, 0u);
    tenacore::classref::InterfaceRef<QT::IQTTrack> video;
    tenacore::classref::InterfaceRef<QT::IQTTrack> sound;
    probe.movie->GetIndTrack(video, 0);
    probe.movie->GetIndTrack(sound, 1);
    ASSERT_EQ(sound->GetTrackMediaType(), QT::kAudioMediaType);

    AssertCounter recorder;
    bool raised = false;
    try
    {
        breach.call(probe, *sound, *video);
    }
    catch (const tenacore::config::Error& error)
    {
        raised = true;
        EXPECT_EQ(error.Code(), 105);
        EXPECT_EQ(error.SubCode(), 25);
    }
    EXPECT_EQ(raised, breach.raises);
    ASSERT_EQ(recorder.calls.size(), 1u);
    const AssertCall& report = recorder.calls[0];
    EXPECT_EQ(report.sourcePath, breach.site->sourcePath);
    EXPECT_EQ(report.line, breach.site->line);
    EXPECT_EQ(report.function, breach.function);
    EXPECT_EQ(report.condition, breach.site->condition);
    EXPECT_EQ(report.message, breach.site->message);
}

INSTANTIATE_TEST_SUITE_P(EverySite, ContractSiteTest, testing::ValuesIn(EveryBreach()),
                         [](const testing::TestParamInfo<Breach>& inInfo)
                         {
                             std::string name = inInfo.param.function;
                             std::erase(name, ':');
                             return name + "_" + std::to_string(inInfo.index);
                         });

TEST(ContractSites, EverySiteOfTheTableIsBreachedAbove)
{
    const std::vector<Breach> breaches = EveryBreach();
    for (const QT::ContractSite* site : QT::ContractSites::kAll)
        EXPECT_TRUE(std::any_of(breaches.begin(), breaches.end(),
                                [site](const Breach& inBreach) { return inBreach.site == site; }))
            << site->sourcePath << " " << site->condition;
}

namespace
{

// A track of a fixed media type whose answer can change between the two stages of a check, as a
// handler that repairs its state would make it.
struct StubTrack
{
    std::vector<uint32_t> answers;
    size_t asked = 0;
    uint32_t GetTrackMediaType() { return answers[std::min(asked++, answers.size() - 1)]; }
};

} // namespace

TEST(ContractCheck, ReturningFormReportsOnceAndGivesFalse)
{
    StubTrack track{{QT::kAudioMediaType}};
    AssertCounter recorder;
    EXPECT_FALSE(QT::CheckMediaType(track, QT::kVideoMediaType, QT::ContractSites::kVideoMediaType, "F",
                                    QT::ContractForm::ReportAndReturn));
    ASSERT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(recorder.calls[0].function, "F");
    EXPECT_EQ(track.asked, 1u);
}

TEST(ContractCheck, RaisingFormReportsThenRaises)
{
    StubTrack track{{QT::kAudioMediaType}};
    AssertCounter recorder;
    EXPECT_THROW((void)QT::CheckMediaType(track, QT::kVideoMediaType, QT::ContractSites::kVideoMediaType, "F",
                                          QT::ContractForm::ReportAndRaise),
                 tenacore::config::Error);
    EXPECT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(track.asked, 2u);
}

TEST(ContractCheck, RaisingFormAsksAgainAndGoesOnWhenTheSecondAnswerHolds)
{
    StubTrack track{{QT::kAudioMediaType, QT::kVideoMediaType}};
    AssertCounter recorder;
    EXPECT_TRUE(QT::CheckMediaType(track, QT::kVideoMediaType, QT::ContractSites::kVideoMediaType, "F",
                                   QT::ContractForm::ReportAndRaise));
    EXPECT_EQ(recorder.calls.size(), 1u);
}

TEST(ContractCheck, AHoldingConditionReportsNothing)
{
    StubTrack track{{QT::kVideoMediaType}};
    AssertCounter recorder;
    EXPECT_TRUE(QT::CheckMediaType(track, QT::kVideoMediaType, QT::ContractSites::kVideoMediaType, "F",
                                   QT::ContractForm::ReportAndRaise));
    EXPECT_TRUE(recorder.calls.empty());
}
