#include "tenacore/threads.h"

#include <chrono>

namespace tenacore::threads
{

bool RecursiveMutex::Lock(const char*, uint32_t inTimeoutMilliseconds)
{
    if (inTimeoutMilliseconds == kWaitForever)
    {
        mMutex.lock();
        return true;
    }
    return mMutex.try_lock_for(std::chrono::milliseconds(inTimeoutMilliseconds));
}

void RecursiveMutex::Unlock()
{
    mMutex.unlock();
}

} // namespace tenacore::threads
