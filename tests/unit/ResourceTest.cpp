// Opening and releasing movies over and over leaves nothing behind: no descriptor, no thread, no
// heap, no block of the host's pool beyond what it keeps on purpose. A read that fails at any one
// call, through a host's read table or a file, gives a result code and either no movie or a whole
// one, and leaves nothing behind either. The fixer's reads and its write are failed the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "AliasAtoms.h"
#include "AtomBuilder.h"
#include "CaptionAtoms.h"
#include "FixerFiles.h"
#include "IQTMovieFixer.h"
#include "IQTSifter.h"
#include "KSL/File.h"
#include "MetadataAtoms.h"
#include "MovieLayout.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "ResourceCounts.h"
#include "SoundAtoms.h"
#include "TestFiles.h"
#include "TimecodeAtoms.h"
#include "VideoAtoms.h"
#include "tenacore/filesupport.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// How far the heap in use may move between two looks with nothing left behind: not at all where
// it is counted exactly (under the address sanitizer), else by what the C library's caches of
// freed blocks may hold at one look and not at the other. A block left behind by every open, or by
// every failed one in a sweep, goes far beyond it.
constexpr size_t kHeapSlack = kHeapCountIsExact ? 0 : 4096;

// A video track whose description carries every extension and whose dependency tables give the
// temporal table four frames to read (decoded I0 P3 B1 B2), edited to its whole span.
Atom VideoTrak()
{
    std::vector<Atom> tables = BasicSampleTables({{.sampleCount = 4, .duration = 100}});
    tables[0] = StsdOf({ImageDescriptionWith({Pasp(1, 1), Clap(), Colr(), Fiel(2, 9)})});
    tables.push_back(Stss({1}));
    tables.push_back(Ctts({{.sampleCount = 1, .offset = 0},
                           {.sampleCount = 1, .offset = 200},
                           {.sampleCount = 2, .offset = -100}}));
    tables.push_back(Sdtp({0x24, 0x14, 0x18, 0x18}));
    return TrakWith(TrackSpec{}, tables, {{.duration = 400, .mediaTime = 0}});
}

Atom SoundTrak()
{
    return SoundTrakWith({SoundDescription({.format = Code("in24"), .channels = 6, .sampleSize = 24},
                                           {Wave({Enda(1)}), Chan(0x007A0006)}),
                          SoundDescription({.format = Code("twos"), .version = 0, .sampleSize = 16})},
                         {Stts({{.sampleCount = 1000, .duration = 1}}),
                          Stsc({{.firstChunk = 1, .samplesPerChunk = 500}}), Stco({4000, 9000})});
}

// A track of inHandler with the plain tables.
Atom PlainTrak(const char (&inHandler)[5])
{
    return TrakWith({.handler = Code(inHandler), .width = 0, .height = 0},
                    BasicSampleTables({{.sampleCount = 2, .duration = 500}}));
}

const std::array<uint8_t, 16> kUuid = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7,
                                       0xA8, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xAF};

// Every kind of track the builders make, with keyed and name-tagged metadata, user data and a
// uuid child. Caption pairs stand bare in the media, so that the caption map reads the file.
std::vector<Atom> EveryKindOfChild()
{
    return {
        VideoTrak(),
        SoundTrak(),
        TimecodeTrak({.descriptions = {TimecodeDescription({.tail = NameAtom("Reel 1")})},
                      .tables = TimecodeTables()}),
        CaptionTrak({.tables = {Stts({{.sampleCount = 1, .duration = 1001}}),
                                Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}), Stsz(12, {}, 1),
                                Stco({kCaptionMediaStart})}}),
        PlainTrak("text"),
        PlainTrak("auxv"),
        PlainTrak("meta"),
        ReferringTrak("vide",
                      DinfOf({Dref({AliasEntry(AliasTo("a.mov", "clips")), AliasEntry(AliasTo("b.mov"))})})),
        ReferringTrak("soun", DinfOf({Dref({DataReferenceEntry("url ", 0, "file:///c.mov")})})),
        KeyedMeta(Keys({"org.example.title", "org.example.year"}),
                  {MetadataItem(1, 1, TextBytes("Resources")), MetadataItem(2, 21, {0x07, 0xE8})}),
        TaggedUdta({MetadataItem(Code("\251nam"), 1, TextBytes("Tagged"))}),
        Uuid(kUuid, TextBytes("payload"))};
}

const Bytes kBarePairs = {0x94, 0x20, 0x94, 0x20, 0x94, 0xAE, 0x94, 0xAE, 0x97, 0xA1, 0x97, 0xA1};

Bytes EveryKindMovie()
{
    return CaptionMovie(kBarePairs, EveryKindOfChild());
}

