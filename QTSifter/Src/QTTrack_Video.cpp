#include <algorithm>
#include <utility>
#include <vector>

#include "QTContract.h"
#include "QTImageDescription.h"
#include "QTTrack.h"
#include "tenacore/string.h"

namespace QT
{

namespace
{

bool IsKnownFieldOrdering(uint8_t inOrdering)
{
    return inOrdering == 0 || inOrdering == 1 || inOrdering == 6 || inOrdering == 9 || inOrdering == 14;
}

void SwapBytes(std::vector<uint8_t>& ioBytes, size_t inOffset, size_t inWidth)
{
    if (inOffset <= ioBytes.size() && inWidth <= ioBytes.size() - inOffset)
        std::reverse(ioBytes.begin() + std::ptrdiff_t(inOffset),
                     ioBytes.begin() + std::ptrdiff_t(inOffset + inWidth));
}

// Swaps inCount words of inWidth bytes from the payload of extension inType, when its atom has
// exactly inAtomSize bytes.
void SwapExtension(std::vector<uint8_t>& ioCopy, uint32_t inType, uint32_t inAtomSize, size_t inWidth,
                   size_t inCount)
{
    ImageDescriptionExtension found;
    const ByteRange copy(ioCopy.data(), ioCopy.size());
    if (!FindImageDescriptionExtension(copy, ioCopy.data(), inType, found) || found.atomSize != inAtomSize)
        return;
    const size_t offset = size_t(found.payload - ioCopy.data());
    for (size_t i = 0; i < inCount; ++i)
        SwapBytes(ioCopy, offset + i * inWidth, inWidth);
}

void SwapColorExtension(std::vector<uint8_t>& ioCopy)
{
    ImageDescriptionExtension found;
    const ByteRange copy(ioCopy.data(), ioCopy.size());
    if (!FindImageDescriptionExtension(copy, ioCopy.data(), FourCC("colr"), found) ||
        found.atomSize != kColrAtomSize || !copy.Contains(found.payload, 0, kColrAtomSize - 8) ||
        BE::U32(found.payload) != FourCC("nclc"))
        return;
    const size_t offset = size_t(found.payload - ioCopy.data());
    SwapBytes(ioCopy, offset, 4);
    for (size_t field : {kColrPrimariesFromPayload, kColrTransferFromPayload, kColrMatrixFromPayload})
        SwapBytes(ioCopy, offset + field, 2);
}

// The fixed header in host order; the compressor name at 50 is bytes and stays.
void SwapImageDescriptionHeader(std::vector<uint8_t>& ioCopy)
{
    for (size_t offset : {0, 4, 8, 20, 24, 28, 36, 40, 44})
        SwapBytes(ioCopy, offset, 4);
    for (size_t offset : {12, 14, 16, 18, 32, 34, 48, 82, 84})
        SwapBytes(ioCopy, offset, 2);
}

} // namespace

// The common opening of the video accessors: the media type test, reported as a contract violation.
bool QTTrack::IsVideoOrReport(const char* inFunction)
{
    return CheckMediaType(*this, kVideoMediaType, ContractSites::kVideoMediaType, inFunction,
                          ContractForm::ReportAndReturn);
}

const uint8_t* QTTrack::ImageDescription(int32_t inIndex)
{
    return GetSampleDescription(Item().stsd, inIndex);
}

bool QTTrack::FindExtension(int32_t inIndex, uint32_t inType, uint32_t inAtomSize, size_t inPayloadBytes,
                            const uint8_t*& outPayload)
{
    ImageDescriptionExtension found;
    if (!FindImageDescriptionExtension(Bytes(), ImageDescription(inIndex), inType, found) ||
        found.atomSize != inAtomSize || !Bytes().Contains(found.payload, 0, inPayloadBytes))
        return false;
    outPayload = found.payload;
    return true;
}

uint32_t QTTrack::GetVideoMediaCompressionFourCC(int32_t inIndex)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaCompressionFourCC"))
        return 0;
    return Bytes().U32Or0(ImageDescription(inIndex), kImageFormatFromEntry);
}

