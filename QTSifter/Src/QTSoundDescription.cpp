#include "QTSoundDescription.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTTrace.h"

namespace QT
{

namespace
{

tenacore::debug::TraceSiteCache gSignedAndFloatSite;
tenacore::debug::TraceSiteCache gUnsupportedDepthSite;
tenacore::debug::TraceSiteCache gPcmCMismatchSite;
tenacore::debug::TraceSiteCache gPcmCUnsupportedDepthSite;

// The reader's messages end in a line feed alone.
template <class... Parts>
void TraceSound(tenacore::debug::TraceSiteCache& ioSite, const Parts&... inParts)
{
    TraceLineEndedBy(ioSite, kSoundDescriptionTraceCategory, TraceLineEnd::LineFeed, inParts...);
}

// Fields of the extension atoms, from the atom's size word.
constexpr uint32_t kEndaLittleEndianFromAtom = 8;
constexpr uint32_t kPcmCFlagsFromAtom = 12;
constexpr uint32_t kPcmCDepthFromAtom = 13;
constexpr uint32_t kSratRateFromAtom = 12;
constexpr uint32_t kChanLayoutTagFromAtom = 12;
constexpr uint32_t kChanBitmapFromAtom = 16;
constexpr uint32_t kChanDescriptionCountFromAtom = 20;
constexpr uint32_t kChanDescriptionsFromAtom = 24;
constexpr uint32_t kChanDescriptionSize = 20;

// The entry's bytes: no more than its size word says, and none past the buffer.
ByteRange EntryBytes(const ByteRange& inBytes, const uint8_t* inAtom)
{
    const size_t available = inBytes.Available(inAtom);
    if (available < 4)
        return {inAtom, 0};
    return {inAtom, std::min<size_t>(BE::U32(inAtom), available)};
}

// Recognised by its constants alone: the version word plays no part.
bool IsVersion2(const ByteRange& inEntry, const uint8_t* inAtom)
{
    return int32_t(inEntry.U32Or0(inAtom, kAtomSizeFromAtom)) >= 52 &&
           inEntry.U16Or0(inAtom, kSoundPacketSizeFromEntry) == 0 &&
           inEntry.U16Or0(inAtom, kSoundSampleSizeFromEntry) == 16 &&
           inEntry.U16Or0(inAtom, kSoundChannelsFromEntry) == 3 &&
           inEntry.U32Or0(inAtom, kSoundRateFromEntry) == 0x00010000 &&
           inEntry.U32Or0(inAtom, kSound2MarkerFromEntry) == 0x7F000000;
}

// The size word as it lies in memory, taken little-endian. The guards of pcmC and srat compare
// this with their minimum, so that nearly every atom passes; the real bound stands beside them.
uint32_t SizeWordAsLittleEndian(const uint8_t* inAtom)
{
    return uint32_t(inAtom[0]) | (uint32_t(inAtom[1]) << 8) | (uint32_t(inAtom[2]) << 16) |
           (uint32_t(inAtom[3]) << 24);
}

// An extension atom whose size covers inBytes bytes: its fields up to there lie inside it.
bool Holds(const uint8_t* inAtom, uint32_t inBytes)
{
    return inAtom && BE::U32(inAtom) >= inBytes;
}

} // namespace

uint32_t FormatFromBitDepth(uint32_t inBits, uint32_t inFlags)
{
    const bool isFloat = (inFlags & kSoundFlagFloat) != 0;
    const bool isBigEndian = (inFlags & kSoundFlagBigEndian) != 0;
    const bool isSigned = (inFlags & kSoundFlagSignedInteger) != 0;
    if (isFloat && isSigned)
    {
        TraceSound(gSignedAndFloatSite,
                   "QuickTime audio format claims signed int and floating point simultaneously.");
        return kAudioFormatUnknown;
    }
    switch (inBits)
    {
    case 8:
        return isSigned ? kAudioFormatSigned8 : kAudioFormatUnsigned8;
    case 16:
        return isFloat ? kAudioFormatUnknown : isBigEndian ? kAudioFormatSigned16BE : kAudioFormatSigned16LE;
    case 24:
        return isFloat ? kAudioFormatUnknown : isBigEndian ? kAudioFormatSigned24BE : kAudioFormatSigned24LE;
    case 32:
        if (isFloat)
            return isBigEndian ? kAudioFormatFloat32BE : kAudioFormatFloat32LE;
        return isBigEndian ? kAudioFormatSigned32BE : kAudioFormatSigned32LE;
    case 64:
        if (!isFloat)
            return kAudioFormatUnknown;
        return isBigEndian ? kAudioFormatFloat64BE : kAudioFormatFloat64LE;
    default:
        TraceSound(gUnsupportedDepthSite, "Unsupported QuickTime audio bit depth: ", inBits);
        return kAudioFormatUnknown;
    }
}

const uint8_t* FindExtensionAtom(const ByteRange& inBytes, const uint8_t* inAtom, uint32_t inType,
                                 uint32_t inBaseOffset)
{
    const ByteRange entry = EntryBytes(inBytes, inAtom);
    const uint32_t size = inBytes.U32Or0(inAtom, kAtomSizeFromAtom);
    if (size <= inBaseOffset)
        return nullptr;
    const uint32_t start = IsVersion2(entry, inAtom) ? kSound2ExtensionsFromEntry : inBaseOffset;
    // Measured to the entry's end, and never past the buffer's.
    const size_t end = entry.Available(inAtom);
    auto atoms =
        ChildAtomScanner::InContainer(inAtom, uint32_t(end), start, end, {.minBytesLeft = kAtomHeaderSize});
    ChildAtom atom;
    while (atoms.Next(atom))
        if (atom.type == inType)
            return inAtom + atom.position;
    return nullptr;
}

SoundDescription::SoundDescription(const ByteRange& inBytes, const uint8_t* inAtom)
    : mEntry(EntryBytes(inBytes, inAtom)), mIsVersion2(IsVersion2(mEntry, inAtom)), mDescription(inAtom),
      mDescription2(inAtom)
{
}

// Only in a wave at 52, never in one at 36: an enda of non-zero value.
bool SoundDescription::IsLittleEndian() const
{
    if (U32(kAtomSizeFromAtom) <= kSoundVersion1ExtensionsFromEntry)
        return false;
    const uint8_t* wave =
        FindExtensionAtom(mEntry, mDescription, kWaveAtom, kSoundVersion1ExtensionsFromEntry);
    if (!wave)
        return false;
    const uint32_t waveSize = BE::U32(wave);
    auto children = ChildAtomScanner::InContainer(wave, waveSize, kAtomHeaderSize, waveSize,
                                                  {.minBytesLeft = kAtomHeaderSize});
    ChildAtom atom;
    while (children.Next(atom))
    {
        if (atom.type != kEndaAtom)
            continue;
        const uint8_t* enda = wave + atom.position;
        return Holds(enda, kEndaLittleEndianFromAtom + 2) && BE::U16(enda + kEndaLittleEndianFromAtom) != 0;
    }
    return false;
}

uint32_t SoundDescription::GetDataFormat() const
{
    const uint32_t fourCC = U32(kSoundFormatFromEntry);
    if (mIsVersion2)
    {
        if (fourCC != kLinearPCMFormat)
            return fourCC;
        return FormatFromBitDepth(mEntry.U32Or0(mDescription2, kSound2BitsFromEntry),
                                  mEntry.U32Or0(mDescription2, kSound2FlagsFromEntry));
    }
    if (fourCC == kIntegerPCMFormat || fourCC == kFloatPCMFormat)
        return IsoPCMFormat(fourCC);
    return ClassicFormat();
}

// The fourcc and sample size of a version 0 or 1 entry, with enda's byte order where it counts.
uint32_t SoundDescription::ClassicFormat() const
{
    const uint32_t fourCC = U32(kSoundFormatFromEntry);
    const bool little = IsLittleEndian();
    const int16_t bits = SampleSize();
    switch (fourCC)
    {
    case kLinearPCMFormat:
    case kLinearPCMReversedFormat:
        switch (bits)
        {
        case 16:
            return little ? kAudioFormatSigned16LE : kAudioFormatSigned16BE;
        case 24:
            return little ? kAudioFormatSigned24LE : kAudioFormatSigned24BE;
        case 32:
            return little ? kAudioFormatSigned32LE : kAudioFormatSigned32BE;
        default:
            return kAudioFormatUnknown;
        }
    case kAudioFormatUnsigned8:
        return kAudioFormatUnsigned8;
    // twos and sowt take their byte order from the fourcc alone.
    case kSignedBigEndianFormat:
        return bits == 8 ? kAudioFormatSigned8 : bits == 24 ? kAudioFormatSigned24BE : kAudioFormatSigned16BE;
    case kSignedLittleEndianFormat:
        return bits == 8 ? kAudioFormatSigned8 : bits == 24 ? kAudioFormatSigned24LE : kAudioFormatSigned16LE;
    case kAudioFormatFloat32BE:
        return little ? kAudioFormatFloat32LE : kAudioFormatFloat32BE;
    case kAudioFormatFloat64BE:
        return little ? kAudioFormatFloat64LE : kAudioFormatFloat64BE;
    case kAudioFormatSigned24BE:
        return little ? kAudioFormatSigned24LE : kAudioFormatSigned24BE;
    case kAudioFormatSigned32BE:
        return little ? kAudioFormatSigned32LE : kAudioFormatSigned32BE;
    default:
        return fourCC;
    }
}

// ipcm and fpcm: pcmC's byte order and depth win over enda and the sample size.
uint32_t SoundDescription::IsoPCMFormat(uint32_t inFourCC) const
{
    uint32_t flags = inFourCC == kFloatPCMFormat ? kSoundFlagFloat : kSoundFlagSignedInteger;
    const uint32_t sampleSize = uint32_t(int32_t(SampleSize()));
    const uint8_t* pcmC =
        FindExtensionAtom(mEntry, mDescription, kPcmCAtom, kSoundVersion0ExtensionsFromEntry);
    if (!pcmC || SizeWordAsLittleEndian(pcmC) < 14 || !Holds(pcmC, kPcmCDepthFromAtom + 1))
    {
        if (!IsLittleEndian())
            flags |= kSoundFlagBigEndian;
        return FormatFromBitDepth(sampleSize, flags);
    }
    if ((pcmC[kPcmCFlagsFromAtom] & 1) == 0)
        flags |= kSoundFlagBigEndian;
    const uint8_t depth = pcmC[kPcmCDepthFromAtom];
    // The depth goes into the messages as the byte itself.
    if (depth > 64 || depth % 8 != 0)
    {
        TraceSound(gPcmCUnsupportedDepthSite,
                   "QuickTime audio format pcmC unsupported bit depth: ", char(depth));
        return FormatFromBitDepth(sampleSize, flags);
    }
    if (depth == 0)
        return FormatFromBitDepth(sampleSize, flags);
    if (sampleSize != 0 && sampleSize != depth)
        TraceSound(gPcmCMismatchSite,
                   "QuickTime audio format pcmC bit depth mismatch: ", int32_t(SampleSize()), " vs ",
                   char(depth));
    return FormatFromBitDepth(depth, flags);
}

int32_t SoundDescription::GetNumChannels() const
{
    if (mIsVersion2)
        return int32_t(mEntry.U32Or0(mDescription2, kSound2ChannelsFromEntry));
    return int16_t(U16(kSoundChannelsFromEntry));
}

int32_t SoundDescription::GetBitsPerSample() const
{
    if (mIsVersion2)
        return int32_t(mEntry.U32Or0(mDescription2, kSound2BitsFromEntry));
    const int32_t bits = SampleSize();
    if (bits != 16)
        return bits;
    // 16 may be a placeholder: the format tells.
    switch (GetDataFormat())
    {
    case kAudioFormatSigned32BE:
    case kAudioFormatSigned32LE:
    case kAudioFormatFloat32BE:
    case kAudioFormatFloat32LE:
        return 32;
    case kAudioFormatSigned24BE:
    case kAudioFormatSigned24LE:
        return 24;
    case kAudioFormatFloat64BE:
    case kAudioFormatFloat64LE:
        return 64;
    default:
        return 16;
    }
}

uint32_t SoundDescription::GetPackedBitsPerSample() const
{
    if (!mIsVersion2)
        return uint32_t(GetBitsPerSample());
    const uint32_t bytes = mEntry.U32Or0(mDescription2, kSound2BytesPerPacketFromEntry);
    const uint32_t frames = mEntry.U32Or0(mDescription2, kSound2FramesPerPacketFromEntry);
    const uint32_t channels = mEntry.U32Or0(mDescription2, kSound2ChannelsFromEntry);
    if (bytes == 0 || frames == 0 || channels == 0)
        return mEntry.U32Or0(mDescription2, kSound2BitsFromEntry);
    return uint32_t(bytes / frames * 8u) / channels;
}

// Truncated toward zero; a NaN gives 0 and a rate beyond a 64-bit integer the nearest one.
int64_t SoundDescription::Version2SampleRate() const
{
    const uint64_t bits = mEntry.U64Or0(mDescription2, kSound2RateFromEntry);
    double rate;
    std::memcpy(&rate, &bits, sizeof rate);
    if (std::isnan(rate))
        return 0;
    constexpr double kLimit = 9223372036854775808.0; // 2^63
    if (rate >= kLimit)
        return std::numeric_limits<int64_t>::max();
    if (rate <= -kLimit)
        return std::numeric_limits<int64_t>::min();
    return int64_t(rate);
}

int64_t SoundDescription::GetSampleRate() const
{
    if (mIsVersion2)
        return Version2SampleRate();
    const uint8_t* srat =
        FindExtensionAtom(mEntry, mDescription, kSratAtom, kSoundVersion0ExtensionsFromEntry);
    if (!srat)
        srat = FindExtensionAtom(mEntry, mDescription, kSratAtom, kSoundVersion1ExtensionsFromEntry);
    if (srat && SizeWordAsLittleEndian(srat) >= 16 && Holds(srat, kSratRateFromAtom + 4))
    {
        const uint32_t rate = BE::U32(srat + kSratRateFromAtom);
        // Rates that fit the fixed-point field are read from it.
        if (rate > 0x10000)
            return rate;
    }
    return U32(kSoundRateFromEntry) >> 16;
}

bool SoundDescription::GetChannelMap(std::vector<int32_t>& outMap, bool& outUnsupported) const
{
    outUnsupported = false;
    const uint8_t* chan =
        FindExtensionAtom(mEntry, mDescription, kChanAtom, kSoundVersion1ExtensionsFromEntry);
    // A chan too short for its layout tag is as good as none.
    if (!Holds(chan, kChanLayoutTagFromAtom + 4))
        return false;
    const ByteRange atom(chan, BE::U32(chan));
    auto fill = [&outMap](std::initializer_list<int32_t> inOrder)
    {
        outMap.resize(inOrder.size());
        std::copy(inOrder.begin(), inOrder.end(), outMap.begin());
        return true;
    };
    switch (atom.U32Or0(chan, kChanLayoutTagFromAtom))
    {
    case 0:
        break;
    case 0x00010000:
        if (atom.U32Or0(chan, kChanBitmapFromAtom) == 0x3F)
            return fill({0, 1, 2, 3, 4, 5});
        outUnsupported = true;
        return true;
    case 0x00790006:
        return fill({0, 1, 2, 3, 4, 5});
    case 0x007A0006:
        return fill({0, 1, 4, 5, 2, 3});
    case 0x007B0006:
        return fill({0, 2, 1, 5, 3, 4});
    case 0x007C0006:
        return fill({1, 2, 0, 5, 3, 4});
    default:
        outUnsupported = true;
        return true;
    }
    // Channel descriptions: a count that is not the channel count is as good as no chan.
    const uint32_t count = atom.U32Or0(chan, kChanDescriptionCountFromAtom);
    if (count != uint32_t(GetNumChannels()))
        return false;
    if (count != 6)
    {
        outUnsupported = true;
        return true;
    }
    outMap.resize(6);
    std::fill(outMap.begin(), outMap.end(), -1);
    for (uint32_t i = 0; i < 6; ++i)
    {
        // A label outside the atom is as good as missing.
        const uint64_t at = kChanDescriptionsFromAtom + uint64_t(kChanDescriptionSize) * i;
        if (!atom.Contains(chan, at, 4))
            continue;
        const uint32_t label = BE::U32(chan + at);
        if (label >= 1 && label <= 6)
            outMap[label - 1] = int32_t(i);
    }
    return true;
}

} // namespace QT
