// The host runtime's counts of its pool: what the resource tests stand on.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ResourceCounts.h"
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
