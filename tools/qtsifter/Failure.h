#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace qtsifter
{

// The tool's one exit-status rule.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitRefused = 1; // the file, or a table in it, was refused
inline constexpr int kExitUsage = 2;   // the command line asked for something that cannot be done

// The file or one of its tables was refused: the library's result, when there is one, and a reason
// in words a user can act on.
struct Refusal : std::runtime_error
{
    Refusal(std::string inPath, std::optional<uint32_t> inResult, const std::string& inReason)
        : std::runtime_error(inReason), path(std::move(inPath)), result(inResult)
    {
    }
    std::string path;
    std::optional<uint32_t> result;
};

// The command line names something the file does not offer in that form (a sound track for a
// video listing, a track past the last).
struct UsageError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// "0xA0800001 kQTErrNotAMovie"; the name is left out for a value that has none.
std::string ResultText(uint32_t inResult);

// The line a refusal prints on stderr: "qtsifter: PATH: 0x... kName: reason".
std::string RefusalLine(const Refusal& inRefusal);

} // namespace qtsifter
