// The volume table's rows on Windows: the logical drives, their labels and their devices' media.

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <winioctl.h>

#include "QTVolumeQueries.h"

namespace QT::WinImpl
{

namespace
{

constexpr DWORD kLabelUnits = 260;

const wchar_t* Wide(const std::u16string& inText)
{
    return reinterpret_cast<const wchar_t*>(inText.c_str());
}

VolumeQueries SystemQueries()
{
    VolumeQueries queries;
    queries.getLogicalDriveStrings = [](uint32_t inSize, char16_t* outBuffer)
    { return uint32_t(GetLogicalDriveStringsW(inSize, reinterpret_cast<wchar_t*>(outBuffer))); };
    queries.getVolumeLabel = [](const std::u16string& inRoot, std::u16string& outLabel)
    {
        wchar_t label[kLabelUnits] = {};
        if (!GetVolumeInformationW(Wide(inRoot), label, kLabelUnits, nullptr, nullptr, nullptr, nullptr, 0))
            return false;
        outLabel = reinterpret_cast<const char16_t*>(label);
        return true;
    };
    queries.openDevice = [](const std::u16string& inDevicePath) -> void*
    {
        HANDLE device = CreateFileW(Wide(inDevicePath), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
        return device == INVALID_HANDLE_VALUE ? nullptr : device;
    };
    queries.checkVerify = [](void* inDevice)
    {
        DWORD returned = 0;
        return DeviceIoControl(inDevice, IOCTL_STORAGE_CHECK_VERIFY2, nullptr, 0, nullptr, 0, &returned,
                               nullptr) != 0;
    };
    queries.getMediaTypes = [](void* inDevice, uint8_t* outBuffer, uint32_t inSize, uint32_t& outReturned)
    {
        DWORD returned = 0;
        const BOOL done = DeviceIoControl(inDevice, IOCTL_STORAGE_GET_MEDIA_TYPES_EX, nullptr, 0, outBuffer,
                                          inSize, &returned, nullptr);
        outReturned = returned;
        return done != 0;
    };
    queries.getLastError = [] { return uint32_t(GetLastError()); };
    queries.closeDevice = [](void* inDevice) { CloseHandle(inDevice); };
    return queries;
}

} // namespace

void ListPlatformVolumes(VolumeRows& ioRows)
{
    ListVolumes(SystemQueries(), ioRows);
}

} // namespace QT::WinImpl

#endif
