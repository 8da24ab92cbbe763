#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

#include "tenacore/Export.h"

namespace tenacore::debug
{

using TraceSink = std::function<void(int inLevel, std::string_view inCategory, std::string_view inText)>;

// Raised by every change of the trace settings, so that callers may cache TraceEnabled.
TENACORE_API int32_t TraceChangeCount();

// True when inCategory is enabled at inLevel. With inRequireSink, a category counts as
// enabled only while a sink is installed.
TENACORE_API bool TraceEnabled(std::string_view inCategory, int inLevel, bool inRequireSink);

// Hands one message to the sink, if any.
TENACORE_API void Trace(int inLevel, std::string_view inCategory, std::string_view inText);

// Host settings. Each call raises the change count.
TENACORE_API void SetTraceSink(TraceSink inSink);
// Messages of inCategory at levels up to inMaxLevel are enabled; a negative level disables the category.
TENACORE_API void SetTraceLevel(std::string_view inCategory, int inMaxLevel);
TENACORE_API void ResetTraceSettings();

// How often TraceEnabled has been asked since the process started; lets tests see the caches at work.
TENACORE_API uint64_t TraceEnabledQueryCount();

// Per-message-site cache of TraceEnabled. A site asks again only when the change count has moved,
// so a disabled message costs one exchange and builds no text. Racing threads at most ask once more.
class TraceSiteCache
{
public:
    bool IsEnabled(std::string_view inCategory, int inLevel)
    {
        // Relaxed: the two values need no order between them, since a thread that sees a stale
        // enablement merely traces, or skips, one message around a change of settings.
        const int32_t now = TraceChangeCount();
        if (mSeenChangeCount.exchange(now, std::memory_order_relaxed) != now)
            mEnabled.store(TraceEnabled(inCategory, inLevel, true), std::memory_order_relaxed);
        return mEnabled.load(std::memory_order_relaxed);
    }

private:
    std::atomic<int32_t> mSeenChangeCount{-1};
    std::atomic<bool> mEnabled{false};
};

} // namespace tenacore::debug