// The same movie atom deflated into cmov, the media where it was.
Bytes CompressedMovie()
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& child : EveryKindOfChild())
        moov.Child(child);
    return Build({Ftyp(), Atom("mdat").Raw(kBarePairs), Atom("moov").Child(Cmov(moov.Build()))});
}

// moov first, then media whose size stands in the 64-bit field.
Bytes SoundFirstMovie()
{
    Atom moov("moov");
    moov.Children({Mvhd(600, 1000),
                   SoundTrakWith({SoundDescription2({.channels = 6}, {Chan(0, 0, {1, 2, 3, 4, 5, 6})})},
                                 {Stts({{.sampleCount = 1000, .duration = 1}}),
                                  Stsc({{.firstChunk = 1, .samplesPerChunk = 1000}}), Stco({200})})});
    return Build({Free(8), moov, Atom("mdat").Zeros(32).Extended()});
}

// Enough samples that the sample table takes a large block and the movie atom one the pool
// keeps: what a real movie makes the pool do.
constexpr uint32_t kLongTableSamples = 36000;

Bytes LongTableMovie()
{
    std::vector<uint32_t> sizes(kLongTableSamples);
    for (uint32_t i = 0; i < kLongTableSamples; ++i)
        sizes[i] = 100 + i % 7;
    constexpr uint32_t kDuration = kLongTableSamples * 10;
    TrackSpec spec;
    spec.trackDuration = kDuration;
    spec.mediaDuration = kDuration;
    return MovieWith(
        {TrakWith(spec,
                  {Stsd(Code("avc1")), Stts({{.sampleCount = kLongTableSamples, .duration = 10}}),
                   Stsc({{.firstChunk = 1, .samplesPerChunk = 1000}}), Stsz(0, sizes, kLongTableSamples),
                   Stco(std::vector<uint32_t>(kLongTableSamples / 1000, 48))})},
        600, kDuration);
}

// An order-sensitive digest of answers.
class Digest
{
public:
    void Add(uint64_t inValue)
    {
        for (int i = 0; i < 8; ++i)
        {
            mValue ^= (inValue >> (8 * i)) & 0xFF;
            mValue *= 0x100000001B3ull;
        }
    }
    uint64_t Value() const { return mValue; }

private:
    uint64_t mValue = 0xCBF29CE484222325ull;
};

// Asks for every track and what each kind answers: the sample tables, the descriptions, the
// metadata, the references, and the caption map, which reads inMediaPath.
uint64_t AskEverything(QT::IQTMovie& inMovie, const std::u16string& inMediaPath)
{
    Digest digest;
    digest.Add(inMovie.GetMovieTimeScale());
    digest.Add(uint64_t(inMovie.GetMovieDuration()));
    digest.Add(inMovie.GetMovieAtomSize());
    digest.Add(inMovie.GetMovieAtomOffset());
    digest.Add(inMovie.GetUserDataCount());
    QT::MetadataMap items;
    inMovie.GetMetadataItems(items);
    digest.Add(items.size());
    QT::MetadataValue title;
    digest.Add(inMovie.GetMetadataValue("org.example.title", title));
    std::shared_ptr<tenacore::allocator::RecycledMemory> uuid;
    inMovie.GetUUIDAtom(uuid, kUuid, true);
    digest.Add(uuid ? uuid->GetSize() : 0);
    digest.Add(inMovie.GetTrackCount());
    for (uint32_t index = 0; index < inMovie.GetTrackCount(); ++index)
    {
        InterfaceRef<QT::IQTTrack> track;
        inMovie.GetIndTrack(track, index);
        const uint32_t type = track->GetTrackMediaType();
        digest.Add(type);
        digest.Add(track->GetEditedSampleCount());
        digest.Add(track->GetSampleDescriptionCount());
        QT::ExternalReferenceMap references;
        digest.Add(track->CollectExternalReferences(references));
        digest.Add(references.size());
        if (type == QT::FourCC("vide"))
        {
            QT::VideoSampleTable samples;
            digest.Add(track->MakeVideoSampleTable(false, false, samples, nullptr));
            digest.Add(samples.size());
            std::u16string codec;
            digest.Add(track->GetVideoMediaCodecName(0, codec));
            digest.Add(codec.size());
            if (track->VideoTrackHasDependencyTables())
            {
                std::vector<QT::VideoTemporalReference> temporal;
                digest.Add(track->MakeVideoTemporalReferenceTable(temporal));
                digest.Add(temporal.size());
            }
        }
        else if (type == QT::FourCC("soun"))
        {
            digest.Add(track->GetAudioMediaSampleRate(0));
            digest.Add(track->GetAudioMediaDataFormat(0));
            std::vector<int32_t> channels;
            bool unsupported = false;
            digest.Add(track->GetMultiChannelMap(0, channels, unsupported));
            digest.Add(channels.size());
            QT::AudioSampleRangeMap ranges;
            digest.Add(track->MakeAudioSampleRangeMap(ranges, false));
            digest.Add(ranges.size());
        }
        else if (type == QT::FourCC("tmcd"))
        {
            QT::TimecodeMediaInfo info;
            std::u16string source;
            digest.Add(uint32_t(track->GetTimecodeMediaInfo(info, source)));
            digest.Add(source.size());
            int64_t offset = 0;
            uint32_t size = 0;
            digest.Add(uint32_t(track->GetTimecodeMediaSampleLocation(offset, size)));
            digest.Add(uint64_t(offset));
        }
        else if (type == QT::FourCC("clcp"))
        {
            QT::CaptionSampleMap captions;
            digest.Add(track->MakeCaptionSampleMap(inMediaPath, captions, false));
            digest.Add(captions.size());
        }
    }
    return digest.Value();
}

