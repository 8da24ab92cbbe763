#include "tenacore/allocator.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TENACORE_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TENACORE_ADDRESS_SANITIZER 1
#endif

#if defined(TENACORE_ADDRESS_SANITIZER)
// Under the address sanitizer every block is fresh and every freed one goes back at once, so that
// a stale pointer is caught.
constexpr bool kRecycle = false;
#else
constexpr bool kRecycle = true;
#endif

namespace tenacore::allocator
{

namespace
{

// Small blocks are cheap to allocate; only large ones are worth keeping.
constexpr size_t kSmallestKept = size_t(1) << 16;
constexpr size_t kMostBytesKept = size_t(256) << 20;
constexpr size_t kMostBlocksKept = 4;
// Huge pages are this large on x86-64. A block of at least this many bytes is aligned and sized to
// a multiple of it, so that the system can back it with huge pages and take one fault for each.
constexpr size_t kHugePageBytes = size_t(2) << 20;

struct Block
{
    uint8_t* data;
    size_t capacity;
};

size_t AlignmentFor(size_t inCapacity)
{
    return inCapacity >= kHugePageBytes ? kHugePageBytes : alignof(std::max_align_t);
}

// Fresh memory for a block; null when memory is short.
Block NewBlock(size_t inSize)
{
    size_t capacity = inSize == 0 ? 1 : inSize;
    if (capacity >= kHugePageBytes && capacity <= SIZE_MAX - kHugePageBytes)
        capacity = (capacity + kHugePageBytes - 1) / kHugePageBytes * kHugePageBytes;
    void* data = ::operator new(capacity, std::align_val_t(AlignmentFor(capacity)), std::nothrow);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Only a hint: where the system keeps huge pages for those who ask, this asks.
    if (data && capacity >= kHugePageBytes)
        (void)madvise(data, capacity, MADV_HUGEPAGE);
#endif
    return {static_cast<uint8_t*>(data), data ? capacity : 0};
}

void DeleteBlock(const Block& inBlock) noexcept
{
    ::operator delete(inBlock.data, std::align_val_t(AlignmentFor(inBlock.capacity)));
}

class Pool
{
public:
    // A kept block at least inSize long and at most twice that, the tightest first.
    Block Take(size_t inSize)
    {
        std::lock_guard lock(mMutex);
        auto best = mBlocks.end();
        for (auto it = mBlocks.begin(); it != mBlocks.end(); ++it)
            if (it->capacity >= inSize && it->capacity / 2 <= inSize &&
                (best == mBlocks.end() || it->capacity < best->capacity))
                best = it;
        if (best == mBlocks.end())
            return {nullptr, 0};
        const Block found = *best;
        mBytes -= found.capacity;
        mBlocks.erase(best);
        return found;
    }

    // Keeps the block, giving back the oldest kept ones to make room.
    void Give(Block inBlock)
    {
        if (!kRecycle || inBlock.capacity < kSmallestKept || inBlock.capacity > kMostBytesKept)
            return DeleteBlock(inBlock);
        std::vector<Block> released;
        {
            std::lock_guard lock(mMutex);
            while (!mBlocks.empty() &&
                   (mBlocks.size() >= kMostBlocksKept || mBytes + inBlock.capacity > kMostBytesKept))
            {
                released.push_back(mBlocks.front());
                mBytes -= mBlocks.front().capacity;
                mBlocks.erase(mBlocks.begin());
            }
            mBlocks.push_back(inBlock);
            mBytes += inBlock.capacity;
        }
        for (const Block& block : released)
            DeleteBlock(block);
    }

    void CountKept(PoolCounts& ioCounts)
    {
        std::lock_guard lock(mMutex);
        ioCounts.keptBlocks = mBlocks.size();
        ioCounts.keptBytes = mBytes;
    }

    // A container's allocator gives back only the size it asked for: the capacity of each large
    // block handed out is kept here until it comes back. Such blocks are few and large.
    void NoteLent(const Block& inBlock)
    {
        std::lock_guard lock(mMutex);
        mLent[inBlock.data] = inBlock.capacity;
    }
    Block Returned(void* inData)
    {
        std::lock_guard lock(mMutex);
        const auto found = mLent.find(static_cast<uint8_t*>(inData));
        if (found == mLent.end())
            return {nullptr, 0};
        const Block block{found->first, found->second};
        mLent.erase(found);
        return block;
    }

private:
    std::mutex mMutex;
    std::vector<Block> mBlocks;
    size_t mBytes = 0;
    std::unordered_map<uint8_t*, size_t> mLent;
};

// Blocks handed out and not yet back. Only counts for those who ask: relaxed is enough.
std::atomic<size_t> gLentBlocks{0};
std::atomic<size_t> gLentBytes{0};

void NoteLentOut(const Block& inBlock) noexcept
{
    gLentBlocks.fetch_add(1, std::memory_order_relaxed);
    gLentBytes.fetch_add(inBlock.capacity, std::memory_order_relaxed);
}

void NoteBack(const Block& inBlock) noexcept
{
    gLentBlocks.fetch_sub(1, std::memory_order_relaxed);
    gLentBytes.fetch_sub(inBlock.capacity, std::memory_order_relaxed);
}

// Never destroyed, so that a block given back during static destruction still finds it.
Pool& ThePool()
{
    static Pool* pool = new Pool;
    return *pool;
}

// A kept block when one fits, else fresh memory; null when memory is short.
Block TakeOrMake(size_t inSize)
{
    Block block{nullptr, 0};
    if (kRecycle)
        block = ThePool().Take(inSize);
    if (!block.data)
        block = NewBlock(inSize);
    if (block.data)
        NoteLentOut(block);
    return block;
}

// A lent block back to the pool, which keeps or frees it.
void GiveBack(const Block& inBlock) noexcept
{
    NoteBack(inBlock);
    ThePool().Give(inBlock);
}

} // namespace

std::shared_ptr<RecycledMemory> RecycledMemory::Create(size_t inSize)
{
    const Block block = TakeOrMake(inSize);
    if (!block.data)
        return nullptr;
    try
    {
        return std::make_shared<RecycledMemory>(block.data, inSize, block.capacity);
    }
    catch (const std::bad_alloc&)
    {
        NoteBack(block);
        DeleteBlock(block);
        return nullptr;
    }
}

RecycledMemory::~RecycledMemory()
{
    GiveBack({mData, mCapacity});
}

void* AllocateLarge(size_t inBytes)
{
    const Block block = TakeOrMake(inBytes);
    if (!block.data)
        throw std::bad_alloc();
    try
    {
        ThePool().NoteLent(block);
    }
    catch (...)
    {
        NoteBack(block);
        DeleteBlock(block);
        throw std::bad_alloc();
    }
    return block.data;
}

void FreeLarge(void* inBlock, size_t) noexcept
{
    if (!inBlock)
        return;
    const Block block = ThePool().Returned(inBlock);
    if (block.data)
        GiveBack(block);
}

PoolCounts GetPoolCounts() noexcept
{
    PoolCounts counts;
    counts.lentBlocks = gLentBlocks.load(std::memory_order_relaxed);
    counts.lentBytes = gLentBytes.load(std::memory_order_relaxed);
    ThePool().CountKept(counts);
    return counts;
}

} // namespace tenacore::allocator
