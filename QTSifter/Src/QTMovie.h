#pragma once

#include <memory>

#include "IQTMovie.h"
#include "QTMooVAtom.h"

namespace QT
{

// A thin view over the shared movie atom.
class QTMovie : public IQTMovie
{
public:
    void* QueryInterface(std::string_view inName) override;

    void Init(std::shared_ptr<QTMooVAtom> inMooVAtom, uint64_t inMovieAtomOffset);

    void GetMovieBounds(QTRect& outBounds) override;
    void GetIndTrack(tenacore::classref::InterfaceRef<IQTTrack>& outTrack, uint64_t inWhichTrack) override;
    uint32_t GetMovieTimeScale() override;
    int64_t GetMovieDuration() override;
    uint32_t GetTrackCount() override;
    uint32_t GetMoviePosterTime() override;
    uint32_t GetMovieAtomSize() override;
    uint32_t GetUserDataCount() override;
    void GetUserData(uint64_t inIndex, MK::BinaryData& outData, uint32_t& outType) override;
    bool FindUserData(uint32_t inType, MK::BinaryData& outData) override;
    bool GetMetadataValue(std::string inKey, MetadataValue& outItem) override;
    bool GetMetadataValueOffset(std::string inKey, uint32_t& outOffset) override;
    void GetUUIDAtom(std::shared_ptr<tenacore::allocator::RecycledMemory>& outBuffer,
                     const std::array<uint8_t, 16>& inUUID, bool inStripHeader) override;
    uint64_t GetMovieAtomOffset() override;
    uint32_t GetMovieChildAtom(uint32_t inType, MK::BinaryData& outData) override;
    void GetMetadataItems(MetadataMap& outItems) override;

private:
    bool IsVersion1() const;

    std::shared_ptr<QTMooVAtom> mooVAtom;
    uint64_t movieAtomOffset = 0;
};

} // namespace QT
