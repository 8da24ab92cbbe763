#include "tenacore/trace.h"

#include <map>
#include <mutex>
#include <string>

namespace tenacore::debug
{

namespace
{

struct TraceSettings
{
    std::mutex mutex;
    TraceSink sink;
    std::map<std::string, int, std::less<>> maxLevels;
    std::atomic<int32_t> changeCount{0};
    std::atomic<uint64_t> enabledQueries{0};
};

TraceSettings& Settings()
{
    static TraceSettings settings;
    return settings;
}

} // namespace

int32_t TraceChangeCount()
{
    return Settings().changeCount.load();
}

bool TraceEnabled(std::string_view inCategory, int inLevel, bool inRequireSink)
{
    TraceSettings& settings = Settings();
    settings.enabledQueries.fetch_add(1);
    std::lock_guard lock(settings.mutex);
    if (inRequireSink && !settings.sink)
        return false;
    auto found = settings.maxLevels.find(inCategory);
    return found != settings.maxLevels.end() && inLevel <= found->second;
}

void Trace(int inLevel, std::string_view inCategory, std::string_view inText)
{
    TraceSink sink;
    {
        std::lock_guard lock(Settings().mutex);
        sink = Settings().sink;
    }
    if (sink)
        sink(inLevel, inCategory, inText);
}

void SetTraceSink(TraceSink inSink)
{
    TraceSettings& settings = Settings();
    std::lock_guard lock(settings.mutex);
    settings.sink = std::move(inSink);
    settings.changeCount.fetch_add(1);
}

void SetTraceLevel(std::string_view inCategory, int inMaxLevel)
{
    TraceSettings& settings = Settings();
    std::lock_guard lock(settings.mutex);
    if (inMaxLevel < 0)
    {
        auto found = settings.maxLevels.find(inCategory);
        if (found != settings.maxLevels.end())
            settings.maxLevels.erase(found);
    }
    else
        settings.maxLevels[std::string(inCategory)] = inMaxLevel;
    settings.changeCount.fetch_add(1);
}

void ResetTraceSettings()
{
    TraceSettings& settings = Settings();
    std::lock_guard lock(settings.mutex);
    settings.sink = nullptr;
    settings.maxLevels.clear();
    settings.changeCount.fetch_add(1);
}

uint64_t TraceEnabledQueryCount()
{
    return Settings().enabledQueries.load();
}

} // namespace tenacore::debug
