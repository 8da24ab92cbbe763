#include <cstring>

#include "QTContract.h"
#include "QTImageDescription.h"
#include "QTSampleDescriptionWalk.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

// The fields that make two descriptions the same picture format, compared as raw bytes: the
// compression fourcc, width, height and depth. Fields beyond the buffer count as different.
bool SameFormat(const ByteRange& inBytes, const uint8_t* inA, const uint8_t* inB)
{
    struct Field
    {
        size_t offset;
        size_t width;
    };
    for (const Field field : {Field{kImageFormatFromEntry, 4}, Field{kImageWidthFromEntry, 2},
                              Field{kImageHeightFromEntry, 2}, Field{kImageDepthFromEntry, 2}})
    {
        if (!inBytes.Contains(inA, field.offset, field.width) ||
            !inBytes.Contains(inB, field.offset, field.width) ||
            std::memcmp(inA + field.offset, inB + field.offset, field.width) != 0)
            return false;
    }
    return true;
}

} // namespace

// Entry 0 is the reference for every later entry. One walk visits the entries in order, which
// answers as a fresh walk for each index would, without its cost on a table of many entries.
bool QTTrack::DescriptionsEquivalent(bool inCompareEntrySize)
{
    const uint32_t count = GetSampleDescriptionCount();
    if (count < 2)
        return true;
    const uint8_t* stsd = Item().stsd;
    const ByteRange bytes = Bytes();
    SampleDescriptionWalk walk(bytes, stsd);
    const uint8_t* first = walk.Entry();
    for (uint32_t i = 1; i < count; ++i)
    {
        if (first && !walk.Stalled())
            walk.Next();
        const uint8_t* entry = first ? walk.Entry() : nullptr;
        if (!entry)
        {
            // The validated walk says why, as it does for any caller.
            GetSampleDescription(stsd, int32_t(i));
            GetSampleDescription(stsd, 0);
            return false;
        }
        if ((inCompareEntrySize && BE::U32(entry) != BE::U32(first)) || !SameFormat(bytes, first, entry))
            return false;
        // An entry of size 0 answers for every later index, so they would all compare alike.
        if (walk.Stalled())
            return true;
    }
    return true;
}

bool QTTrack::GetAllSampleDescriptionsEquivalent()
{
    return DescriptionsEquivalent(false);
}

bool QTTrack::GetAllImageDescriptionsEquivalent(bool inIgnoreEntrySize)
{
    if (!IsVideoOrReport("QT::QTTrack::GetAllImageDescriptionsEquivalent"))
        return false;
    return DescriptionsEquivalent(!inIgnoreEntrySize);
}

// Width and height in 16.16: converted to float first, then scaled.
bool QTTrack::ReadApertureDimensions(const uint8_t* inAtom, float& outWidth, float& outHeight)
{
    if (!inAtom || !Bytes().Contains(inAtom, kApertureWidthFromAtom, 8))
        return false;
    constexpr float kFixedOne = 1.0f / 65536.0f;
    outWidth = float(BE::I32(inAtom + kApertureWidthFromAtom)) * kFixedOne;
    outHeight = float(BE::I32(inAtom + kApertureHeightFromAtom)) * kFixedOne;
    return true;
}

bool QTTrack::GetTrackCleanApertureDimensions(float& outWidth, float& outHeight)
{
    if (!IsVideoOrReport("QT::QTTrack::GetTrackCleanApertureDimensions"))
        return false;
    return ReadApertureDimensions(Item().clef, outWidth, outHeight);
}

bool QTTrack::GetTrackProductionApertureDimensions(float& outWidth, float& outHeight)
{
    return ReadApertureDimensions(Item().prof, outWidth, outHeight);
}

bool QTTrack::GetTrackEncodedPixelsDimensions(float& outWidth, float& outHeight)
{
    return ReadApertureDimensions(Item().enof, outWidth, outHeight);
}

} // namespace QT
