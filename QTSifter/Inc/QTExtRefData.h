#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "tenacore/allocator.h"

namespace QT
{

// One distinct file that a movie's tracks refer to, as the alias record wrote it on the machine
// that made the movie.
struct ExtRefData
{
    std::u16string fileName;      // the target's file name
    std::u16string directoryName; // the folder that held the target, or empty
    // The target's path from the mount point of its volume (POSIX form), or the file name when the
    // record gave no path.
    std::u16string aliasPath;
    int32_t levelFrom = 0; // levels up from the alias's folder to the common folder
    int32_t levelTo = 0;   // levels down from the common folder to the target
};

// Every referenced file, keyed by its aliasPath.
using ExternalReferenceMap =
    std::map<std::u16string, ExtRefData, std::less<std::u16string>,
             tenacore::allocator::STLAllocator<std::pair<const std::u16string, ExtRefData>>>;

// The one referenced path of each track, keyed by the track's index in the movie.
using TrackReferenceMap =
    std::map<uint32_t, std::u16string, std::less<uint32_t>,
             tenacore::allocator::STLAllocator<std::pair<const uint32_t, std::u16string>>>;

} // namespace QT
