// The host runtime pieces the volume table and the reference search stand on.

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <thread>

#include "KSL/PathUtils.h"
#include "KSL/Singleton.h"
#include "MK/DirectoryChangeMonitor.h"
#include "tenacore/FileUtils.h"
#include "tenacore/StringCase.h"
#include "tenacore/messaging.h"
#include "tenacore/threads.h"

using tenacore::utility::FileUtils;

namespace
{

struct Ping : tenacore::messaging::TypedMessage<Ping>
{
};
struct Pong : tenacore::messaging::TypedMessage<Pong>
{
};

struct CountingListener : tenacore::messaging::Listener
{
    void ReceiveMessage(const tenacore::messaging::Message& inMessage) override
    {
        if (inMessage.GetMessageID() == Ping::ID())
            ++pings;
    }
    int pings = 0;
};

struct Counted
{
    Counted() { ++made; }
    static inline int made = 0;
};

} // namespace

TEST(VolumeHostRuntime, MessagesReachTheListenersOfTheirStationOnly)
{
    CountingListener here, there;
    tenacore::messaging::AddRawPtrListener("test.here", &here);
    tenacore::messaging::AddRawPtrListener("test.there", &there);
    tenacore::messaging::Post("test.here", Ping());
    tenacore::messaging::Post("test.here", Pong());
    EXPECT_EQ(here.pings, 1);
    EXPECT_EQ(there.pings, 0);
}

TEST(VolumeHostRuntime, AListenerThatGoesEndsItsRegistration)
{
    {
        CountingListener gone;
        tenacore::messaging::AddRawPtrListener("test.gone", &gone);
    }
    tenacore::messaging::Post("test.gone", Ping()); // would reach freed memory if still registered
    CountingListener later;
    tenacore::messaging::AddRawPtrListener("test.gone", &later);
    tenacore::messaging::Post("test.gone", Ping());
    EXPECT_EQ(later.pings, 1);
}

TEST(VolumeHostRuntime, MessageIdsComeFromTheDecoratedName)
{
    EXPECT_EQ(Ping::ID(), tenacore::messaging::HashMessageTypeNameToMessageID(typeid(Ping).name()));
    EXPECT_NE(Ping::ID(), Pong::ID());
    EXPECT_EQ(MK::VolumeChangedMessage().GetMessageID(),
              tenacore::messaging::HashMessageTypeNameToMessageID(typeid(MK::VolumeChangedMessage).name()));
}

TEST(VolumeHostRuntime, MonitorPostsOnlyWhileStarted)
{
    struct VolumeListener : tenacore::messaging::Listener
    {
        void ReceiveMessage(const tenacore::messaging::Message& inMessage) override
        {
            if (inMessage.GetMessageID() == MK::VolumeChangedMessage::ID())
                ++changes;
        }
        int changes = 0;
    } listener;
    tenacore::messaging::AddRawPtrListener(MK::kStation_DirectoryChange, &listener);
    MK::DirectoryChangeMonitor::MonitorVolumeChanges();
    EXPECT_TRUE(MK::DirectoryChangeMonitor::NotifyVolumesChanged());
    MK::DirectoryChangeMonitor::StopMonitoringVolumeChanges();
    EXPECT_EQ(listener.changes, 1);
}

TEST(VolumeHostRuntime, RecursiveMutexIsTakenAgainByItsOwner)
{
    tenacore::threads::RecursiveMutex mutex;
    ASSERT_TRUE(mutex.Lock());
    ASSERT_TRUE(mutex.Lock(nullptr, 0));
    mutex.Unlock();
    mutex.Unlock();
}

TEST(VolumeHostRuntime, RecursiveMutexLockGivesUpWhenItsTimeRunsOut)
{
    tenacore::threads::RecursiveMutex mutex;
    ASSERT_TRUE(mutex.Lock());
    const bool taken = std::async(std::launch::async, [&] { return mutex.Lock(nullptr, 0); }).get();
    EXPECT_FALSE(taken);
    mutex.Unlock();
    const bool takenAfter = std::async(std::launch::async,
                                       [&]
                                       {
                                           const bool got = mutex.Lock(nullptr, 0);
                                           if (got)
                                               mutex.Unlock();
                                           return got;
                                       })
                                .get();
    EXPECT_TRUE(takenAfter);
}

