#include "tenacore/config.h"

namespace tenacore::config
{

Error::Error(int inLevel, const std::string& inText, int inCode, int inSubCode)
    : std::runtime_error(inText), mLevel(inLevel), mCode(inCode), mSubCode(inSubCode)
{
}

NullPointerError::NullPointerError(const std::string& inTypeName)
    : std::runtime_error("null reference to " + inTypeName)
{
}

void ThrowError(int inLevel, const char* inText, int inCode, int inSubCode, bool, const ReplacementValue&,
                const ReplacementValue&, const ReplacementValue&, const ReplacementValue&)
{
    throw Error(inLevel, inText ? inText : "", inCode, inSubCode);
}

void DoThrowNullPtrException(const std::string& inTypeName)
{
    throw NullPointerError(inTypeName);
}

} // namespace tenacore::config
