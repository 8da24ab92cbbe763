// The volume table's rows on hosts without drive letters: the mounted block devices of
// /proc/self/mountinfo with their labels from /dev/disk/by-label.

#if !defined(_WIN32)

#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <sstream>

#include "QTMountedVolumes.h"

namespace QT::WinImpl
{

namespace
{

std::string RealPath(const std::string& inPath)
{
    char resolved[PATH_MAX];
    return realpath(inPath.c_str(), resolved) ? std::string(resolved) : inPath;
}

std::string ReadText(const char* inPath)
{
    std::ifstream file(inPath);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Each labelled device's real path with its label.
std::map<std::string, std::string> ReadLabels(const std::string& inFolder)
{
    std::map<std::string, std::string> labels;
    DIR* folder = opendir(inFolder.c_str());
    if (!folder)
        return labels;
    while (const dirent* entry = readdir(folder))
    {
        const std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        labels.emplace(RealPath(inFolder + "/" + name), DecodeLabelName(name));
    }
    closedir(folder);
    return labels;
}

} // namespace

void ListPlatformVolumes(VolumeRows& ioRows)
{
    VolumeRows rows = MountedVolumeRows(ParseMountInfo(ReadText("/proc/self/mountinfo")),
                                        ReadLabels("/dev/disk/by-label"), RealPath);
    ioRows.insert(ioRows.end(), rows.begin(), rows.end());
}

} // namespace QT::WinImpl

#endif
