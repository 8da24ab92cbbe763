#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "InjectedVolumes.h"
#include "MK/DirectoryChangeMonitor.h"
#include "external_references/QTVolumeQueries.h"

using namespace qttest;
using QT::WinImpl::VolumeInfo;
using QT::WinImpl::WinVolumes;

namespace
{

std::u16string Find(const std::u16string& inName, bool inIncludeFloppies = true)
{
    return WinVolumes::GetInstance()->FindVolumeRoot(inName, inIncludeFloppies);
}

// Queries of one drive whose label read fails or gives inLabel, and whose device answers the
// media check as inHasMedia says.
QT::WinImpl::VolumeQueries OneDrive(bool inLabelRead, const std::u16string& inLabel, bool inHasMedia)
{
    QT::WinImpl::VolumeQueries queries;
    static int device = 0;
    queries.getVolumeLabel = [=](const std::u16string&, std::u16string& outLabel)
    {
        outLabel = inLabel;
        return inLabelRead;
    };
    queries.openDevice = [](const std::u16string&) -> void* { return &device; };
    queries.checkVerify = [=](void*) { return inHasMedia; };
    queries.getMediaTypes = [](void*, uint8_t*, uint32_t, uint32_t& outReturned)
    {
        outReturned = 0;
        return true;
    };
    queries.getLastError = [] { return 0u; };
    queries.closeDevice = [](void*) {};
    return queries;
}

} // namespace

TEST(VolumeTable, LabelsAndNamesAreFoldedSoMediaFindsMEDIA)
{
    const VolumeInfo row = QT::WinImpl::BuildVolumeInfo(OneDrive(true, u"MEDIA", true), u"E:\\");
    EXPECT_EQ(row.label, u"media");
    InjectedVolumes volumes({row});
    EXPECT_EQ(Find(u"Media"), u"E:\\");
    EXPECT_EQ(Find(u"MEDIA"), u"E:\\");
}

TEST(VolumeTable, FirstOfTwoVolumesWithOneLabelWins)
{
    InjectedVolumes volumes({Volume(u"D:\\", u"backup"), Volume(u"F:\\", u"backup")});
    EXPECT_EQ(Find(u"backup"), u"D:\\");
}

TEST(VolumeTable, VolumeWithoutLabelIsNoname)
{
    const VolumeInfo row = QT::WinImpl::BuildVolumeInfo(OneDrive(true, u"", true), u"G:\\");
    EXPECT_EQ(row.label, u"noname");
    InjectedVolumes volumes({row});
    EXPECT_EQ(Find(u"noname"), u"G:\\");
    EXPECT_EQ(Find(u"NoName"), u"G:\\");
}

TEST(VolumeTable, SlashesInTheNameAreIgnored)
{
    InjectedVolumes volumes({Volume(u"H:\\", u"mydisk")});
    EXPECT_EQ(Find(u"My/Disk"), u"H:\\");
    EXPECT_EQ(Find(u"\\My\\Disk/"), u"H:\\");
}

TEST(VolumeTable, DriveWithoutMediaIsListedButNeverFound)
{
    const VolumeInfo row = QT::WinImpl::BuildVolumeInfo(OneDrive(true, u"CARD", false), u"J:\\");
    EXPECT_FALSE(row.hasMedia);
    EXPECT_EQ(row.label, u"card");
    InjectedVolumes volumes({row});
    EXPECT_EQ(Find(u"card"), u"");
}

TEST(VolumeTable, FloppiesAreFoundOnlyWhenAskedFor)
{
    InjectedVolumes volumes({{u"A:\\", u"floppy", true, true}});
    EXPECT_EQ(Find(u"floppy", false), u"");
    EXPECT_EQ(Find(u"floppy", true), u"A:\\");
}

TEST(VolumeTable, DriveLetterNameMatchesNothingWhileRootsAreUpperCase)
{
    InjectedVolumes volumes({Volume(u"C:\\", u"system")});
    EXPECT_EQ(Find(u"C:"), u"");
    EXPECT_EQ(Find(u"c:"), u"");
}

