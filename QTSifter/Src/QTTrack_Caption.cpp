#include <atomic>
#include <string>

#include "KSL/File.h"
#include "QTAtomLayout.h"
#include "QTCaptionLimits.h"
#include "QTCaptionSampleTimes.h"
#include "QTFourCC.h"
#include "QTShared.h"
#include "QTTrack.h"
#include "tenacore/FileUtils.h"

namespace QT
{

namespace
{

constexpr uint32_t kEmptyEditMediaTime = 0xFFFFFFFF;
constexpr uint32_t kMinimumSampleSizeForData = kCaptionHeaderSize;

std::atomic<uint64_t> gMaxConstantSizeSamples{CaptionMapLimits{}.maxConstantSizeSamples};
std::atomic<uint64_t> gMaxEntries{CaptionMapLimits{}.maxEntries};

// The absolute value of a signed 32-bit value, INT_MIN's included.
uint32_t Magnitude(uint32_t inValue)
{
    return int32_t(inValue) < 0 ? 0u - inValue : inValue;
}

uint32_t GreatestCommonDivisor(uint32_t inA, uint32_t inB)
{
    while (inB != 0)
    {
        const uint32_t rest = inA % inB;
        inA = inB;
        inB = rest;
    }
    return inA;
}

// Whether the 8 bytes at inChunkOffset of the file at inPath are not a cdat atom's header, which
// makes the track's CEA-608 samples bare pairs. A file that cannot be opened, sized, or read there
// says nothing, and the samples keep their headers.
bool PeekFindsBarePairs(const std::u16string& inPath, uint64_t inChunkOffset)
{
    KSL::File file;
    if (file.Create(inPath, KSL::File::kAccessRead, KSL::File::kShareRead, KSL::File::kOpenExisting, 0,
                    false) < 0)
        return false;
    uint64_t fileSize = 0;
    (void)tenacore::utility::FileUtils::GetFileSize(inPath, fileSize);
    if (fileSize < kCaptionHeaderSize || inChunkOffset > fileSize - kCaptionHeaderSize)
        return false;
    if (file.SetFilePointer(int64_t(inChunkOffset), KSL::File::kFromStart) < 0)
        return false;
    // Zeroed first: the count read is not looked at, so a short read leaves zeros, not old bytes.
    uint8_t header[kCaptionHeaderSize] = {};
    uint32_t read = 0;
    if (file.Read(header, kCaptionHeaderSize, read) < 0)
        return false;
    return BE::U32(header + kAtomTypeFromAtom) != kCaptionDataAtom;
}

// Adds locations to the caller's map under the key asked for; a key already there keeps its entry.
// Every entry offered counts against the bound, new or not.
class CaptionMapWriter
{
public:
    CaptionMapWriter(CaptionSampleMap& ioMap, bool inKeyByFileOffset)
        : mMap(ioMap), mKeyByFileOffset(inKeyByFileOffset), mLeft(gMaxEntries.load(std::memory_order_relaxed))
    {
    }

    // False, with nothing added, once the bound is reached.
    [[nodiscard]] bool Add(const CaptionSampleLocation& inLocation)
    {
        if (mLeft == 0)
            return false;
        --mLeft;
        // Keys mostly come in order, so the end is tried first.
        mMap.emplace_hint(mMap.end(), mKeyByFileOffset ? inLocation.mFileOffset : inLocation.mTime,
                          inLocation);
        return true;
    }

private:
    CaptionSampleMap& mMap;
    bool mKeyByFileOffset;
    uint64_t mLeft;
};

// The sizes of a caption track's samples. A constant size must be positive as a signed value, and
// is trusted only so far; sizes from the table must lie inside the count and inside the atom.
class CaptionSampleSizes
{
public:
    explicit CaptionSampleSizes(const TableAtom& inStsz)
        : mSizes(inStsz), mMaxConstantSizeSamples(gMaxConstantSizeSamples.load(std::memory_order_relaxed))
    {
    }

    uint32_t ConstantSize() const noexcept { return mSizes.ConstantSize(); }

    [[nodiscard]] bool Find(uint64_t inSample, uint32_t& outSize) const noexcept
    {
        if (mSizes.ConstantSize() != 0)
        {
            if (int32_t(mSizes.ConstantSize()) < 1 || inSample >= mMaxConstantSizeSamples)
                return false;
            outSize = mSizes.ConstantSize();
            return true;
        }
        const int64_t count = int32_t(mSizes.StatedCount());
        if (count < 1 || inSample >= uint64_t(count) || !mSizes.HasEntry(uint32_t(inSample)))
            return false;
        outSize = mSizes.EntrySize(uint32_t(inSample));
        return true;
    }

private:
    SampleSizeTable mSizes;
    uint64_t mMaxConstantSizeSamples;
};

// One pass over a caption track's chunks and samples, adding the captions inside the edit.
class CaptionScan
{
public:
    struct Setup
    {
        IQTTrack& track;
        const std::u16string& path;
        const TrackItem& item;
        ByteRange bytes;
        uint64_t startTime;
        uint32_t firstSample;
        uint32_t editedMediaDuration;
    };

