#include "tenacore/allocator.h"

#include <mutex>
#include <vector>

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

struct Block
{
    uint8_t* data;
    size_t capacity;
};

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
            return delete[] inBlock.data;
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
            delete[] block.data;
    }

private:
    std::mutex mMutex;
    std::vector<Block> mBlocks;
    size_t mBytes = 0;
};

// Never destroyed, so that a block given back during static destruction still finds it.
Pool& ThePool()
{
    static Pool* pool = new Pool;
    return *pool;
}

} // namespace

std::shared_ptr<RecycledMemory> RecycledMemory::Create(size_t inSize)
{
    const size_t capacity = inSize == 0 ? 1 : inSize;
    Block block{nullptr, 0};
    if (kRecycle)
        block = ThePool().Take(capacity);
    if (!block.data)
        block = {new (std::nothrow) uint8_t[capacity], capacity};
    if (!block.data)
        return nullptr;
    try
    {
        return std::make_shared<RecycledMemory>(block.data, inSize, block.capacity);
    }
    catch (const std::bad_alloc&)
    {
        delete[] block.data;
        return nullptr;
    }
}

RecycledMemory::~RecycledMemory()
{
    ThePool().Give({mData, mCapacity});
}

} // namespace tenacore::allocator
