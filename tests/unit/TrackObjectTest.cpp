#include <gtest/gtest.h>

#include <algorithm>

#include "Capture.h"
#include "TrackTestSupport.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"

using namespace qttest;

namespace
{

TrackSpec Video(uint32_t inMediaScale = 600)
{
    TrackSpec spec;
    spec.mediaTimeScale = inMediaScale;
    return spec;
}

TrackSpec Sound()
{
    TrackSpec spec;
    spec.handler = Code("soun");
    spec.mediaTimeScale = 48000;
    return spec;
}

// stts of five samples: three of 10, two of 20.
const std::vector<SttsEntry> kTenTenTenTwentyTwenty = {{3, 10}, {2, 20}};

} // namespace

TEST(TrackObject, NoEditListLeavesTheEditStateAtZeroAndKeepsTheTrackDuration)
{
    TrackSpec spec = Video(30000);
    spec.trackDuration = 1001;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables(kTenTenTenTwentyTwenty))}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 0u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 0u);
    EXPECT_EQ(t.impl->MediaStartTime(), 0u);
    EXPECT_EQ(t.impl->EditedMediaDuration(), 1001u * 30000 / 600);
    EXPECT_EQ(t.track->GetEditedTrackDuration(), 1001u);
}

TEST(TrackObject, SingleEditAtMediaTimeZeroKeepsTheFirstSampleWhole)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                                  {{.duration = 1000, .mediaTime = 0}})}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 0u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 10u);
    EXPECT_FALSE(t.track->IsTrackEdited() && t.impl->MediaStartTime() != 0);
}

TEST(TrackObject, SingleEditOnSoundTakesTheMediaTimeAsTheSampleNumber)
{
    OpenedTrack t = OpenTrack(MovieWith(
        {TrakWith(Sound(), BasicSampleTables({{10, 1}}), {{.duration = 1000, .mediaTime = 1024}})}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 1024u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 1u);
    EXPECT_EQ(t.impl->MediaStartTime(), 1024u);
}

TEST(TrackObject, SingleEditInsideSampleThreeStartsThereWithItsRest)
{
    // Samples start at 0, 10, 20, 30 (lasting 20) and 50; media time 35 lies in sample 3.
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                                  {{.duration = 1000, .mediaTime = 35}})}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 3u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 15u);
}

TEST(TrackObject, SingleEditPastTheLastSampleLeavesTheFirstSampleAtZero)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                                  {{.duration = 1000, .mediaTime = 500}})}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 0u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 0u);
    EXPECT_EQ(t.impl->MediaStartTime(), 500u);
}

TEST(TrackObject, EarliestCompositionTimeShiftsTheEditStart)
{
    // ctts offsets (20, 0, ...): the smallest composition time is 10 (sample 1 at decode time 10).
    std::vector<Atom> tables = BasicSampleTables(kTenTenTenTwentyTwenty);
    tables.push_back(Atom("ctts").FullHeader().U32(2).U32(1).U32(20).U32(4).U32(0));
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), tables, {{1000, 25, 0x10000}})}));
    // 25 - 10 = 15: inside sample 1 (10..20) with 5 left.
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 1u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 5u);
}

TEST(TrackObject, ThreeEditsAreNotSupportedAndMarkTheTrackEdited)
{
    OpenedTrack t =
        OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                      {{300, 0, 0x10000}, {300, 10, 0x10000}, {400, 20, 0x10000}})}));
    EXPECT_FALSE(t.track->IsEditListSupported(false));
    EXPECT_TRUE(t.track->IsTrackEdited());
}

TEST(TrackObject, TwoEditsAreSupportedWhenTheyCoverTheTrack)
{
    TrackSpec spec = Video();
    spec.trackDuration = 1000;
    OpenedTrack covered = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables(kTenTenTenTwentyTwenty),
                                                        {{600, 0, 0x10000}, {400, 10, 0x20000}})}));
    EXPECT_TRUE(covered.track->IsEditListSupported(true));
    OpenedTrack short_ = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables(kTenTenTenTwentyTwenty),
                                                       {{600, 0, 0x10000}, {300, 10, 0x10000}})}));
    EXPECT_FALSE(short_.track->IsEditListSupported(true));
}