// A folder of movie files, gone with the object.
class ScratchFolder
{
public:
    ScratchFolder() : mFolder(MakeTempFolder()) {}
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mFolder, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path Write(const std::string& inName, const Bytes& inBytes) const
    {
        const std::filesystem::path path = mFolder / inName;
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(inBytes.data()), std::streamsize(inBytes.size()));
        if (!out)
            throw std::runtime_error("cannot write " + path.string());
        return path;
    }
    const std::filesystem::path& Path() const { return mFolder; }

private:
    std::filesystem::path mFolder;
};

struct TestMovie
{
    std::string name;
    Bytes bytes;
    std::filesystem::path path;
    std::u16string widePath;
    uint64_t answers = 0; // AskEverything of the movie opened by path
};

std::vector<TestMovie> WriteMovies(const ScratchFolder& inFolder, bool inWithLongTable)
{
    std::vector<TestMovie> movies(inWithLongTable ? 5 : 4);
    movies[0].name = "simple.mov";
    movies[0].bytes = SimpleMovie();
    movies[1].name = "every-kind.mov";
    movies[1].bytes = EveryKindMovie();
    movies[2].name = "compressed.mov";
    movies[2].bytes = CompressedMovie();
    movies[3].name = "sound-first.mov";
    movies[3].bytes = SoundFirstMovie();
    if (inWithLongTable)
    {
        movies[4].name = "long-table.mov";
        movies[4].bytes = LongTableMovie();
    }
    for (TestMovie& movie : movies)
    {
        movie.path = inFolder.Write(movie.name, movie.bytes);
        movie.widePath = Wide(movie.path);
    }
    return movies;
}

// How a movie is opened.
enum class Route
{
    MakeMovie,
    LocateByPath,
    Provider,
};

struct OpenOutcome
{
    uint32_t result = 0;
    InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t foundOffset = 0;
};

// The path route, or the read table over the movie's bytes; both look for mdat behind the movie.
OpenOutcome Open(const TestMovie& inMovie, Route inRoute, QT::QTFileProvider* inProvider = nullptr,
                 const std::u16string& inPath = {})
{
    OpenOutcome outcome;
    auto sifter = QT::MakeParser();
    uint64_t size = 0;
    switch (inRoute)
    {
    case Route::MakeMovie:
        outcome.result = sifter->MakeMovie(inMovie.widePath, outcome.movie);
        break;
    case Route::LocateByPath:
        outcome.result = sifter->MakeMovieAndLocateAtom(inMovie.widePath, outcome.movie, QT::FourCC("mdat"),
                                                        outcome.found, outcome.foundOffset, size, nullptr);
        break;
    case Route::Provider:
        outcome.result = sifter->MakeMovieAndLocateAtom(inPath.empty() ? inMovie.widePath : inPath,
                                                        outcome.movie, QT::FourCC("mdat"), outcome.found,
                                                        outcome.foundOffset, size, inProvider);
        break;
    }
    return outcome;
}

// Opens, asks everything and lets go; the answers, or 0 when the open failed.
uint64_t OpenAskRelease(const TestMovie& inMovie, Route inRoute)
{
    OpenOutcome outcome;
    if (inRoute == Route::Provider)
    {
        MemoryProvider provider(inMovie.bytes);
        outcome = Open(inMovie, inRoute, provider.Table(), u"/nonexistent/qtsifter-resources.mov");
    }
    else
        outcome = Open(inMovie, inRoute);
    if (outcome.result != QT::kQTSuccess || !outcome.movie)
        return 0;
    return AskEverything(*outcome.movie, inMovie.widePath);
}

