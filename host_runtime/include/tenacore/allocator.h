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
// paid. Below it the system's allocator is as fast.
inline constexpr size_t kLargeBlockBytes = size_t(1) << 20;

// A large block from the pool, or fresh (backed by huge pages where the system allows); throws
// std::bad_alloc when memory is short.
TENACORE_API void* AllocateLarge(size_t inBytes);
// Gives a block of AllocateLarge back to the pool; inBytes as asked for.
TENACORE_API void FreeLarge(void* inBlock, size_t inBytes) noexcept;

// What the pool holds at one moment. Lent: the blocks of RecycledMemory::Create and AllocateLarge
// not yet given back, by the bytes each really takes. Kept: blocks given back and held for the
// next request, on purpose; they are counted apart, so that a host can tell work that leaves
// nothing behind (lent back where it was) from the pool doing its job (kept bounded).
struct PoolCounts
{
    size_t lentBlocks = 0;
    size_t lentBytes = 0;
    size_t keptBlocks = 0;
    size_t keptBytes = 0;
};
TENACORE_API PoolCounts GetPoolCounts() noexcept;

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
        if (inCount >= kLargeBlockBytes / sizeof(T))
            return FreeLarge(inPtr, inCount * sizeof(T));
        std::allocator<T>().deallocate(inPtr, inCount);
    }

    template <class U>
    bool operator==(const STLAllocator<U>&) const noexcept
    {
        return true;
    }
};

} // namespace tenacore::allocator