TEST(TrackObject, SingleEditOfOtherRateIsSupportedOnlyWithoutTheUnitRateRequirement)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                                  {{.duration = 1000, .mediaTime = 0, .rate = 0x20000}})}));
    EXPECT_TRUE(t.track->IsEditListSupported(false));
    EXPECT_FALSE(t.track->IsEditListSupported(true));
    EXPECT_TRUE(t.track->IsTrackEdited());
}

TEST(TrackObject, EmptyEditsAreDroppedOnlyFromListsOfSeveral)
{
    OpenedTrack two = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty),
                                                    {{100, 0xFFFFFFFF, 0x10000}, {900, 0, 0x10000}})}));
    EXPECT_EQ(two.opened.movie->GetTrackCount(), 1u);
    // One edit remains: a single edit at media time 0.
    EXPECT_TRUE(two.track->IsEditListSupported(true));
    EXPECT_EQ(two.impl->FirstSampleDuration(), 10u);
}

TEST(TrackObject, TwoEditsKeepTheTrackDurationInMovieTicks)
{
    TrackSpec spec = Video(30000);
    spec.trackDuration = 1200;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables(kTenTenTenTwentyTwenty),
                                                  {{600, 0, 0x10000}, {600, 3000, 0x10000}})},
                                        600));
    EXPECT_EQ(t.impl->EditedMediaDuration(), 1200u);
    EXPECT_EQ(t.track->GetEditedTrackDuration(), 1200u * 600 / 30000);
}

TEST(TrackObject, MovieTimeScaleZeroConvertsToZeroUnlessBothScalesAreZero)
{
    OpenedTrack t =
        OpenTrack(MovieWith({TrakWith(Video(600), BasicSampleTables(kTenTenTenTwentyTwenty))}, 0));
    EXPECT_EQ(t.impl->MovieToMediaTime(1234), 0u);
    EXPECT_EQ(t.track->GetTrackDurationInMediaTime(), 0u);
    OpenedTrack both =
        OpenTrack(MovieWith({TrakWith(Video(0), BasicSampleTables(kTenTenTenTwentyTwenty))}, 0));
    EXPECT_EQ(both.impl->MovieToMediaTime(1234), 1234u);
}

TEST(TrackObject, ConversionsTruncateThroughSixtyFourBits)
{
    TrackSpec spec = Video(48000);
    spec.trackDuration = 1001;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables(kTenTenTenTwentyTwenty))}, 30000));
    EXPECT_EQ(t.impl->MovieToMediaTime(0xFFFFFFFF), uint32_t(uint64_t(0xFFFFFFFF) * 48000 / 30000));
    EXPECT_EQ(t.track->GetTrackDurationInMediaTime(), 1001u * 48000 / 30000);
}

TEST(TrackObject, SoundWithALongFirstSampleReportsItsExcessOnlyWithoutEdits)
{
    const std::vector<SttsEntry> stts = {{1, 2048}, {3, 1024}};
    OpenedTrack plain = OpenTrack(MovieWith({TrakWith(Sound(), BasicSampleTables(stts))}));
    EXPECT_EQ(plain.track->GetFirstSampleExcess(), 1024u);
    OpenedTrack edited = OpenTrack(
        MovieWith({TrakWith(Sound(), BasicSampleTables(stts), {{.duration = 1000, .mediaTime = 0}})}));
    EXPECT_EQ(edited.track->GetFirstSampleExcess(), 0u);
}

TEST(TrackObject, HandlerSubtypesMapToMediaTypes)
{
    auto typeOf = [](const char(&inHandler)[5])
    {
        TrackSpec spec;
        spec.handler = Code(inHandler);
        return OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables({{1, 1}}))})).track->GetTrackMediaType();
    };
    EXPECT_EQ(typeOf("tc64"), Code("tmcd"));
    EXPECT_EQ(typeOf("tmcd"), Code("tmcd"));
    EXPECT_EQ(typeOf("soun"), Code("soun"));
    EXPECT_EQ(typeOf("auxv"), Code("auxv"));
    EXPECT_EQ(typeOf("sbtl"), Code("unkn"));
}