void ExpectNothingLeftBehind(const ResourceCounts& inBefore, const ResourceCounts& inAfter,
                             size_t inHeapSlack, const std::string& inWhat)
{
    EXPECT_EQ(inAfter.pool.lentBlocks, inBefore.pool.lentBlocks) << inWhat;
    EXPECT_EQ(inAfter.pool.lentBytes, inBefore.pool.lentBytes) << inWhat;
    EXPECT_EQ(inAfter.descriptors, inBefore.descriptors) << inWhat;
    EXPECT_EQ(inAfter.threads, inBefore.threads) << inWhat;
    EXPECT_LE(HeapGrowth(inBefore, inAfter), inHeapSlack) << inWhat;
}

// The result codes that an open may give. A host's own failure value must not pass through any
// other way than as the provider abort.
bool IsOpenResult(uint32_t inResult)
{
    return inResult == QT::kQTSuccess || inResult == QT::kQTStatusReadFailed ||
           inResult == QT::kQTStatusProviderAbort || inResult == QT::kQTErrNotAMovie ||
           inResult == QT::kQTErrOpenFailed;
}

// A result code, and either no movie or one that answers everything as the movie does.
void ExpectNoMovieOrAWholeOne(const OpenOutcome& inOutcome, const TestMovie& inMovie,
                              const std::string& inWhat)
{
    EXPECT_TRUE(IsOpenResult(inOutcome.result)) << inWhat << ": 0x" << std::hex << inOutcome.result;
    if (inOutcome.result == QT::kQTSuccess)
    {
        EXPECT_TRUE(inOutcome.movie) << inWhat;
    }
    else if (inOutcome.movie)
    {
        // Only an abort met while looking for the further atom comes back with the movie made.
        EXPECT_EQ(inOutcome.result, QT::kQTStatusProviderAbort) << inWhat;
    }
    if (inOutcome.movie)
    {
        EXPECT_EQ(AskEverything(*inOutcome.movie, inMovie.widePath), inMovie.answers) << inWhat;
    }
}

// A failure value of the host's own, neither success nor the abort.
constexpr uint32_t kHostFailure = 0x80001234;

// How the failing call fails. A call that has only a status to give fails by its status.
enum class Failure
{
    Status,
    Abort,
    ShortRead,
    NothingRead,
    NullBytes,
};

const char* Name(Failure inFailure)
{
    switch (inFailure)
    {
    case Failure::Status:
        return "status";
    case Failure::Abort:
        return "abort";
    case Failure::ShortRead:
        return "short read";
    case Failure::NothingRead:
        return "nothing read";
    case Failure::NullBytes:
        return "null bytes";
    }
    return "?";
}

// Wraps a good memory provider: every call goes through to it, except call inFailAt (counted from
// 1 over all four functions), which fails as inFailure says. Only one exists at a time, since the
// table's functions carry no context.
class FailingProvider
{
public:
    FailingProvider(MemoryProvider& ioInner, int inFailAt, Failure inFailure)
        : mInner(*ioInner.Table()), mFailAt(inFailAt), mFailure(inFailure)
    {
        sCurrent = this;
        mTable.IsReady = &IsReady;
        mTable.GetHandle = &GetHandle;
        mTable.ReadAt = &ReadAt;
        mTable.GetSize = &GetSize;
    }
    ~FailingProvider() { sCurrent = nullptr; }
    FailingProvider(const FailingProvider&) = delete;
    FailingProvider& operator=(const FailingProvider&) = delete;

    QT::QTFileProvider* Table() { return &mTable; }

    int calls = 0;
    bool fired = false;

private:
    bool FailsNow()
    {
        if (++calls != mFailAt)
            return false;
        fired = true;
        return true;
    }
    uint32_t FailureStatus() const
    {
        return mFailure == Failure::Abort ? QT::kQTStatusProviderAbort : kHostFailure;
    }

    static uint32_t IsReady()
    {
        // Any answer but 0 sends the open to the file.
        return sCurrent->FailsNow() ? 1 : sCurrent->mInner.IsReady();
    }
    static uint32_t GetHandle(void** outHandle)
    {
        if (sCurrent->FailsNow())
            return sCurrent->FailureStatus();
        return sCurrent->mInner.GetHandle(outHandle);
    }
    static uint32_t GetSize(void* inHandle, uint64_t* outSize)
    {
        if (sCurrent->FailsNow())
            return sCurrent->FailureStatus();
        return sCurrent->mInner.GetSize(inHandle, outSize);
    }
    static uint32_t ReadAt(void* inHandle, uint64_t inOffset, uint32_t inCount, uint8_t** outBytes,
                           uint64_t* outDelivered)
    {
        FailingProvider& self = *sCurrent;
        if (!self.FailsNow())
            return self.mInner.ReadAt(inHandle, inOffset, inCount, outBytes, outDelivered);
        if (self.mFailure == Failure::Status || self.mFailure == Failure::Abort)
            return self.FailureStatus();
        const uint32_t status = self.mInner.ReadAt(inHandle, inOffset, inCount, outBytes, outDelivered);
        if (self.mFailure == Failure::ShortRead && *outDelivered > 0)
            --*outDelivered;
        else if (self.mFailure == Failure::NothingRead)
        {
            *outDelivered = 0;
            *outBytes = nullptr;
        }
        else if (self.mFailure == Failure::NullBytes)
            *outBytes = nullptr;
        return status;
    }

