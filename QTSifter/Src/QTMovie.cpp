#include "QTMovie.h"

#include <algorithm>

#include "QTAtomLayout.h"
#include "QTContract.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

// Grows a non-empty running rectangle by a non-empty track rectangle; an empty running one is
// replaced outright.
void AddTrackBounds(QTRect& ioBounds, const QTRect& inTrack)
{
    if (ioBounds.width <= 0 || ioBounds.height <= 0)
    {
        ioBounds = inTrack;
        return;
    }
    if (inTrack.width <= 0 || inTrack.height <= 0)
        return;
    const int32_t right = std::max(ioBounds.left + ioBounds.width, inTrack.left + inTrack.width);
    const int32_t bottom = std::max(ioBounds.top + ioBounds.height, inTrack.top + inTrack.height);
    ioBounds.left = std::min(ioBounds.left, inTrack.left);
    ioBounds.top = std::min(ioBounds.top, inTrack.top);
    ioBounds.width = right - ioBounds.left;
    ioBounds.height = bottom - ioBounds.top;
}

} // namespace

void* QTMovie::QueryInterface(std::string_view inName)
{
    return tenacore::classref::QueryConcreteOrInterface<QTMovie, IQTMovie>(this, inName);
}

void QTMovie::Init(std::shared_ptr<QTMooVAtom> inMooVAtom, uint64_t inMovieAtomOffset)
{
    mooVAtom = std::move(inMooVAtom);
    movieAtomOffset = inMovieAtomOffset;
}

void QTMovie::GetMovieBounds(QTRect& outBounds)
{
    outBounds = {};
    for (uint32_t index = 0; index < GetTrackCount(); ++index)
    {
        tenacore::classref::InterfaceRef<IQTTrack> track;
        GetIndTrack(track, index);
        AddTrackBounds(outBounds, track->GetTrackBounds());
    }
}

// A new track object at every call; nothing is cached.
void QTMovie::GetIndTrack(tenacore::classref::InterfaceRef<IQTTrack>& outTrack, uint64_t inWhichTrack)
{
    Require(ContractSites::kGetIndTrack, [&] { return inWhichTrack < GetTrackCount(); });
    auto track = tenacore::classref::MakeObject<QTTrack>();
    track->Initialize(inWhichTrack, mooVAtom, GetMovieTimeScale(), GetMovieDuration());
    outTrack = tenacore::classref::InterfaceRef<IQTTrack>::Query(track->GetSharedFromThis());
}

// The header's fields are read where they lie; a field beyond the buffer reads as 0.
bool QTMovie::IsVersion1() const
{
    return mooVAtom->Bytes().U8Or0(mooVAtom->mvhd, kFullAtomVersionFromAtom) == 1;
}

uint32_t QTMovie::GetMovieTimeScale()
{
    return IsVersion1() ? mooVAtom->Bytes().U32Or0(mooVAtom->mvhd64, kMvhd64TimeScaleFromAtom)
                        : mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, kMvhdTimeScaleFromAtom);
}

int64_t QTMovie::GetMovieDuration()
{
    if (IsVersion1())
        return int64_t(mooVAtom->Bytes().U64Or0(mooVAtom->mvhd64, kMvhd64DurationFromAtom));
    return int32_t(mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, kMvhdDurationFromAtom));
}

uint32_t QTMovie::GetTrackCount()
{
    return mooVAtom->GetTrackCount();
}

uint32_t QTMovie::GetMoviePosterTime()
{
    return IsVersion1() ? mooVAtom->Bytes().U32Or0(mooVAtom->mvhd64, kMvhd64PosterTimeFromAtom)
                        : mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, kMvhdPosterTimeFromAtom);
}

uint32_t QTMovie::GetMovieAtomSize()
{
    return mooVAtom->Size();
}

uint32_t QTMovie::GetUserDataCount()
{
    return mooVAtom->GetUserDataCount();
}

void QTMovie::GetUserData(uint64_t inIndex, MK::BinaryData& outData, uint32_t& outType)
{
    mooVAtom->GetUserData(inIndex, outData, outType);
}

bool QTMovie::FindUserData(uint32_t inType, MK::BinaryData& outData)
{
    return mooVAtom->FindUserData(inType, outData);
}

bool QTMovie::GetMetadataValue(std::string inKey, MetadataValue& outItem)
{
    auto found = mooVAtom->metadataItems.find(inKey);
    if (found == mooVAtom->metadataItems.end())
        return false;
    outItem = found->second;
    return true;
}

// Raises std::bad_variant_access should the entry hold anything but the offset.
bool QTMovie::GetMetadataValueOffset(std::string inKey, uint32_t& outOffset)
{
    auto found = mooVAtom->metadataKeys.find(inKey);
    if (found == mooVAtom->metadataKeys.end())
        return false;
    outOffset = std::get<uint32_t>(found->second.value);
    return true;
}

void QTMovie::GetMetadataItems(MetadataMap& outItems)
{
    outItems = mooVAtom->metadataItems;
}

void QTMovie::GetUUIDAtom(std::shared_ptr<tenacore::allocator::RecycledMemory>& outBuffer,
                          const std::array<uint8_t, 16>& inUUID, bool inStripHeader)
{
    mooVAtom->GetUUIDAtom(outBuffer, inUUID, inStripHeader);
}

uint64_t QTMovie::GetMovieAtomOffset()
{
    return movieAtomOffset;
}

uint32_t QTMovie::GetMovieChildAtom(uint32_t inType, MK::BinaryData& outData)
{
    return mooVAtom->GetMovieChildAtom(inType, outData);
}

} // namespace QT
