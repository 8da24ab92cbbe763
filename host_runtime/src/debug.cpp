#include "tenacore/debug.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <csignal>
#endif
#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

namespace tenacore::debug
{

namespace
{

std::mutex& HandlerMutex()
{
    static std::mutex mutex;
    return mutex;
}

AssertHandler& CurrentHandler()
{
    static AssertHandler handler;
    return handler;
}

bool WriteAssertLine(const char* inSourcePath, int inLine, const char* inFunction, const char* inCondition,
                     const std::string& inMessage)
{
    std::fprintf(stderr, "%s(%d): assertion failed in %s: %s%s%s\n", inSourcePath, inLine, inFunction,
                 inCondition, inMessage.empty() ? "" : ": ", inMessage.c_str());
    return false;
}

} // namespace

AssertHandler SetAssertHandler(AssertHandler inHandler)
{
    std::lock_guard lock(HandlerMutex());
    std::swap(CurrentHandler(), inHandler);
    return inHandler;
}

bool DoSimpleAssert(const char* inSourcePath, int inLine, const char* inFunction, const char* inCondition,
                    const std::string& inMessage)
{
    AssertHandler handler;
    {
        std::lock_guard lock(HandlerMutex());
        handler = CurrentHandler();
    }
    if (handler)
        return handler(inSourcePath, inLine, inFunction, inCondition, inMessage);
    return WriteAssertLine(inSourcePath, inLine, inFunction, inCondition, inMessage);
}

bool IsDebuggerAttached()
{
#if defined(_WIN32)
    return ::IsDebuggerPresent() != 0;
#elif defined(__linux__)
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("TracerPid:", 0) == 0)
            return std::strtol(line.c_str() + 10, nullptr, 10) != 0;
    return false;
#else
    return false;
#endif
}

void BreakIntoDebugger()
{
#if defined(_WIN32)
    ::DebugBreak();
#else
    std::raise(SIGTRAP);
#endif
}

std::string GetTypeName(const std::type_info& inType)
{
    // The Microsoft compiler's names are readable already; the others' (mingw's too) are mangled.
#if defined(_MSC_VER)
    return inType.name();
#else
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(inType.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && demangled ? std::string(demangled.get()) : std::string(inType.name());
#endif
}

} // namespace tenacore::debug
