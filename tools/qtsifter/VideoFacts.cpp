#include <string>

#include <fmt/format.h>

#include "MediaKinds.h"
#include "MovieFacts.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

// Code points of the colr atom (the same as in the ISO coding-independent code points).
const char* PrimariesName(uint32_t inCode)
{
    switch (inCode)
    {
    case 1:
        return "ITU-R BT.709";
    case 2:
        return "unspecified";
    case 5:
        return "ITU-R BT.470 BG (PAL)";
    case 6:
        return "SMPTE 170M (NTSC)";
    case 7:
        return "SMPTE 240M";
    case 9:
        return "ITU-R BT.2020";
    case 10:
        return "SMPTE 428 (CIE XYZ)";
    case 11:
        return "SMPTE RP 431 (DCI-P3)";
    case 12:
        return "SMPTE EG 432 (Display P3)";
    case 22:
        return "EBU Tech 3213";
    default:
        return "unknown";
    }
}

const char* TransferName(uint32_t inCode)
{
    switch (inCode)
    {
    case 1:
        return "ITU-R BT.709";
    case 2:
        return "unspecified";
    case 4:
        return "gamma 2.2";
    case 5:
        return "gamma 2.8";
    case 6:
        return "SMPTE 170M";
    case 7:
        return "SMPTE 240M";
    case 8:
        return "linear";
    case 13:
        return "sRGB";
    case 14:
        return "ITU-R BT.2020 (10-bit)";
    case 15:
        return "ITU-R BT.2020 (12-bit)";
    case 16:
        return "SMPTE ST 2084 (PQ)";
    case 17:
        return "SMPTE ST 428";
    case 18:
        return "ARIB STD-B67 (HLG)";
    default:
        return "unknown";
    }
}

const char* MatrixName(uint32_t inCode)
{
    switch (inCode)
    {
    case 0:
        return "identity (RGB)";
    case 1:
        return "ITU-R BT.709";
    case 2:
        return "unspecified";
    case 5:
    case 6:
        return "ITU-R BT.601";
    case 7:
        return "SMPTE 240M";
    case 9:
        return "ITU-R BT.2020 non-constant luminance";
    case 10:
        return "ITU-R BT.2020 constant luminance";
    default:
        return "unknown";
    }
}

// The fiel atom: one field is progressive; with two, the ordering says which field is shown first
// and which is stored first.
std::string FieldOrderName(uint8_t inCount, uint8_t inOrdering)
{
    if (inCount == 1)
        return "progressive";
    if (inCount != 2)
        return "unknown";
    switch (inOrdering)
    {
    case 0:
        return "interlaced, order not stated";
    case 1:
        return "interlaced, top field first, top stored first";
    case 6:
        return "interlaced, bottom field first, bottom stored first";
    case 9:
        return "interlaced, bottom field first, top stored first";
    case 14:
        return "interlaced, top field first, bottom stored first";
    default:
        return "interlaced, unknown order";
    }
}

Json Dimensions(bool inPresent, float inWidth, float inHeight)
{
    if (!inPresent)
        return nullptr;
    return Json{{"width", inWidth}, {"height", inHeight}};
}

} // namespace

