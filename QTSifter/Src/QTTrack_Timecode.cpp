#include <algorithm>
#include <string>

#include "QTAtomLayout.h"
#include "QTContract.h"
#include "QTFourCC.h"
#include "QTShared.h"
#include "QTTrack.h"
#include "tenacore/string.h"

namespace QT
{

namespace
{

constexpr int32_t kTimecodeSuccess = 0;
constexpr int32_t kTimecodeFailure = -1;

// The bytes of a description entry that can be read: its size word's worth, cut at the buffer's end.
size_t ReadableEntryBytes(const ByteRange& inBytes, const uint8_t* inEntry)
{
    return std::min<size_t>(inBytes.U32Or0(inEntry, kAtomSizeFromAtom), inBytes.Available(inEntry));
}

// The source name of a name atom behind the fixed fields: its text runs for the atom's size less its
// 12 bytes of header, length and language, up to the first zero byte. Nothing past the entry is
// read: neither the atom's header when the entry stops short of it, nor text past the entry's end,
// which also holds a size below 12 (whose length wraps) to the entry.
std::string SourceName(const uint8_t* inEntry, size_t inEntryBytes)
{
    ByteReader entry(inEntry, inEntryBytes);
    uint32_t nameSize = 0;
    uint32_t nameType = 0;
    if (!entry.Skip(kTimecodeNameSizeFromEntry) || !entry.U32(nameSize) || !entry.U32(nameType) ||
        nameType != kTimecodeNameAtom)
        return {};
    const size_t textBytes =
        inEntryBytes > kTimecodeNameTextFromEntry ? inEntryBytes - kTimecodeNameTextFromEntry : 0;
    const size_t length = std::min<size_t>(uint32_t(nameSize - kTimecodeNameHeaderSize), textBytes);
    const char* text = reinterpret_cast<const char*>(inEntry + kTimecodeNameTextFromEntry);
    return std::string(text, std::find(text, text + length, '\0'));
}

} // namespace

int32_t QTTrack::GetTimecodeMediaInfo(TimecodeMediaInfo& outInfo, std::u16string& outSourceName)
{
    outSourceName.clear();
    const uint8_t* entry = GetSampleDescription(Item().stsd, 0);
    // A missing description is no error: the caller's info stands.
    if (!entry)
        return kTimecodeSuccess;
    const ByteRange bytes = Bytes();
    outInfo.mFrameDuration = bytes.U32Or0(entry, kTimecodeFrameDurationFromEntry);
    outInfo.mTimeScale = bytes.U32Or0(entry, kTimecodeTimeScaleFromEntry);
    outInfo.mFrameCount = bytes.U8Or0(entry, kTimecodeFrameCountFromEntry);
    outInfo.mDropFrame = (bytes.U32Or0(entry, kTimecodeFlagsFromEntry) & kTimecodeDropFrameFlag) != 0;
    if (bytes.U32Or0(entry, kAtomSizeFromAtom) > kTimecodeNameSizeFromEntry)
        outSourceName =
            tenacore::string::Std8ToUTF16String(SourceName(entry, ReadableEntryBytes(bytes, entry)));
    IQTTrack& track = *this;
    outInfo.mIsHandleReference = track.GetDataReferenceType() == kHandleDataReference;
    return kTimecodeSuccess;
}

// The form holds 32 bits only, so 8 bytes of handle data are refused.
int32_t QTTrack::GetTimecodeMediaHandleSample(int64_t& outSample)
{
    IQTTrack& track = *this;
    if (track.GetDataReferenceType() != kHandleDataReference)
        return kTimecodeFailure;
    MK::BinaryData data;
    if (GetHandleReferenceData(data) != kQTSuccess || data.GetSize() != 4)
        return kTimecodeFailure;
    outSample = int64_t(BE::U32(data.GetData()));
    return kTimecodeSuccess;
}

// The sample is taken to be the first thing in the first chunk, so stsc is not consulted.
int32_t QTTrack::GetTimecodeMediaSampleLocation(int64_t& outFileOffset, uint32_t& outSize)
{
    (void)CheckMediaType(*this, kTimecodeMediaType, ContractSites::kTimecodeMediaType,
                         ContractSites::kTimecodeMediaType.function, ContractForm::ReportAndRaise);
    const TrackItem& item = Item();
    const SampleSizeTable sizes(Table(item.stsz));
    // A track that passed the walk without sizes, or whose first size lies outside its table, has
    // no sample to locate.
    if (!item.stsz || (sizes.ConstantSize() == 0 && !sizes.HasEntry(0)))
        return kTimecodeFailure;
    outSize = sizes.ConstantSize() != 0 ? sizes.ConstantSize() : sizes.EntrySize(0);
    // The 64-bit table is chosen by its presence alone, even when it is empty.
    const ChunkOffsetHelper chunks(item, Bytes());
    if (chunks.EntryCount() == 0)
        return kTimecodeFailure;
    outFileOffset = int64_t(chunks.GetEntry(0));
    return kTimecodeSuccess;
}

// The width read follows the handler, not the size: a caller is expected to hand over the bytes
// that the sample location gave. Data too short for that width is refused rather than read past.
int32_t QTTrack::GetTimecodeMediaFrameNumber(MK::BinaryData inSampleData, const TimecodeMediaInfo& inInfo,
                                             int64_t& outFrameNumber)
{
    const MK::BinaryData data = std::move(inSampleData);
    const bool is64 = Bytes().U32Or0(Item().hdlr, kHdlrSubtypeFromPayload) == kTimecode64MediaType;
    const size_t size = data.GetSize();
    if (size != 4 && is64 && size != 8)
        return kTimecodeFailure;
    if (size < (is64 ? 8u : 4u))
        return kTimecodeFailure;
    outFrameNumber = is64 ? int64_t(BE::U64(data.GetData())) : int64_t(BE::I32(data.GetData()));
    const uint32_t editMediaTime = GetFirstEditMediaTime();
    if (editMediaTime != 0 && int32_t(inInfo.mFrameDuration) > 0)
        outFrameNumber = int64_t(uint64_t(outFrameNumber) + editMediaTime / inInfo.mFrameDuration);
    return kTimecodeSuccess;
}

} // namespace QT
