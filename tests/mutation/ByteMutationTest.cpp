// Every byte of a real movie's movie atom, set in turn to 0x00, to 0xFF and to its value plus one:
// each such file opens or fails with a result code, and whatever opens answers every operation of
// every track. Run in the sanitizer build, a bad read anywhere fails the run; an exception other
// than the few a caller must expect fails the test, and a hang its time limit.
#include <cstdint>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "ExerciseMovie.h"
#include "ExerciseTimecodeCaptions.h"
#include "MovieLayout.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"

namespace
{

using namespace qttest;

// The values each byte takes in turn; one equal to the byte itself is skipped.
std::optional<uint8_t> Mutation(uint8_t inOriginal, int inKind)
{
    const uint8_t value = inKind == 0 ? 0x00 : inKind == 1 ? 0xFF : uint8_t(inOriginal + 1);
    if (value == inOriginal)
        return std::nullopt;
    return value;
}

// Opens the bytes through a provider, as a host with its own reads does, and asks the movie
// everything. Gives the failure's text, or nothing when the movie behaved.
std::optional<std::string> OpenAndAskEverything(const Bytes& inBytes)
{
    try
    {
        MemoryProvider provider(inBytes);
        const Located located = LocateThroughProvider(provider, Code("mdat"));
        if (located.result == 0 && !located.movie)
            return "success without a movie";
        if (located.result != 0 && located.movie)
            return "failure with a movie";
        if (located.movie)
            qtfuzz::ExerciseMovie(*located.movie);
        return std::nullopt;
    }
    // The exceptions a caller must expect of a hostile file: memory it cannot have, and the
    // length limits of the containers that hold what the file claims.
    catch (const std::bad_alloc&)
    {
    }
    catch (const std::length_error&)
    {
    }
    catch (const std::exception& inError)
    {
        return std::string("exception: ") + inError.what();
    }
    return std::nullopt;
}

struct SweepResult
{
    uint64_t files = 0;
    uint64_t opened = 0;
};

class ByteMutation : public RealMovieFixture, public ::testing::WithParamInterface<const char*>
{
protected:
    void SetUp() override
    {
        // Video questions asked of other tracks report a contract breach and answer.
        tenacore::debug::SetAssertHandler([](const char*, int, const char*, const char*, const std::string&)
                                          { return false; });
        // Caption maps peek at no file here: their media is out of reach of a mutated movie.
        qtfuzz::SetCaptionMediaPath(u"");
    }
    void TearDown() override { tenacore::debug::SetAssertHandler(nullptr); }

    // Sweeps every byte of the movie atom, header included, through the three mutations.
    SweepResult Sweep()
    {
        SweepResult result;
        Bytes mutated = bytes;
        for (uint64_t position = moov.start; position < moov.End(); ++position)
        {
            const uint8_t original = bytes[position];
            for (int kind = 0; kind < 3; ++kind)
            {
                const std::optional<uint8_t> value = Mutation(original, kind);
                if (!value)
                    continue;
                mutated[position] = *value;
                const std::optional<std::string> failure = OpenAndAskEverything(mutated);
                EXPECT_FALSE(failure) << "byte " << position << " set to " << int(*value) << ": " << *failure;
                ++result.files;
            }
            mutated[position] = original;
        }
        return result;
    }
};

TEST_P(ByteMutation, EveryByteOfTheMovieAtomSetThreeWaysOpensOrFailsAndAnswers)
{
    Prepare(GetParam());
    // The unmutated movie opens: otherwise the sweep would only show a refusal thousands of times.
    ASSERT_FALSE(OpenAndAskEverything(bytes));
    ASSERT_EQ(LocateInBytes(bytes, Code("mdat")).result, 0u);

    const SweepResult result = Sweep();
    EXPECT_GE(result.files, 2 * moov.size);
    RecordProperty("mutated_files", std::to_string(result.files));
}

// Few and small: video with sound and timecode, AAC with its priming edit and the movie atom
// first, HEVC with composition offsets and sample dependencies, and keyed metadata.
INSTANTIATE_TEST_SUITE_P(RealMovies, ByteMutation,
                         ::testing::Values("h264_pcm_timecode", "h264_aac_timecode_faststart", "hevc_bframes",
                                           "keyed_mov"),
                         [](const ::testing::TestParamInfo<const char*>& inInfo)
                         { return std::string(inInfo.param); });

} // namespace
