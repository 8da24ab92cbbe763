#pragma once

#include "external_references/QTWinVolumes.h"

namespace qttest
{

// The volume table filled with the given rows while alive, in place of the platform's; the
// platform's rows come back when it goes.
struct InjectedVolumes
{
    explicit InjectedVolumes(QT::WinImpl::VolumeRows inRows)
    {
        previous = QT::WinImpl::WinVolumes::SetRowSource(
            [inRows](QT::WinImpl::VolumeRows& ioRows)
            { ioRows.insert(ioRows.end(), inRows.begin(), inRows.end()); });
        QT::WinImpl::WinVolumes::GetInstance()->RefreshVolumes();
    }
    ~InjectedVolumes()
    {
        QT::WinImpl::WinVolumes::SetRowSource(previous);
        QT::WinImpl::WinVolumes::GetInstance()->RefreshVolumes();
    }
    InjectedVolumes(const InjectedVolumes&) = delete;
    InjectedVolumes& operator=(const InjectedVolumes&) = delete;

    QT::WinImpl::WinVolumes::RowSource previous;
};

// A usable volume: media in it, no floppy.
inline QT::WinImpl::VolumeInfo Volume(const std::u16string& inRoot, const std::u16string& inLabel)
{
    return {inRoot, inLabel, false, true};
}

} // namespace qttest
