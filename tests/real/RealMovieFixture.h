#pragma once

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "FfmpegMovies.h"
#include "MovieLayout.h"

namespace qttest
{

// Each test suite makes its ffmpeg movies once, as its tests first ask for them.
class RealMovieFixture : public ::testing::Test
{
public:
    static void SetUpTestSuite() { sMovies = std::make_unique<FfmpegMovies>(); }
    static void TearDownTestSuite() { sMovies.reset(); }

protected:
    // Makes inRecipe's movie and reads its top-level layout. Skips the test when ffmpeg cannot
    // make the movie, and says so when a stand-in was made instead of the preferred one.
    void Prepare(const std::string& inRecipe)
    {
        std::string why;
        made = sMovies->Get(inRecipe, &why);
        if (!made)
            GTEST_SKIP() << why;
        if (!made->fallbackNote.empty())
        {
            RecordProperty("fallback", made->fallbackNote);
            std::cout << "[   NOTE   ] " << inRecipe << ": " << made->fallbackNote << "\n";
        }
        bytes = ReadFileBytes(made->path);
        topLevel = ScanTopLevelAtoms(bytes);
        const auto found = FindAtom(topLevel, Code("moov"));
        ASSERT_TRUE(found) << made->path << " has no top-level moov";
        ASSERT_LE(found->End(), bytes.size()) << made->path << " ends inside moov";
        moov = *found;
    }

    static inline std::unique_ptr<FfmpegMovies> sMovies;
    const MadeMovie* made = nullptr;
    Bytes bytes;
    std::vector<FileAtom> topLevel;
    FileAtom moov;
};

} // namespace qttest
