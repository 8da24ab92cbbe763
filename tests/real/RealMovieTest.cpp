#include <array>
#include <cmath>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "IQTSifter.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// A path that cannot be opened, so that a call meant for the provider fails if it took the file.
const std::u16string kNoSuchPath = u"/nonexistent-qtsifter-folder/movie.mov";

// What the movie should report, gathered from the file's bytes and from ffprobe.
struct Expected
{
    uint32_t timeScale = 0;
    int64_t duration = 0;
    double formatDuration = 0;
    size_t trackCount = 0;
    uint64_t movieAtomOffset = 0;
    uint64_t movieAtomSize = 0;
};

// ffprobe logs the movie time scale right after it meets mvhd, before the next atom.
std::optional<uint32_t> TracedMovieTimeScale(const std::string& inTrace)
{
    const size_t mvhd = inTrace.find("type:'mvhd'");
    if (mvhd == std::string::npos)
        return std::nullopt;
    const std::string key = "time scale = ";
    const size_t at = inTrace.find(key, mvhd);
    const size_t nextAtom = inTrace.find("type:'", mvhd + 1);
    if (at == std::string::npos || at > nextAtom)
        return std::nullopt;
    return uint32_t(std::stoul(inTrace.substr(at + key.size())));
}

bool IsCompactedContainer(uint32_t inType)
{
    return inType == Code("trak") || inType == Code("mdia") || inType == Code("minf") ||
           inType == Code("stbl");
}

// The free atoms that loading drops: those at movie level and inside the containers of a track.
uint64_t DroppedFreeBytes(const Bytes& inBytes, const FileAtom& inParent)
{
    uint64_t dropped = 0;
    for (const FileAtom& child : ScanChildren(inBytes, inParent))
        if (child.type == Code("free"))
            dropped += child.size;
        else if (IsCompactedContainer(child.type))
            dropped += DroppedFreeBytes(inBytes, child);
    return dropped;
}

struct Located
{
    uint32_t result = 0;
    InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t offset = 0;
    uint64_t size = 0;
};

// MakeMovieAndLocateAtom through the file, or through a provider over inBytes when given.
Located Locate(const std::u16string& inPath, uint32_t inType, const Bytes* inProviderBytes,
               const std::optional<FileAtom>& inExpected)
{
    Located located;
    // Start from the opposite answer and impossible places, so that a value left untouched shows.
    located.found = !inExpected.has_value();
    located.offset = located.size = 0xDEADBEEFull;
    auto sifter = QT::MakeParser();
    if (inProviderBytes)
    {
        MemoryProvider provider(*inProviderBytes);
        located.result = sifter->MakeMovieAndLocateAtom(kNoSuchPath, located.movie, inType, located.found,
                                                        located.offset, located.size, provider.Table());
        EXPECT_GT(provider.readAtCalls, 0) << "the provider was not used";
    }
    else
        located.result = sifter->MakeMovieAndLocateAtom(inPath, located.movie, inType, located.found,
                                                        located.offset, located.size, nullptr);
    return located;
}

void ExpectLocation(const Located& inLocated, const std::optional<FileAtom>& inExpected, uint32_t inType)
{
    SCOPED_TRACE("locating " + FourCCText(inType));
    ASSERT_EQ(inLocated.result, QT::kQTSuccess) << QT::ResultCodeName(inLocated.result);
    EXPECT_EQ(inLocated.found, inExpected.has_value());
    if (inExpected && inLocated.found)
    {
        EXPECT_EQ(inLocated.offset, inExpected->start);
        EXPECT_EQ(inLocated.size, inExpected->size);
    }
}

