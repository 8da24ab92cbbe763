#pragma once

#include <cstdint>
#include <mutex>

#include "tenacore/Export.h"

namespace tenacore::threads
{

// A mutex that its owning thread may take again, with a limit on how long a lock waits.
class TENACORE_API RecursiveMutex
{
public:
    static constexpr uint32_t kWaitForever = 0xFFFFFFFF;

    explicit RecursiveMutex(const char* inName = nullptr) noexcept : mName(inName) {}
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    // Takes the mutex, waiting at most inTimeoutMilliseconds; false when the time ran out. The
    // name is for diagnostics only.
    [[nodiscard]] bool Lock(const char* inName = nullptr, uint32_t inTimeoutMilliseconds = kWaitForever);
    void Unlock();

    const char* Name() const noexcept { return mName; }

private:
    const char* mName;
    std::recursive_timed_mutex mMutex;
};

} // namespace tenacore::threads
