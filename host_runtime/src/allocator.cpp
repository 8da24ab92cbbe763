#include "tenacore/allocator.h"

#include <algorithm>
#include <array>
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
Block NewBlock(size_t inSize, bool inHugePages = true)
{
    (void)inHugePages;
    size_t capacity = inSize == 0 ? 1 : inSize;
    if (capacity >= kHugePageBytes && capacity <= SIZE_MAX - kHugePageBytes)
        capacity = (capacity + kHugePageBytes - 1) / kHugePageBytes * kHugePageBytes;
    void* data = ::operator new(capacity, std::align_val_t(AlignmentFor(capacity)), std::nothrow);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Only a hint: where the system keeps huge pages for those who ask, this asks.
    if (data && inHugePages && capacity >= kHugePageBytes)
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

// Never destroyed, so that a block given back during static destruction still finds it.
Pool& ThePool()
{
    static Pool* pool = new Pool;
    return *pool;
}

// A kept block when one fits, else fresh memory; null when memory is short.
Block TakeOrMake(size_t inSize, bool inHugePages = true)
{
    Block block{nullptr, 0};
    if (kRecycle)
        block = ThePool().Take(inSize);
    if (!block.data)
        block = NewBlock(inSize, inHugePages);
    return block;
}

// The small-block pool. A slab is one block of kSlabBytes from the large-block pool, aligned to its
// size, so that a block finds its slab by masking its address; its header stands at its start and
// the blocks of one size class after it. Each class keeps its slabs that have room under its own
// lock; each thread keeps up to two batches of blocks of each class to itself, without a lock, so
// the lock is taken about once a batch. A block a thread keeps counts as out of its slab, so a slab
// is empty only when every block of it is back in it, whichever thread gave them back.

constexpr size_t kSlabBytes = kHugePageBytes;
constexpr size_t kClassCount = kSmallBlockBytes / kSmallBlockStep;
// Empty slabs kept for the next call: room for the range map of a day of audio.
constexpr size_t kMostSlabBytesKept = size_t(256) << 20;
// The first slabs stay on small pages, so that a host that keeps few blocks pays for few pages.
constexpr size_t kSlabsOnSmallPages = 4;
// A thread takes about this many bytes of a class at once, and keeps at most twice as many.
constexpr size_t kBatchBytes = size_t(32) << 10;

struct FreeBlock
{
    FreeBlock* next;
};

struct alignas(64) Slab
{
    Block memory;
    Slab* prev;
    Slab* next;
    FreeBlock* freeList; // blocks given back
    uint32_t blockBytes;
    uint32_t capacity; // blocks that fit after the header
    uint32_t carved;   // blocks handed out at least once, from the first on
    uint32_t out;      // blocks handed out and not given back
    bool hasRoom;      // on its class's list of slabs with room
};
constexpr size_t kSlabHeaderBytes = sizeof(Slab);
static_assert(kSlabHeaderBytes % kSmallBlockAlign == 0);

Slab* SlabOf(const void* inBlock)
{
    return reinterpret_cast<Slab*>(reinterpret_cast<uintptr_t>(inBlock) & ~uintptr_t(kSlabBytes - 1));
}

constexpr size_t ClassIndex(size_t inBytes)
{
    return inBytes == 0 ? 0 : (inBytes - 1) / kSmallBlockStep;
}

constexpr uint32_t BlockBytes(size_t inClass)
{
    return uint32_t((inClass + 1) * kSmallBlockStep);
}

constexpr uint32_t BatchBlocks(size_t inClass)
{
    return uint32_t(kBatchBytes / BlockBytes(inClass));
}

// Empty slabs, shared by every class.
class SlabStore
{
public:
    // An empty slab set up for blocks of inClass; null when memory is short.
    Slab* Take(size_t inClass)
    {
        Slab* slab = nullptr;
        bool hugePages = false;
        {
            std::lock_guard lock(mMutex);
            if (mKept)
            {
                slab = mKept;
                mKept = slab->next;
                mKeptBytes -= slab->memory.capacity;
                --mKeptCount;
            }
            hugePages = mMade >= kSlabsOnSmallPages;
        }
        if (!slab)
        {
            const Block memory = TakeOrMake(kSlabBytes, hugePages);
            if (!memory.data)
                return nullptr;
            slab = reinterpret_cast<Slab*>(memory.data);
            slab->memory = memory;
            std::lock_guard lock(mMutex);
            ++mMade;
        }
        slab->prev = slab->next = nullptr;
        slab->freeList = nullptr;
        slab->blockBytes = BlockBytes(inClass);
        slab->capacity = uint32_t((kSlabBytes - kSlabHeaderBytes) / slab->blockBytes);
        slab->carved = 0;
        slab->out = 0;
        slab->hasRoom = false;
        std::lock_guard lock(mMutex);
        ++mInUse;
        return slab;
    }

    // Keeps an empty slab for the next call, or gives it back to the large-block pool.
    void Give(Slab* inSlab)
    {
        {
            std::lock_guard lock(mMutex);
            --mInUse;
            if (mKeptBytes + inSlab->memory.capacity <= kMostSlabBytesKept)
            {
                inSlab->next = mKept;
                mKept = inSlab;
                mKeptBytes += inSlab->memory.capacity;
                ++mKeptCount;
                return;
            }
        }
        ThePool().Give(inSlab->memory);
    }

    void Count(SmallPoolCounts& ioCounts)
    {
        std::lock_guard lock(mMutex);
        ioCounts.slabsInUse = mInUse;
        ioCounts.slabsKept = mKeptCount;
        ioCounts.slabsMade = mMade;
    }

private:
    std::mutex mMutex;
    Slab* mKept = nullptr;
    size_t mKeptBytes = 0;
    size_t mKeptCount = 0;
    size_t mInUse = 0;
    size_t mMade = 0;
};

SlabStore& TheSlabStore()
{
    static SlabStore* store = new SlabStore;
    return *store;
}

// What a thread takes from a class at once: a list of given-back blocks, or a run of blocks never
// handed out.
struct Batch
{
    FreeBlock* list = nullptr;
    uint32_t listCount = 0;
    uint8_t* run = nullptr;
    uint8_t* runEnd = nullptr;
};

// The slabs of one size class that have room, under the class's lock.
class SizeClass
{
public:
    // Up to inWant blocks, all from one slab; false when memory is short.
    bool Take(size_t inClass, uint32_t inWant, Batch& outBatch)
    {
        std::lock_guard lock(mMutex);
        Slab* slab = mWithRoom;
        if (!slab)
        {
            slab = TheSlabStore().Take(inClass);
            if (!slab)
                return false;
            Link(slab);
        }
        uint32_t count = 0;
        if (slab->freeList)
        {
            FreeBlock* last = slab->freeList;
            count = 1;
            while (count < inWant && last->next)
            {
                last = last->next;
                ++count;
            }
            outBatch.list = slab->freeList;
            outBatch.listCount = count;
            slab->freeList = last->next;
            last->next = nullptr;
        }
        else
        {
            count = std::min(inWant, slab->capacity - slab->carved);
            outBatch.run =
                reinterpret_cast<uint8_t*>(slab) + kSlabHeaderBytes + size_t(slab->carved) * slab->blockBytes;
            outBatch.runEnd = outBatch.run + size_t(count) * slab->blockBytes;
            slab->carved += count;
        }
        slab->out += count;
        mOut += count;
        if (!slab->freeList && slab->carved == slab->capacity)
            Unlink(slab);
        return true;
    }

    // Gives back a list of blocks of this class, from any slabs; slabs left empty go to the store.
    void Give(FreeBlock* inList) noexcept
    {
        Slab* emptied = nullptr;
        {
            std::lock_guard lock(mMutex);
            while (inList)
            {
                FreeBlock* block = inList;
                inList = block->next;
                Slab* slab = SlabOf(block);
                block->next = slab->freeList;
                slab->freeList = block;
                --mOut;
                if (!slab->hasRoom)
                    Link(slab);
                if (--slab->out == 0)
                {
                    Unlink(slab);
                    slab->next = emptied;
                    emptied = slab;
                }
            }
        }
        while (emptied)
        {
            Slab* slab = emptied;
            emptied = slab->next;
            TheSlabStore().Give(slab);
        }
    }

    size_t BlocksOut()
    {
        std::lock_guard lock(mMutex);
        return mOut;
    }

private:
    void Link(Slab* inSlab) noexcept
    {
        inSlab->hasRoom = true;
        inSlab->prev = nullptr;
        inSlab->next = mWithRoom;
        if (mWithRoom)
            mWithRoom->prev = inSlab;
        mWithRoom = inSlab;
    }
    void Unlink(Slab* inSlab) noexcept
    {
        inSlab->hasRoom = false;
        if (inSlab->prev)
            inSlab->prev->next = inSlab->next;
        else
            mWithRoom = inSlab->next;
        if (inSlab->next)
            inSlab->next->prev = inSlab->prev;
        inSlab->prev = inSlab->next = nullptr;
    }

    std::mutex mMutex;
    Slab* mWithRoom = nullptr;
    size_t mOut = 0;
};

SizeClass& TheSizeClass(size_t inClass)
{
    static SizeClass* classes = new SizeClass[kClassCount];
    return classes[inClass];
}

// The blocks a thread keeps of one class: given-back blocks on a list, then a run never handed out.
struct ClassCache
{
    FreeBlock* list = nullptr;
    uint32_t listCount = 0;
    uint8_t* run = nullptr;
    uint8_t* runEnd = nullptr;
};

struct ThreadCache
{
    ClassCache classes[kClassCount];
};

// Past this many blocks on a thread's list, a batch goes back. A table, as a division would cost
// more than the rest of a return.
constexpr auto kListLimits = []
{
    std::array<uint32_t, kClassCount> limits{};
    for (size_t index = 0; index < kClassCount; ++index)
        limits[index] = 2 * BatchBlocks(index);
    return limits;
}();

constexpr uint32_t ListLimit(size_t inClass)
{
    return kListLimits[inClass];
}

#if defined(__ELF__)
// Reached on every request: on the initial-exec model it costs a load, not a call. Only a pointer
// and a flag, so that the few bytes of static TLS it takes are there also when the library is loaded late.
#define TENACORE_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define TENACORE_FAST_TLS
#endif

// The calling thread's cache: null before its first slow step and after its end.
thread_local ThreadCache* tCache TENACORE_FAST_TLS = nullptr;
thread_local bool tCacheEnded TENACORE_FAST_TLS = false;

// Gives back every block the thread keeps of a class.
void ReleaseClass(size_t inClass, ClassCache& ioCache) noexcept
{
    FreeBlock* list = ioCache.list;
    const uint32_t bytes = BlockBytes(inClass);
    for (uint8_t* block = ioCache.run; block != ioCache.runEnd; block += bytes)
    {
        FreeBlock* freeBlock = reinterpret_cast<FreeBlock*>(block);
        freeBlock->next = list;
        list = freeBlock;
    }
    ioCache = ClassCache();
    if (list)
        TheSizeClass(inClass).Give(list);
}

void ReleaseAll(ThreadCache& ioCache) noexcept
{
    for (size_t index = 0; index < kClassCount; ++index)
        ReleaseClass(index, ioCache.classes[index]);
}

// Holds the thread's cache; its destruction at the thread's end gives the thread's blocks back.
struct ThreadCacheOwner
{
    ThreadCache cache;

    ~ThreadCacheOwner()
    {
        tCache = nullptr;
        tCacheEnded = true;
        ReleaseAll(cache);
    }
};

// The thread's cache, set up on its first slow step; null once the thread has ended, when blocks
// come and go one at a time.
ThreadCache* ThreadCacheForSlowStep()
{
    if (!tCache && !tCacheEnded)
    {
        static thread_local ThreadCacheOwner owner;
        tCache = &owner.cache;
    }
    return tCache;
}

// The slow step of AllocateSmall: the thread holds no block of the class.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
void* Refill(size_t inClass)
{
    ThreadCache* threadCache = ThreadCacheForSlowStep();
    Batch batch;
    if (!TheSizeClass(inClass).Take(inClass, threadCache ? BatchBlocks(inClass) : 1, batch))
        throw std::bad_alloc();
    if (!threadCache)
        return batch.list ? static_cast<void*>(batch.list) : batch.run;
    ClassCache& cache = threadCache->classes[inClass];
    if (batch.list)
    {
        cache.list = batch.list->next;
        cache.listCount = batch.listCount - 1;
        return batch.list;
    }
    cache.run = batch.run + BlockBytes(inClass);
    cache.runEnd = batch.runEnd;
    return batch.run;
}

// The slow step of FreeSmall: the thread keeps more blocks of the class than it may, or has no
// cache yet, or none any more.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
void FreeSlowly(FreeBlock* inBlock, size_t inClass) noexcept
{
    ThreadCache* threadCache = nullptr;
    try
    {
        threadCache = ThreadCacheForSlowStep();
    }
    catch (...)
    {
    }
    if (!threadCache)
    {
        if (inBlock)
        {
            inBlock->next = nullptr;
            TheSizeClass(inClass).Give(inBlock);
        }
        return;
    }
    ClassCache& cache = threadCache->classes[inClass];
    if (inBlock)
    {
        inBlock->next = cache.list;
        cache.list = inBlock;
        ++cache.listCount;
    }
    if (cache.listCount <= ListLimit(inClass))
        return;
    // Keeps one batch, the blocks given back last.
    FreeBlock* last = cache.list;
    for (uint32_t count = 1; count < BatchBlocks(inClass); ++count)
        last = last->next;
    FreeBlock* rest = last->next;
    last->next = nullptr;
    cache.listCount = BatchBlocks(inClass);
    TheSizeClass(inClass).Give(rest);
}

} // namespace