TEST(VolumeTable, DriveLetterNameMatchesARootInLowerCaseExactly)
{
    // The name up to the colon, folded, with ":\" behind it; the label branch is not tried.
    InjectedVolumes volumes({Volume(u"c:\\", u"c:")});
    EXPECT_EQ(Find(u"C:"), u"c:\\");
    EXPECT_EQ(Find(u"C:stuff"), u"c:\\");
    EXPECT_EQ(Find(u"x:"), u"");
}

TEST(VolumeTable, UnreadLabelIsEmptyAndMatchesOnlyAnEmptyName)
{
    const VolumeInfo row = QT::WinImpl::BuildVolumeInfo(OneDrive(false, u"ignored", true), u"K:\\");
    EXPECT_EQ(row.label, u"");
    EXPECT_TRUE(row.hasMedia);
    InjectedVolumes volumes({row});
    EXPECT_EQ(Find(u"ignored"), u"");
    EXPECT_EQ(Find(u"noname"), u"");
    EXPECT_EQ(Find(u""), u"K:\\");
    EXPECT_EQ(Find(u"/"), u"K:\\");
}

TEST(VolumeTable, UnknownNameGivesEmpty)
{
    InjectedVolumes volumes({Volume(u"D:\\", u"one")});
    EXPECT_EQ(Find(u"two"), u"");
}

TEST(VolumeTable, VolumeChangedMessageRebuildsTheTable)
{
    InjectedVolumes volumes({Volume(u"D:\\", u"before")});
    QT::WinImpl::VolumeRows next{Volume(u"E:\\", u"after")};
    const auto previous = WinVolumes::SetRowSource(
        [&next](QT::WinImpl::VolumeRows& ioRows) { ioRows.insert(ioRows.end(), next.begin(), next.end()); });
    // Monitoring is on while the table lives: the host's notice reaches it.
    EXPECT_TRUE(MK::DirectoryChangeMonitor::NotifyVolumesChanged());
    EXPECT_EQ(Find(u"before"), u"");
    EXPECT_EQ(Find(u"after"), u"E:\\");
    WinVolumes::SetRowSource(previous);
}

TEST(VolumeTable, OtherMessagesAndADisabledListenerRebuildNothing)
{
    struct OtherMessage : tenacore::messaging::TypedMessage<OtherMessage>
    {
    };
    InjectedVolumes volumes({Volume(u"D:\\", u"before")});
    int rebuilds = 0;
    const auto previous = WinVolumes::SetRowSource([&rebuilds](QT::WinImpl::VolumeRows&) { ++rebuilds; });
    tenacore::messaging::Post(MK::kStation_DirectoryChange, OtherMessage());
    const auto table = WinVolumes::GetInstance();
    table->SetEnabled(false);
    tenacore::messaging::Post(MK::kStation_DirectoryChange, MK::VolumeChangedMessage());
    table->SetEnabled(true);
    EXPECT_EQ(rebuilds, 0);
    EXPECT_EQ(Find(u"before"), u"D:\\");
    WinVolumes::SetRowSource(previous);
}

TEST(VolumeTable, LookUpDuringARebuildWaitsForTheWholeTable)
{
    InjectedVolumes volumes({Volume(u"D:\\", u"archive")});
    std::promise<void> entered, release;
    std::shared_future<void> released = release.get_future().share();
    const auto previous = WinVolumes::SetRowSource(
        [&](QT::WinImpl::VolumeRows& ioRows)
        {
            entered.set_value();
            released.wait();
            ioRows.push_back(Volume(u"E:\\", u"archive"));
        });
    std::thread rebuild(
        [] { tenacore::messaging::Post(MK::kStation_DirectoryChange, MK::VolumeChangedMessage()); });
    entered.get_future().wait();
    // The table is emptied and half-built now; a look-up that did not wait would find nothing.
    std::atomic<bool> lookingUp{false};
    std::future<std::u16string> found = std::async(std::launch::async,
                                                   [&]
                                                   {
                                                       lookingUp = true;
                                                       return Find(u"archive");
                                                   });
    while (!lookingUp)
        std::this_thread::yield();
    release.set_value();
    rebuild.join();
    EXPECT_EQ(found.get(), u"E:\\");
    WinVolumes::SetRowSource(previous);
}

TEST(VolumeTable, OneInstanceForEveryCaller)
{
    const auto first = WinVolumes::GetInstance();
    const auto second = WinVolumes::GetInstance();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_GE(first.use_count(), 3);
}
