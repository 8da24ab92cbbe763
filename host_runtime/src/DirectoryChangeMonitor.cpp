#include "MK/DirectoryChangeMonitor.h"

#include <atomic>

namespace MK
{

namespace
{

std::atomic<int>& MonitorCount()
{
    static std::atomic<int> count{0};
    return count;
}

} // namespace

void DirectoryChangeMonitor::MonitorVolumeChanges()
{
    ++MonitorCount();
}

void DirectoryChangeMonitor::StopMonitoringVolumeChanges()
{
    int count = MonitorCount().load();
    while (count > 0 && !MonitorCount().compare_exchange_weak(count, count - 1))
    {
    }
}

bool DirectoryChangeMonitor::IsMonitoringVolumeChanges()
{
    return MonitorCount().load() > 0;
}

bool DirectoryChangeMonitor::NotifyVolumesChanged()
{
    if (!IsMonitoringVolumeChanges())
        return false;
    tenacore::messaging::Post(kStation_DirectoryChange, VolumeChangedMessage());
    return true;
}

} // namespace MK
