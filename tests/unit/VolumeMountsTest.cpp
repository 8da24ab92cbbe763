#include <gtest/gtest.h>

#include "external_references/QTMountedVolumes.h"
#include "tenacore/FileUtils.h"

using namespace QT::WinImpl;

namespace
{

std::string SamePath(const std::string& inPath)
{
    return inPath;
}

std::string ByLabelTarget(const std::string& inPath)
{
    return inPath == "/dev/disk/by-uuid/1234" ? "/dev/sdb1" : inPath;
}

} // namespace

TEST(VolumeMounts, MountInfoGivesMountPointsAndSources)
{
    const std::string text = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                             "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
                             "40 27 8:17 / /media/user/My\\040Disk rw shared:5 master:1 - vfat /dev/sdb1 rw\n"
                             "bad line\n";
    const std::vector<MountedFilesystem> mounts = ParseMountInfo(text);
    ASSERT_EQ(mounts.size(), 3u);
    EXPECT_EQ(mounts[0].mountPoint, "/proc");
    EXPECT_EQ(mounts[0].source, "proc");
    EXPECT_EQ(mounts[1].mountPoint, "/");
    EXPECT_EQ(mounts[1].source, "/dev/vda");
    EXPECT_EQ(mounts[2].mountPoint, "/media/user/My Disk");
    EXPECT_EQ(mounts[2].source, "/dev/sdb1");
}

TEST(VolumeMounts, LabelNamesAreDecoded)
{
    EXPECT_EQ(DecodeLabelName("My\\x20Disk"), "My Disk");
    EXPECT_EQ(DecodeLabelName("A\\x2fB"), "A/B");
    EXPECT_EQ(DecodeLabelName("plain\\x2"), "plain\\x2");
}

TEST(VolumeMounts, RowsForDevicesWithTheirLabels)
{
    const std::vector<MountedFilesystem> mounts = {
        {"/proc", "proc"}, {"/", "/dev/vda"}, {"/media/user/ARCHIVE", "/dev/sdb1"}};
    const std::map<std::string, std::string> labels = {{"/dev/sdb1", "Archive"}};
    const VolumeRows rows = MountedVolumeRows(mounts, labels, SamePath);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].rootPath, u"/");
    EXPECT_EQ(rows[0].label, u"noname");
    EXPECT_TRUE(rows[0].hasMedia);
    EXPECT_EQ(rows[1].rootPath,
              u"/media/user/ARCHIVE" + std::u16string(1, tenacore::utility::FileUtils::PreferredSeparator()));
    EXPECT_EQ(rows[1].label, u"archive");
    EXPECT_FALSE(rows[1].isFloppy);
}

TEST(VolumeMounts, DevicesAreMatchedByTheirRealPath)
{
    const std::vector<MountedFilesystem> mounts = {{"/mnt/x", "/dev/disk/by-uuid/1234"}};
    const VolumeRows rows = MountedVolumeRows(mounts, {{"/dev/sdb1", "Photos"}}, ByLabelTarget);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].label, u"photos");
}

#if !defined(_WIN32)
TEST(VolumeMounts, ThisMachinesMountsGiveUsableRows)
{
    VolumeRows rows;
    ListPlatformVolumes(rows);
    for (const VolumeInfo& row : rows)
    {
        EXPECT_TRUE(row.hasMedia);
        EXPECT_FALSE(row.label.empty());
        ASSERT_FALSE(row.rootPath.empty());
        EXPECT_EQ(row.rootPath.back(), u'/');
    }
}
#endif
