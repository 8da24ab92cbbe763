#pragma once

#include <cstdint>
#include <string>

#include "tenacore/Export.h"

namespace tenacore::utility
{

// Questions about files by path, answered without opening them.
class TENACORE_API FileUtils
{
public:
    // The size in bytes of the regular file at inPath. False, with outSize untouched, when there is
    // no such file or it cannot be asked.
    static bool GetFileSize(const std::u16string& inPath, uint64_t& outSize);
};

} // namespace tenacore::utility
