#pragma once

// The volume table's rows on hosts that mount filesystems in one tree: each mounted block device
// with its label, so that a recorded path naming a volume by label finds where it is mounted.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "QTVolumeInfo.h"

namespace QT::WinImpl
{

struct MountedFilesystem
{
    std::string mountPoint;
    std::string source; // the device or pseudo-filesystem mounted
};

// The mounts of a mountinfo text, in its order, with the octal escapes of their paths undone.
std::vector<MountedFilesystem> ParseMountInfo(std::string_view inText);
// A name of /dev/disk/by-label with its \xNN escapes undone.
std::string DecodeLabelName(std::string_view inName);
// One row for each mount of a device under /dev: its label from inLabels (keyed by the device's
// real path, given by inRealPath), or "noname"; the root is the mount point with a trailing
// separator.
VolumeRows MountedVolumeRows(const std::vector<MountedFilesystem>& inMounts,
                             const std::map<std::string, std::string>& inLabels,
                             std::string (*inRealPath)(const std::string&));

} // namespace QT::WinImpl