uint32_t QTTrack::GetVideoMediaVendorFourCC(int32_t inIndex)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaVendorFourCC"))
        return 0;
    return Bytes().U32Or0(ImageDescription(inIndex), kImageVendorFromEntry);
}

int32_t QTTrack::GetVideoMediaWidth(int32_t inIndex)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaWidth"))
        return 0;
    return int16_t(Bytes().U16Or0(ImageDescription(inIndex), kImageWidthFromEntry));
}

int32_t QTTrack::GetVideoMediaHeight(int32_t inIndex)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaHeight"))
        return 0;
    return int16_t(Bytes().U16Or0(ImageDescription(inIndex), kImageHeightFromEntry));
}

uint16_t QTTrack::GetVideoMediaDepth(int32_t inIndex)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaDepth"))
        return 0;
    return Bytes().U16Or0(ImageDescription(inIndex), kImageDepthFromEntry);
}

uint32_t QTTrack::GetVideoMediaCleanAperture(int32_t inIndex, uint32_t& outWidthN, uint32_t& outWidthD,
                                             uint32_t& outHeightN, uint32_t& outHeightD,
                                             uint32_t& outHorizontalOffsetN, uint32_t& outHorizontalOffsetD,
                                             uint32_t& outVerticalOffsetN, uint32_t& outVerticalOffsetD)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaCleanAperture"))
        return kQTErrInvalid;
    const uint8_t* clap = nullptr;
    if (!FindExtension(inIndex, FourCC("clap"), kClapAtomSize, kClapAtomSize - 8, clap))
        return kQTErrNoSuchExtension;
    uint32_t* outs[] = {&outWidthN,
                        &outWidthD,
                        &outHeightN,
                        &outHeightD,
                        &outHorizontalOffsetN,
                        &outHorizontalOffsetD,
                        &outVerticalOffsetN,
                        &outVerticalOffsetD};
    for (size_t i = 0; i < 8; ++i)
        *outs[i] = BE::U32(clap + 4 * i);
    return kQTSuccess;
}

uint32_t QTTrack::GetVideoMediaPixelAspect(int32_t inIndex, uint32_t& outHorizontal, uint32_t& outVertical)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaPixelAspect"))
        return kQTErrInvalid;
    const uint8_t* pasp = nullptr;
    if (!FindExtension(inIndex, FourCC("pasp"), kPaspAtomSize, kPaspAtomSize - 8, pasp))
        return kQTErrNoSuchExtension;
    outHorizontal = BE::U32(pasp);
    outVertical = BE::U32(pasp + 4);
    return kQTSuccess;
}

// The name is in the system's 8-bit encoding; one that needs repair as UTF-8 counts as absent.
uint32_t QTTrack::GetVideoMediaCodecName(int32_t inIndex, std::u16string& outName)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaCodecName"))
        return kQTErrInvalid;
    const uint8_t* entry = ImageDescription(inIndex);
    const size_t length =
        std::min<size_t>(Bytes().U8Or0(entry, kImageNameLengthFromEntry), kImageNameMaxLength);
    if (!entry || length == 0 || !Bytes().Contains(entry, kImageNameFromEntry, length))
        return kQTErrNoSuchExtension;
    const auto* name = reinterpret_cast<const char*>(entry + kImageNameFromEntry);
    const std::string narrow(name, std::find(name, name + length, '\0'));
    const std::string utf8 = tenacore::string::Std8ToUTF8String(narrow);
    bool neededRepair = false;
    tenacore::string::SanitizeUTF8CharacterString(utf8, neededRepair);
    if (neededRepair)
        return kQTErrNoSuchExtension;
    outName = tenacore::string::UTF8to16(utf8);
    return kQTSuccess;
}

uint32_t QTTrack::GetVideoMediaQuality(int32_t inIndex, uint32_t& outTemporal, uint32_t& outSpatial)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaQuality"))
        return kQTErrInvalid;
    const uint8_t* entry = ImageDescription(inIndex);
    if (!entry || !Bytes().Contains(entry, kImageTemporalQualityFromEntry, 8))
        return kQTErrNoSuchExtension;
    outTemporal = BE::U32(entry + kImageTemporalQualityFromEntry);
    outSpatial = BE::U32(entry + kImageSpatialQualityFromEntry);
    return kQTSuccess;
}

