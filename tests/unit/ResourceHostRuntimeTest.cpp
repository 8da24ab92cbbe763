// The host runtime's counts of its pool and the failures its file class can be made to give: what
// the resource tests stand on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "KSL/File.h"
#include "ResourceCounts.h"
#include "TestFiles.h"
#include "tenacore/allocator.h"

using namespace qttest;
using tenacore::allocator::GetPoolCounts;
using tenacore::allocator::RecycledMemory;

namespace
{

// The size of a fresh block: a large one is rounded up to whole huge pages.
constexpr size_t kHugePage = size_t(2) << 20;

} // namespace

TEST(HostPoolCounts, RecycledBlockIsLentUntilItsLastOwnerLetsGo)
{
    const auto before = GetPoolCounts();
    auto block = RecycledMemory::Create(1000);
    ASSERT_TRUE(block);
    auto sharer = block;
    EXPECT_EQ(GetPoolCounts().lentBlocks, before.lentBlocks + 1);
    EXPECT_EQ(GetPoolCounts().lentBytes, before.lentBytes + 1000);
    block.reset();
    EXPECT_EQ(GetPoolCounts().lentBlocks, before.lentBlocks + 1);
    sharer.reset();
    EXPECT_EQ(GetPoolCounts().lentBlocks, before.lentBlocks);
    EXPECT_EQ(GetPoolCounts().lentBytes, before.lentBytes);
}

TEST(HostPoolCounts, ShrinkKeepsTheWholeBlockLent)
{
    const auto before = GetPoolCounts();
    auto block = RecycledMemory::Create(5000);
    ASSERT_TRUE(block);
    block->Shrink(10);
    // What the block takes, not what its owner still uses.
    EXPECT_EQ(GetPoolCounts().lentBytes, before.lentBytes + 5000);
    block.reset();
    EXPECT_EQ(GetPoolCounts().lentBytes, before.lentBytes);
}

TEST(HostPoolCounts, LargeTableIsLentByItsRoundedSizeAndKeptApartWhenGivenBack)
{
    const auto before = GetPoolCounts();
    size_t lent = 0;
    {
        std::vector<uint8_t, tenacore::allocator::STLAllocator<uint8_t>> table(3 << 20);
        EXPECT_EQ(GetPoolCounts().lentBlocks, before.lentBlocks + 1);
        lent = GetPoolCounts().lentBytes - before.lentBytes;
        // Whole huge pages, fresh or kept from before.
        EXPECT_GE(lent, size_t(3) << 20);
        EXPECT_EQ(lent % kHugePage, 0u);
    }
    const auto after = GetPoolCounts();
    EXPECT_EQ(after.lentBlocks, before.lentBlocks);
    EXPECT_EQ(after.lentBytes, before.lentBytes);
    if (kPoolKeepsBlocks)
    {
        // The block now waits in the pool, counted as kept.
        EXPECT_GE(after.keptBlocks, 1u);
        EXPECT_GE(after.keptBytes, lent);
        // Taken again, a kept block moves from kept to lent.
        auto again = RecycledMemory::Create(3 << 20);
        ASSERT_TRUE(again);
        const size_t taken = GetPoolCounts().lentBytes - before.lentBytes;
        EXPECT_GE(taken, size_t(3) << 20);
        EXPECT_EQ(GetPoolCounts().keptBytes, after.keptBytes - taken);
        EXPECT_EQ(GetPoolCounts().keptBlocks, after.keptBlocks - 1);
    }
    else
    {
        EXPECT_EQ(after.keptBlocks, 0u);
        EXPECT_EQ(after.keptBytes, 0u);
    }
}

TEST(HostPoolCounts, SmallContainersAreNotThePoolsBusiness)
{
    const auto before = GetPoolCounts();
    std::vector<uint8_t, tenacore::allocator::STLAllocator<uint8_t>> table(4096);
    EXPECT_EQ(GetPoolCounts().lentBlocks, before.lentBlocks);
}

