#include <algorithm>

#include "QTChunkOffsetTable.h"
#include "QTContract.h"
#include "QTFourCC.h"
#include "QTShared.h"
#include "QTSoundDescription.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

bool IsUncompressedFormat(uint32_t inFormat)
{
    switch (inFormat)
    {
    case kAudioFormatUnsigned8:
    case kAudioFormatSigned8:
    case kAudioFormatSigned16BE:
    case kAudioFormatSigned16LE:
    case kAudioFormatSigned24BE:
    case kAudioFormatSigned24LE:
    case kAudioFormatSigned32BE:
    case kAudioFormatSigned32LE:
    case kAudioFormatFloat32BE:
    case kAudioFormatFloat32LE:
    case kAudioFormatFloat64BE:
    case kAudioFormatFloat64LE:
        return true;
    default:
        return false;
    }
}

// The span of media frames the map covers, and the bytes of one frame.
struct AudioSpan
{
    uint64_t rangeStart = 0;
    uint64_t rangeEnd = 0;
    uint32_t bytesPerFrame = 0;
    uint64_t totalSamples = 0;
};

// The file offset of a chunk from its stco or co64 entry.
template <uint32_t kEntryBytes>
uint64_t ReadChunkOffset(const uint8_t* inEntry)
{
    if constexpr (kEntryBytes == kCo64EntrySize)
        return BE::U64(inEntry);
    else
        return BE::U32(inEntry);
}

// One entry a chunk, or the part of it inside the span, in the caller's map.
class RangeMapWriter
{
public:
    RangeMapWriter(const AudioSpan& inSpan, AudioSampleRangeMap& ioMap, bool inKeyByFileOffset)
        : mSpan(inSpan), mMap(ioMap), mKeyByFileOffset(inKeyByFileOffset)
    {
    }

    // inCount chunks of inSamplesPerChunk frames each, the next in the file's order of frames, their
    // offsets in the entries from inEntries on; gives the entry after the last.
    template <uint32_t kEntryBytes>
    const uint8_t* AddChunks(uint32_t inSamplesPerChunk, const uint8_t* inEntries, uint32_t inCount)
    {
        const uint8_t* entry = inEntries;
        const uint8_t* const end = inEntries + size_t(inCount) * kEntryBytes;
        // Chunks without frames add nothing and move nothing.
        if (inSamplesPerChunk == 0)
            return end;
        while (entry != end)
        {
            const uint64_t chunksLeft = uint64_t(end - entry) / kEntryBytes;
            if (mSampleCursor >= mSpan.rangeEnd)
            {
                // Past the span's end no chunk adds a range.
                mSampleCursor += chunksLeft * inSamplesPerChunk;
                return end;
            }
            if (mSampleCursor >= mSpan.rangeStart)
            {
                // The chunks wholly inside the span, the common case, each as it stands.
                const uint64_t whole =
                    std::min<uint64_t>(chunksLeft, (mSpan.rangeEnd - mSampleCursor) / inSamplesPerChunk);
                entry = AddWholeChunks<kEntryBytes>(inSamplesPerChunk, entry, whole);
                if (entry == end)
                    return end;
            }
            AddChunk(inSamplesPerChunk, ReadChunkOffset<kEntryBytes>(entry));
            entry += kEntryBytes;
        }
        return end;
    }

    // Whether the frames seen so far cover the track.
    bool CoversTrack() const { return mSampleCursor >= mSpan.totalSamples; }

private:
    // inCount chunks that lie wholly inside the span, none of them empty.
    template <uint32_t kEntryBytes>
    const uint8_t* AddWholeChunks(uint32_t inSamplesPerChunk, const uint8_t* inEntries, uint64_t inCount)
    {
        // In locals, so that the insertions' calls do not make them be read again each time.
        AudioSampleRangeMap& map = mMap;
        const bool keyByFileOffset = mKeyByFileOffset;
        uint64_t position = mPosition;
        const uint8_t* entry = inEntries;
        const uint8_t* const end = inEntries + inCount * kEntryBytes;
        for (; entry != end; entry += kEntryBytes)
        {
            const uint64_t offset = ReadChunkOffset<kEntryBytes>(entry);
            // Keys mostly come in order, so the end is tried first; a key out of order, or one
            // already there, is found and treated as by a plain insert.
            map.emplace_hint(map.end(), keyByFileOffset ? offset : position,
                             AudioSampleRange{inSamplesPerChunk, position, offset});
            position += inSamplesPerChunk;
        }
        mPosition = position;
        mSampleCursor += inCount * inSamplesPerChunk;
        return end;
    }