void AddImageFacts(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t*, Json& ioDescription)
{
    ioDescription["codec"] = FourCCDisplay(inTrack.GetVideoMediaCompressionFourCC(inIndex));
    ioDescription["vendor"] = FourCCDisplay(inTrack.GetVideoMediaVendorFourCC(inIndex));
    ioDescription["width"] = inTrack.GetVideoMediaWidth(inIndex);
    ioDescription["height"] = inTrack.GetVideoMediaHeight(inIndex);
    ioDescription["depth"] = inTrack.GetVideoMediaDepth(inIndex);
    std::u16string name;
    ioDescription["codecName"] = inTrack.GetVideoMediaCodecName(inIndex, name) == 0
                                     ? Json(tenacore::string::UTF16to8(name))
                                     : Json(nullptr);
    uint32_t temporal = 0, spatial = 0;
    if (inTrack.GetVideoMediaQuality(inIndex, temporal, spatial) == 0)
    {
        ioDescription["temporalQuality"] = temporal;
        ioDescription["spatialQuality"] = spatial;
    }
    uint32_t w[8] = {};
    if (inTrack.GetVideoMediaCleanAperture(inIndex, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]) == 0)
        ioDescription["cleanAperture"] = {{"widthN", w[0]},
                                          {"widthD", w[1]},
                                          {"heightN", w[2]},
                                          {"heightD", w[3]},
                                          {"horizontalOffsetN", w[4]},
                                          {"horizontalOffsetD", w[5]},
                                          {"verticalOffsetN", w[6]},
                                          {"verticalOffsetD", w[7]}};
    uint32_t horizontal = 0, vertical = 0;
    if (inTrack.GetVideoMediaPixelAspect(inIndex, horizontal, vertical) == 0)
        ioDescription["pixelAspect"] = {{"horizontal", horizontal}, {"vertical", vertical}};
    uint8_t fieldCount = 0, fieldOrdering = 0;
    if (inTrack.GetVideoMediaFieldInfo(inIndex, fieldCount, fieldOrdering) == 0)
        ioDescription["fieldInfo"] = {{"fieldCount", fieldCount},
                                      {"fieldOrdering", fieldOrdering},
                                      {"fieldOrderingName", FieldOrderName(fieldCount, fieldOrdering)}};
    uint32_t primaries = 0, transfer = 0, matrix = 0;
    if (inTrack.GetVideoMediaColorInfo(inIndex, primaries, transfer, matrix) == 0)
        ioDescription["colorInfo"] = {{"primaries", primaries},
                                      {"primariesName", PrimariesName(primaries)},
                                      {"transferFunction", transfer},
                                      {"transferFunctionName", TransferName(transfer)},
                                      {"matrix", matrix},
                                      {"matrixName", MatrixName(matrix)}};
}

void AddVideoTrackFacts(QT::IQTTrack& inTrack, Json& ioTrack)
{
    float width = 0, height = 0;
    bool present = inTrack.GetTrackCleanApertureDimensions(width, height);
    ioTrack["cleanApertureDimensions"] = Dimensions(present, width, height);
    present = inTrack.GetTrackProductionApertureDimensions(width, height);
    ioTrack["productionApertureDimensions"] = Dimensions(present, width, height);
    present = inTrack.GetTrackEncodedPixelsDimensions(width, height);
    ioTrack["encodedPixelsDimensions"] = Dimensions(present, width, height);
    ioTrack["allDescriptionsEquivalent"] = inTrack.GetAllImageDescriptionsEquivalent(false);
    ioTrack["hasDeltaFrames"] = inTrack.VideoTrackContainsDeltaFrames();
    ioTrack["hasDependencyTables"] = inTrack.VideoTrackHasDependencyTables();
    // Frames per second over the edited span, which is what a player shows.
    const double seconds = ioTrack.value("editedDurationSeconds", 0.0);
    const uint32_t frames = inTrack.GetEditedSampleCount();
    ioTrack["frameRate"] = seconds > 0 ? Json(double(frames) / seconds) : Json(nullptr);
}

std::string VideoSummary(const Json& inTrack)
{
    std::string text = FormatSummary(inTrack);
    // The coded size from a whole image description (86 bytes at least), else the track's own.
    const Json& descriptions = inTrack.at("descriptions");
    if (!descriptions.empty() && descriptions[0].contains("width") && descriptions[0].at("size") >= 86)
        text += fmt::format(" {}x{}", descriptions[0].at("width").get<int32_t>(),
                            descriptions[0].at("height").get<int32_t>());
    else
        text += fmt::format(" {}x{}", inTrack.at("bounds").at("width").get<int32_t>(),
                            inTrack.at("bounds").at("height").get<int32_t>());
    if (inTrack.at("frameRate").is_number())
        text += fmt::format(", {:.3g} fps", inTrack.at("frameRate").get<double>());
    if (inTrack.at("rotationDegrees").get<uint32_t>() != 0)
        text += fmt::format(", rotated {}°", inTrack.at("rotationDegrees").get<uint32_t>());
    return text;
}

} // namespace qtsifter