    static inline FailingProvider* sCurrent = nullptr;
    QT::QTFileProvider mInner;
    int mFailAt;
    Failure mFailure;
    QT::QTFileProvider mTable{};
};

// Fails call inFailAt (from 1) of one host runtime seam, of any step, while it lives. Set is the
// seam's injector setter: it installs an injector and gives back the one it replaced.
template <auto Set>
class FailingCall
{
public:
    explicit FailingCall(int inFailAt)
    {
        mPrevious = Set(
            [this, inFailAt](auto)
            {
                if (++calls != inFailAt)
                    return false;
                fired = true;
                return true;
            });
    }
    ~FailingCall() { Set(std::move(mPrevious)); }
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    int calls = 0;
    bool fired = false;

private:
    std::invoke_result_t<decltype(Set), std::nullptr_t> mPrevious;
};

// The file class, and the write stream.
using FailingFile = FailingCall<&KSL::File::SetFailureInjector>;
using FailingStream = FailingCall<&tenacore::filesupport::SetFailureInjector>;

// Far more calls than any open of these movies makes: a sweep that reaches it has lost its way.
constexpr int kMostCalls = 2000;

// One run of a sweep: fails call inFailAt (from 1) as the case does, checks what came out, and says
// whether the failure fired.
using SweepRun = std::function<bool(int inFailAt, const std::string& inWhat)>;

struct SweepCase
{
    std::string name;
    SweepRun run;
};

// Runs each case for failAt = 1, 2, ... until a run completes without its failure firing. Every run
// must leave nothing behind. All cases are swept twice: the first pass makes what each road makes
// once (trace sites, lazily built statics) and is held to everything but the heap; the second is
// held to the heap as well, run by run and over the whole pass.
void SweepTwice(const std::vector<SweepCase>& inCases)
{
    for (int pass = 0; pass < 2; ++pass)
    {
        const size_t heapSlack = pass == 0 ? SIZE_MAX : kHeapSlack;
        const ResourceCounts start;
        for (const SweepCase& sweep : inCases)
        {
            bool completed = false;
            for (int failAt = 1; failAt <= kMostCalls && !completed; ++failAt)
            {
                const std::string what =
                    sweep.name + ", call " + std::to_string(failAt) + (pass == 0 ? "" : ", second pass");
                const ResourceCounts before;
                completed = !sweep.run(failAt, what);
                ExpectNothingLeftBehind(before, ResourceCounts(), heapSlack, what);
                if (::testing::Test::HasFailure())
                    return;
            }
            EXPECT_TRUE(completed) << sweep.name << ": no run got through";
        }
        ExpectNothingLeftBehind(start, ResourceCounts(), heapSlack, pass == 0 ? "first pass" : "second pass");
    }
}

class Resources : public ::testing::Test
{
protected:
    // Each movie's answers by path; the other routes must give the same.
    void SetUpMovies(bool inWithLongTable)
    {
        movies = WriteMovies(folder, inWithLongTable);
        for (TestMovie& movie : movies)
        {
            movie.answers = OpenAskRelease(movie, Route::MakeMovie);
            ASSERT_NE(movie.answers, 0u) << movie.name;
        }
    }

    ScratchFolder folder;
    std::vector<TestMovie> movies;
};

} // namespace

