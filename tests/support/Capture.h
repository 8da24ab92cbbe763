#pragma once

#include <functional>
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

// One contract report as the handler received it.
struct AssertCall
{
    std::string sourcePath;
    int line = 0;
    std::string function;
    std::string condition;
    std::string message;
};

// The one way tests capture contract reports: while alive it records every report, keeping the
// last as "path|function|condition|message" too, and restores the previous handler when it goes.
// By default it asks for no break, so the operations go on as they do without a debugger;
// inSideEffect runs inside each report, after it is recorded.
struct AssertCounter
{
    explicit AssertCounter(bool inAskForBreak = false, std::function<void()> inSideEffect = {})
    {
        previous = tenacore::debug::SetAssertHandler(
            [this, inAskForBreak, inSideEffect](const char* inPath, int inLine, const char* inFunction,
                                                const char* inCondition, const std::string& inMessage)
            {
                ++count;
                calls.push_back({inPath, inLine, inFunction, inCondition, inMessage});
                last = std::string(inPath) + "|" + inFunction + "|" + inCondition + "|" + inMessage;
                if (inSideEffect)
                    inSideEffect();
                return inAskForBreak;
            });
    }
    ~AssertCounter() { tenacore::debug::SetAssertHandler(previous); }
    AssertCounter(const AssertCounter&) = delete;
    AssertCounter& operator=(const AssertCounter&) = delete;

    int count = 0;
    std::string last;
    std::vector<AssertCall> calls;
    tenacore::debug::AssertHandler previous;
};

} // namespace qttest
