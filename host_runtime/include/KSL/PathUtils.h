#pragma once

#include <string>

#include "tenacore/Export.h"

namespace KSL
{

// Splitting paths as text. Both separators, / and \, count on every platform.
struct TENACORE_API PathUtils
{
    // The path up to and including its last separator; empty when it has none.
    static std::u16string GetFullDirectoryPart(const std::u16string& inPath);
    // What follows the last separator; the whole path when it has none.
    static std::u16string GetFullFilePart(const std::u16string& inPath);
};

} // namespace KSL
