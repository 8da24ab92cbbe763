#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <utility>
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

const std::u16string kNoSuchPath = u"/nonexistent-qtsifter-folder/movie.mov";

// Files up to this size are cut at every length; larger ones densely near moov, sparsely elsewhere.
constexpr uint64_t kEveryLengthUpTo = 32 * 1024;
constexpr uint64_t kEvenSamples = 300;
// The file route writes a file per length, so it takes a sample of the lengths.
constexpr uint64_t kFileRouteEvenSamples = 100;
// Problems listed in a failure message; the rest are only counted.
constexpr size_t kProblemsShown = 20;

uint64_t Below(uint64_t inValue, uint64_t inBy)
{
    return inValue > inBy ? inValue - inBy : 0;
}

void AddRange(std::set<uint64_t>& ioLengths, uint64_t inFrom, uint64_t inTo, uint64_t inFileSize)
{
    for (uint64_t length = inFrom; length <= std::min(inTo, inFileSize); ++length)
        ioLengths.insert(length);
}

void AddEvenly(std::set<uint64_t>& ioLengths, uint64_t inCount, uint64_t inFileSize)
{
    for (uint64_t i = 0; i <= inCount; ++i)
        ioLengths.insert(inFileSize * i / inCount);
}

// Every top-level header, where the scan's reads and size tests change their answers.
void AddAtomEdges(std::set<uint64_t>& ioLengths, const std::vector<FileAtom>& inTopLevel,
                  const FileAtom& inMoov, uint64_t inFileSize)
{
    AddRange(ioLengths, 0, 17, inFileSize);
    for (const FileAtom& atom : inTopLevel)
        AddRange(ioLengths, Below(atom.start, 2), atom.start + 17, inFileSize);
    AddRange(ioLengths, Below(inMoov.End(), 2), inMoov.End() + 2, inFileSize);
}

std::vector<uint64_t> ProviderCutLengths(const std::vector<FileAtom>& inTopLevel, const FileAtom& inMoov,
                                         uint64_t inFileSize)
{
    std::set<uint64_t> lengths;
    if (inFileSize <= kEveryLengthUpTo)
        AddRange(lengths, 0, inFileSize, inFileSize);
    else
    {
        if (inMoov.start < inFileSize / 2)
            AddRange(lengths, 0, inMoov.End() + 4096, inFileSize);
        else
        {
            AddRange(lengths, Below(inMoov.start, 1024), inMoov.start + 4096, inFileSize);
            AddRange(lengths, Below(inMoov.End(), 1024), inMoov.End() + 1024, inFileSize);
        }
        AddEvenly(lengths, kEvenSamples, inFileSize);
        AddAtomEdges(lengths, inTopLevel, inMoov, inFileSize);
    }
    return {lengths.begin(), lengths.end()};
}

std::vector<uint64_t> FileCutLengths(const std::vector<FileAtom>& inTopLevel, const FileAtom& inMoov,
                                     uint64_t inFileSize)
{
    std::set<uint64_t> lengths;
    AddEvenly(lengths, kFileRouteEvenSamples, inFileSize);
    AddAtomEdges(lengths, inTopLevel, inMoov, inFileSize);
    return {lengths.begin(), lengths.end()};
}

Bytes Prefix(const Bytes& inBytes, uint64_t inLength)
{
    return Bytes(inBytes.begin(), inBytes.begin() + std::ptrdiff_t(inLength));
}

// What the whole movie reports; a cut that keeps all of moov must report the same.
struct Facts
{
    uint32_t timeScale = 0;
    int64_t duration = 0;
    uint32_t trackCount = 0;
    uint64_t movieAtomOffset = 0;
    uint32_t movieAtomSize = 0;

    bool operator==(const Facts&) const = default;
};

Facts FactsOf(QT::IQTMovie& inMovie)
{
    return {inMovie.GetMovieTimeScale(), inMovie.GetMovieDuration(), inMovie.GetTrackCount(),
            inMovie.GetMovieAtomOffset(), inMovie.GetMovieAtomSize()};
}