class RealMovieBase : public RealMovieFixture
{
protected:
    // Reads what the movie should report: time scale from ffprobe's log and from the file's own
    // mvhd, duration from mvhd (ffprobe prints only its rounded seconds), tracks from the streams.
    void Gather()
    {
        const auto header = ReadMovieHeaderFields(bytes, moov);
        ASSERT_TRUE(header) << "no readable mvhd in " << made->path;
        const auto traced = TracedMovieTimeScale(sMovies->ProbeTrace(*made));
        ASSERT_TRUE(traced) << "ffprobe's trace shows no movie time scale";
        ASSERT_EQ(header->timeScale, *traced) << "the test's own mvhd reader disagrees with ffprobe";
        const nlohmann::json& probe = sMovies->Probe(*made);
        expected.timeScale = *traced;
        expected.duration =
            header->version == 1 ? int64_t(header->duration) : int64_t(int32_t(header->duration));
        expected.formatDuration = std::stod(probe.at("format").at("duration").get<std::string>());
        expected.trackCount = probe.at("streams").size();
        ASSERT_EQ(expected.trackCount, probe.at("format").at("nb_streams").get<size_t>());
        expected.movieAtomOffset = moov.start;
        expected.movieAtomSize = moov.size - DroppedFreeBytes(bytes, moov);
    }

    void ExpectMovieFacts(QT::IQTMovie& inMovie)
    {
        EXPECT_EQ(inMovie.GetMovieTimeScale(), expected.timeScale);
        EXPECT_EQ(inMovie.GetMovieDuration(), expected.duration);
        ASSERT_GT(inMovie.GetMovieTimeScale(), 0u);
        const double seconds = double(inMovie.GetMovieDuration()) / inMovie.GetMovieTimeScale();
        // ffprobe prints microseconds; allow one tick plus its rounding.
        EXPECT_NEAR(seconds, expected.formatDuration, 1.0 / inMovie.GetMovieTimeScale() + 1e-6);
        EXPECT_EQ(inMovie.GetTrackCount(), expected.trackCount);
        EXPECT_EQ(inMovie.GetMovieAtomOffset(), expected.movieAtomOffset);
        EXPECT_EQ(inMovie.GetMovieAtomSize(), expected.movieAtomSize);
    }

    Expected expected;
};

class RealMovie : public RealMovieBase, public ::testing::WithParamInterface<std::string>
{
protected:
    void SetUp() override
    {
        Prepare(GetParam());
        if (IsSkipped() || HasFatalFailure())
            return;
        Gather();
    }
};

TEST_P(RealMovie, MakeMovieReportsWhatFfprobeReports)
{
    const Opened opened = OpenPath(made->WidePath());
    ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
    ASSERT_TRUE(opened.movie);
    ExpectMovieFacts(*opened.movie);
}

TEST_P(RealMovie, MakeMovieAndLocateAtomThroughTheFileLocatesMediaDataAsTheLayoutSays)
{
    const auto where = ExpectedLocation(topLevel, bytes.size(), Code("mdat"));
    const Located located = Locate(made->WidePath(), Code("mdat"), nullptr, where);
    ExpectLocation(located, where, Code("mdat"));
    ASSERT_TRUE(located.movie);
    ExpectMovieFacts(*located.movie);
}

TEST_P(RealMovie, MakeMovieAndLocateAtomThroughAProviderLocatesMediaDataAsTheLayoutSays)
{
    const auto where = ExpectedLocation(topLevel, bytes.size(), Code("mdat"));
    const Located located = Locate(kNoSuchPath, Code("mdat"), &bytes, where);
    ExpectLocation(located, where, Code("mdat"));
    ASSERT_TRUE(located.movie);
    ExpectMovieFacts(*located.movie);
}

TEST_P(RealMovie, LocatesEachTopLevelTypeAsLaidOutThroughBothRoutes)
{
    std::set<uint32_t> types = {Code("zzzz")};
    for (const FileAtom& atom : topLevel)
        types.insert(atom.type);
    for (uint32_t type : types)
    {
        const auto where = ExpectedLocation(topLevel, bytes.size(), type);
        ExpectLocation(Locate(made->WidePath(), type, nullptr, where), where, type);
        ExpectLocation(Locate(kNoSuchPath, type, &bytes, where), where, type);
    }
}

INSTANTIATE_TEST_SUITE_P(Recipes, RealMovie, ::testing::ValuesIn(MovieRecipeNames()),
                         [](const ::testing::TestParamInfo<std::string>& inInfo) { return inInfo.param; });

class FaststartMp4 : public RealMovieBase
{
protected:
    void SetUp() override
    {
        Prepare("h264_aac_timecode_faststart");
        if (IsSkipped() || HasFatalFailure())
            return;
        Gather();
    }
};