TEST(VolumeHostRuntime, SingletonIsMadeOnceForAllThreads)
{
    using Single = KSL::Singleton<Counted, std::shared_ptr<Counted>>;
    std::vector<std::future<Counted*>> callers;
    for (int i = 0; i < 4; ++i)
        callers.push_back(std::async(std::launch::async, [] { return Single::GetInstance().get(); }));
    Counted* first = Single::GetInstance().get();
    for (auto& caller : callers)
        EXPECT_EQ(caller.get(), first);
    EXPECT_EQ(Counted::made, 1);
}

TEST(VolumeHostRuntime, ToLowerCaseFoldsLettersBeyondAscii)
{
    std::u16string text = u"MEDIA Disk ÄÖÜ ĀŁŸ ΣΩ ДЖ Ѐ 1:/";
    tenacore::string::ToLowerCase(text);
    EXPECT_EQ(text, u"media disk äöü āłÿ σω дж ѐ 1:/");
    std::u16string kept = u"×ß";
    tenacore::string::ToLowerCase(kept);
    EXPECT_EQ(kept, u"×ß");
}

TEST(VolumeHostRuntime, PathPartsSplitAtEitherSeparator)
{
    EXPECT_EQ(KSL::PathUtils::GetFullDirectoryPart(u"C:\\m\\movie.mov"), u"C:\\m\\");
    EXPECT_EQ(KSL::PathUtils::GetFullDirectoryPart(u"/a/b/c.mov"), u"/a/b/");
    EXPECT_EQ(KSL::PathUtils::GetFullDirectoryPart(u"c.mov"), u"");
    EXPECT_EQ(KSL::PathUtils::GetFullFilePart(u"C:\\m/x\\c.mov"), u"c.mov");
    EXPECT_EQ(KSL::PathUtils::GetFullFilePart(u"c.mov"), u"c.mov");
    EXPECT_EQ(KSL::PathUtils::GetFullFilePart(u"/a/"), u"");
}

TEST(VolumeHostRuntime, TrailingSlashesAddedAndStripped)
{
    const std::u16string sep(1, FileUtils::PreferredSeparator());
    EXPECT_EQ(FileUtils::AddTrailingSlash(u"/a"), u"/a" + sep);
    EXPECT_EQ(FileUtils::AddTrailingSlash(u"C:\\a\\"), u"C:\\a\\");
    EXPECT_EQ(FileUtils::AddTrailingSlash(u""), sep);
    EXPECT_EQ(FileUtils::StripTrailingSlash(u"/a/"), u"/a");
    EXPECT_EQ(FileUtils::StripTrailingSlash(u"/"), u"/");
    EXPECT_EQ(FileUtils::StripTrailingSlash(u"a"), u"a");
}

TEST(VolumeHostRuntime, ExistenceOnDiskAndThroughAStandIn)
{
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::u16string real = folder.u16string();
    EXPECT_TRUE(FileUtils::FileOrDirExists(real));
    EXPECT_FALSE(FileUtils::FileOrDirExists(real + u"/no-such-file-here.mov"));
    EXPECT_FALSE(FileUtils::FileOrDirExists(u""));
    std::vector<std::u16string> asked;
    const auto previous = FileUtils::SetExistenceProbe(
        [&asked](const std::u16string& inPath)
        {
            asked.push_back(inPath);
            return true;
        });
    EXPECT_TRUE(FileUtils::FileOrDirExists(u"\\\\server\\share\\a.mov"));
    EXPECT_FALSE(FileUtils::FileOrDirExists(u""));
    FileUtils::SetExistenceProbe(previous);
    EXPECT_EQ(asked, (std::vector<std::u16string>{u"\\\\server\\share\\a.mov", u""}));
    EXPECT_FALSE(FileUtils::FileOrDirExists(real + u"/no-such-file-here.mov")); // the disk answers again
}
