#include "QTMovie.h"

namespace QT
{

void* QTMovie::QueryInterface(std::string_view inName)
{
    return tenacore::classref::QueryConcreteOrInterface<QTMovie, IQTMovie>(this, inName);
}

void QTMovie::Init(std::shared_ptr<QTMooVAtom> inMooVAtom, uint64_t inMovieAtomOffset)
{
    mooVAtom = std::move(inMooVAtom);
    movieAtomOffset = inMovieAtomOffset;
}

// The header's fields are read where they lie; a field beyond the buffer reads as 0.
bool QTMovie::IsVersion1() const
{
    return mooVAtom->Bytes().U8Or0(mooVAtom->mvhd, 8) == 1;
}

uint32_t QTMovie::GetMovieTimeScale()
{
    return IsVersion1() ? mooVAtom->Bytes().U32Or0(mooVAtom->mvhd64, 28) : mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, 20);
}

int64_t QTMovie::GetMovieDuration()
{
    if (IsVersion1())
        return int64_t(mooVAtom->Bytes().U64Or0(mooVAtom->mvhd64, 32));
    return int32_t(mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, 24));
}

uint32_t QTMovie::GetTrackCount()
{
    return mooVAtom->GetTrackCount();
}

uint32_t QTMovie::GetMoviePosterTime()
{
    return IsVersion1() ? mooVAtom->Bytes().U32Or0(mooVAtom->mvhd64, 100)
                        : mooVAtom->Bytes().U32Or0(mooVAtom->mvhd, 88);
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
