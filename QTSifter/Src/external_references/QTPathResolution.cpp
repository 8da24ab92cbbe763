// Finding each track's referenced file on this machine: the recorded path, the file's name beside
// the movie, then the place the alias's levels describe relative to the movie.

#include "QTPathResolution.h"

#include <vector>

#include "KSL/PathUtils.h"
#include "QTContract.h"
#include "QTExternalReferences.h"
#include "tenacore/FileUtils.h"

namespace QT
{

using KSL::PathUtils;
using tenacore::utility::FileUtils;

namespace
{

// Both separators, whatever the platform: the recorded paths come from other machines.
const std::u16string kSeparators = u"/\\";

// Segments between separators; a final separator gives no empty last segment, adjacent ones an
// empty segment between them, and empty text one empty segment.
std::vector<std::u16string> SplitPath(const std::u16string& inText)
{
    std::vector<std::u16string> segments;
    size_t pos = 0;
    while (true)
    {
        const size_t separator = inText.find_first_of(kSeparators, pos);
        if (separator == std::u16string::npos)
        {
            segments.push_back(inText.substr(pos));
            break;
        }
        segments.push_back(inText.substr(pos, separator - pos));
        pos = separator + 1;
        if (pos >= inText.size())
            break;
    }
    return segments;
}

std::vector<std::u16string> AliasPathSegments(const std::u16string& inAliasPath)
{
    std::vector<std::u16string> segments = SplitPath(PathUtils::GetFullDirectoryPart(inAliasPath));
    if (segments.size() == 1 && segments.front().empty())
        segments.clear();
    return segments;
}

// Up inLevels folders; a path with no separator left stays as it is.
void GoUp(std::u16string& ioPath, int64_t inLevels)
{
    for (int64_t i = 0; i < inLevels; ++i)
    {
        const size_t separator = ioPath.find_last_of(kSeparators);
        if (separator == std::u16string::npos)
            return;
        ioPath.erase(separator);
    }
}

// Stores inPath at inTrackIndex, growing the list with empty paths as needed.
void Store(std::vector<std::u16string>& ioPaths, uint32_t inTrackIndex, const std::u16string& inPath)
{
    if (ioPaths.size() <= inTrackIndex)
        ioPaths.resize(size_t(inTrackIndex) + 1);
    ioPaths[inTrackIndex] = inPath;
}

} // namespace

std::u16string ResolveRelativePath(const std::u16string& inMoviePath, const ExtRefData& inReference)
{
    const std::u16string aliasPath = inReference.aliasPath;
    if (inReference.levelFrom <= 0 || inReference.levelTo <= 0)
        return {};
    const std::vector<std::u16string> aliasPathSegments = AliasPathSegments(aliasPath);
    std::u16string result = FileUtils::StripTrailingSlash(PathUtils::GetFullDirectoryPart(inMoviePath));
    GoUp(result, int64_t(inReference.levelFrom) - 1);
    result = FileUtils::AddTrailingSlash(result);
    const int32_t levelToCount = inReference.levelTo - 1;
    // A record without path tags names only the target's folder, one level down.
    if (levelToCount == 1 && inReference.fileName == aliasPath)
        result += FileUtils::AddTrailingSlash(inReference.directoryName);
    else
    {
        if (!CheckContract(ContractSites::kResolveRelativePath, ContractForm::ReportAndReturn,
                           [&] { return aliasPathSegments.size() >= size_t(levelToCount); }))
            return result;
        for (size_t i = aliasPathSegments.size() - size_t(levelToCount); i < aliasPathSegments.size(); ++i)
            result += FileUtils::AddTrailingSlash(aliasPathSegments[i]);
    }
    return result + PathUtils::GetFullFilePart(aliasPath);
}

bool ResolveExternalReferences(const std::u16string& inMoviePath, const TrackReferenceMap& inTrackReferences,
                               const ExternalReferenceMap& inAllReferences,
                               std::vector<std::u16string>& outResolvedPaths)
{
    const std::u16string movieFolder = PathUtils::GetFullDirectoryPart(inMoviePath);
    for (const auto& [trackIndex, recorded] : inTrackReferences)
    {
        std::u16string candidate = recorded;
        if (!FileUtils::FileOrDirExists(candidate) && !candidate.empty())
            candidate = movieFolder + PathUtils::GetFullFilePart(candidate);
        // The movie itself found by name is no answer yet.
        if (FileUtils::FileOrDirExists(candidate) && candidate != inMoviePath)
        {
            Store(outResolvedPaths, trackIndex, candidate);
            continue;
        }
        if (const auto found = inAllReferences.find(recorded); found != inAllReferences.end())
            candidate = ResolveRelativePath(inMoviePath, found->second);
        if (!FileUtils::FileOrDirExists(candidate))
            return false;
        Store(outResolvedPaths, trackIndex, candidate);
    }
    return true;
}

} // namespace QT
