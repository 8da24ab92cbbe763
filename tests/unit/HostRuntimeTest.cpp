#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tenacore/allocator.h"
#include "tenacore/classref.h"
#include "tenacore/string.h"
#include "tenacore/trace.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QTTEST_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QTTEST_ADDRESS_SANITIZER 1
#endif

using tenacore::allocator::RecycledMemory;

TEST(HostStrings, UTF8AndUTF16RoundTripWithSurrogatePairs)
{
    const std::string text = "caf\xC3\xA9 \xF0\x9F\x8E\xAC";
    const std::u16string wide = tenacore::string::UTF8to16(text);
    EXPECT_EQ(wide, (std::u16string{u'c', u'a', u'f', 0xE9, u' ', 0xD83C, 0xDFAC}));
    EXPECT_EQ(tenacore::string::UTF16to8(wide), text);
}

TEST(HostStrings, IllFormedInputBecomesReplacementCharacters)
{
    EXPECT_EQ(tenacore::string::UTF8to16("a\xFF"
                                         "b"),
              (std::u16string{u'a', 0xFFFD, u'b'}));
    // An overlong form is one ill-formed sequence.
    EXPECT_EQ(tenacore::string::UTF8to16("\xC0\xAF"), (std::u16string{0xFFFD}));
    EXPECT_EQ(tenacore::string::UTF16to8(std::u16string{0xD800}), "\xEF\xBF\xBD");
}

TEST(HostStrings, SanitizingSaysWhetherTheTextNeededRepair)
{
    bool repaired = true;
    EXPECT_EQ(tenacore::string::SanitizeUTF8CharacterString("fine \xEF\xBF\xBD", repaired),
              "fine \xEF\xBF\xBD");
    EXPECT_FALSE(repaired);
    EXPECT_EQ(tenacore::string::SanitizeUTF8CharacterString("bad\x80", repaired), "bad\xEF\xBF\xBD");
    EXPECT_TRUE(repaired);
}

// On Windows the 8-bit text is in the ANSI code page; elsewhere it is UTF-8 and passes as it is.
TEST(HostStrings, SystemEightBitTextBecomesUTF8)
{
    EXPECT_EQ(tenacore::string::Std8ToUTF8String(""), "");
#if defined(_WIN32)
    if (GetACP() != 1252)
        GTEST_SKIP() << "the bytes are written for code page 1252, and this system's is " << GetACP();
    EXPECT_EQ(tenacore::string::Std8ToUTF8String("caf\xE9 \x80"), "caf\xC3\xA9 \xE2\x82\xAC");
#else
    EXPECT_EQ(tenacore::string::Std8ToUTF8String("caf\xC3\xA9 \xFF"), "caf\xC3\xA9 \xFF");
#endif
}

TEST(HostStrings, AsciiToUTF16TakesOneUnitPerByte)
{
    EXPECT_EQ(tenacore::string::AsciiToUTF16("\xFE\x00z", 3), (std::u16string{0xFE, 0, u'z'}));
}

TEST(HostMemory, ShrinkOnlyGivesUpTheTail)
{
    auto block = RecycledMemory::Create(100);
    ASSERT_TRUE(block);
    block->Shrink(40);
    EXPECT_EQ(block->GetSize(), 40u);
    block->Shrink(90);
    EXPECT_EQ(block->GetSize(), 40u);
}

TEST(HostMemory, LargeBlockGivenBackIsReusedForTheNextOfItsSize)
{
#if defined(QTTEST_ADDRESS_SANITIZER)
    GTEST_SKIP() << "blocks are never reused under the address sanitizer, so stale pointers are caught";
#else
    auto first = RecycledMemory::Create(3 << 20);
    ASSERT_TRUE(first);
    const uint8_t* address = first->GetData();
    first.reset();
    auto second = RecycledMemory::Create(3 << 20);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->GetData(), address);
    // Far smaller requests do not take a large block.
    auto small = RecycledMemory::Create(1 << 20);
    EXPECT_NE(small->GetData(), address);
#endif
}

TEST(HostMemory, ContainerOfALargeTableReusesTheBlockOfTheOneBefore)
{
#if defined(QTTEST_ADDRESS_SANITIZER)
    GTEST_SKIP() << "blocks are never reused under the address sanitizer, so stale pointers are caught";
#else
    using Table = std::vector<uint64_t, tenacore::allocator::STLAllocator<uint64_t>>;
    const void* address = nullptr;
    {
        Table first(5 << 20);
        first.back() = 7;
        address = first.data();
    }
    Table second;
    second.reserve(5 << 20);
    EXPECT_EQ(static_cast<const void*>(second.data()), address);
    // Small containers take small blocks, never a kept large block.
    Table small(16);
    EXPECT_NE(static_cast<const void*>(small.data()), address);
#endif
}

