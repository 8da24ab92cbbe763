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

// The allocator behind objects handed out through interface references.
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

    T* allocate(size_t inCount) { return std::allocator<T>().allocate(inCount); }
    void deallocate(T* inPtr, size_t inCount) noexcept { std::allocator<T>().deallocate(inPtr, inCount); }

    template <class U>
    bool operator==(const STLAllocator<U>&) const noexcept
    {
        return true;
    }
};

} // namespace tenacore::allocator
