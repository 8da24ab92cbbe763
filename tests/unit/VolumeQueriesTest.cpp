#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "external_references/QTVolumeQueries.h"

using QT::WinImpl::VolumeQueries;
using QT::WinImpl::VolumeRows;

namespace
{

// A GET_MEDIA_TYPES structure in host byte order: device type, the count it states, and one
// 32-byte element for each media type given.
std::vector<uint8_t> MediaTypes(uint32_t inDeviceType, uint32_t inStatedCount,
                                const std::vector<uint32_t>& inTypes)
{
    std::vector<uint8_t> bytes(8 + 32 * inTypes.size(), 0);
    std::memcpy(bytes.data(), &inDeviceType, 4);
    std::memcpy(bytes.data() + 4, &inStatedCount, 4);
    for (size_t i = 0; i < inTypes.size(); ++i)
        std::memcpy(bytes.data() + 8 + 32 * i + 8, &inTypes[i], 4);
    return bytes;
}

// Fake system queries over drive strings and one answer for every device, recording the calls.
struct FakeSystem
{
    std::u16string driveStrings = u"C:\\";
    std::vector<uint8_t> mediaTypes = MediaTypes(7, 1, {12});
    uint32_t mediaTypesError = 0;
    uint32_t verifyError = 0;
    bool verifies = true;
    int mediaTypesCalls = 0;
    std::vector<uint32_t> mediaTypesSizes;
    std::vector<std::u16string> opened;
    int closed = 0;
    uint32_t lastError = 0;
    int device = 0;

    VolumeQueries Queries()
    {
        VolumeQueries queries;
        queries.getLogicalDriveStrings = [this](uint32_t inSize, char16_t* outBuffer) -> uint32_t
        {
            const uint32_t needed = uint32_t(driveStrings.size() + 1);
            if (inSize < needed)
                return needed;
            std::copy(driveStrings.begin(), driveStrings.end(), outBuffer);
            outBuffer[driveStrings.size()] = 0;
            return needed - 1;
        };
        queries.getVolumeLabel = [](const std::u16string&, std::u16string& outLabel)
        {
            outLabel = u"Disk";
            return true;
        };
        queries.openDevice = [this](const std::u16string& inPath) -> void*
        {
            opened.push_back(inPath);
            return &device;
        };
        queries.checkVerify = [this](void*)
        {
            lastError = verifyError;
            return verifies;
        };
        queries.getMediaTypes = [this](void*, uint8_t* outBuffer, uint32_t inSize, uint32_t& outReturned)
        {
            ++mediaTypesCalls;
            mediaTypesSizes.push_back(inSize);
            lastError = mediaTypesError;
            outReturned = uint32_t(std::min<size_t>(mediaTypes.size(), inSize));
            std::memcpy(outBuffer, mediaTypes.data(), outReturned);
            return mediaTypesError == 0;
        };
        queries.getLastError = [this] { return lastError; };
        queries.closeDevice = [this](void*) { ++closed; };
        return queries;
    }
};

VolumeRows List(FakeSystem& ioSystem)
{
    VolumeRows rows;
    QT::WinImpl::ListVolumes(ioSystem.Queries(), rows);
    return rows;
}

} // namespace

TEST(VolumeQueries, EachRootBecomesARowInOrder)
{
    FakeSystem system;
    system.driveStrings = std::u16string(u"C:\\\0d:\\\0\\\\?\\Volume{x}\\", 20);
    const VolumeRows rows = List(system);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].rootPath, u"C:\\");
    EXPECT_EQ(rows[1].rootPath, u"d:\\");
    EXPECT_EQ(rows[0].label, u"disk");
    EXPECT_TRUE(rows[0].hasMedia);
    EXPECT_FALSE(rows[0].isFloppy);
    // The lower-case letter is raised for the device path; a root that is no letter opens nothing.
    EXPECT_EQ(system.opened, (std::vector<std::u16string>{u"\\\\.\\C:", u"\\\\.\\D:"}));
    EXPECT_FALSE(rows[2].hasMedia);
    EXPECT_EQ(system.closed, 2);
}

TEST(VolumeQueries, NoDrivesGiveAnEmptyTable)
{
    FakeSystem system;
    VolumeQueries queries = system.Queries();
    queries.getLogicalDriveStrings = [](uint32_t, char16_t*) { return 0u; };
    VolumeRows rows;
    QT::WinImpl::ListVolumes(queries, rows);
    EXPECT_TRUE(rows.empty());
}