TEST(HostMemory, LargeBlocksAreAlignedToHugePages)
{
    std::vector<uint8_t, tenacore::allocator::STLAllocator<uint8_t>> table(3 << 20);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.data()) % (2 << 20), 0u);
    table.back() = 1; // the whole rounded block is writable
    EXPECT_EQ(table.back(), 1);
}

TEST(HostMemory, CountWhoseBytesOverflowThrowsBadAlloc)
{
    tenacore::allocator::STLAllocator<uint64_t> allocator;
    EXPECT_THROW((void)allocator.allocate(SIZE_MAX / 4), std::bad_alloc);
}

namespace
{

using tenacore::allocator::AllocateSmall;
using tenacore::allocator::FreeSmall;
using tenacore::allocator::GetSmallPoolCounts;
using tenacore::allocator::ReleaseThreadSmallBlocks;

// A map node's worth, as the audio range map asks for.
constexpr size_t kNodeBytes = 64;

} // namespace

TEST(HostSmallBlocks, AFreedNodesBlockIsTheNextOneHandedOut)
{
#if defined(QTTEST_ADDRESS_SANITIZER)
    GTEST_SKIP() << "blocks are never reused under the address sanitizer, so stale pointers are caught";
#else
    void* first = AllocateSmall(kNodeBytes);
    FreeSmall(first, kNodeBytes);
    void* second = AllocateSmall(kNodeBytes);
    EXPECT_EQ(second, first);
    FreeSmall(second, kNodeBytes);
    // A map's nodes too: the node of a map let go is the next map's.
    using Map = std::map<uint64_t, uint64_t, std::less<uint64_t>,
                         tenacore::allocator::STLAllocator<std::pair<const uint64_t, uint64_t>>>;
    const void* node = nullptr;
    {
        Map map;
        node = &*map.emplace(1, 2).first;
    }
    Map again;
    EXPECT_EQ(static_cast<const void*>(&*again.emplace(3, 4).first), node);
#endif
}

TEST(HostSmallBlocks, EverySizeIsAlignedAndHoldsItsBytes)
{
    std::vector<std::pair<uint8_t*, size_t>> blocks;
    for (size_t bytes = 0; bytes <= tenacore::allocator::kSmallBlockBytes; ++bytes)
        for (int copy = 0; copy < 3; ++copy)
        {
            auto* block = static_cast<uint8_t*>(AllocateSmall(bytes));
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % tenacore::allocator::kSmallBlockAlign, 0u)
                << bytes;
            std::fill(block, block + bytes, uint8_t(bytes));
            blocks.emplace_back(block, bytes);
        }
    std::set<uint8_t*> distinct;
    for (const auto& [block, bytes] : blocks)
    {
        distinct.insert(block);
        for (size_t i = 0; i < bytes; ++i)
            ASSERT_EQ(block[i], uint8_t(bytes)) << "a block was overwritten by another";
    }
    EXPECT_EQ(distinct.size(), blocks.size());
    for (const auto& [block, bytes] : blocks)
        FreeSmall(block, bytes);
    // A type that wants more than the small blocks' alignment is still aligned.
    struct alignas(64) Wide
    {
        uint8_t bytes[64];
    };
    tenacore::allocator::STLAllocator<Wide> wide;
    Wide* one = wide.allocate(1);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(one) % 64, 0u);
    wide.deallocate(one, 1);
}