// The questions of the long runs below get real answers, not refusals: each kind of track is
// there, and each table and map has its entries.
TEST_F(Resources, MoviesOfTheLongRunsAnswerEveryKindOfQuestion)
{
    SetUpMovies(true);
    for (const size_t index : {size_t(1), size_t(2)})
    {
        const TestMovie& movie = movies.at(index);
        const OpenOutcome outcome = Open(movie, Route::MakeMovie);
        ASSERT_EQ(outcome.result, QT::kQTSuccess) << movie.name;
        QT::IQTMovie& opened = *outcome.movie;
        QT::MetadataMap items;
        opened.GetMetadataItems(items);
        EXPECT_EQ(items.size(), 3u) << movie.name;
        std::vector<std::string> kinds;
        for (uint32_t i = 0; i < opened.GetTrackCount(); ++i)
        {
            InterfaceRef<QT::IQTTrack> track;
            opened.GetIndTrack(track, i);
            kinds.push_back(QT::FourCCText(track->GetTrackMediaType()));
        }
        EXPECT_EQ(kinds, (std::vector<std::string>{"vide", "soun", "tmcd", "clcp", "text", "auxv", "meta",
                                                   "vide", "soun"}))
            << movie.name;
        InterfaceRef<QT::IQTTrack> track;
        opened.GetIndTrack(track, 0);
        QT::VideoSampleTable samples;
        EXPECT_EQ(track->MakeVideoSampleTable(false, false, samples, nullptr), QT::kQTSuccess);
        EXPECT_EQ(samples.size(), 4u);
        std::vector<QT::VideoTemporalReference> temporal;
        EXPECT_EQ(track->MakeVideoTemporalReferenceTable(temporal), QT::kQTSuccess);
        EXPECT_EQ(temporal.size(), 4u);
        opened.GetIndTrack(track, 1);
        QT::AudioSampleRangeMap ranges;
        EXPECT_EQ(track->MakeAudioSampleRangeMap(ranges, false), QT::kQTSuccess);
        EXPECT_EQ(ranges.size(), 2u);
        opened.GetIndTrack(track, 2);
        QT::TimecodeMediaInfo info;
        std::u16string source;
        EXPECT_EQ(track->GetTimecodeMediaInfo(info, source), 0);
        EXPECT_EQ(source, u"Reel 1");
        opened.GetIndTrack(track, 3);
        QT::CaptionSampleMap captions;
        EXPECT_EQ(track->MakeCaptionSampleMap(movie.widePath, captions, false), QT::kQTSuccess);
        // Six bare pairs, which only a read of the file can tell.
        EXPECT_EQ(captions.size(), 6u);
        opened.GetIndTrack(track, 7);
        QT::ExternalReferenceMap references;
        EXPECT_TRUE(track->CollectExternalReferences(references));
        EXPECT_EQ(references.size(), 2u);
    }
    const OpenOutcome outcome = Open(movies.back(), Route::MakeMovie);
    ASSERT_EQ(outcome.result, QT::kQTSuccess);
    InterfaceRef<QT::IQTTrack> track;
    outcome.movie->GetIndTrack(track, 0);
    QT::VideoSampleTable samples;
    EXPECT_EQ(track->MakeVideoSampleTable(false, false, samples, nullptr), QT::kQTSuccess);
    EXPECT_EQ(samples.size(), kLongTableSamples);
    // Large enough to come from the pool.
    EXPECT_GE(samples.size() * sizeof(QT::VideoSampleRecord), tenacore::allocator::kLargeBlockBytes);
}

TEST_F(Resources, TenThousandOpensAndReleasesLeaveNothingBehind)
{
#if !defined(__linux__)
    GTEST_SKIP() << "descriptors and threads are counted from /proc, which only Linux has";
#else
    SetUpMovies(true);
    const TestMovie& longTable = movies.back();
    ASSERT_EQ(longTable.name, "long-table.mov");
    const size_t smallMovies = movies.size() - 1;
    constexpr int kRoutes = 3;
    // The long table costs as much as dozens of small movies; it comes round often enough to show
    // what the pool does with it.
    constexpr int kLongTableEvery = 50;
    // One round of every movie by every route: what is made once is made, and the pool holds
    // what it will hold.
    constexpr int kWarmUp = kLongTableEvery * kRoutes;
    constexpr int kOpens = 10000;
    int mismatches = 0;
    const auto openOne = [&](int inIndex)
    {
        const bool isLong = inIndex % kLongTableEvery == kLongTableEvery - 1;
        const TestMovie& movie = isLong ? longTable : movies[size_t(inIndex) % smallMovies];
        const auto route = Route(inIndex / (isLong ? kLongTableEvery : int(smallMovies)) % kRoutes);
        if (OpenAskRelease(movie, route) != movie.answers)
            ++mismatches;
    };
    for (int i = 0; i < kWarmUp; ++i)
        openOne(i);
    const ResourceCounts before;
    for (int i = 0; i < kOpens; ++i)
        openOne(i);
    const ResourceCounts after;

    EXPECT_EQ(mismatches, 0);
    ExpectNothingLeftBehind(before, after, kHeapSlack, "after 10,000 opens");
    ASSERT_TRUE(before.descriptors && before.threads);
    // The pool keeps blocks on purpose, but no more than the first round left there.
    EXPECT_LE(after.pool.keptBlocks, before.pool.keptBlocks);
    EXPECT_LE(after.pool.keptBytes, before.pool.keptBytes);
    if (kPoolKeepsBlocks)
    {
        EXPECT_GT(before.pool.keptBlocks, 0u) << "the long table's blocks should be kept for the next open";
    }
#endif
}