TEST_F(FaststartMp4, MovieAtomComesBeforeTheMediaAndIsReportedThere)
{
    const auto mdat = FindAtom(topLevel, Code("mdat"));
    ASSERT_TRUE(mdat);
    ASSERT_LT(moov.start, mdat->start) << "faststart left moov behind mdat";
    const Opened opened = OpenPath(made->WidePath());
    ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), moov.start);
}

TEST_F(FaststartMp4, MovieAtomIsLocatedAtItsOffsetThroughBothRoutes)
{
    const auto where = ExpectedLocation(topLevel, bytes.size(), Code("moov"));
    ASSERT_TRUE(where) << "moov should be reachable behind ftyp";
    ASSERT_EQ(where->start, moov.start);
    ExpectLocation(Locate(made->WidePath(), Code("moov"), nullptr, where), where, Code("moov"));
    ExpectLocation(Locate(kNoSuchPath, Code("moov"), &bytes, where), where, Code("moov"));
}

class PcmMov : public RealMovieBase
{
protected:
    void SetUp() override
    {
        Prepare("h264_pcm_timecode");
        if (IsSkipped() || HasFatalFailure())
            return;
        Gather();
    }

    // ffmpeg reserves 8 bytes in front of mdat for a 64-bit size it may need.
    bool PlaceholderFollowsFtyp() const
    {
        return topLevel.size() >= 3 && topLevel[0].type == Code("ftyp") && topLevel[1].size == 8 &&
               (topLevel[1].type == Code("wide") || topLevel[1].type == Code("free")) &&
               topLevel[2].type == Code("mdat");
    }
};

TEST_F(PcmMov, AnEightBytePlaceholderEndsTheSearchForMediaData)
{
    if (!PlaceholderFollowsFtyp())
        GTEST_SKIP() << "this ffmpeg writes no 8-byte atom between ftyp and mdat";
    for (const Bytes* providerBytes : std::array<const Bytes*, 2>{nullptr, &bytes})
    {
        const Located located =
            Locate(providerBytes ? kNoSuchPath : made->WidePath(), Code("mdat"), providerBytes, std::nullopt);
        ASSERT_EQ(located.result, QT::kQTSuccess) << QT::ResultCodeName(located.result);
        EXPECT_FALSE(located.found);
        ASSERT_TRUE(located.movie);
        ExpectMovieFacts(*located.movie);
    }
}

TEST_F(PcmMov, MediaDataIsFoundOnceThePlaceholderBelongsToFtyp)
{
    if (!PlaceholderFollowsFtyp())
        GTEST_SKIP() << "this ffmpeg writes no 8-byte atom between ftyp and mdat";
    // Growing ftyp over the placeholder moves no byte, so every offset in the movie stays true;
    // the placeholder's bytes become one more compatible brand pair.
    Bytes folded = bytes;
    const uint32_t ftypSize = uint32_t(topLevel[0].size + topLevel[1].size);
    folded[0] = uint8_t(ftypSize >> 24);
    folded[1] = uint8_t(ftypSize >> 16);
    folded[2] = uint8_t(ftypSize >> 8);
    folded[3] = uint8_t(ftypSize);
    const auto foldedLayout = ScanTopLevelAtoms(folded);
    ASSERT_EQ(foldedLayout.size(), topLevel.size() - 1);
    const auto mdat = ExpectedLocation(foldedLayout, folded.size(), Code("mdat"));
    ASSERT_TRUE(mdat);
    EXPECT_EQ(mdat->start, topLevel[2].start);
    EXPECT_EQ(mdat->size, topLevel[2].size);

    TempFile file(folded);
    for (uint32_t type : {Code("mdat"), Code("moov"), Code("ftyp")})
    {
        const auto where = ExpectedLocation(foldedLayout, folded.size(), type);
        ASSERT_TRUE(where) << FourCCText(type);
        const Located viaFile = Locate(file.WidePath(), type, nullptr, where);
        ExpectLocation(viaFile, where, type);
        ASSERT_TRUE(viaFile.movie);
        ExpectMovieFacts(*viaFile.movie);
        const Located viaProvider = Locate(kNoSuchPath, type, &folded, where);
        ExpectLocation(viaProvider, where, type);
        ASSERT_TRUE(viaProvider.movie);
        ExpectMovieFacts(*viaProvider.movie);
    }
}

} // namespace
