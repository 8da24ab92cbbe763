// Replays the seed corpus and the kept regression inputs of each fuzz target through the target's
// own Run function. A crash or a failed check of the target ends the test's process, which fails
// the test; under the sanitizer build a bad read does too.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Targets.h"

namespace qtfuzz
{

// The target by its name in test listings.
void PrintTo(const Target& inTarget, std::ostream* outStream)
{
    *outStream << inTarget.name;
}

} // namespace qtfuzz

namespace
{

const std::filesystem::path kFuzzDir = QTSIFTER_FUZZ_DIR;

// The inputs of a folder in name order; notes (README, .gitkeep) are not inputs.
std::vector<std::filesystem::path> InputsIn(const std::filesystem::path& inFolder)
{
    std::vector<std::filesystem::path> inputs;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(inFolder, error))
    {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name.front() != '.' && name.rfind("README", 0) != 0)
            inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

std::vector<uint8_t> ReadAll(const std::filesystem::path& inPath)
{
    std::ifstream in(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class FuzzReplay : public testing::TestWithParam<qtfuzz::Target>
{
protected:
    static void SetUpTestSuite() { qtfuzz::InitializeTargets(); }
};

TEST_P(FuzzReplay, EverySeedAndKeptInputRunsThrough)
{
    const qtfuzz::Target target = GetParam();
    std::vector<std::filesystem::path> inputs = InputsIn(kFuzzDir / "corpus");
    // A corpus that went missing would make this test pass on nothing.
    ASSERT_GE(inputs.size(), 10u) << "no seed corpus in " << (kFuzzDir / "corpus");
    const std::vector<std::filesystem::path> kept = InputsIn(kFuzzDir / "regressions" / target.name);
    inputs.insert(inputs.end(), kept.begin(), kept.end());

    // The empty input first, then each file; the name goes out before the run, so that a crash's
    // log says which input it was.
    EXPECT_EQ(target.run(nullptr, 0), 0);
    size_t replayed = 0;
    for (const std::filesystem::path& input : inputs)
    {
        std::fprintf(stderr, "%s: %s\n", target.name, input.string().c_str());
        const std::vector<uint8_t> bytes = ReadAll(input);
        ASSERT_FALSE(bytes.empty()) << input;
        EXPECT_EQ(target.run(bytes.data(), bytes.size()), 0) << input;
        ++replayed;
    }
    EXPECT_EQ(replayed, inputs.size());
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(qtfuzz::kTargets),
                         [](const testing::TestParamInfo<qtfuzz::Target>& inInfo)
                         { return std::string(inInfo.param.name); });

} // namespace
