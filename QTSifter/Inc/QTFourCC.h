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
// What the movie fixer writes over an sdtp's type, so that readers step over the table.
inline constexpr uint32_t kSkipAtom = FourCC("skip");
inline constexpr uint32_t kUuidAtom = FourCC("uuid");
// Extension atoms of a sound description.
inline constexpr uint32_t kWaveAtom = FourCC("wave");
inline constexpr uint32_t kEndaAtom = FourCC("enda");
inline constexpr uint32_t kPcmCAtom = FourCC("pcmC");
inline constexpr uint32_t kSratAtom = FourCC("srat");
inline constexpr uint32_t kChanAtom = FourCC("chan");
// Data reference entries: a Macintosh alias record, a URL.
inline constexpr uint32_t kAliasDataReference = FourCC("alis");
inline constexpr uint32_t kUrlDataReference = FourCC("url ");

// Sound data formats as files name them.
inline constexpr uint32_t kLinearPCMFormat = FourCC("lpcm");
inline constexpr uint32_t kLinearPCMReversedFormat = FourCC("mcpl");
inline constexpr uint32_t kSignedBigEndianFormat = FourCC("twos");
inline constexpr uint32_t kSignedLittleEndianFormat = FourCC("sowt");
inline constexpr uint32_t kIntegerPCMFormat = FourCC("ipcm");
inline constexpr uint32_t kFloatPCMFormat = FourCC("fpcm");

// The normalised uncompressed sound formats. A reversed name is the little-endian form of the
// same samples.
inline constexpr uint32_t kAudioFormatUnsigned8 = FourCC("raw ");
inline constexpr uint32_t kAudioFormatSigned8 = FourCC("twos");
inline constexpr uint32_t kAudioFormatSigned16BE = FourCC("16be");
inline constexpr uint32_t kAudioFormatSigned16LE = FourCC("16le");
inline constexpr uint32_t kAudioFormatSigned24BE = FourCC("in24");
inline constexpr uint32_t kAudioFormatSigned24LE = FourCC("42ni");
inline constexpr uint32_t kAudioFormatSigned32BE = FourCC("in32");
inline constexpr uint32_t kAudioFormatSigned32LE = FourCC("23ni");
inline constexpr uint32_t kAudioFormatFloat32BE = FourCC("fl32");
inline constexpr uint32_t kAudioFormatFloat32LE = FourCC("23lf");
inline constexpr uint32_t kAudioFormatFloat64BE = FourCC("fl64");
inline constexpr uint32_t kAudioFormatFloat64LE = FourCC("46lf");
inline constexpr uint32_t kAudioFormatUnknown = FourCC("unkn");

// Timecode and caption media: the source name atom of a timecode description, the data
// reference that holds a sample itself, the two caption formats and the atom of a CEA-608 sample.
inline constexpr uint32_t kTimecodeNameAtom = FourCC("name");
inline constexpr uint32_t kHandleDataReference = FourCC("hndl");
inline constexpr uint32_t kCaption608Format = FourCC("c608");
inline constexpr uint32_t kCaption708Format = FourCC("c708");
inline constexpr uint32_t kCaptionDataAtom = FourCC("cdat");

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
