#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace qttest
{

// What a finished child process left behind. exitCode is -1 when it could not be started or
// did not exit normally; err then says why.
struct CommandResult
{
    int exitCode = -1;
    std::string out;
    std::string err;

    bool Succeeded() const { return exitCode == 0; }
};

// Runs inArguments[0], found on PATH, with the rest as its arguments. No shell is involved, so
// paths and values pass through as they are, spaces and quotes included.
CommandResult RunCommand(const std::vector<std::string>& inArguments);

// ffmpeg, quiet, never asking and overwriting its output, with inArguments.
std::vector<std::string> FfmpegCommand(const std::vector<std::string>& inArguments = {});

// Splits a recipe's argument text at blanks; 'single quotes' keep blanks inside one argument.
std::vector<std::string> SplitArguments(const std::string& inText);

// ffprobe's JSON for format and streams (and packets when asked). Throws std::runtime_error with
// ffprobe's own message when it fails.
nlohmann::json Ffprobe(const std::filesystem::path& inPath, bool inWithPackets = false);

// An integer of ffprobe's JSON, which gives some (sizes, positions) as strings.
int64_t FfprobeInteger(const nlohmann::json& inValue);

// The log of `ffprobe -v trace`, which tells header values that the JSON leaves out.
std::string FfprobeTrace(const std::filesystem::path& inPath);

// One way of making a movie: ffmpeg's arguments without the output path. A token of the form
// {movie:NAME} stands for the path of the movie of recipe NAME, made first when needed.
struct RecipeVariant
{
    std::string arguments;
    // Why this stand-in is used; empty for the preferred variant.
    std::string fallbackNote;
};

struct MovieRecipe
{
    std::string name;
    std::string extension;
    // Tried in order; the first that ffmpeg makes is used.
    std::vector<RecipeVariant> variants;
    // Whether the movie-level suites (layout, truncation) run over this movie too. Movies that
    // differ from a listed one only in what a feature's tests look at are left to those tests.
    bool listed = true;
};

const std::vector<MovieRecipe>& MovieRecipes();
// The names of the listed recipes.
std::vector<std::string> MovieRecipeNames();

struct MadeMovie
{
    std::string recipe;
    std::filesystem::path path;
    // Empty when the preferred variant was made; otherwise says what stands in for it.
    std::string fallbackNote;

    std::u16string WidePath() const;
};

// Makes the recipes' movies into one temporary folder, each at its first request, and keeps them
// (and their ffprobe reports) until destroyed, when the folder goes too.
class FfmpegMovies
{
public:
    FfmpegMovies();
    ~FfmpegMovies();
    FfmpegMovies(const FfmpegMovies&) = delete;
    FfmpegMovies& operator=(const FfmpegMovies&) = delete;

    // The movie of inRecipe, or null when it cannot be made; outWhy then says why.
    const MadeMovie* Get(const std::string& inRecipe, std::string* outWhy = nullptr);

    // ffprobe's report on a movie that Get made, kept after the first call.
    const nlohmann::json& Probe(const MadeMovie& inMovie);
    const nlohmann::json& ProbePackets(const MadeMovie& inMovie);
    const std::string& ProbeTrace(const MadeMovie& inMovie);

    const std::filesystem::path& Folder() const { return mFolder; }

private:
    struct Entry
    {
        std::optional<MadeMovie> movie;
        std::string why;
        std::optional<nlohmann::json> probe;
        std::optional<nlohmann::json> probePackets;
        std::optional<std::string> trace;
    };

    Entry& Make(const std::string& inRecipe, int inDepth);

    std::filesystem::path mFolder;
    std::map<std::string, Entry> mEntries;
};

} // namespace qttest
