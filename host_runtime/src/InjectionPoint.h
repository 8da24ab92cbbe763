#pragma once

#include <functional>
#include <mutex>
#include <utility>

namespace tenacore::detail
{

// A hook through which tests fail a call of the runtime on demand: the installed injector is asked
// at each step and says whether that step fails. Callers may be on any thread.
template <typename Step>
class InjectionPoint
{
public:
    using Injector = std::function<bool(Step)>;

    bool Fails(Step inStep)
    {
        std::lock_guard lock(mMutex);
        return mInjector && mInjector(inStep);
    }

    // Installs inInjector and gives back the one it replaces.
    Injector Replace(Injector inInjector)
    {
        std::lock_guard lock(mMutex);
        std::swap(mInjector, inInjector);
        return inInjector;
    }

private:
    std::mutex mMutex;
    Injector mInjector;
};

} // namespace tenacore::detail
