#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "KSL/Singleton.h"
#include "QTVolumeInfo.h"
#include "tenacore/messaging.h"

namespace QT::WinImpl
{

// The mounted volumes with their labels, for finding the root of a volume that a recorded path
// names. One per process, made on first use; rebuilt when volumes change.
class WinVolumes : public tenacore::messaging::Listener,
                   public KSL::Singleton<WinVolumes, std::shared_ptr<WinVolumes>>
{
public:
    WinVolumes();
    ~WinVolumes() override;

    // The root of the first usable volume of that name or drive, or empty. Slashes in the name
    // are ignored and its case too.
    std::u16string FindVolumeRoot(const std::u16string& inVolumeName, bool inIncludeFloppies);
    void RefreshVolumes();
    // Rebuilds on a VolumeChangedMessage.
    void ReceiveMessage(const tenacore::messaging::Message& inMessage) override;

    // Where the rows come from: the platform's own unless a host or test gives others. Takes
    // effect at the next rebuild; gives the source it replaces (empty for the platform's).
    using RowSource = std::function<void(VolumeRows&)>;
    static RowSource SetRowSource(RowSource inSource);

private:
    // The rows whose root a name or drive may give.
    bool IsEligible(const VolumeInfo& inRow, bool inIncludeFloppies) const;

    std::mutex mMutex;
    VolumeRows mVolumes;
    const char16_t mDriveSeparator;
    const char16_t mBackslash;
    const char16_t mSlash;
    const char16_t mUnusedDriveSeparator;
};

} // namespace QT::WinImpl
