#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tenacore/Export.h"

namespace tenacore::utility
{

// Questions about files by path, answered without opening them. Both separators, / and \, count
// on every platform.
class TENACORE_API FileUtils
{
public:
    // The size in bytes of the regular file at inPath. False, with outSize untouched, when there is
    // no such file or it cannot be asked.
    static bool GetFileSize(const std::u16string& inPath, uint64_t& outSize);
    // True if a file or folder exists at inPath; false for an empty path.
    static bool FileOrDirExists(const std::u16string& inPath);
    // inPath ending in one separator, the platform's when one is added; an empty path becomes the
    // separator alone.
    static std::u16string AddTrailingSlash(const std::u16string& inPath);
    // inPath without its final separator; a path that is only a separator keeps it.
    static std::u16string StripTrailingSlash(const std::u16string& inPath);

    // The platform's own separator.
    static char16_t PreferredSeparator();

    // Answers every FileOrDirExists in place of the file system while set, and sees every path
    // asked about: lets a host or a test keep the probes of a search away from real disks and
    // shares. Gives the one it replaces; an empty function restores the file system.
    using ExistenceProbe = std::function<bool(const std::u16string&)>;
    static ExistenceProbe SetExistenceProbe(ExistenceProbe inProbe);
};

} // namespace tenacore::utility
