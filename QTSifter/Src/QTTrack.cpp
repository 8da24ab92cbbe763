#include "QTTrack.h"

#include <algorithm>

#include "QTAtomLayout.h"

namespace QT
{

void* QTTrack::QueryInterface(std::string_view inName)
{
    return tenacore::classref::QueryConcreteOrInterface<QTTrack, IQTTrack>(this, inName);
}

void QTTrack::Initialize(uint64_t inIndex, std::shared_ptr<QTMooVAtom> inMooVAtom, uint32_t inMovieTimeScale,
                         int64_t inMovieDuration)
{
    mTrackIndex = inIndex;
    mMooVAtom = std::move(inMooVAtom);
    mMovieTimeScale = inMovieTimeScale;
    mMovieDuration = inMovieDuration;
    ComputeEditState();
}

uint64_t QTTrack::GetTrackIndex()
{
    return mTrackIndex;
}

uint32_t QTTrack::GetTrackMediaType()
{
    const uint32_t subtype = Bytes().U32Or0(Item().hdlr, kHdlrSubtypeFromPayload);
    switch (subtype)
    {
    case kVideoMediaType:
    case kAudioMediaType:
    case kTimecodeMediaType:
    case kTextMediaType:
    case kMetadataMediaType:
    case kCaptionMediaType:
    case kAuxiliaryVideoMediaType:
        return subtype;
    case kTimecode64MediaType:
        return kTimecodeMediaType;
    default:
        return kUnknownMediaType;
    }
}

QTRect QTTrack::GetTrackBounds()
{
    const uint8_t* tkhd = Item().tkhd;
    return {0, 0, int32_t(Bytes().U32Or0(tkhd, kTkhdWidthFromPayload)) >> 16,
            int32_t(Bytes().U32Or0(tkhd, kTkhdHeightFromPayload)) >> 16};
}

bool QTTrack::IsTrackEnabled()
{
    return (Bytes().U32Or0(Item().tkhd, kTkhdFlagsFromPayload) & 1) != 0;
}

uint32_t QTTrack::GetTrackDuration()
{
    return Bytes().U32Or0(Item().tkhd, kTkhdDurationFromPayload);
}

// Version 0 mdhd has 32-bit fields; any other version reads the 64-bit layout, if the walk kept it.
uint32_t QTTrack::GetMediaTimeScale()
{
    const TrackItem& item = Item();
    if (Bytes().U8Or0(item.mdhd, kMdhdVersionFromPayload) == 0)
        return Bytes().U32Or0(item.mdhd, kMdhdTimeScaleFromPayload);
    return Bytes().U32Or0(item.mdhd64, kMdhd64TimeScaleFromPayload);
}

int64_t QTTrack::GetMediaDuration() const
{
    const TrackItem& item = Item();
    if (Bytes().U8Or0(item.mdhd, kMdhdVersionFromPayload) == 0)
        return int32_t(Bytes().U32Or0(item.mdhd, kMdhdDurationFromPayload));
    return int64_t(Bytes().U64Or0(item.mdhd64, kMdhd64DurationFromPayload));
}

// The media time scale widens with its sign, the movie time scale without.
uint64_t QTTrack::MovieToMediaTime64(uint32_t inMovieTime)
{
    const int64_t mediaScale = int32_t(GetMediaTimeScale());
    const int64_t movieScale = mMovieTimeScale;
    if (mediaScale == movieScale)
        return inMovieTime;
    if (movieScale == 0)
        return 0;
    return uint64_t(inMovieTime) * uint64_t(mediaScale) / uint64_t(movieScale);
}

uint32_t QTTrack::MovieToMediaTime(uint32_t inMovieTime)
{
    return uint32_t(MovieToMediaTime64(inMovieTime));
}

uint64_t QTTrack::GetTrackDurationInMediaTime()
{
    return MovieToMediaTime64(GetTrackDuration());
}

uint64_t QTTrack::GetEditedTrackDuration()
{
    const int64_t mediaScale = int32_t(GetMediaTimeScale());
    const int64_t movieScale = mMovieTimeScale;
    if (mediaScale == movieScale)
        return mEditedMediaDuration;
    if (mediaScale == 0)
        return 0;
    return uint64_t(mEditedMediaDuration) * uint64_t(movieScale) / uint64_t(mediaScale);
}

// A track accepted without stsd (a caption track may be) has no descriptions.
uint32_t QTTrack::GetSampleDescriptionCount()
{
    return Bytes().U32Or0(Item().stsd, 12);
}

uint32_t QTTrack::GetFirstSampleIndex()
{
    return mFirstSampleIndex;
}

bool QTTrack::VideoTrackHasVariableFrameRate()
{
    const TrackItem& item = Item();
    return GetTrackMediaType() == kVideoMediaType && item.stts && int32_t(Bytes().U32Or0(item.stts, 12)) > 1;
}

uint32_t QTTrack::GetFirstSampleExcess()
{
    return mFirstSampleExcess;
}

bool QTTrack::GetUserDataItem(uint32_t inType, MK::BinaryData& outData)
{
    const std::vector<UserDataItem> items = Item().userData;
    auto found = std::find_if(items.begin(), items.end(),
                              [inType](const UserDataItem& inItem) { return inItem.type == inType; });
    if (found == items.end())
        return false;
    outData = MK::BinaryData(found->data, found->size);
    return true;
}

// dinf holds dref at byte 8; dref's entry count stands at byte 20 of dinf and its first entry at 24.
uint32_t QTTrack::GetDataReferenceType()
{
    return HasSingleDataReference() ? Bytes().U32Or0(Item().dinf, kDataReferenceTypeFromDinf)
                                    : FourCC("????");
}

bool QTTrack::HasSingleDataReference()
{
    const uint8_t* dinf = Item().dinf;
    return dinf && Bytes().U32Or0(dinf, kDrefCountFromDinf) == 1;
}

uint32_t QTTrack::GetFirstEditMediaTime()
{
    const TrackItem& item = Item();
    return item.editList.empty() ? 0 : BE::U32(item.editList.front() + kEditMediaTimeFromEntry);
}

// A handle data reference carries its data in a "data" record at byte 9 of the entry's body.
uint32_t QTTrack::GetHandleReferenceData(MK::BinaryData& outData)
{
    const uint8_t* dinf = Item().dinf;
    const ByteRange bytes = Bytes();
    const uint32_t recordSize = bytes.U32Or0(dinf, kHandleRecordSizeFromDinf);
    if (!dinf || bytes.U32Or0(dinf, kDataReferenceSizeFromDinf) < 26 ||
        bytes.U32Or0(dinf, kDataReferenceTypeFromDinf) != FourCC("hndl") || recordSize < 9 ||
        bytes.U32Or0(dinf, kHandleRecordTypeFromDinf) != FourCC("data") ||
        !bytes.Contains(dinf, kHandleRecordFromDinf, recordSize - 8))
        return kQTErrNotFound;
    outData = MK::BinaryData(dinf + kHandleRecordFromDinf, recordSize - 8);
    return kQTSuccess;
}

} // namespace QT
