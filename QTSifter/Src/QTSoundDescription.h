#pragma once

#include <cstdint>
#include <vector>

#include "QTByteRange.h"

namespace QT
{

// Fields of a sound description, from the entry's size word. Versions 0 and 1 share the first
// layout; version 2 keeps offsets 0 to 23 and recognises itself by constants.
inline constexpr uint32_t kSoundFormatFromEntry = 4;
inline constexpr uint32_t kSoundChannelsFromEntry = 24;
inline constexpr uint32_t kSoundSampleSizeFromEntry = 26;
inline constexpr uint32_t kSoundPacketSizeFromEntry = 30;
inline constexpr uint32_t kSoundRateFromEntry = 32; // unsigned 16.16
inline constexpr uint32_t kSoundVersion1ExtensionsFromEntry = 52;
inline constexpr uint32_t kSoundVersion0ExtensionsFromEntry = 36;
inline constexpr uint32_t kSound2RateFromEntry = 40; // f64
inline constexpr uint32_t kSound2ChannelsFromEntry = 48;
inline constexpr uint32_t kSound2MarkerFromEntry = 52;
inline constexpr uint32_t kSound2BitsFromEntry = 56;
inline constexpr uint32_t kSound2FlagsFromEntry = 60;
inline constexpr uint32_t kSound2BytesPerPacketFromEntry = 64;
inline constexpr uint32_t kSound2FramesPerPacketFromEntry = 68;
inline constexpr uint32_t kSound2ExtensionsFromEntry = 72;

// The format flags of a version 2 entry, which FormatFromBitDepth takes.
inline constexpr uint32_t kSoundFlagFloat = 1;
inline constexpr uint32_t kSoundFlagBigEndian = 2;
inline constexpr uint32_t kSoundFlagSignedInteger = 4;

// The normalised format of samples of inBits bits with inFlags; "unkn" for a form that cannot be
// expressed, with a report where the form is contradictory or the depth unknown.
uint32_t FormatFromBitDepth(uint32_t inBits, uint32_t inFlags);

// The first extension atom of inType in the entry at inAtom: from inBaseOffset, or from 72 in a
// version 2 entry. A zero size or an atom past the entry's end ends the walk with null, and a
// header is read only with 8 bytes left inside the entry and inBytes.
[[nodiscard]] const uint8_t* FindExtensionAtom(const ByteRange& inBytes, const uint8_t* inAtom,
                                               uint32_t inType, uint32_t inBaseOffset);

// A read-only view of one sound description entry in the movie buffer. Every answer is computed
// afresh from the entry; nothing is read outside the entry or the buffer, a field beyond either
// reading as 0.
class SoundDescription
{
public:
    SoundDescription(const ByteRange& inBytes, const uint8_t* inAtom);

    int64_t GetSampleRate() const;
    int32_t GetNumChannels() const;
    int32_t GetBitsPerSample() const;
    uint32_t GetPackedBitsPerSample() const;
    uint32_t GetDataFormat() const;
    // For each of left, right, centre, LFE, left and right surround, the file channel that holds
    // it; false when the entry has no usable chan, outUnsupported when its layout is not mapped.
    [[nodiscard]] bool GetChannelMap(std::vector<int32_t>& outMap, bool& outUnsupported) const;

private:
    uint16_t U16(uint32_t inOffset) const noexcept { return mEntry.U16Or0(mDescription, inOffset); }
    uint32_t U32(uint32_t inOffset) const noexcept { return mEntry.U32Or0(mDescription, inOffset); }
    int16_t SampleSize() const noexcept { return int16_t(U16(kSoundSampleSizeFromEntry)); }
    [[nodiscard]] bool IsLittleEndian() const;
    uint32_t ClassicFormat() const;
    uint32_t IsoPCMFormat(uint32_t inFourCC) const;
    int64_t Version2SampleRate() const;

    // The entry's bytes: its size word's worth, cut at the end of the buffer.
    ByteRange mEntry;
    bool mIsVersion2 = false;
    const uint8_t* mDescription = nullptr;
    const uint8_t* mDescription2 = nullptr;
};

} // namespace QT