    CaptionScan(const Setup& inSetup, CaptionSampleMap& ioMap, bool inKeyByFileOffset)
        : mTrack(inSetup.track), mPath(inSetup.path),
          mTimes(TableAtom(inSetup.item.stts, inSetup.bytes), inSetup.startTime),
          mSizes(TableAtom(inSetup.item.stsz, inSetup.bytes)),
          mRuns(TableAtom(inSetup.item.stsc, inSetup.bytes)), mChunks(inSetup.item, inSetup.bytes),
          mWriter(ioMap, inKeyByFileOffset), mFirstSample(inSetup.firstSample),
          mEditedMediaDuration(inSetup.editedMediaDuration)
    {
    }

    uint32_t Run()
    {
        // The time at the first sample is looked up in the times there are, never past them.
        if (mFirstSample >= mTimes.TimeCount())
            return kQTErrFailed;
        mEndTime = mEditedMediaDuration + mTimes.TimeAt(mFirstSample);
        mFrameDuration = mTrack.GetCaptionMediaFrameDuration();
        if (mChunks.EntryCount() == 0)
            return kQTSuccess;
        // Without a readable run, no chunk has a number of samples.
        if (mRuns.RunCount() == 0)
            return kQTErrFailed;
        for (uint32_t chunk = 0; chunk < mChunks.EntryCount(); ++chunk)
            if (!ScanChunk(chunk))
                return kQTErrFailed;
        return kQTSuccess;
    }

private:
    // Moves to the next run when this chunk is its first, at most one run a chunk; the first run's
    // first chunk is not looked at. Only runs inside the atom are looked ahead to.
    void FollowRuns(uint32_t inChunk)
    {
        const int64_t next = int64_t(mRun) + 1;
        if (next < int64_t(int32_t(mRuns.StatedRunCount())) && next < int64_t(mRuns.RunCount()) &&
            int64_t(int32_t(mRuns.FirstChunk(uint32_t(next)))) == int64_t(inChunk) + 1)
            mRun = uint32_t(next);
    }

    [[nodiscard]] bool ScanChunk(uint32_t inChunk)
    {
        const uint64_t chunkOffset = mChunks.GetEntry(inChunk);
        FollowRuns(inChunk);
        // A signed 32-bit running sum, kept unsigned so that it wraps as such a sum does.
        uint32_t chunkBytes = 0;
        const int32_t samplesInChunk = int32_t(mRuns.SamplesPerChunk(mRun));
        for (int32_t i = 0; i < samplesInChunk && int64_t(mSample) < mTimes.TotalSamples(); ++i)
            if (!ScanSample(chunkOffset, chunkBytes))
                return false;
        return true;
    }

    // A sample outside the edit still moves the samples behind it in its chunk along, and its size
    // must still be usable.
    [[nodiscard]] bool ScanSample(uint64_t inChunkOffset, uint32_t& ioChunkBytes)
    {
        const uint64_t time = mTimes.Current();
        uint32_t size = 0;
        if (!mSizes.Find(mSample, size))
            return false;
        if (mSample >= mFirstSample && time <= mEndTime)
        {
            const uint64_t sampleStart = inChunkOffset + uint64_t(int64_t(int32_t(ioChunkBytes)));
            if (!AddCaptions(time, size, inChunkOffset, sampleStart))
                return false;
        }
        ioChunkBytes += size;
        ++mSample;
        mTimes.Advance();
        return true;
    }

    // Description 0 governs every sample; it is asked once, at the first sample inside the edit.
    uint32_t Format()
    {
        if (!mHaveFormat)
        {
            mFormat = mTrack.GetCaptionMediaDataFormat(0);
            mHaveFormat = true;
        }
        return mFormat;
    }

    [[nodiscard]] bool AddCaptions(uint64_t inTime, uint32_t inSize, uint64_t inChunkOffset,
                                   uint64_t inSampleStart)
    {
        const uint32_t format = Format();
        if (format == kCaption608Format)
        {
            if (inSize == kCaptionTwoFieldSampleSize && mSizes.ConstantSize() == kCaptionTwoFieldSampleSize)
                return AddTwoFields(inTime, inSampleStart);
            return AddPairs(inTime, inSize, inChunkOffset, inSampleStart);
        }
        if (format == kCaption708Format)
            return Add708(inTime, inSize, inSampleStart);
        return true;
    }

    // Two cdat atoms of one pair each, one a field: only when every sample of the track is so.
    [[nodiscard]] bool AddTwoFields(uint64_t inTime, uint64_t inSampleStart)
    {
        return mWriter.Add({inTime, inSampleStart + kCaptionHeaderSize, kCaptionPairSize, true,
                            inSampleStart + kCaptionSecondFieldFromSample, kCaptionPairSize});
    }

