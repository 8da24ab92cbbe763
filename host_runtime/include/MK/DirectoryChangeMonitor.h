#pragma once

#include "tenacore/Export.h"
#include "tenacore/messaging.h"

namespace MK
{

// The station on which changes of folders and volumes are posted.
inline constexpr const char* kStation_DirectoryChange = "MK.DirectoryChange";

// Posted on kStation_DirectoryChange when volumes were mounted or removed.
class VolumeChangedMessage : public tenacore::messaging::TypedMessage<VolumeChangedMessage>
{
};

// Posts VolumeChangedMessage while anyone wants it. The runtime watches nothing itself: the host
// says when its platform reported a change, and the message goes out on that thread.
class TENACORE_API DirectoryChangeMonitor
{
public:
    // Counted: monitoring lasts until every start has been stopped.
    static void MonitorVolumeChanges();
    static void StopMonitoringVolumeChanges();
    static bool IsMonitoringVolumeChanges();
    // Posts the message if monitoring is on; gives whether it did.
    static bool NotifyVolumesChanged();
};

} // namespace MK
