// Whether the files a movie refers to can be found on this machine: the recorded path in its
// several forms, a POSIX path mapped onto a mounted volume, the movie's folder, and the alias's
// relative levels.

#include <algorithm>
#include <utility>

#include "KSL/PathUtils.h"
#include "QTExternalReferences.h"
#include "QTPathResolution.h"
#include "QTWinVolumes.h"
#include "tenacore/FileUtils.h"

namespace QT
{

using KSL::PathUtils;
using tenacore::utility::FileUtils;

namespace
{

// Erases inUnitsToErase units at the first occurrence of inPattern until there is none. For the
// two patterns used ("/./" less "/.", "//" less "/") no occurrence can start before the place
// of the last erasure, so one pass from left to right gives that answer: erasing and searching
// again from the front would cost the path's length for each occurrence, and a recorded path may
// hold tens of thousands.
void EraseAll(std::u16string& ioText, const std::u16string& inPattern, size_t inUnitsToErase)
{
    std::u16string kept;
    size_t from = 0;
    for (size_t at = ioText.find(inPattern); at != std::u16string::npos; at = ioText.find(inPattern, from))
    {
        kept.append(ioText, from, at - from);
        from = at + inUnitsToErase;
    }
    if (from == 0)
        return;
    kept.append(ioText, from, std::u16string::npos);
    ioText = std::move(kept);
}

// An absolute POSIX path whose first component is taken to be a volume: its root joined with the
// rest of the path, if the volume is known.
bool FoundOnVolume(std::u16string inPath)
{
    EraseAll(inPath, u"/./", 2);
    EraseAll(inPath, u"//", 1);
    const size_t slash = inPath.find(u'/', 1);
    if (slash == std::u16string::npos)
        return false;
    const std::u16string volumeName = inPath.substr(1, slash - 1);
    std::u16string remainder = inPath.substr(slash + 1);
    const std::u16string root = WinImpl::WinVolumes::GetInstance()->FindVolumeRoot(volumeName, true);
    if (root.empty())
        return false;
    std::replace(remainder.begin(), remainder.end(), u'/', FileUtils::PreferredSeparator());
    return FileUtils::FileOrDirExists(root + remainder);
}

// The path as recorded: a network path, one relative to the movie, or one on a volume.
bool FoundAtRecordedPath(const std::u16string& inMovieFolder, const std::u16string& inAliasPath)
{
    std::u16string path = inAliasPath;
    if (path.size() >= 2 && path[0] == u'/' && path[1] == u'/')
    {
        std::replace(path.begin(), path.end(), u'/', u'\\');
        return FileUtils::FileOrDirExists(path);
    }
    if (path.front() != u'/')
        return FileUtils::FileOrDirExists(inMovieFolder + path);
    return FoundOnVolume(path);
}

// Beside the movie, first in the recorded folder's name. The first probe is of the bare file
// name, which the current folder answers.
bool FoundBesideMovie(const std::u16string& inMoviePath, const std::u16string& inMovieFolder,
                      const ExtRefData& inReference)
{
    std::u16string a = inReference.fileName;
    const std::u16string& b = inReference.aliasPath;
    const std::u16string& c = inReference.directoryName;
    if (!FileUtils::FileOrDirExists(a) && !a.empty() && !c.empty())
        a = inMovieFolder + FileUtils::AddTrailingSlash(c) + PathUtils::GetFullFilePart(a);
    if (!FileUtils::FileOrDirExists(a) && !a.empty())
        a = inMovieFolder + PathUtils::GetFullFilePart(a);
    if (!FileUtils::FileOrDirExists(a) && !b.empty() && !c.empty())
        a = inMovieFolder + FileUtils::AddTrailingSlash(c) + PathUtils::GetFullFilePart(b);
    if (!FileUtils::FileOrDirExists(a) && !b.empty())
        a = inMovieFolder + PathUtils::GetFullFilePart(b);
    return FileUtils::FileOrDirExists(a) && a != inMoviePath;
}

} // namespace

bool ValidateExternalReferences(const std::u16string& inMoviePath, const ExternalReferenceMap& inReferences)
{
    const std::u16string movieFolder = PathUtils::GetFullDirectoryPart(inMoviePath);
    for (const auto& [key, reference] : inReferences)
    {
        if (!reference.aliasPath.empty() && FoundAtRecordedPath(movieFolder, reference.aliasPath))
            continue;
        if (FoundBesideMovie(inMoviePath, movieFolder, reference))
            continue;
        // The relative rule answers for the whole map: a hit here ends the walk with true.
        return FileUtils::FileOrDirExists(ResolveRelativePath(inMoviePath, reference));
    }
    return true;
}

} // namespace QT
