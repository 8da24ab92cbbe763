#include "QTWinVolumes.h"

#include "MK/DirectoryChangeMonitor.h"
#include "tenacore/StringCase.h"
#include "tenacore/string.h"

namespace QT::WinImpl
{

namespace
{

// Made once a process from its ASCII text.
char16_t Unit(const char* inText)
{
    return tenacore::string::AsciiToUTF16(inText, 1).front();
}

char16_t Colon()
{
    static const char16_t colon = Unit(":");
    return colon;
}

char16_t Backslash()
{
    static const char16_t backslash = Unit("\\");
    return backslash;
}

char16_t Slash()
{
    static const char16_t slash = Unit("/");
    return slash;
}

std::mutex& SourceMutex()
{
    static std::mutex mutex;
    return mutex;
}

WinVolumes::RowSource& Source()
{
    static WinVolumes::RowSource source;
    return source;
}

WinVolumes::RowSource CurrentSource()
{
    std::lock_guard lock(SourceMutex());
    return Source();
}

tenacore::messaging::MessageID VolumeChangedID()
{
    static const tenacore::messaging::MessageID id =
        tenacore::messaging::HashMessageTypeNameToMessageID(typeid(MK::VolumeChangedMessage).name());
    return id;
}

} // namespace

WinVolumes::WinVolumes()
    : mDriveSeparator(Colon()), mBackslash(Backslash()), mSlash(Slash()), mUnusedDriveSeparator(Colon())
{
    tenacore::messaging::AddRawPtrListener(MK::kStation_DirectoryChange, this);
    MK::DirectoryChangeMonitor::MonitorVolumeChanges();
    RefreshVolumes();
}

WinVolumes::~WinVolumes()
{
    MK::DirectoryChangeMonitor::StopMonitoringVolumeChanges();
}

WinVolumes::RowSource WinVolumes::SetRowSource(RowSource inSource)
{
    std::lock_guard lock(SourceMutex());
    std::swap(Source(), inSource);
    return inSource;
}

// Held for the whole rebuild, slow device queries included, so that a look-up never sees a
// part-built table.
void WinVolumes::RefreshVolumes()
{
    const RowSource source = CurrentSource();
    std::lock_guard lock(mMutex);
    mVolumes.clear();
    if (source)
        source(mVolumes);
    else
        ListPlatformVolumes(mVolumes);
}

bool WinVolumes::IsEligible(const VolumeInfo& inRow, bool inIncludeFloppies) const
{
    return inRow.hasMedia && (!inRow.isFloppy || inIncludeFloppies);
}

std::u16string WinVolumes::FindVolumeRoot(const std::u16string& inVolumeName, bool inIncludeFloppies)
{
    std::lock_guard lock(mMutex);
    std::u16string key = inVolumeName;
    std::erase_if(key, [this](char16_t inUnit) { return inUnit == mBackslash || inUnit == mSlash; });
    tenacore::string::ToLowerCase(key);
    // A drive: the name up to the colon's place in the key, folded, as a root. Roots keep the
    // system's case, so a folded letter meets only a root written in lower case.
    if (const size_t colon = key.find(mDriveSeparator); colon != std::u16string::npos)
    {
        std::u16string root = inVolumeName.substr(0, colon);
        tenacore::string::ToLowerCase(root);
        root += mDriveSeparator;
        root += mBackslash;
        for (const VolumeInfo& row : mVolumes)
            if (IsEligible(row, inIncludeFloppies) && row.rootPath == root)
                return row.rootPath;
        return {};
    }
    for (const VolumeInfo& row : mVolumes)
        if (IsEligible(row, inIncludeFloppies) && row.label == key)
            return row.rootPath;
    return {};
}

void WinVolumes::ReceiveMessage(const tenacore::messaging::Message& inMessage)
{
    if (IsEnabled() && inMessage.GetMessageID() == VolumeChangedID())
        RefreshVolumes();
}

} // namespace QT::WinImpl