// A known count is stored even when the ordering that follows it is not known.
uint32_t QTTrack::GetVideoMediaFieldInfo(int32_t inIndex, uint8_t& outFieldCount, uint8_t& outFieldOrdering)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaFieldInfo"))
        return kQTErrInvalid;
    const uint8_t* fiel = nullptr;
    if (!FindExtension(inIndex, FourCC("fiel"), kFielAtomSize, kFielAtomSize - 8, fiel) ||
        (fiel[0] != 1 && fiel[0] != 2))
        return kQTErrNoSuchExtension;
    outFieldCount = fiel[0];
    if (!IsKnownFieldOrdering(fiel[1]))
        return kQTErrNoSuchExtension;
    outFieldOrdering = fiel[1];
    return kQTSuccess;
}

uint32_t QTTrack::GetVideoMediaColorInfo(int32_t inIndex, uint32_t& outPrimaries,
                                         uint32_t& outTransferFunction, uint32_t& outMatrix)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaColorInfo"))
        return kQTErrInvalid;
    const uint8_t* colr = nullptr;
    if (!FindExtension(inIndex, FourCC("colr"), kColrAtomSize, kColrAtomSize - 8, colr) ||
        BE::U32(colr) != FourCC("nclc"))
        return kQTErrNoSuchExtension;
    outPrimaries = BE::U16(colr + kColrPrimariesFromPayload);
    outTransferFunction = BE::U16(colr + kColrTransferFromPayload);
    outMatrix = BE::U16(colr + kColrMatrixFromPayload);
    return kQTSuccess;
}

uint32_t QTTrack::GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(int32_t inIndex, uint32_t inType,
                                                                          MK::BinaryData& outData)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaArbitraryImageDescriptionExtensionAsBinary"))
        return kQTErrInvalid;
    ImageDescriptionExtension found;
    if (!FindImageDescriptionExtension(Bytes(), ImageDescription(inIndex), inType, found) ||
        found.payloadSize == 0 || !Bytes().Contains(found.payload, 0, found.payloadSize))
        return kQTErrInvalid;
    outData = MK::BinaryData(found.payload, found.payloadSize);
    return kQTSuccess;
}

// The entry's bytes as its size word gives them; false when they do not lie inside the buffer.
bool QTTrack::CopyImageDescription(int32_t inIndex, std::vector<uint8_t>& outCopy)
{
    const uint8_t* entry = ImageDescription(inIndex);
    if (!entry || !Bytes().Contains(entry, 0, 4) || !Bytes().Contains(entry, 0, BE::U32(entry)))
        return false;
    outCopy.assign(entry, entry + BE::U32(entry));
    return true;
}

uint32_t QTTrack::GetVideoMediaImageDescriptionAsBinary(int32_t inIndex, MK::BinaryData& outData)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaImageDescriptionAsBinary"))
        return kQTErrInvalid;
    std::vector<uint8_t> copy;
    if (!CopyImageDescription(inIndex, copy))
        return kQTErrInvalid;
    outData = MK::BinaryData(copy.data(), copy.size());
    return kQTSuccess;
}

// Extensions first, since their walks read the header's sizes in file order; the header last.
uint32_t QTTrack::GetVideoMediaImageDescriptionAsPlatformBinary(int32_t inIndex, MK::BinaryData& outData)
{
    if (!IsVideoOrReport("QT::QTTrack::GetVideoMediaImageDescriptionAsPlatformBinary"))
        return kQTErrInvalid;
    std::vector<uint8_t> copy;
    if (!CopyImageDescription(inIndex, copy) || copy.empty())
        return kQTErrInvalid;
    SwapExtension(copy, FourCC("pasp"), 16, 4, 2);
    SwapExtension(copy, FourCC("clap"), 40, 4, 8);
    SwapColorExtension(copy);
    SwapImageDescriptionHeader(copy);
    outData = MK::BinaryData(copy.data(), copy.size());
    return kQTSuccess;
}

} // namespace QT
