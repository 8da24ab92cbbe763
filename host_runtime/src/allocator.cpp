#include "tenacore/allocator.h"

namespace tenacore::allocator
{

std::shared_ptr<RecycledMemory> RecycledMemory::Create(size_t inSize)
{
    // Left uninitialised: every caller fills the block at once.
    std::unique_ptr<uint8_t[]> data(new (std::nothrow) uint8_t[inSize == 0 ? 1 : inSize]);
    if (!data)
        return nullptr;
    try
    {
        return std::make_shared<RecycledMemory>(std::move(data), inSize);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

} // namespace tenacore::allocator
