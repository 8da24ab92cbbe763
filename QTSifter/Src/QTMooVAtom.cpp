#include "QTMooVAtom.h"

#include <algorithm>
#include <cstring>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTContract.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"

void QTMooVAtom::Adopt(const uint8_t* inMvhd, const uint8_t* inMvhd64,
                       std::vector<QT::TrackItem> inTrackItems, std::vector<QT::UserDataItem> inUserData,
                       QT::MetadataMap inMetadataItems, QT::MetadataMap inMetadataKeys)
{
    metadataItems = std::move(inMetadataItems);
    metadataKeys = std::move(inMetadataKeys);
    mvhd = inMvhd;
    mvhd64 = inMvhd64;
    trackItems = std::move(inTrackItems);
    userData = std::move(inUserData);
}

uint32_t QTMooVAtom::GetTrackCount() const
{
    return uint32_t(trackItems.size());
}

const QT::TrackItem& QTMooVAtom::GetTrackItem(uint64_t inIndex) const
{
    QT::Require(QT::ContractSites::kGetTrackItem, [&] { return inIndex < GetTrackCount(); });
    return trackItems[inIndex];
}

uint32_t QTMooVAtom::GetUserDataCount() const
{
    return uint32_t(userData.size());
}

void QTMooVAtom::GetUserData(uint64_t inIndex, MK::BinaryData& outData, uint32_t& outType) const
{
    QT::Require(QT::ContractSites::kGetUserData, [&] { return inIndex < GetUserDataCount(); });
    const QT::UserDataItem& item = userData[inIndex];
    outData = MK::BinaryData(item.data, item.size);
    outType = item.type;
}

bool QTMooVAtom::FindUserData(uint32_t inType, MK::BinaryData& outData) const
{
    auto found = std::find_if(userData.begin(), userData.end(),
                              [inType](const QT::UserDataItem& inItem)
                              { return inItem.type == inType && inItem.size != 0; });
    if (found == userData.end())
        return false;
    outData = MK::BinaryData(found->data, found->size);
    return true;
}

// The payload with the length of the whole atom, so 8 bytes past its end; never past the buffer.
uint32_t QTMooVAtom::GetMovieChildAtom(uint32_t inType, MK::BinaryData& outData) const
{
    const uint8_t* data = Data();
    auto children = QT::ChildAtomScanner::InBuffer(data, Size(), QT::kAtomHeaderSize);
    QT::ChildAtom atom;
    while (children.Next(atom))
    {
        if (atom.type == inType)
        {
            const uint8_t* payload = data + atom.position + QT::kAtomHeaderSize;
            outData = MK::BinaryData(payload, std::min<size_t>(atom.size, Bytes().Available(payload)));
            return QT::kQTSuccess;
        }
    }
    return QT::kQTErrNotFound;
}

void QTMooVAtom::GetUUIDAtom(std::shared_ptr<RecycledMemory>& outBuffer,
                             const std::array<uint8_t, 16>& inUUID, bool inStripHeader) const
{
    const uint8_t* data = Data();
    auto children = QT::ChildAtomScanner::InBuffer(data, Size(), QT::kAtomHeaderSize);
    QT::ChildAtom atom;
    while (children.Next(atom))
    {
        const uint8_t* start = data + atom.position;
        if (atom.type != QT::kUuidAtom || !Bytes().Contains(start, QT::kAtomHeaderSize, inUUID.size()) ||
            std::memcmp(start + QT::kAtomHeaderSize, inUUID.data(), inUUID.size()) != 0)
            continue;
        uint32_t length = atom.size;
        if (inStripHeader && length >= 25)
        {
            length -= 24;
            start += 24;
        }
        outBuffer = RecycledMemory::Create(length);
        if (outBuffer)
            std::memcpy(outBuffer->GetData(), start, length);
    }
}