TEST(TrackObject, GetIndTrackAtTheTrackCountReportsTheContractAndThrows)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    AssertCounter asserts;
    tenacore::classref::InterfaceRef<QT::IQTTrack> track;
    EXPECT_THROW(t.opened.movie->GetIndTrack(track, 1), tenacore::config::Error);
    ASSERT_EQ(asserts.calls.size(), 1u);
    const AssertCall& reported = asserts.calls[0];
    EXPECT_EQ(reported.sourcePath + ":" + std::to_string(reported.line) + ":" + reported.function + ":" +
                  reported.condition,
              "QTSifter/Src/QTMovie:77:QT::QTMovie::GetIndTrack:inWhichTrack < GetTrackCount()");
    EXPECT_FALSE(track);
}

TEST(TrackObject, GetIndTrackMakesANewObjectAtEveryCall)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    tenacore::classref::InterfaceRef<QT::IQTTrack> again;
    t.opened.movie->GetIndTrack(again, 0);
    EXPECT_NE(again.Get(), t.track.Get());
    EXPECT_EQ(again->GetTrackIndex(), 0u);
}

TEST(TrackObject, TrackOutlivesItsMovie)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{4, 25}}))}));
    t.opened.movie.Reset();
    EXPECT_EQ(t.impl->GetSampleCount(), 4u);
    EXPECT_EQ(t.track->GetMediaTimeScale(), 600u);
}

TEST(TrackObject, MovieBoundsComeFromTheOnlyTrackWithASize)
{
    TrackSpec empty = Video();
    empty.width = 0;
    empty.height = 0;
    TrackSpec sized = Video();
    sized.width = 320 << 16;
    sized.height = 240 << 16;
    OpenedTrack t = OpenTrack(MovieWith(
        {TrakWith(empty, BasicSampleTables({{1, 1}})), TrakWith(sized, BasicSampleTables({{1, 1}}))}));
    QT::QTRect bounds;
    t.opened.movie->GetMovieBounds(bounds);
    EXPECT_EQ(bounds, (QT::QTRect{0, 0, 320, 240}));
}

TEST(TrackObject, MovieBoundsAreTheUnionOfSizedTracks)
{
    TrackSpec a = Video();
    a.width = 320 << 16;
    a.height = 480 << 16;
    TrackSpec b = Video();
    b.width = 640 << 16;
    b.height = 240 << 16;
    OpenedTrack t = OpenTrack(
        MovieWith({TrakWith(a, BasicSampleTables({{1, 1}})), TrakWith(b, BasicSampleTables({{1, 1}}))}));
    QT::QTRect bounds;
    t.opened.movie->GetMovieBounds(bounds);
    EXPECT_EQ(bounds, (QT::QTRect{0, 0, 640, 480}));
}

TEST(TrackObject, TrackBoundsAndEnabledStateComeFromTheTrackHeader)
{
    TrackSpec spec = Video();
    spec.width = (100 << 16) | 0x8000;
    spec.height = 50 << 16;
    spec.flags = 0;
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(spec, BasicSampleTables({{1, 1}}))}));
    EXPECT_EQ(t.track->GetTrackBounds(), (QT::QTRect{0, 0, 100, 50}));
    EXPECT_FALSE(t.track->IsTrackEnabled());
}

TEST(TrackObject, VariableFrameRateNeedsAVideoTrackWithSeveralTimeToSampleEntries)
{
    EXPECT_TRUE(OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables(kTenTenTenTwentyTwenty))}))
                    .track->VideoTrackHasVariableFrameRate());
    EXPECT_FALSE(OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{5, 10}}))}))
                     .track->VideoTrackHasVariableFrameRate());
    EXPECT_FALSE(OpenTrack(MovieWith({TrakWith(Sound(), BasicSampleTables(kTenTenTenTwentyTwenty))}))
                     .track->VideoTrackHasVariableFrameRate());
}

TEST(TrackObject, EditedSampleCountCountsTheSamplesInsideTheEdit)
{
    // No edit: the whole track. 10 samples of 100 ticks, track of 1000 movie ticks at equal scales.
    OpenedTrack whole = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{10, 100}}))}));
    EXPECT_EQ(whole.track->GetEditedSampleCount(), 10u);
    // An edit of 450 ticks from 0 keeps 4 whole samples and part of the fifth: 10 - (1000-450)/100 = 5.
    OpenedTrack edited = OpenTrack(
        MovieWith({TrakWith(Video(), BasicSampleTables({{10, 100}}), {{.duration = 450, .mediaTime = 0}})}));
    EXPECT_EQ(edited.track->GetEditedSampleCount(), 5u);
}

