#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "MK/BinaryData.h"
#include "QTByteRange.h"
#include "QTMetadata.h"
#include "tenacore/allocator.h"

namespace QT
{

// One child of a udta atom, pointing into the movie buffer.
struct UserDataItem
{
    uint32_t type = 0;
    const uint8_t* data = nullptr; // payload, behind the 8-byte header
    uint32_t size = 0;             // payload bytes
};

// The atoms of one track, as pointers into the movie buffer. A payload pointer stands 8 bytes
// behind the atom's start; an atom pointer at its size word. Any of them may be null.
struct TrackItem
{
    const uint8_t* tkhd = nullptr;            // payload
    std::vector<const uint8_t*> editList;     // one per kept elst entry, 12 bytes each
    const uint8_t* clef = nullptr;            // atom
    const uint8_t* prof = nullptr;            // atom
    const uint8_t* enof = nullptr;            // atom
    const uint8_t* mdhd = nullptr;            // payload
    const uint8_t* mdhd64 = nullptr;          // payload, version 1 only
    const uint8_t* hdlr = nullptr;            // payload
    const uint8_t* mediaInfoHeader = nullptr; // atom
    const uint8_t* dinf = nullptr;            // atom
    const uint8_t* stsd = nullptr;            // atom
    const uint8_t* stts = nullptr;            // atom
    const uint8_t* stss = nullptr;            // atom
    const uint8_t* stps = nullptr;            // atom
    const uint8_t* stsc = nullptr;            // atom
    const uint8_t* stco = nullptr;            // atom
    const uint8_t* co64 = nullptr;            // atom
    const uint8_t* stsz = nullptr;            // atom
    const uint8_t* sdtp = nullptr;            // atom
    const uint8_t* ctts = nullptr;            // atom
    std::vector<UserDataItem> userData;       // stays empty in every stored item
};

} // namespace QT

// The loaded movie atom and its index of pointers into it. Shared by the sifter, the movie
// and every track; immutable once adopted.
class QTMooVAtom
{
public:
    using RecycledMemory = tenacore::allocator::RecycledMemory;

    QTMooVAtom() = default;

    void Adopt(const uint8_t* inMvhd, const uint8_t* inMvhd64, std::vector<QT::TrackItem> inTrackItems,
               std::vector<QT::UserDataItem> inUserData, QT::MetadataMap inMetadataItems,
               QT::MetadataMap inMetadataKeys);

    uint32_t GetTrackCount() const;
    const QT::TrackItem& GetTrackItem(uint64_t inIndex) const;
    uint32_t GetUserDataCount() const;
    void GetUserData(uint64_t inIndex, MK::BinaryData& outData, uint32_t& outType) const;
    [[nodiscard]] bool FindUserData(uint32_t inType, MK::BinaryData& outData) const;
    uint32_t GetMovieChildAtom(uint32_t inType, MK::BinaryData& outData) const;
    void GetUUIDAtom(std::shared_ptr<RecycledMemory>& outBuffer, const std::array<uint8_t, 16>& inUUID,
                     bool inStripHeader) const;

    const uint8_t* Data() const noexcept { return buffer ? buffer->GetData() : nullptr; }
    uint32_t Size() const noexcept { return buffer ? uint32_t(buffer->GetSize()) : 0; }
    QT::ByteRange Bytes() const noexcept { return {Data(), Size()}; }

    std::shared_ptr<RecycledMemory> buffer;
    const uint8_t* mvhd = nullptr;
    const uint8_t* mvhd64 = nullptr;
    std::vector<QT::TrackItem> trackItems;
    std::vector<QT::UserDataItem> userData;
    QT::MetadataMap metadataItems;
    QT::MetadataMap metadataKeys;
};