TEST(HostSmallBlocks, BlocksFreedOnAnotherThreadGoBackToTheirSlabs)
{
    ReleaseThreadSmallBlocks();
    const size_t outBefore = GetSmallPoolCounts().blocksOut;
    // More than a thread keeps, so that whole batches pass from thread to thread.
    std::vector<uint64_t*> blocks;
    for (uint64_t i = 0; i < 20000; ++i)
    {
        auto* block = static_cast<uint64_t*>(AllocateSmall(kNodeBytes));
        *block = i;
        blocks.push_back(block);
    }
    std::thread other(
        [&blocks]
        {
            for (uint64_t i = 0; i < blocks.size(); ++i)
            {
                EXPECT_EQ(*blocks[i], i);
                FreeSmall(blocks[i], kNodeBytes);
            }
            // Blocks this thread allocates and frees come back at its end too.
            for (int i = 0; i < 100; ++i)
                FreeSmall(AllocateSmall(kNodeBytes), kNodeBytes);
        });
    other.join();
    ReleaseThreadSmallBlocks();
    // (Under the address sanitizer no block is counted, before or after.)
    EXPECT_EQ(GetSmallPoolCounts().blocksOut, outBefore);
    // And the memory is used again.
    void* again = AllocateSmall(kNodeBytes);
    EXPECT_NE(again, nullptr);
    FreeSmall(again, kNodeBytes);
}

TEST(HostSmallBlocks, ThreadsAllocatingAndFreeingAcrossEachOtherKeepEveryBlockWhole)
{
    constexpr int kThreads = 4;
    constexpr int kBlocks = 30000;
    std::vector<std::vector<uint32_t*>> made(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&made, t]
            {
                for (int i = 0; i < kBlocks; ++i)
                {
                    auto* block = static_cast<uint32_t*>(AllocateSmall(48));
                    block[0] = uint32_t(t);
                    block[11] = uint32_t(i);
                    made[t].push_back(block);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    // Each thread frees another's blocks, checking that none was handed out twice.
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&made, t]
            {
                const int owner = (t + 1) % kThreads;
                for (int i = 0; i < kBlocks; ++i)
                {
                    uint32_t* block = made[owner][i];
                    EXPECT_EQ(block[0], uint32_t(owner));
                    EXPECT_EQ(block[11], uint32_t(i));
                    FreeSmall(block, 48);
                }
            });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(HostSmallBlocks, EmptiedSlabsAreKeptForTheNextCall)
{
#if defined(QTTEST_ADDRESS_SANITIZER)
    GTEST_SKIP() << "blocks are never reused under the address sanitizer, so stale pointers are caught";
#else
    // Several slabs' worth of nodes, given back, then asked for again: no new slab is made.
    constexpr size_t kCount = 200000;
    std::vector<void*> blocks(kCount);
    for (void*& block : blocks)
        block = AllocateSmall(kNodeBytes);
    for (void* block : blocks)
        FreeSmall(block, kNodeBytes);
    ReleaseThreadSmallBlocks();
    const auto kept = GetSmallPoolCounts();
    EXPECT_GE(kept.slabsKept, 5u);
    for (void*& block : blocks)
        block = AllocateSmall(kNodeBytes);
    EXPECT_EQ(GetSmallPoolCounts().slabsMade, kept.slabsMade);
    for (void* block : blocks)
        FreeSmall(block, kNodeBytes);
#endif
}

TEST(HostTrace, SiteCacheAsksAgainOnlyAfterASettingChanges)
{
    tenacore::debug::ResetTraceSettings();
    tenacore::debug::TraceSiteCache site;
    EXPECT_FALSE(site.IsEnabled("Cat", 5));
    const uint64_t asked = tenacore::debug::TraceEnabledQueryCount();
    EXPECT_FALSE(site.IsEnabled("Cat", 5));
    EXPECT_EQ(tenacore::debug::TraceEnabledQueryCount(), asked);
    tenacore::debug::SetTraceSink([](int, std::string_view, std::string_view) {});
    tenacore::debug::SetTraceLevel("Cat", 5);
    EXPECT_TRUE(site.IsEnabled("Cat", 5));
    tenacore::debug::SetTraceLevel("Cat", 4);
    EXPECT_FALSE(site.IsEnabled("Cat", 5));
    tenacore::debug::ResetTraceSettings();
}

TEST(HostTrace, EnabledCategoryWithoutASinkCountsAsOff)
{
    tenacore::debug::ResetTraceSettings();
    tenacore::debug::SetTraceLevel("Cat", 5);
    EXPECT_FALSE(tenacore::debug::TraceEnabled("Cat", 5, true));
    EXPECT_TRUE(tenacore::debug::TraceEnabled("Cat", 5, false));
    tenacore::debug::ResetTraceSettings();
}

namespace host_test
{
struct Probe
{
};
} // namespace host_test

TEST(HostClassRef, FunctionNameGivesTheQualifiedNameWithoutAKeyword)
{
    EXPECT_EQ(tenacore::utility::detail::FunctionName<host_test::Probe>(), "host_test::Probe");
}