std::string Describe(const Facts& inFacts)
{
    std::ostringstream text;
    text << "time scale " << inFacts.timeScale << ", duration " << inFacts.duration << ", tracks "
         << inFacts.trackCount << ", moov at " << inFacts.movieAtomOffset << " of " << inFacts.movieAtomSize
         << " bytes";
    return text.str();
}

std::string ResultText(uint32_t inResult)
{
    std::ostringstream text;
    text << "0x" << std::hex << inResult << " (" << QT::ResultCodeName(inResult) << ")";
    return text.str();
}

struct Outcome
{
    uint32_t result = 0;
    InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t offset = 0;
    uint64_t size = 0;
};

Outcome OpenThroughProvider(Bytes inBytes)
{
    Outcome outcome;
    MemoryProvider provider(std::move(inBytes));
    outcome.result =
        QT::MakeParser()->MakeMovieAndLocateAtom(kNoSuchPath, outcome.movie, Code("mdat"), outcome.found,
                                                 outcome.offset, outcome.size, provider.Table());
    return outcome;
}

Outcome OpenThroughFileAndLocate(const std::u16string& inPath)
{
    Outcome outcome;
    outcome.result = QT::MakeParser()->MakeMovieAndLocateAtom(
        inPath, outcome.movie, Code("mdat"), outcome.found, outcome.offset, outcome.size, nullptr);
    return outcome;
}

Outcome OpenThroughMakeMovie(const std::u16string& inPath)
{
    Outcome outcome;
    outcome.result = QT::MakeParser()->MakeMovie(inPath, outcome.movie);
    return outcome;
}

// Gathers what went wrong over a sweep, so that one failure message tells the whole story.
class Problems
{
public:
    void Add(const std::string& inRoute, uint64_t inLength, const std::string& inWhat)
    {
        if (mList.size() < kProblemsShown)
            mList.push_back(inRoute + " at length " + std::to_string(inLength) + ": " + inWhat);
        ++mCount;
    }

    void Report(const std::string& inSweep, size_t inCuts) const
    {
        std::string text;
        for (const std::string& line : mList)
            text += "\n  " + line;
        EXPECT_EQ(mCount, 0u) << inSweep << ": " << mCount << " problems in " << inCuts << " cuts" << text;
    }

private:
    std::vector<std::string> mList;
    size_t mCount = 0;
};

// A failure must be a known code, and the whole-file failure one at that, with no movie handed out.
void CheckFailure(const Outcome& inOutcome, const std::string& inRoute, uint64_t inLength,
                  Problems& ioProblems)
{
    if (QT::ResultCodeName(inOutcome.result).empty())
        ioProblems.Add(inRoute, inLength, "unknown result " + ResultText(inOutcome.result));
    else if (inOutcome.result != QT::kQTErrNotAMovie)
        ioProblems.Add(inRoute, inLength, "expected kQTErrNotAMovie, got " + ResultText(inOutcome.result));
    if (inOutcome.movie)
        ioProblems.Add(inRoute, inLength, "a movie was handed out with a failure");
}

class TruncationSweep : public RealMovieFixture, public ::testing::WithParamInterface<std::string>
{
protected:
    void SetUp() override
    {
        Prepare(GetParam());
        if (IsSkipped() || HasFatalFailure())
            return;
        const Opened whole = OpenPath(made->WidePath());
        ASSERT_EQ(whole.result, QT::kQTSuccess) << ResultText(whole.result);
        reference = FactsOf(*whole.movie);
        for (const FileAtom& child : ScanChildren(bytes, moov))
        {
            if (child.type == Code("mvhd"))
                mvhdEnd = child.End();
            if (child.type == Code("trak"))
            {
                trakStarts.push_back(child.start);
                trakEnds.push_back(child.End());
            }
        }
        ASSERT_GT(mvhdEnd, 0u);
        ASSERT_EQ(moov.headerSize, 8u) << "the cuts rewrite a 32-bit moov size";
        ASSERT_EQ(trakEnds.size(), reference.trackCount) << "every trak of an ffmpeg movie is a track";
    }