TEST(TrackObject, EditedSampleCountSurvivesAnEntryOfNoDuration)
{
    // A zero-duration entry whose span wraps below zero through the start time would divide by zero.
    OpenedTrack t = OpenTrack(MovieWith(
        {TrakWith(Video(), BasicSampleTables({{4, 0}, {10, 100}}), {{.duration = 300, .mediaTime = 50}})}));
    const uint32_t count = t.track->GetEditedSampleCount();
    EXPECT_EQ(count, t.track->GetEditedSampleCount());
}

TEST(TrackObject, TranslationDoesNotSpoilTheIdentity)
{
    Atom tkhd("tkhd");
    tkhd.FullHeader(0, 1).Zeros(16).U32(1000).Zeros(16);
    tkhd.U32(0x10000).U32(0).U32(0).U32(0).U32(0x10000).U32(0).U32(100 << 16).U32(50 << 16).U32(0x40000000);
    tkhd.U32(0).U32(0);
    Bytes movie = MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))});
    const Bytes plain = Tkhd(Video()).Build();
    const Bytes translated = tkhd.Build();
    auto at = std::search(movie.begin(), movie.end(), plain.begin(), plain.end());
    ASSERT_NE(at, movie.end());
    std::copy(translated.begin(), translated.end(), at);
    OpenedTrack t = OpenTrack(movie);
    EXPECT_TRUE(t.track->HasIdentityTransform());
    EXPECT_TRUE(t.track->HasRightAngleTransform());
    EXPECT_EQ(t.track->GetTrackRotation(), 0u);
}

namespace
{

// A movie whose one track has the matrix a, b, c, d, w (u, v, x, y are 0).
OpenedTrack TrackWithMatrix(uint32_t inA, uint32_t inB, uint32_t inC, uint32_t inD, uint32_t inW)
{
    Atom tkhd("tkhd");
    tkhd.FullHeader(0, 1).Zeros(16).U32(1000).Zeros(16);
    tkhd.U32(inA).U32(inB).U32(0).U32(inC).U32(inD).U32(0).U32(0).U32(0).U32(inW).U32(0).U32(0);
    Bytes movie = MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))});
    const Bytes plain = Tkhd(Video()).Build();
    const Bytes replaced = tkhd.Build();
    auto at = std::search(movie.begin(), movie.end(), plain.begin(), plain.end());
    std::copy(replaced.begin(), replaced.end(), at);
    return OpenTrack(movie);
}

} // namespace

TEST(TrackObject, ZeroWFailsTheIdentityButNotTheUnscaledTest)
{
    OpenedTrack t = TrackWithMatrix(0x10000, 0, 0, 0x10000, 0);
    EXPECT_FALSE(t.track->HasIdentityTransform());
    EXPECT_TRUE(t.track->HasUnscaledTransform());
    EXPECT_FALSE(t.track->HasRightAngleTransform());
}

TEST(TrackObject, QuarterTurnsAreRecognised)
{
    EXPECT_EQ(TrackWithMatrix(0, 0xFFFF0000, 0x10000, 0, 0x40000000).track->GetTrackRotation(), 1u);
    EXPECT_EQ(TrackWithMatrix(0xFFFF0000, 0, 0, 0xFFFF0000, 0x40000000).track->GetTrackRotation(), 2u);
    EXPECT_EQ(TrackWithMatrix(0, 0x10000, 0xFFFF0000, 0, 0x40000000).track->GetTrackRotation(), 3u);
    EXPECT_TRUE(TrackWithMatrix(0, 0x10000, 0xFFFF0000, 0, 0x40000000).track->HasRightAngleTransform());
    EXPECT_EQ(TrackWithMatrix(0x20000, 0, 0, 0x20000, 0x40000000).track->GetTrackRotation(), 0u);
    EXPECT_FALSE(TrackWithMatrix(0x20000, 0, 0, 0x20000, 0x40000000).track->HasRightAngleTransform());
}