TEST_F(Resources, ProviderFailingAtEachCallGivesACodeAndNoHalfBuiltMovie)
{
    SetUpMovies(false);
    std::vector<SweepCase> cases;
    for (const TestMovie& movie : movies)
    {
        // Through the table alone, and with a path to the same bytes for when IsReady sends the
        // open to the file.
        for (const std::u16string& path :
             {std::u16string(u"/nonexistent/qtsifter-resources.mov"), movie.widePath})
        {
            for (const Failure failure : {Failure::Status, Failure::Abort, Failure::ShortRead,
                                          Failure::NothingRead, Failure::NullBytes})
            {
                const std::string name = movie.name + ", " + Name(failure) +
                                         (path == movie.widePath ? ", with the path" : ", no path");
                cases.push_back(
                    {name, [&movie, path, failure](int inFailAt, const std::string& inWhat)
                     {
                         MemoryProvider inner(movie.bytes);
                         FailingProvider provider(inner, inFailAt, failure);
                         OpenOutcome outcome;
                         EXPECT_NO_THROW(outcome = Open(movie, Route::Provider, provider.Table(), path))
                             << inWhat;
                         ExpectNoMovieOrAWholeOne(outcome, movie, inWhat);
                         if (!provider.fired)
                         {
                             EXPECT_EQ(outcome.result, QT::kQTSuccess) << inWhat;
                             EXPECT_TRUE(outcome.found) << inWhat;
                         }
                         return provider.fired;
                     }});
            }
        }
    }
    SweepTwice(cases);
}

TEST_F(Resources, FileFailingAtEachCallGivesACodeAndNoHalfBuiltMovie)
{
    SetUpMovies(false);
    std::vector<SweepCase> cases;
    for (const TestMovie& movie : movies)
    {
        for (const Route route : {Route::MakeMovie, Route::LocateByPath})
        {
            const std::string name =
                movie.name + (route == Route::MakeMovie ? ", MakeMovie" : ", MakeMovieAndLocateAtom");
            cases.push_back({name, [&movie, route](int inFailAt, const std::string& inWhat)
                             {
                                 OpenOutcome outcome;
                                 bool fired = false;
                                 {
                                     FailingFile failing(inFailAt);
                                     EXPECT_NO_THROW(outcome = Open(movie, route)) << inWhat;
                                     fired = failing.fired;
                                 }
                                 ExpectNoMovieOrAWholeOne(outcome, movie, inWhat);
                                 if (!fired)
                                 {
                                     EXPECT_EQ(outcome.result, QT::kQTSuccess) << inWhat;
                                 }
                                 return fired;
                             }});
        }
    }
    SweepTwice(cases);
}

// The caption map reads the file on its own; a failure there gives the map of samples that keep
// their headers, and leaves nothing open either.
TEST_F(Resources, CaptionPeekFailingAtEachCallLeavesNothingBehind)
{
    SetUpMovies(false);
    const TestMovie& movie = movies.at(1);
    ASSERT_EQ(movie.name, "every-kind.mov");
    OpenOutcome outcome = Open(movie, Route::MakeMovie);
    ASSERT_EQ(outcome.result, QT::kQTSuccess);
    InterfaceRef<QT::IQTTrack> captions;
    for (uint32_t i = 0; i < outcome.movie->GetTrackCount() && !captions; ++i)
    {
        outcome.movie->GetIndTrack(captions, i);
        if (captions->GetTrackMediaType() != QT::FourCC("clcp"))
            captions = {};
    }
    ASSERT_TRUE(captions);
    QT::CaptionSampleMap expected;
    ASSERT_EQ(captions->MakeCaptionSampleMap(movie.widePath, expected, false), QT::kQTSuccess);
    SweepTwice({{"caption peek", [&](int inFailAt, const std::string& inWhat)
                 {
                     QT::CaptionSampleMap map;
                     uint32_t result = 0;
                     bool fired = false;
                     {
                         FailingFile failing(inFailAt);
                         EXPECT_NO_THROW(result = captions->MakeCaptionSampleMap(movie.widePath, map, false))
                             << inWhat;
                         fired = failing.fired;
                     }
                     EXPECT_EQ(result, QT::kQTSuccess) << inWhat;
                     if (!fired)
                     {
                         EXPECT_EQ(map.size(), expected.size()) << inWhat;
                     }
                     return fired;
                 }}});
}

namespace
{

// A movie the fixer repairs, in a scratch file that each run may set back.
struct FixerScratch
{
    explicit FixerScratch(const ScratchFolder& inFolder)
        : original(MovieWith({VideoTrakWithSdtp(), SoundTrakWithSdtp()})),
          path(inFolder.Write("fix.mov", original))
    {
        const size_t sdtp = FindSdtpType();
        fixed = original;
        std::copy_n("skip", 4, fixed.begin() + std::ptrdiff_t(sdtp));
    }

