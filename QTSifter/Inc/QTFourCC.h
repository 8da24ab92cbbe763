#pragma once

#include <cstdint>
#include <string>

namespace QT
{

// A fourcc as the u32 that its four characters make in big-endian order.
constexpr uint32_t FourCC(const char (&inText)[5])
{
    return (uint32_t(uint8_t(inText[0])) << 24) | (uint32_t(uint8_t(inText[1])) << 16) |
           (uint32_t(uint8_t(inText[2])) << 8) | uint32_t(uint8_t(inText[3]));
}

inline std::string FourCCText(uint32_t inCode)
{
    return {char(inCode >> 24), char(inCode >> 16), char(inCode >> 8), char(inCode)};
}

// Atom types.
inline constexpr uint32_t kMoovAtom = FourCC("moov");
inline constexpr uint32_t kMvhdAtom = FourCC("mvhd");
inline constexpr uint32_t kCmovAtom = FourCC("cmov");
inline constexpr uint32_t kDcomAtom = FourCC("dcom");
inline constexpr uint32_t kCmvdAtom = FourCC("cmvd");
inline constexpr uint32_t kTrakAtom = FourCC("trak");
inline constexpr uint32_t kTkhdAtom = FourCC("tkhd");
inline constexpr uint32_t kEdtsAtom = FourCC("edts");
inline constexpr uint32_t kElstAtom = FourCC("elst");
inline constexpr uint32_t kTaptAtom = FourCC("tapt");
inline constexpr uint32_t kClefAtom = FourCC("clef");
inline constexpr uint32_t kProfAtom = FourCC("prof");
inline constexpr uint32_t kEnofAtom = FourCC("enof");
inline constexpr uint32_t kMdiaAtom = FourCC("mdia");
inline constexpr uint32_t kMdhdAtom = FourCC("mdhd");
inline constexpr uint32_t kElngAtom = FourCC("elng");
inline constexpr uint32_t kHdlrAtom = FourCC("hdlr");
inline constexpr uint32_t kMinfAtom = FourCC("minf");
inline constexpr uint32_t kVmhdAtom = FourCC("vmhd");
inline constexpr uint32_t kSmhdAtom = FourCC("smhd");
inline constexpr uint32_t kGmhdAtom = FourCC("gmhd");
inline constexpr uint32_t kNmhdAtom = FourCC("nmhd");
inline constexpr uint32_t kDinfAtom = FourCC("dinf");
inline constexpr uint32_t kStblAtom = FourCC("stbl");
inline constexpr uint32_t kStsdAtom = FourCC("stsd");
inline constexpr uint32_t kSttsAtom = FourCC("stts");
inline constexpr uint32_t kStssAtom = FourCC("stss");
inline constexpr uint32_t kStpsAtom = FourCC("stps");
inline constexpr uint32_t kStscAtom = FourCC("stsc");
inline constexpr uint32_t kStcoAtom = FourCC("stco");
inline constexpr uint32_t kCo64Atom = FourCC("co64");
inline constexpr uint32_t kStszAtom = FourCC("stsz");
inline constexpr uint32_t kSdtpAtom = FourCC("sdtp");
inline constexpr uint32_t kCttsAtom = FourCC("ctts");
inline constexpr uint32_t kUdtaAtom = FourCC("udta");
inline constexpr uint32_t kMetaAtom = FourCC("meta");
inline constexpr uint32_t kKeysAtom = FourCC("keys");
inline constexpr uint32_t kIlstAtom = FourCC("ilst");
inline constexpr uint32_t kDataAtom = FourCC("data");
inline constexpr uint32_t kFreeAtom = FourCC("free");
inline constexpr uint32_t kUuidAtom = FourCC("uuid");

// Compression methods of cmov.
inline constexpr uint32_t kZlibCompression = FourCC("zlib");

// Handler subtypes.
inline constexpr uint32_t kVideoMediaType = FourCC("vide");
inline constexpr uint32_t kAudioMediaType = FourCC("soun");
inline constexpr uint32_t kTimecodeMediaType = FourCC("tmcd");
inline constexpr uint32_t kTimecode64MediaType = FourCC("tc64");
inline constexpr uint32_t kTextMediaType = FourCC("text");
inline constexpr uint32_t kMetadataMediaType = FourCC("meta");
inline constexpr uint32_t kCaptionMediaType = FourCC("clcp");
inline constexpr uint32_t kAuxiliaryVideoMediaType = FourCC("auxv");
inline constexpr uint32_t kUnknownMediaType = FourCC("unkn");

} // namespace QT
