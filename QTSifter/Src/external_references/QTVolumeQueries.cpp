#include "QTVolumeQueries.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "tenacore/StringCase.h"

namespace QT::WinImpl
{

namespace
{

// GET_MEDIA_TYPES: DeviceType, MediaInfoCount, then DEVICE_MEDIA_INFO elements of 32 bytes whose
// DiskInfo.MediaType stands behind an 8-byte cylinder count. Host byte order.
constexpr uint32_t kMediaInfoFromStructure = 8;
constexpr uint32_t kMediaInfoSize = 32;
constexpr uint32_t kMediaTypeFromMediaInfo = 8;
constexpr uint32_t kFileDeviceDisk = 7;
// F5_1Pt2_512 to F5_160_512: the floppy media types.
constexpr uint32_t kFirstFloppyMediaType = 1;
constexpr uint32_t kLastFloppyMediaType = 10;

uint32_t HostU32(const uint8_t* inP)
{
    uint32_t value = 0;
    std::memcpy(&value, inP, sizeof value);
    return value;
}

// The device's media types, asked with a buffer that grows while the device wants more. Gives
// the last error and the bytes the last call wrote.
uint32_t QueryMediaTypes(const VolumeQueries& inQueries, void* inDevice, std::vector<uint8_t>& outBuffer,
                         uint32_t& outReturned)
{
    uint32_t size = kMediaTypesBufferStep;
    for (uint32_t call = 1;; ++call)
    {
        outBuffer.assign(size, 0);
        outReturned = 0;
        (void)inQueries.getMediaTypes(inDevice, outBuffer.data(), size, outReturned);
        const uint32_t error = inQueries.getLastError();
        if (error != kErrorMoreData || call == kMaxMediaTypesCalls)
            return error;
        size += kMediaTypesBufferStep;
    }
}

// The media check and media types of an open device.
void ExamineDevice(const VolumeQueries& inQueries, void* inDevice, VolumeInfo& ioInfo)
{
    // A last error left over from an earlier call counts as failure too.
    if (!inQueries.checkVerify(inDevice) || inQueries.getLastError() != 0)
        return;
    ioInfo.hasMedia = true;
    std::vector<uint8_t> buffer;
    uint32_t returned = 0;
    if (QueryMediaTypes(inQueries, inDevice, buffer, returned) == 0)
        ioInfo.isFloppy = IsFloppyMedia(buffer.data(), std::min<uint32_t>(returned, uint32_t(buffer.size())));
}

} // namespace

bool IsFloppyMedia(const uint8_t* inData, uint32_t inReturned)
{
    if (inReturned < kMediaInfoFromStructure + kMediaInfoSize)
        return false;
    const uint32_t deviceType = HostU32(inData);
    const uint32_t count = HostU32(inData + 4);
    const uint32_t held = (inReturned - kMediaInfoFromStructure) / kMediaInfoSize;
    bool floppy = false;
    for (uint32_t i = 0; i < count && i < held; ++i)
    {
        if (deviceType != kFileDeviceDisk)
            continue;
        const uint32_t mediaType =
            HostU32(inData + kMediaInfoFromStructure + i * kMediaInfoSize + kMediaTypeFromMediaInfo);
        floppy = mediaType >= kFirstFloppyMediaType && mediaType <= kLastFloppyMediaType;
    }
    return floppy;
}

VolumeInfo BuildVolumeInfo(const VolumeQueries& inQueries, const std::u16string& inRoot)
{
    VolumeInfo info;
    info.rootPath = inRoot;
    std::u16string label;
    if (inQueries.getVolumeLabel(inRoot, label))
    {
        info.label = label.empty() ? u"noname" : label;
        tenacore::string::ToLowerCase(info.label);
    }
    char letter = inRoot.empty() ? '\0' : char(inRoot.front() & 0xFF);
    if (letter >= 'a' && letter <= 'z')
        letter = char(letter - 'a' + 'A');
    if (letter < 'A' || letter > 'Z')
        return info;
    const std::u16string devicePath = std::u16string(u"\\\\.\\") + char16_t(letter) + u":";
    void* device = inQueries.openDevice(devicePath);
    if (!device)
        return info;
    ExamineDevice(inQueries, device, info);
    inQueries.closeDevice(device);
    return info;
}

void ListVolumes(const VolumeQueries& inQueries, VolumeRows& ioRows)
{
    const uint32_t length = inQueries.getLogicalDriveStrings(0, nullptr);
    if (length == 0)
        return;
    std::vector<char16_t> buffer(size_t(length) + 1, 0);
    const uint32_t written = inQueries.getLogicalDriveStrings(length, buffer.data());
    if (written < 1 || written > length)
        return;
    std::vector<std::u16string> roots;
    for (size_t pos = 0; pos < written && buffer[pos] != 0;)
    {
        std::u16string root(buffer.data() + pos);
        pos += root.size() + 1;
        roots.push_back(std::move(root));
    }
    if (roots.size() > ioRows.capacity())
        ioRows.reserve(roots.size());
    for (const std::u16string& root : roots)
        ioRows.push_back(BuildVolumeInfo(inQueries, root));
}

} // namespace QT::WinImpl
