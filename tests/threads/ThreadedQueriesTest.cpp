// Many threads asking one movie at once. The library takes no lock on the query path, so these
// tests are what ThreadSanitizer watches: a race it reports fails the run, and every thread must
// get the answers one thread gets alone.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ExerciseLoad.h"
#include "ExerciseMetadata.h"
#include "ExerciseTrack.h"
#include "IQTSifter.h"
#include "QTExternalReferences.h"
#include "tenacore/debug.h"
#include "tenacore/trace.h"

namespace
{

using MovieRef = tenacore::classref::InterfaceRef<QT::IQTMovie>;
using TrackRef = tenacore::classref::InterfaceRef<QT::IQTTrack>;

constexpr int kThreads = 16;

// The seed movies of the fuzzer: small, committed, and of every kind the tests make.
std::vector<std::filesystem::path> SeedMovies()
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(QTSIFTER_SEED_CORPUS))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

MovieRef Open(const std::filesystem::path& inPath)
{
    MovieRef movie;
    const std::u16string path(inPath.u16string());
    if (QT::MakeParser()->MakeMovie(path, movie) != 0)
        return {};
    return movie;
}

// Every answer a movie gives at movie level that needs no file system, folded into one value.
uint64_t AskMovie(QT::IQTMovie& inMovie)
{
    uint64_t value = qtfuzz::ExerciseMovieHeader(inMovie) + qtfuzz::ExerciseMovieMetadata(inMovie);
    auto shared = MovieRef::Query(inMovie.GetShared());
    QT::ExternalReferenceMap all;
    value += QT::GetAllExternalReferences(shared, all) + all.size();
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(shared, video, audio, timecode);
    return value + video.size() + audio.size() + timecode.size();
}

// What one caller learns from the movie: the movie's answers, then each track's, on tracks the
// caller makes itself, so that tracks are made concurrently from one movie as well.
std::vector<uint64_t> AskEverything(QT::IQTMovie& inMovie)
{
    std::vector<uint64_t> answers{AskMovie(inMovie)};
    for (uint32_t index = 0; index < inMovie.GetTrackCount(); ++index)
    {
        TrackRef track;
        inMovie.GetIndTrack(track, index);
        answers.push_back(track ? qtfuzz::ExerciseTrack(*track) : 0);
    }
    return answers;
}

// The same questions on tracks that every thread shares, made once before the threads start: the
// lazy counts of one track object are then raced.
std::vector<uint64_t> AskSharedTracks(const std::vector<TrackRef>& inTracks)
{
    std::vector<uint64_t> answers;
    for (const TrackRef& track : inTracks)
        answers.push_back(qtfuzz::ExerciseTrack(*track));
    return answers;
}

std::vector<TrackRef> MakeTracks(QT::IQTMovie& inMovie)
{
    std::vector<TrackRef> tracks;
    for (uint32_t index = 0; index < inMovie.GetTrackCount(); ++index)
    {
        TrackRef track;
        inMovie.GetIndTrack(track, index);
        if (track)
            tracks.push_back(track);
    }
    return tracks;
}

struct Answers
{
    std::vector<uint64_t> own;
    std::vector<uint64_t> shared;
    bool operator==(const Answers&) const = default;
};

// Runs inThreads callers on one movie at once and gives each one's answers.
std::vector<Answers> AskFromThreads(QT::IQTMovie& inMovie, int inThreads)
{
    const std::vector<TrackRef> sharedTracks = MakeTracks(inMovie);
    std::vector<Answers> answers(static_cast<size_t>(inThreads));
    std::atomic<int> waiting{inThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < inThreads; ++thread)
        threads.emplace_back(
            [&, thread]
            {
                // All start together, so that the first uses of the lazy counts overlap.
                waiting.fetch_sub(1);
                while (waiting.load() > 0)
                    std::this_thread::yield();
                answers[size_t(thread)] = {AskEverything(inMovie), AskSharedTracks(sharedTracks)};
            });
    for (std::thread& thread : threads)
        thread.join();
    return answers;
}

class ThreadedQueries : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Video questions asked of other tracks report a contract breach and answer; the reports
        // are expected here and need not be printed.
        tenacore::debug::SetAssertHandler([](const char*, int, const char*, const char*, const std::string&)
                                          { return false; });
    }
    void TearDown() override
    {
        tenacore::debug::SetAssertHandler(nullptr);
        tenacore::debug::ResetTraceSettings();
    }
};

TEST_F(ThreadedQueries, SeedMoviesAreThere)
{
    EXPECT_GE(SeedMovies().size(), 10u);
}

TEST_F(ThreadedQueries, SixteenThreadsGetTheAnswersOfOneOnEveryMovie)
{
    for (const std::filesystem::path& path : SeedMovies())
    {
        SCOPED_TRACE(path.filename().string());
        // Each movie fresh, so that its tracks' lazy counts are first computed by the threads.
        const MovieRef alone = Open(path);
        ASSERT_TRUE(alone);
        const Answers expected{AskEverything(*alone), AskSharedTracks(MakeTracks(*alone))};

        const MovieRef movie = Open(path);
        ASSERT_TRUE(movie);
        for (const Answers& answers : AskFromThreads(*movie, kThreads))
            EXPECT_EQ(answers, expected);
    }
}

// Tracing is switched on and off, and its sink swapped, by two threads while the others query: the
// message sites' caches are raced against the settings they cache.
TEST_F(ThreadedQueries, TracingSwitchedOnAndOffWhileOthersQueryChangesNoAnswer)
{
    std::atomic<uint64_t> messages{0};
    std::atomic<bool> done{false};
    const auto toggle = [&](const char* inCategory)
    {
        for (int round = 0; !done.load(); ++round)
        {
            if (round % 2 == 0)
            {
                tenacore::debug::SetTraceSink([&](int, std::string_view, std::string_view)
                                              { messages.fetch_add(1, std::memory_order_relaxed); });
                tenacore::debug::SetTraceLevel(inCategory, 5);
            }
            else
            {
                tenacore::debug::SetTraceLevel(inCategory, -1);
                tenacore::debug::SetTraceSink(nullptr);
            }
        }
    };

    for (const std::filesystem::path& path : SeedMovies())
    {
        SCOPED_TRACE(path.filename().string());
        const MovieRef alone = Open(path);
        ASSERT_TRUE(alone);
        const Answers expected{AskEverything(*alone), AskSharedTracks(MakeTracks(*alone))};

        done.store(false);
        std::thread first(toggle, "QTSifter");
        std::thread second(toggle, "QTTrack");
        const MovieRef movie = Open(path);
        ASSERT_TRUE(movie);
        const std::vector<Answers> answers = AskFromThreads(*movie, kThreads - 2);
        done.store(true);
        first.join();
        second.join();
        for (const Answers& each : answers)
            EXPECT_EQ(each, expected);
    }
}

} // namespace