TEST(VolumeQueries, AnAnswerLongerThanAskedGivesAnEmptyTable)
{
    FakeSystem system;
    VolumeQueries queries = system.Queries();
    queries.getLogicalDriveStrings = [](uint32_t inSize, char16_t*) { return inSize == 0 ? 4u : 5u; };
    VolumeRows rows;
    QT::WinImpl::ListVolumes(queries, rows);
    EXPECT_TRUE(rows.empty());
}

TEST(VolumeQueries, StaleLastErrorAfterASuccessfulMediaCheckCountsAsNoMedia)
{
    FakeSystem system;
    system.verifyError = 5;
    const VolumeRows rows = List(system);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_FALSE(rows[0].hasMedia);
    EXPECT_EQ(system.closed, 1);
}

TEST(VolumeQueries, FloppyMediaTypeMarksTheRow)
{
    FakeSystem system;
    system.mediaTypes = MediaTypes(7, 1, {3});
    EXPECT_TRUE(List(system)[0].isFloppy);
    system.mediaTypes = MediaTypes(7, 2, {3, 12});
    EXPECT_FALSE(List(system)[0].isFloppy); // the last element decides
    system.mediaTypes = MediaTypes(0x2D, 1, {3});
    EXPECT_FALSE(List(system)[0].isFloppy); // not a disk device
}

TEST(VolumeQueries, BufferGrowsWhileTheDeviceWantsMore)
{
    FakeSystem system;
    system.mediaTypesError = QT::WinImpl::kErrorMoreData;
    VolumeQueries queries = system.Queries();
    const auto fill = queries.getMediaTypes;
    queries.getMediaTypes =
        [&system, fill](void* inDevice, uint8_t* outBuffer, uint32_t inSize, uint32_t& outReturned)
    {
        if (inSize >= 3072)
            system.mediaTypesError = 0;
        return fill(inDevice, outBuffer, inSize, outReturned);
    };
    VolumeRows rows;
    QT::WinImpl::ListVolumes(queries, rows);
    EXPECT_EQ(system.mediaTypesSizes, (std::vector<uint32_t>{1024, 2048, 3072}));
}

TEST(VolumeQueries, DeviceThatAlwaysWantsMoreIsAskedALimitedNumberOfTimes)
{
    FakeSystem system;
    system.mediaTypesError = QT::WinImpl::kErrorMoreData;
    system.mediaTypes = MediaTypes(7, 1, {3});
    const VolumeRows rows = List(system);
    EXPECT_EQ(system.mediaTypesCalls, int(QT::WinImpl::kMaxMediaTypesCalls));
    EXPECT_EQ(system.mediaTypesSizes.back(), QT::WinImpl::kMaxMediaTypesCalls * 1024);
    EXPECT_TRUE(rows[0].hasMedia);
    EXPECT_FALSE(rows[0].isFloppy);
}

TEST(VolumeQueries, MediaInfoCountIsHeldToTheBytesReturned)
{
    // The count says 1000 elements; 40 bytes came back, holding one floppy element. Behind it in
    // the buffer lies a second element that the device did not write.
    std::vector<uint8_t> bytes = MediaTypes(7, 1000, {3, 12});
    EXPECT_TRUE(QT::WinImpl::IsFloppyMedia(bytes.data(), 40));
    EXPECT_FALSE(QT::WinImpl::IsFloppyMedia(bytes.data(), 72));
    EXPECT_FALSE(QT::WinImpl::IsFloppyMedia(bytes.data(), 39));
}

TEST(VolumeQueries, MediaInfoCountOfZeroReadsNothing)
{
    std::vector<uint8_t> bytes = MediaTypes(7, 0, {3});
    EXPECT_FALSE(QT::WinImpl::IsFloppyMedia(bytes.data(), 40));
}

TEST(VolumeQueries, ReturnedBytesAreHeldToTheBuffer)
{
    FakeSystem system;
    system.mediaTypes = MediaTypes(7, 1000, std::vector<uint32_t>(40, 3)); // 1,288 bytes
    VolumeQueries queries = system.Queries();
    queries.getMediaTypes = [&system](void*, uint8_t* outBuffer, uint32_t inSize, uint32_t& outReturned)
    {
        std::memcpy(outBuffer, system.mediaTypes.data(), std::min<size_t>(inSize, system.mediaTypes.size()));
        outReturned = 0xFFFFFFFF; // a device that claims more than the buffer holds
        return true;
    };
    VolumeRows rows;
    QT::WinImpl::ListVolumes(queries, rows);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_TRUE(rows[0].isFloppy);
}
