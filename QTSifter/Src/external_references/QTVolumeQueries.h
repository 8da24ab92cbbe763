#pragma once

// The rows of the volume table built from the drive, volume and device queries of Windows. The
// queries come as functions, so that the rules run and are tested on any platform; the Windows
// build binds them to the system.

#include <cstdint>
#include <functional>
#include <string>

#include "QTVolumeInfo.h"

namespace QT::WinImpl
{

struct VolumeQueries
{
    // The root strings, each ended by a null, with a final null; called with size 0 for the length.
    std::function<uint32_t(uint32_t inSize, char16_t* outBuffer)> getLogicalDriveStrings;
    std::function<bool(const std::u16string& inRoot, std::u16string& outLabel)> getVolumeLabel;
    // Opens a device path such as \\.\C: for its attributes; null on failure.
    std::function<void*(const std::u16string& inDevicePath)> openDevice;
    // Whether the device has readable media: the call's own success.
    std::function<bool(void* inDevice)> checkVerify;
    // Fills a GET_MEDIA_TYPES structure; outReturned is the bytes written.
    std::function<bool(void* inDevice, uint8_t* outBuffer, uint32_t inSize, uint32_t& outReturned)>
        getMediaTypes;
    std::function<uint32_t()> getLastError;
    std::function<void(void* inDevice)> closeDevice;
};

inline constexpr uint32_t kErrorMoreData = 234;
inline constexpr uint32_t kMediaTypesBufferStep = 1024;
// A device that keeps asking for more stops being asked after this many calls.
inline constexpr uint32_t kMaxMediaTypesCalls = 16;

// Every root the system lists, each as a row, appended to ioRows.
void ListVolumes(const VolumeQueries& inQueries, VolumeRows& ioRows);
VolumeInfo BuildVolumeInfo(const VolumeQueries& inQueries, const std::u16string& inRoot);
// Whether a GET_MEDIA_TYPES structure of inReturned bytes names a floppy medium on a disk
// device; the last disk element decides. Elements beyond the bytes returned are not read.
bool IsFloppyMedia(const uint8_t* inData, uint32_t inReturned);

} // namespace QT::WinImpl