TEST(TrackObject, DataReferenceOfASingleEntryGivesItsType)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    EXPECT_TRUE(t.track->HasSingleDataReference());
    EXPECT_EQ(t.track->GetDataReferenceType(), Code("alis"));
}

TEST(TrackObject, UserDataOfAStoredTrackIsAlwaysEmpty)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    MK::BinaryData data;
    EXPECT_FALSE(t.track->GetUserDataItem(Code("name"), data));
}

TEST(TrackObject, QueryInterfaceAnswersTheTrackNamesOnly)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    auto unknown = t.track.GetUnknown();
    EXPECT_NE(unknown->QueryInterface("QT::IQTTrack"), nullptr);
    EXPECT_NE(unknown->QueryInterface("QT::QTTrack"), nullptr);
    EXPECT_EQ(unknown->QueryInterface("QT::IQTTrackX"), nullptr);
    EXPECT_EQ(unknown->QueryInterface("QT::IQTMovie"), nullptr);
}

TEST(TrackObject, CaptionTrackWithoutSampleTablesAnswersZeroCounts)
{
    TrackSpec spec;
    spec.handler = Code("clcp");
    Atom trak = Trak(
        [&]
        {
            TrackSpec noTables = spec;
            noTables.sampleTables = false;
            return noTables;
        }());
    OpenedTrack t = OpenTrack(MovieWith({trak}));
    ASSERT_TRUE(t.track);
    EXPECT_EQ(t.track->GetSampleDescriptionCount(), 0u);
    EXPECT_EQ(t.impl->GetSampleCount(), 0u);
    uint32_t duration = 77;
    EXPECT_EQ(t.impl->GetSampleDuration(0, duration), QT::kQTErrFailed);
    EXPECT_EQ(duration, 77u);
    EXPECT_EQ(t.track->GetEditedSampleCount(), 0u);
    EXPECT_EQ(t.impl->GetSampleDescription(nullptr, 0), nullptr);
    EXPECT_FALSE(t.track->VideoTrackHasVariableFrameRate());
    EXPECT_EQ(t.impl->GetTimeToSampleEntry(0), nullptr);
}

TEST(TrackObject, EditDeepIntoAHugeEntryIsFoundWithoutWalkingEverySample)
{
    // Four billion samples of duration 1 and an edit at media time 3e9: sample 3e9, whole.
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{0xFFFFFFF0u, 1}}),
                                                  {{.duration = 1000, .mediaTime = 3000000000u}})}));
    EXPECT_EQ(t.track->GetFirstSampleIndex(), 3000000000u);
    EXPECT_EQ(t.impl->FirstSampleDuration(), 1u);
}

TEST(TrackObject, HandleDataReferenceGivesItsData)
{
    // The entry's body: version and flags, five bytes, then a "data" record of 8 + 3 bytes.
    Atom handle("hndl");
    handle.FullHeader(0, 0).Zeros(5).U32(8 + 3).Type("data").Text("abc");
    Atom stbl("stbl");
    for (const Atom& table : BasicSampleTables({{1, 1}}))
        stbl.Child(table);
    TrackSpec spec;
    spec.handler = Code("tmcd");
    Atom minf("minf");
    minf.Children({Atom("gmhd"), Atom("dinf").Child(Atom("dref").FullHeader(0).U32(1).Child(handle)), stbl});
    Atom trak("trak");
    trak.Children({Tkhd(spec), Atom("mdia").Children({Mdhd(600, 1000), Hdlr(spec.handler), minf})});
    OpenedTrack t = OpenTrack(MovieWith({trak}));
    MK::BinaryData data;
    ASSERT_EQ(t.impl->GetHandleReferenceData(data), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.GetData()), data.GetSize()), "abc");
    EXPECT_EQ(t.track->GetDataReferenceType(), Code("hndl"));
}

TEST(TrackObject, AliasDataReferenceIsNoHandleReference)
{
    OpenedTrack t = OpenTrack(MovieWith({TrakWith(Video(), BasicSampleTables({{1, 1}}))}));
    MK::BinaryData data;
    EXPECT_EQ(t.impl->GetHandleReferenceData(data), QT::kQTErrNotFound);
}