    void Restore() const
    {
        std::ofstream(path, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(original.data()), std::streamsize(original.size()));
    }

    // Where the video track's sdtp type stands: the first sdtp of the file.
    size_t FindSdtpType() const
    {
        for (size_t pos = 0; pos + 4 <= original.size(); ++pos)
            if (std::equal(original.begin() + std::ptrdiff_t(pos), original.begin() + std::ptrdiff_t(pos + 4),
                           "sdtp"))
                return pos;
        throw std::runtime_error("no sdtp");
    }

    Bytes original;
    Bytes fixed;
    std::filesystem::path path;
};

} // namespace

TEST_F(Resources, ThousandFixerRunsLeaveNoDescriptorBehind)
{
#if !defined(__linux__)
    GTEST_SKIP() << "descriptors and threads are counted from /proc, which only Linux has";
#else
    const FixerScratch scratch(folder);
    const std::filesystem::path notAMovie = folder.Write("not-a-movie.mov", Bytes(64, 0x11));
    const std::filesystem::path missing = folder.Path() / "missing.mov";
    // Fixed; then nothing left to fix; then no movie; then no file.
    const auto runOne = [&](int inIndex)
    {
        switch (inIndex % 4)
        {
        case 0:
            scratch.Restore();
            return FixFile(scratch.path) == QT::kQTSuccess;
        case 1:
            return FixFile(scratch.path) == QT::kQTErrFailed;
        case 2:
            return FixFile(notAMovie) == QT::kQTErrFailed;
        default:
            return FixFile(missing) == QT::kQTErrFailed;
        }
    };
    for (int i = 0; i < 8; ++i)
        runOne(i);
    const ResourceCounts before;
    int unexpected = 0;
    for (int i = 0; i < 1000; ++i)
        unexpected += runOne(i) ? 0 : 1;
    const ResourceCounts after;
    EXPECT_EQ(unexpected, 0);
    EXPECT_EQ(ReadFileBytes(scratch.path), scratch.fixed);
    ExpectNothingLeftBehind(before, after, kHeapSlack, "after 1,000 fixer runs");
    ASSERT_TRUE(before.descriptors);
#endif
}

TEST_F(Resources, FixerWriteFailingAtEachStepLeavesTheFileUntouchedOrExactlyFixed)
{
    const FixerScratch scratch(folder);
    std::vector<int> stepsMade;
    // Grown inside a counted run, it would count against the fixer.
    stepsMade.reserve(16);
    SweepTwice({{"fixer write", [&](int inFailAt, const std::string& inWhat)
                 {
                     scratch.Restore();
                     uint32_t result = 0;
                     bool fired = false;
                     {
                         FailingStream failing(inFailAt);
                         EXPECT_NO_THROW(result = FixFile(scratch.path)) << inWhat;
                         fired = failing.fired;
                         stepsMade.push_back(failing.calls);
                     }
                     const Bytes after = ReadFileBytes(scratch.path);
                     if (fired)
                     {
                         EXPECT_EQ(result, QT::kQTErrFixerWrite) << inWhat;
                         EXPECT_EQ(after, scratch.original) << inWhat;
                     }
                     else
                     {
                         EXPECT_EQ(result, QT::kQTSuccess) << inWhat;
                         EXPECT_EQ(after, scratch.fixed) << inWhat;
                     }
                     return fired;
                 }}});
    // Open, seek and write each failed once, and the fourth run went through all three; twice.
    EXPECT_EQ(stepsMade, (std::vector<int>{1, 2, 3, 3, 1, 2, 3, 3}));
}

TEST_F(Resources, FixerReadFailingAtEachCallLeavesTheFileUntouchedOrExactlyFixed)
{
    const FixerScratch scratch(folder);
    int runs = 0;
    SweepTwice({{"fixer read", [&](int inFailAt, const std::string& inWhat)
                 {
                     ++runs;
                     scratch.Restore();
                     uint32_t result = 0;
                     bool fired = false;
                     {
                         FailingFile failing(inFailAt);
                         EXPECT_NO_THROW(result = FixFile(scratch.path)) << inWhat;
                         fired = failing.fired;
                     }
                     const Bytes after = ReadFileBytes(scratch.path);
                     if (result == QT::kQTSuccess)
                     {
                         EXPECT_EQ(after, scratch.fixed) << inWhat;
                     }
                     else
                     {
                         EXPECT_EQ(result, QT::kQTErrFailed) << inWhat;
                         EXPECT_EQ(after, scratch.original) << inWhat;
                     }
                     if (!fired)
                     {
                         EXPECT_EQ(result, QT::kQTSuccess) << inWhat;
                     }
                     return fired;
                 }}});
    // The load makes more than a handful of calls, each of which was failed.
    EXPECT_GT(runs, 2 * 8);
}
