#pragma once

#include <atomic>
#include <cstdint>
#include <system_error>

#include "tenacore/threads.h"

namespace KSL
{

// A class with one recursive mutex of its own, made when the program loads.
template <class T>
class SyncronizedClass
{
protected:
    static tenacore::threads::RecursiveMutex& ClassMutex() noexcept { return sClassMutex; }

private:
    static inline tenacore::threads::RecursiveMutex sClassMutex;
};

// The one instance of T, made on first use under the class mutex and held in Holder (a shared
// pointer) until the program ends.
template <class T, class Holder>
class Singleton : public SyncronizedClass<T>
{
public:
    static constexpr uint32_t kCreationWaitMilliseconds = 60000;

    // A new counted reference to the instance.
    static Holder GetInstance()
    {
        Holder& holder = Held();
        if (!sCreated.load(std::memory_order_acquire))
            Create(holder);
        return holder;
    }

private:
    static Holder& Held()
    {
        static Holder holder;
        return holder;
    }

    static void Create(Holder& ioHolder)
    {
        tenacore::threads::RecursiveMutex& mutex = SyncronizedClass<T>::ClassMutex();
        if (!mutex.Lock(nullptr, kCreationWaitMilliseconds))
            throw std::system_error(std::make_error_code(std::errc::timed_out), "KSL::Singleton");
        struct Unlock
        {
            tenacore::threads::RecursiveMutex& mutex;
            ~Unlock() { mutex.Unlock(); }
        } unlock{mutex};
        if (sCreated.load(std::memory_order_acquire))
            return;
        ioHolder = Holder(new T);
        sCreated.exchange(true, std::memory_order_acq_rel);
    }

    static inline std::atomic<bool> sCreated{false};
};

} // namespace KSL
