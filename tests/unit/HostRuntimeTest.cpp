#include <gtest/gtest.h>

#include <cstdint>
#include <string>
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
    // Small containers keep to the system's allocator and never take a kept block.
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
