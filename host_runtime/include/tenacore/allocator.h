#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "tenacore/Export.h"

namespace tenacore::allocator
{

// A block of raw bytes from a recycling pool: a large block given back is kept for the next
// request of about its size, so that opening movie after movie reuses memory. Create gives none
// (null) when memory is short, and never throws. The bytes are not initialised.
class TENACORE_API RecycledMemory
{
public:
    static std::shared_ptr<RecycledMemory> Create(size_t inSize);

    RecycledMemory(uint8_t* inData, size_t inSize, size_t inCapacity) noexcept
        : mData(inData), mSize(inSize), mCapacity(inCapacity)
    {
    }
    ~RecycledMemory();
    RecycledMemory(const RecycledMemory&) = delete;
    RecycledMemory& operator=(const RecycledMemory&) = delete;

    uint8_t* GetData() const noexcept { return mData; }
    size_t GetSize() const noexcept { return mSize; }
    // Gives up the tail of the block: a writer that filled less than it asked for says so here.
    void Shrink(size_t inSize) noexcept
    {
        if (inSize < mSize)
            mSize = inSize;
    }

private:
    uint8_t* mData;
    size_t mSize;
    size_t mCapacity;
};

// Blocks at least this large come from the recycling pool: a table handed out is given back to it
// when its owner lets it go, and the next table of about its size reuses it, page faults already
// paid. Between the small blocks and it the system's allocator is as fast.
inline constexpr size_t kLargeBlockBytes = size_t(1) << 20;

// A large block from the pool, or fresh (backed by huge pages where the system allows); throws
// std::bad_alloc when memory is short.
TENACORE_API void* AllocateLarge(size_t inBytes);
// Gives a block of AllocateLarge back to the pool; inBytes as asked for.
TENACORE_API void FreeLarge(void* inBlock, size_t inBytes) noexcept;

// Blocks of at most this many bytes, such as the nodes of a map, come from the small-block pool:
// size classes of kSmallBlockStep bytes, each carved from slabs of the large-block pool. A thread
// keeps a few blocks of each class to itself, so that most requests and returns take no lock; a
// block may be given back on any thread. Slabs emptied are kept for the next call, within a cap.
inline constexpr size_t kSmallBlockBytes = 256;
inline constexpr size_t kSmallBlockStep = 16;
// Small blocks are aligned to this; types that want more take the system's allocator.
inline constexpr size_t kSmallBlockAlign = 16;

// A small block of at least inBytes (at most kSmallBlockBytes); throws std::bad_alloc when memory
// is short.
TENACORE_API void* AllocateSmall(size_t inBytes);
// Gives a block of AllocateSmall back; inBytes as asked for. Any thread may give it back.
TENACORE_API void FreeSmall(void* inBlock, size_t inBytes) noexcept;

// What the small-block pool holds, for tests and diagnostics.
struct SmallPoolCounts
{
    size_t slabsInUse = 0; // slabs with blocks handed out or kept by a thread
    size_t slabsKept = 0;  // empty slabs kept for the next call
    size_t slabsMade = 0;  // slabs ever taken from the large-block pool or the system
    size_t blocksOut = 0;  // blocks handed out, those a thread keeps for itself included
};
TENACORE_API SmallPoolCounts GetSmallPoolCounts();
// Gives the blocks the calling thread keeps for itself back to their slabs.
TENACORE_API void ReleaseThreadSmallBlocks() noexcept;

// The allocator behind objects handed out through interface references and the containers that
// cross the interfaces.
template <class T>
class STLAllocator
{
public:
    using value_type = T;

    STLAllocator() noexcept = default;
    template <class U>
    STLAllocator(const STLAllocator<U>&) noexcept
    {
    }

    T* allocate(size_t inCount)
    {
        if (IsSmall(inCount))
            return static_cast<T*>(AllocateSmall(inCount * sizeof(T)));
        if (inCount >= kLargeBlockBytes / sizeof(T))
        {
            if (inCount > SIZE_MAX / sizeof(T))
                throw std::bad_array_new_length();
            return static_cast<T*>(AllocateLarge(inCount * sizeof(T)));
        }
        return std::allocator<T>().allocate(inCount);
    }
    void deallocate(T* inPtr, size_t inCount) noexcept
    {
        if (IsSmall(inCount))
            return FreeSmall(inPtr, inCount * sizeof(T));
        if (inCount >= kLargeBlockBytes / sizeof(T))
            return FreeLarge(inPtr, inCount * sizeof(T));
        std::allocator<T>().deallocate(inPtr, inCount);
    }

    template <class U>
    bool operator==(const STLAllocator<U>&) const noexcept
    {
        return true;
    }

private:
    static bool IsSmall(size_t inCount) noexcept
    {
        return alignof(T) <= kSmallBlockAlign && inCount <= kSmallBlockBytes / sizeof(T);
    }
};

} // namespace tenacore::allocator