    // A cut that keeps moov whole opens the same movie; one inside or before it opens nothing.
    void CheckCut(const Outcome& inOutcome, const std::string& inRoute, uint64_t inLength, const Bytes& inCut,
                  bool inLocates, Problems& ioProblems) const
    {
        if (inLength < moov.End())
        {
            CheckFailure(inOutcome, inRoute, inLength, ioProblems);
            return;
        }
        if (inOutcome.result != QT::kQTSuccess || !inOutcome.movie)
        {
            ioProblems.Add(inRoute, inLength,
                           "moov is whole, yet the result is " + ResultText(inOutcome.result));
            return;
        }
        const Facts facts = FactsOf(*inOutcome.movie);
        if (!(facts == reference))
            ioProblems.Add(inRoute, inLength, Describe(facts) + " instead of " + Describe(reference));
        if (!inLocates)
            return;
        const auto where = ExpectedLocation(ScanTopLevelAtoms(inCut), inLength, Code("mdat"));
        if (inOutcome.found != where.has_value())
            ioProblems.Add(inRoute, inLength,
                           std::string("mdat ") + (inOutcome.found ? "found" : "not found"));
        else if (where && (inOutcome.offset != where->start || inOutcome.size != where->size))
            ioProblems.Add(inRoute, inLength,
                           "mdat at " + std::to_string(inOutcome.offset) + " of " +
                               std::to_string(inOutcome.size) + " bytes instead of " +
                               std::to_string(where->start) + " of " + std::to_string(where->size));
    }

    // The same file with moov ending inLength bytes from its start, its size word saying so:
    // the walk then meets atoms that run past the loaded buffer.
    Bytes CutInsideMovieAtom(uint64_t inLength) const
    {
        Bytes cut = Prefix(bytes, moov.start + inLength);
        for (int i = 0; i < 4; ++i)
            cut[moov.start + uint64_t(i)] = uint8_t(inLength >> (24 - 8 * i));
        return cut;
    }

    // What a movie atom cut to inLength bytes may report. Tracks cut short may be refused, and
    // a refused track refuses the file, but what is whole must read right.
    void CheckCutMovieAtom(const Outcome& inOutcome, const std::string& inRoute, uint64_t inLength,
                           Problems& ioProblems) const
    {
        const uint64_t end = moov.start + inLength;
        if (QT::ResultCodeName(inOutcome.result).empty())
            return ioProblems.Add(inRoute, inLength, "unknown result " + ResultText(inOutcome.result));
        if (inOutcome.result != QT::kQTSuccess)
        {
            CheckFailure(inOutcome, inRoute, inLength, ioProblems);
            if (end >= trakEnds.back())
                ioProblems.Add(inRoute, inLength, "every trak is whole, yet " + ResultText(inOutcome.result));
            else if (std::find(trakEnds.begin(), trakEnds.end(), end) != trakEnds.end())
                ioProblems.Add(inRoute, inLength,
                               "cut at the end of a trak, yet " + ResultText(inOutcome.result));
            return;
        }
        if (!inOutcome.movie)
            return ioProblems.Add(inRoute, inLength, "success without a movie");
        if (end < mvhdEnd)
            ioProblems.Add(inRoute, inLength, "mvhd is cut, yet the movie opened");
        const Facts facts = FactsOf(*inOutcome.movie);
        const auto whole =
            uint32_t(std::count_if(trakEnds.begin(), trakEnds.end(), [&](uint64_t e) { return e <= end; }));
        // A cut trak can still be accepted when its tables came before the cut.
        const auto begun = uint32_t(
            std::count_if(trakStarts.begin(), trakStarts.end(), [&](uint64_t s) { return s < end; }));
        if (facts.timeScale != reference.timeScale || facts.duration != reference.duration ||
            facts.movieAtomOffset != reference.movieAtomOffset)
            ioProblems.Add(inRoute, inLength, Describe(facts) + " against " + Describe(reference));
        if (facts.trackCount < whole || facts.trackCount > begun || facts.trackCount == 0)
            ioProblems.Add(inRoute, inLength,
                           std::to_string(facts.trackCount) + " tracks with " + std::to_string(whole) +
                               " whole traks");
        if (std::find(trakEnds.begin(), trakEnds.end(), end) != trakEnds.end() && facts.trackCount != whole)
            ioProblems.Add(inRoute, inLength,
                           "cut at a trak's end: " + std::to_string(facts.trackCount) + " tracks");
        if (facts.movieAtomSize > inLength)
            ioProblems.Add(inRoute, inLength, "loaded " + std::to_string(facts.movieAtomSize) + " bytes");
    }