namespace
{

// Records the steps asked about and fails those listed.
class StepInjector
{
public:
    explicit StepInjector(std::vector<KSL::File::Step> inFailing) : mFailing(std::move(inFailing))
    {
        mPrevious = KSL::File::SetFailureInjector(
            [this](KSL::File::Step inStep)
            {
                steps.push_back(inStep);
                return std::find(mFailing.begin(), mFailing.end(), inStep) != mFailing.end();
            });
    }
    ~StepInjector() { KSL::File::SetFailureInjector(mPrevious); }

    std::vector<KSL::File::Step> steps;

private:
    std::vector<KSL::File::Step> mFailing;
    KSL::File::FailureInjector mPrevious;
};

} // namespace

TEST(HostFileFailures, EachStepIsAskedAboutAndFailsAsTheSystemWould)
{
    using Step = KSL::File::Step;
    const TempFile file(Bytes{1, 2, 3, 4, 5, 6, 7, 8});
    KSL::File opened;
    {
        StepInjector injector({Step::Size, Step::Read, Step::Seek, Step::Position});
        ASSERT_EQ(opened.Create(file.WidePath(), KSL::File::kAccessRead, KSL::File::kShareRead,
                                KSL::File::kOpenExisting, KSL::File::kAttributeNormal, false),
                  KSL::File::kOK);
        EXPECT_EQ(opened.SizeOnDisk(), KSL::File::kErrIO);
        uint8_t buffer[8] = {};
        uint32_t got = 99;
        EXPECT_EQ(opened.Read(buffer, 8, got), KSL::File::kErrIO);
        EXPECT_EQ(got, 0u);
        EXPECT_EQ(opened.SetFilePointer(4, KSL::File::kFromStart), KSL::File::kErrIO);
        int64_t position = -1;
        EXPECT_EQ(opened.GetFilePointer(position), KSL::File::kErrIO);
        EXPECT_EQ(injector.steps,
                  (std::vector<Step>{Step::Create, Step::Size, Step::Read, Step::Seek, Step::Position}));
    }
    // With the injector gone the same file answers again.
    EXPECT_EQ(opened.SizeOnDisk(), 8);
    uint8_t buffer[8] = {};
    uint32_t got = 0;
    EXPECT_EQ(opened.Read(buffer, 8, got), KSL::File::kOK);
    EXPECT_EQ(got, 8u);
}

TEST(HostFileFailures, FailedCreateLeavesTheFileClosedAndNoDescriptorOpen)
{
    using Step = KSL::File::Step;
    const TempFile file(Bytes(16, 0));
    const auto descriptors = OpenDescriptorCount();
    KSL::File opened;
    {
        StepInjector injector({Step::Create});
        EXPECT_EQ(opened.Create(file.WidePath(), KSL::File::kAccessRead, KSL::File::kShareRead,
                                KSL::File::kOpenExisting, KSL::File::kAttributeNormal, false),
                  KSL::File::kErrOpen);
    }
    EXPECT_FALSE(opened.IsOpen());
    EXPECT_EQ(OpenDescriptorCount(), descriptors);
}

TEST(HostFileFailures, CallsOnAClosedFileAskNothing)
{
    StepInjector injector({});
    KSL::File closed;
    uint8_t buffer[4];
    uint32_t got = 0;
    int64_t position = 0;
    EXPECT_EQ(closed.Read(buffer, 4, got), KSL::File::kErrNotOpen);
    EXPECT_EQ(closed.SetFilePointer(0, KSL::File::kFromStart), KSL::File::kErrNotOpen);
    EXPECT_EQ(closed.GetFilePointer(position), KSL::File::kErrNotOpen);
    EXPECT_EQ(closed.SizeOnDisk(), KSL::File::kErrIO);
    EXPECT_TRUE(injector.steps.empty());
}
