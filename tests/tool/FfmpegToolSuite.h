#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "FfmpegMovies.h"
#include "ToolRun.h"

namespace tooltest
{

// A suite of tool tests over movies that ffmpeg makes into one folder at test time. A movie that
// ffmpeg cannot make on this machine marks the test to be skipped (SKIP_IF_NOT_MADE) instead of
// failing it.
class FfmpegToolSuite : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { sMovies = std::make_unique<qttest::FfmpegMovies>(); }
    static void TearDownTestSuite() { sMovies.reset(); }

    // Runs ffmpeg quietly with inArguments, writing inName.mov in the suite's folder; gives the path.
    std::string MakeMovie(const std::string& inName, const std::vector<std::string>& inArguments)
    {
        const std::string path = MoviePath(inName + ".mov");
        std::vector<std::string> command = qttest::FfmpegCommand(inArguments);
        command.push_back(path);
        const qttest::CommandResult run = qttest::RunCommand(command);
        if (!run.Succeeded())
            mSkip = "ffmpeg cannot make " + inName + ": " + run.err;
        return path;
    }

    static std::string MoviePath(const std::string& inFileName)
    {
        return (sMovies->Folder() / inFileName).string();
    }

    inline static std::unique_ptr<qttest::FfmpegMovies> sMovies;
    std::string mSkip;
};

} // namespace tooltest

#define SKIP_IF_NOT_MADE()                                                                                   \
    if (!mSkip.empty())                                                                                      \
    GTEST_SKIP() << mSkip
