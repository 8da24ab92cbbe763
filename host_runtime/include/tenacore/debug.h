#pragma once

#include <functional>
#include <string>
#include <typeinfo>

#include "tenacore/Export.h"

namespace tenacore::debug
{

// Receives every failed assertion. Returning true asks for a break into an attached debugger.
using AssertHandler = std::function<bool(const char* inSourcePath, int inLine, const char* inFunction,
                                         const char* inCondition, const std::string& inMessage)>;

// Installs a handler and returns the previous one. An empty handler restores the default,
// which writes one line to stderr and asks for no break.
TENACORE_API AssertHandler SetAssertHandler(AssertHandler inHandler);

TENACORE_API bool DoSimpleAssert(const char* inSourcePath, int inLine, const char* inFunction,
                                 const char* inCondition, const std::string& inMessage);

TENACORE_API bool IsDebuggerAttached();
TENACORE_API void BreakIntoDebugger();

// A readable name for a type, demangled where the platform allows.
TENACORE_API std::string GetTypeName(const std::type_info& inType);

} // namespace tenacore::debug
