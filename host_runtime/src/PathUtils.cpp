#include "KSL/PathUtils.h"

namespace KSL
{

namespace
{

size_t LastSeparator(const std::u16string& inPath)
{
    return inPath.find_last_of(u"/\\");
}

} // namespace

std::u16string PathUtils::GetFullDirectoryPart(const std::u16string& inPath)
{
    const size_t separator = LastSeparator(inPath);
    return separator == std::u16string::npos ? std::u16string() : inPath.substr(0, separator + 1);
}

std::u16string PathUtils::GetFullFilePart(const std::u16string& inPath)
{
    const size_t separator = LastSeparator(inPath);
    return separator == std::u16string::npos ? inPath : inPath.substr(separator + 1);
}

} // namespace KSL