    // A chunk of inSamplesPerChunk frames at inOffset, the next in the file's order of frames.
    void AddChunk(uint32_t inSamplesPerChunk, uint64_t inOffset)
    {
        const uint64_t chunkEnd = mSampleCursor + inSamplesPerChunk;
        if (chunkEnd >= mSpan.rangeStart && mSampleCursor <= mSpan.rangeEnd)
            AddInsideSpan(chunkEnd, inSamplesPerChunk, inOffset);
        mSampleCursor = chunkEnd;
    }

    void AddInsideSpan(uint64_t inChunkEnd, uint32_t inSamplesPerChunk, uint64_t inOffset)
    {
        uint64_t count = inSamplesPerChunk;
        uint64_t offset = inOffset;
        if (mSpan.rangeStart > mSampleCursor)
        {
            count -= mSpan.rangeStart - mSampleCursor;
            offset += (mSpan.rangeStart - mSampleCursor) * mSpan.bytesPerFrame;
        }
        // Replaces the count above: a chunk holding both ends of the span keeps its skipped frames.
        if (inChunkEnd > mSpan.rangeEnd)
            count = mSpan.rangeEnd - mSampleCursor;
        if (count == 0)
            return;
        const AudioSampleRange range{count, mPosition, offset};
        mMap.emplace_hint(mMap.end(), mKeyByFileOffset ? offset : mPosition, range);
        mPosition += count;
    }

    const AudioSpan& mSpan;
    AudioSampleRangeMap& mMap;
    bool mKeyByFileOffset;
    uint64_t mSampleCursor = 0;
    uint64_t mPosition = 0;
};

// Run by run over the stsc entries that lie inside the atom, chunk by chunk over the chunk offsets
// that lie inside theirs, so that no count in the file can make the walk longer than its tables.
void WalkChunkRuns(const TrackItem& inItem, const ByteRange& inBytes, const AudioSpan& inSpan,
                   AudioSampleRangeMap& ioMap, bool inKeyByFileOffset)
{
    const SampleToChunkTable runs(TableAtom(inItem.stsc, inBytes));
    const ChunkOffsetHelper offsets(inItem, inBytes);
    const uint32_t chunkCount = offsets.EntryCount();
    const uint32_t runCount = runs.RunCount();
    const bool wide = offsets.Is64Bit();
    // Stepped entry by entry; only the first chunkCount entries are read, all inside the table.
    const uint8_t* entry = offsets.Entries();
    RangeMapWriter writer(inSpan, ioMap, inKeyByFileOffset);
    uint32_t chunkIndex = 0;
    uint32_t chunksSeen = 0;
    for (uint32_t run = 0; run < runCount; ++run)
    {
        const uint32_t runChunks = runs.RunChunks(run, chunkCount, chunksSeen);
        const uint32_t samplesPerChunk = runs.SamplesPerChunk(run);
        const uint32_t chunks = std::min(runChunks, chunkCount - chunkIndex);
        entry = wide ? writer.AddChunks<kCo64EntrySize>(samplesPerChunk, entry, chunks)
                     : writer.AddChunks<kStcoEntrySize>(samplesPerChunk, entry, chunks);
        chunkIndex += chunks;
        if (writer.CoversTrack())
            return;
    }
}

} // namespace