void* AllocateSmall(size_t inBytes)
{
    if constexpr (!kRecycle)
        return ::operator new(inBytes == 0 ? 1 : inBytes);
    const size_t index = ClassIndex(inBytes);
    if (ThreadCache* threadCache = tCache)
    {
        ClassCache& cache = threadCache->classes[index];
        if (FreeBlock* block = cache.list)
        {
            cache.list = block->next;
            --cache.listCount;
            return block;
        }
        if (cache.run != cache.runEnd)
        {
            void* block = cache.run;
            cache.run += BlockBytes(index);
            return block;
        }
    }
    return Refill(index);
}

void FreeSmall(void* inBlock, size_t inBytes) noexcept
{
    if (!inBlock)
        return;
    if constexpr (!kRecycle)
        return ::operator delete(inBlock);
    const size_t index = ClassIndex(inBytes);
    FreeBlock* block = static_cast<FreeBlock*>(inBlock);
    if (ThreadCache* threadCache = tCache)
    {
        ClassCache& cache = threadCache->classes[index];
        block->next = cache.list;
        cache.list = block;
        if (++cache.listCount <= ListLimit(index))
            return;
        block = nullptr;
    }
    FreeSlowly(block, index);
}

SmallPoolCounts GetSmallPoolCounts()
{
    SmallPoolCounts counts;
    TheSlabStore().Count(counts);
    for (size_t index = 0; index < kClassCount; ++index)
        counts.blocksOut += TheSizeClass(index).BlocksOut();
    return counts;
}

void ReleaseThreadSmallBlocks() noexcept
{
    if (kRecycle && tCache)
        ReleaseAll(*tCache);
}

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
        DeleteBlock(block);
        return nullptr;
    }
}

RecycledMemory::~RecycledMemory()
{
    ThePool().Give({mData, mCapacity});
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
        ThePool().Give(block);
}

} // namespace tenacore::allocator
