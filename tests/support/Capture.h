#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tenacore/debug.h"
#include "tenacore/trace.h"

namespace qttest
{

// Captures what is traced while alive, as "<level> <category> <text>", with inCategory enabled
// up to level 5. The trace settings are reset when it goes.
struct TraceCapture
{
    explicit TraceCapture(std::string_view inCategory)
    {
        tenacore::debug::SetTraceSink(
            [this](int inLevel, std::string_view inTraced, std::string_view inText) {
                lines.push_back(std::to_string(inLevel) + " " + std::string(inTraced) + " " +
                                std::string(inText));
            });
        tenacore::debug::SetTraceLevel(inCategory, 5);
    }
    ~TraceCapture() { tenacore::debug::ResetTraceSettings(); }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::vector<std::string> lines;
};

// Counts contract reports while alive, keeping the last as "path|function|condition|message".
// It asks for no break, so the operations go on as they do without a debugger.
struct AssertCounter
{
    AssertCounter()
    {
        previous = tenacore::debug::SetAssertHandler(
            [this](const char* inPath, int, const char* inFunction, const char* inCondition,
                   const std::string& inMessage)
            {
                ++count;
                last = std::string(inPath) + "|" + inFunction + "|" + inCondition + "|" + inMessage;
                return false;
            });
    }
    ~AssertCounter() { tenacore::debug::SetAssertHandler(previous); }
    AssertCounter(const AssertCounter&) = delete;
    AssertCounter& operator=(const AssertCounter&) = delete;

    int count = 0;
    std::string last;
    tenacore::debug::AssertHandler previous;
};

} // namespace qttest
