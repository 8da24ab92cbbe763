#pragma once

// What the process holds, counted so that a test can compare before and after: open descriptors
// and threads (from /proc, so Linux only), the heap in use, and the host's recycling pool.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <system_error>

#include "tenacore/allocator.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QTTEST_COUNTS_UNDER_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QTTEST_COUNTS_UNDER_ASAN 1
#endif

#if defined(QTTEST_COUNTS_UNDER_ASAN)
// The sanitizer's own allocator serves every malloc and new; it knows what is live.
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__)
#include <malloc.h>
#endif

namespace qttest
{

// Whether the pool keeps blocks given back. Under the address sanitizer it never does, so that a
// stale pointer is caught.
#if defined(QTTEST_COUNTS_UNDER_ASAN)
inline constexpr bool kPoolKeepsBlocks = false;
#else
inline constexpr bool kPoolKeepsBlocks = true;
#endif

// Whether HeapBytesInUse counts to the byte. The sanitizer's count is exact; the C library's also
// takes in the freed blocks that each thread keeps cached for reuse, which come and go between two
// looks by a few small blocks.
#if defined(QTTEST_COUNTS_UNDER_ASAN)
inline constexpr bool kHeapCountIsExact = true;
#else
inline constexpr bool kHeapCountIsExact = false;
#endif

// Entries of a folder of /proc/self; none where there is no /proc.
inline std::optional<size_t> CountProcEntries([[maybe_unused]] const char* inFolder)
{
#if defined(__linux__)
    std::error_code error;
    size_t count = 0;
    // The listing's own descriptor is among the entries; it is there at every count alike.
    for (std::filesystem::directory_iterator it(inFolder, error), end; !error && it != end;
         it.increment(error))
        ++count;
    if (error)
        return std::nullopt;
    return count;
#else
    return std::nullopt;
#endif
}

inline std::optional<size_t> OpenDescriptorCount()
{
    return CountProcEntries("/proc/self/fd");
}

inline std::optional<size_t> ThreadCount()
{
    return CountProcEntries("/proc/self/task");
}

// Bytes of the heap that are allocated and not freed, all allocators of the process included;
// none where the C library cannot say.
inline std::optional<size_t> HeapBytesInUse()
{
#if defined(QTTEST_COUNTS_UNDER_ASAN)
    return __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33))
    // Small blocks lie in the arenas, large ones are mapped on their own.
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
#else
    return std::nullopt;
#endif
}

// One look at everything counted.
struct ResourceCounts
{
    std::optional<size_t> descriptors = OpenDescriptorCount();
    std::optional<size_t> threads = ThreadCount();
    std::optional<size_t> heapBytes = HeapBytesInUse();
    tenacore::allocator::PoolCounts pool = tenacore::allocator::GetPoolCounts();
};

// How far the heap in use grew from inBefore to inAfter; 0 when it shrank or cannot be counted.
inline size_t HeapGrowth(const ResourceCounts& inBefore, const ResourceCounts& inAfter)
{
    if (!inBefore.heapBytes || !inAfter.heapBytes || *inAfter.heapBytes <= *inBefore.heapBytes)
        return 0;
    return *inAfter.heapBytes - *inBefore.heapBytes;
}

} // namespace qttest