    Facts reference;
    uint64_t mvhdEnd = 0;
    std::vector<uint64_t> trakStarts;
    std::vector<uint64_t> trakEnds;
};

TEST_P(TruncationSweep, EveryCutThroughAProviderOpensOrFailsCleanly)
{
    const auto lengths = ProviderCutLengths(topLevel, moov, bytes.size());
    Problems problems;
    for (uint64_t length : lengths)
    {
        // Only a success is checked against the cut's layout, so only then is the cut kept.
        const Outcome outcome = OpenThroughProvider(Prefix(bytes, length));
        CheckCut(outcome, "provider", length,
                 outcome.result == QT::kQTSuccess ? Prefix(bytes, length) : Bytes{}, true, problems);
    }
    problems.Report(made->path.filename().string() + " cut through a provider", lengths.size());
}

TEST_P(TruncationSweep, SampledCutsThroughTheFileOpenOrFailCleanly)
{
    const auto lengths = FileCutLengths(topLevel, moov, bytes.size());
    Problems problems;
    for (uint64_t length : lengths)
    {
        const Bytes cut = Prefix(bytes, length);
        TempFile file(cut, made->path.filename().string());
        CheckCut(OpenThroughMakeMovie(file.WidePath()), "MakeMovie", length, cut, false, problems);
        CheckCut(OpenThroughFileAndLocate(file.WidePath()), "MakeMovieAndLocateAtom", length, cut, true,
                 problems);
    }
    problems.Report(made->path.filename().string() + " cut through the file", lengths.size());
}

TEST_P(TruncationSweep, MovieAtomCutShortAtEveryLengthOpensOrFailsCleanly)
{
    Problems problems;
    for (uint64_t length = 8; length <= moov.size; ++length)
        CheckCutMovieAtom(OpenThroughProvider(CutInsideMovieAtom(length)), "provider", length, problems);
    problems.Report(made->path.filename().string() + " with moov cut short, through a provider",
                    moov.size - 7);
}

TEST_P(TruncationSweep, MovieAtomCutShortOpensAlikeThroughTheFileAndAProvider)
{
    std::set<uint64_t> lengths;
    AddEvenly(lengths, kFileRouteEvenSamples, moov.size);
    for (uint64_t end : trakEnds)
        AddRange(lengths, end - moov.start - 9, end - moov.start + 9, moov.size);
    lengths.erase(lengths.begin(), lengths.lower_bound(8));
    Problems problems;
    for (uint64_t length : lengths)
    {
        const Bytes cut = CutInsideMovieAtom(length);
        TempFile file(cut, made->path.filename().string());
        const Outcome viaFile = OpenThroughMakeMovie(file.WidePath());
        CheckCutMovieAtom(viaFile, "MakeMovie", length, problems);
        const Outcome viaProvider = OpenThroughProvider(cut);
        if (viaFile.result != viaProvider.result)
            problems.Add("both routes", length,
                         "file gives " + ResultText(viaFile.result) + ", provider " +
                             ResultText(viaProvider.result));
        else if (viaFile.movie && viaProvider.movie &&
                 !(FactsOf(*viaFile.movie) == FactsOf(*viaProvider.movie)))
            problems.Add("both routes", length,
                         Describe(FactsOf(*viaFile.movie)) + " against " +
                             Describe(FactsOf(*viaProvider.movie)));
    }
    problems.Report(made->path.filename().string() + " with moov cut short, both routes", lengths.size());
}

INSTANTIATE_TEST_SUITE_P(Recipes, TruncationSweep, ::testing::ValuesIn(MovieRecipeNames()),
                         [](const ::testing::TestParamInfo<std::string>& inInfo) { return inInfo.param; });

} // namespace
