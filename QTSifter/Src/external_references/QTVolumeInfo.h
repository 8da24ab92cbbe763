#pragma once

#include <string>
#include <vector>

namespace QT::WinImpl
{

// One mounted volume as the volume table keeps it.
struct VolumeInfo
{
    std::u16string rootPath; // as the system gives it, in its own case
    std::u16string label;    // folded to lower case; "noname" for an empty label; empty if unread
    bool isFloppy = false;
    bool hasMedia = false; // the volume answered the media check: it is usable
};

using VolumeRows = std::vector<VolumeInfo>;

// The rows of this platform, appended in the system's order: the drives of Windows, or the
// mounted block devices elsewhere.
void ListPlatformVolumes(VolumeRows& ioRows);

} // namespace QT::WinImpl
