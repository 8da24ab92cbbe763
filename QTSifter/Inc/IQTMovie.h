#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "IQTTrack.h"
#include "MK/BinaryData.h"
#include "QTExport.h"
#include "QTMetadata.h"
#include "QTRect.h"
#include "tenacore/allocator.h"
#include "tenacore/classref.h"

namespace QT
{

// A loaded movie. Every answer is read from the movie atom in memory; the file is not touched.
class QTSIFTER_INTERFACE IQTMovie : public tenacore::classref::Unknown
{
public:
    // The union of the tracks' rectangles.
    virtual void GetMovieBounds(QTRect& outBounds) = 0;
    // A new track object for track inWhichTrack; an index out of range violates the contract.
    virtual void GetIndTrack(tenacore::classref::InterfaceRef<IQTTrack>& outTrack, uint64_t inWhichTrack) = 0;
    // Ticks per second of movie time, from mvhd.
    virtual uint32_t GetMovieTimeScale() = 0;
    // In movie ticks. A version 0 header's 32-bit value is sign-extended.
    virtual int64_t GetMovieDuration() = 0;
    virtual uint32_t GetTrackCount() = 0;
    virtual uint32_t GetMoviePosterTime() = 0;
    // Bytes of the loaded (compacted or expanded) movie atom.
    virtual uint32_t GetMovieAtomSize() = 0;
    virtual uint32_t GetUserDataCount() = 0;
    // Payload and type of the movie's user data item inIndex; an index out of range violates the contract.
    virtual void GetUserData(uint64_t inIndex, MK::BinaryData& outData, uint32_t& outType) = 0;
    // The first non-empty user data item of inType.
    virtual bool FindUserData(uint32_t inType, MK::BinaryData& outData) = 0;
    // The metadata item of inKey, from the keyed or the name-tagged form.
    virtual bool GetMetadataValue(std::string inKey, MetadataValue& outItem) = 0;
    // Where the value of the keyed item inKey lies, as an offset into the loaded movie atom.
    virtual bool GetMetadataValueOffset(std::string inKey, uint32_t& outOffset) = 0;
    // The uuid child of moov with identifier inUUID, whole or (inStripHeader) without its 24-byte head.
    virtual void GetUUIDAtom(std::shared_ptr<tenacore::allocator::RecycledMemory>& outBuffer,
                             const std::array<uint8_t, 16>& inUUID, bool inStripHeader) = 0;
    // File offset of moov; 0 for an expanded compressed movie.
    virtual uint64_t GetMovieAtomOffset() = 0;
    // The first direct child of moov of inType: its payload, with the length of the whole atom.
    virtual uint32_t GetMovieChildAtom(uint32_t inType, MK::BinaryData& outData) = 0;
    // Every metadata item, in key order.
    virtual void GetMetadataItems(MetadataMap& outItems) = 0;
};

} // namespace QT