// The opening of the audio accessors: the media type, reported and then raised.
void QTTrack::RequireAudio(const char* inFunction)
{
    (void)CheckMediaType(*this, kAudioMediaType, ContractSites::kAudioMediaType, inFunction,
                         ContractForm::ReportAndRaise);
}

const uint8_t* QTTrack::SoundDescriptionEntry(uint32_t inIndex)
{
    return GetSampleDescription(Item().stsd, int32_t(inIndex));
}

uint32_t QTTrack::GetAudioMediaSampleRate(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaSampleRate");
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry ? uint32_t(SoundDescription(Bytes(), entry).GetSampleRate()) : 0;
}

int16_t QTTrack::GetAudioMediaNumChannels(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaNumChannels");
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry ? int16_t(SoundDescription(Bytes(), entry).GetNumChannels()) : 0;
}

int16_t QTTrack::GetAudioMediaBitsPerSample(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaBitsPerSample");
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry ? int16_t(SoundDescription(Bytes(), entry).GetBitsPerSample()) : 0;
}

uint32_t QTTrack::GetAudioMediaPackedBitsPerSample(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaPackedBitsPerSample");
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry ? SoundDescription(Bytes(), entry).GetPackedBitsPerSample() : 0;
}

uint32_t QTTrack::GetAudioMediaDataFormat(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaDataFormat");
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry ? SoundDescription(Bytes(), entry).GetDataFormat() : kAudioFormatUnknown;
}

// Asked through the interface, so that the format's own contract check applies.
bool QTTrack::IsAudioMediaUncompressed(uint32_t inIndex)
{
    IQTTrack& track = *this;
    return IsUncompressedFormat(track.GetAudioMediaDataFormat(inIndex));
}

uint32_t QTTrack::GetAudioMediaRawDataFormat(uint32_t inIndex)
{
    RequireAudio("QT::QTTrack::GetAudioMediaRawDataFormat");
    return Bytes().U32Or0(SoundDescriptionEntry(inIndex), kSoundFormatFromEntry);
}

bool QTTrack::GetMultiChannelMap(uint32_t inIndex, std::vector<int32_t>& outMap, bool& outUnsupported)
{
    RequireAudio("QT::QTTrack::GetMultiChannelMap");
    outUnsupported = false;
    const uint8_t* entry = SoundDescriptionEntry(inIndex);
    return entry && SoundDescription(Bytes(), entry).GetChannelMap(outMap, outUnsupported);
}

uint32_t QTTrack::MakeAudioSampleRangeMap(AudioSampleRangeMap& outMap, bool inKeyByFileOffset)
{
    RequireAudio("QT::QTTrack::MakeAudioSampleRangeMap");
    if (!IsEditListSupported(true))
        return kQTErrComplexEditList;
    // Description 0 governs the whole track.
    const int16_t channels = GetAudioMediaNumChannels(0);
    const int16_t bits = GetAudioMediaBitsPerSample(0);
    if (channels < 1 || bits < 8 || bits > 64)
        return kQTErrUnsupportedAudio;
    const TrackItem& item = Item();
    const uint32_t timeEntries = Table(item.stts).StatedCount();
    if (timeEntries == 0)
        return GetTrackDuration() == 0 ? kQTSuccess : kQTErrUnsupportedAudio;
    if (timeEntries > 1)
        return kQTErrUnsupportedAudio;

    AudioSpan span;
    span.bytesPerFrame = uint32_t(bits / 8 * channels);
    const uint8_t* first = GetTimeToSampleEntry(0);
    // Sign-extended, then unsigned: a count with its top bit set is taken as enormous.
    span.totalSamples = first ? uint64_t(int64_t(int32_t(ReadTimeToSampleEntry(first).sampleCount))) : 0;
    span.rangeStart = mFirstSampleIndex;
    span.rangeEnd = uint64_t(mFirstSampleIndex) + mEditedMediaDuration;
    if (span.totalSamples == 0)
        return kQTSuccess;
    WalkChunkRuns(item, Bytes(), span, outMap, inKeyByFileOffset);
    return kQTSuccess;
}

} // namespace QT