    // One entry a pair, each a frame after the one before. The first such sample decides, from the
    // start of its chunk in the file, whether the pairs stand behind a cdat header.
    [[nodiscard]] bool AddPairs(uint64_t inTime, uint32_t inSize, uint64_t inChunkOffset,
                                uint64_t inSampleStart)
    {
        if (mPeekPending)
        {
            mPeekPending = false;
            if (PeekFindsBarePairs(mPath, inChunkOffset))
                mHeaderSize = 0;
        }
        // A sample smaller than its header has no pairs, rather than the billions a wrap would give.
        const uint32_t pairs = inSize < mHeaderSize ? 0 : (inSize - mHeaderSize) / kCaptionPairSize;
        for (uint32_t i = 0; i < pairs; ++i)
        {
            const uint32_t spacing = i * mFrameDuration;
            if (!mWriter.Add({inTime + spacing, inSampleStart + mHeaderSize + uint64_t(kCaptionPairSize) * i,
                              kCaptionPairSize, false, 0, 0}))
                return false;
        }
        return true;
    }

    // One atom: the data behind its header, in one piece.
    [[nodiscard]] bool Add708(uint64_t inTime, uint32_t inSize, uint64_t inSampleStart)
    {
        const uint32_t length =
            int32_t(inSize) >= int32_t(kMinimumSampleSizeForData) ? inSize - kCaptionHeaderSize : 0;
        if (length == 0)
            return true;
        return mWriter.Add({inTime, inSampleStart + kCaptionHeaderSize, length, false, 0, 0});
    }

    IQTTrack& mTrack;
    const std::u16string& mPath;
    CaptionSampleTimes mTimes;
    CaptionSampleSizes mSizes;
    SampleToChunkTable mRuns;
    ChunkOffsetHelper mChunks;
    CaptionMapWriter mWriter;
    uint32_t mFirstSample;
    uint32_t mEditedMediaDuration;
    uint64_t mEndTime = 0;
    uint32_t mFrameDuration = 0;
    uint32_t mRun = 0;
    uint64_t mSample = 0;
    uint32_t mHeaderSize = kCaptionHeaderSize;
    bool mPeekPending = true;
    bool mHaveFormat = false;
    uint32_t mFormat = 0;
};

} // namespace

CaptionMapLimits SetCaptionMapLimits(const CaptionMapLimits& inLimits)
{
    CaptionMapLimits previous;
    previous.maxConstantSizeSamples = gMaxConstantSizeSamples.exchange(inLimits.maxConstantSizeSamples);
    previous.maxEntries = gMaxEntries.exchange(inLimits.maxEntries);
    return previous;
}

CaptionMapLimits GetCaptionMapLimits()
{
    return {gMaxConstantSizeSamples.load(), gMaxEntries.load()};
}

uint32_t QTTrack::GetCaptionMediaDataFormat(int32_t inIndex)
{
    const uint32_t format = Bytes().U32Or0(GetSampleDescription(Item().stsd, inIndex), kAtomTypeFromAtom);
    return format == kCaption608Format || format == kCaption708Format ? format : kUnknownMediaType;
}

// The greatest common divisor of the stts durations, taken on signed values by their magnitudes;
// when it says nothing (1 with no duration of 1, or not above 1), one NTSC frame.
uint32_t QTTrack::GetCaptionMediaFrameDuration()
{
    const uint32_t entries = Table(Item().stts).StatedCount();
    const uint8_t* first = GetTimeToSampleEntry(0);
    if (entries != 0 && first)
    {
        uint32_t divisor = ReadTimeToSampleEntry(first).duration;
        uint32_t least = divisor;
        for (uint32_t index = 1; index < entries && divisor != 1; ++index)
        {
            const uint8_t* raw = GetTimeToSampleEntry(index);
            if (!raw)
                break;
            const uint32_t duration = ReadTimeToSampleEntry(raw).duration;
            if (int32_t(duration) < int32_t(least))
                least = duration;
            divisor = GreatestCommonDivisor(Magnitude(divisor), Magnitude(duration));
        }
        if (int32_t(divisor) > 1 || int32_t(least) == 1)
            return divisor;
    }
    return uint32_t(double(GetMediaTimeScale()) * 1.001 / 30.0 + 0.5);
}

// The times start after the empty edits that open the list, which on a caption track the walk
// keeps even among several edits.
uint32_t QTTrack::MakeCaptionSampleMap(const std::u16string& inPath, CaptionSampleMap& outMap,
                                       bool inKeyByFileOffset)
{
    const TrackItem& item = Item();
    if (Table(item.stts).StatedCount() == 0)
        return kQTErrFailed;
    int64_t emptyEdits = 0;
    for (const uint8_t* edit : item.editList)
    {
        if (BE::U32(edit + kEditMediaTimeFromEntry) != kEmptyEditMediaTime)
            break;
        emptyEdits += BE::I32(edit + kEditDurationFromEntry);
    }
    IQTTrack& track = *this;
    const CaptionScan::Setup setup{track,
                                   inPath,
                                   item,
                                   Bytes(),
                                   MovieToMediaTime(uint32_t(emptyEdits)),
                                   mFirstSampleIndex,
                                   mEditedMediaDuration};
    return CaptionScan(setup, outMap, inKeyByFileOffset).Run();
}

} // namespace QT
