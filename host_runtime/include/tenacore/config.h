#pragma once

#include <stdexcept>
#include <string>

#include "tenacore/Export.h"

namespace tenacore::config
{

// Placeholder for a substitution in an error text; the library never fills one.
struct ReplacementValue
{
};

// Raised by ThrowError: carries the error text and its numeric identity.
class TENACORE_API Error : public std::runtime_error
{
public:
    Error(int inLevel, const std::string& inText, int inCode, int inSubCode);
    int Level() const noexcept { return mLevel; }
    int Code() const noexcept { return mCode; }
    int SubCode() const noexcept { return mSubCode; }

private:
    int mLevel;
    int mCode;
    int mSubCode;
};

// Raised when a null interface reference is dereferenced.
class TENACORE_API NullPointerError : public std::runtime_error
{
public:
    explicit NullPointerError(const std::string& inTypeName);
};

[[noreturn]] TENACORE_API void ThrowError(int inLevel, const char* inText, int inCode, int inSubCode,
                                          bool inFlag, const ReplacementValue& inR1,
                                          const ReplacementValue& inR2, const ReplacementValue& inR3,
                                          const ReplacementValue& inR4);

[[noreturn]] TENACORE_API void DoThrowNullPtrException(const std::string& inTypeName);

} // namespace tenacore::config
