#include <algorithm>
#include <vector>

#include "QTAtomLayout.h"
#include "QTTrace.h"
#include "QTTrack.h"

namespace QT
{

namespace
{

tenacore::debug::TraceSiteCache gInvalidDependencySite;
tenacore::debug::TraceSiteCache gInvalidTableSite;

// 8-bit distances computed on the low bytes, wrapping.
int8_t Distance(uint32_t inFrom, uint32_t inTo)
{
    return int8_t(uint8_t(uint8_t(inTo) - uint8_t(inFrom)));
}

enum class FrameClass
{
    Intra,
    Forward,
    Bidirectional,
    Invalid,
};

// The sync match: the next unconsumed entry of stss, or failing that of stps, names this sample.
// A position moves only on an exact match. Positions are compared with the stated count as signed,
// so a table whose count has its top bit set never matches; the trusted count keeps reads inside.
class SyncMatch
{
public:
    SyncMatch(const TableAtom& inStss, const TableAtom& inStps) : mStss(inStss), mStps(inStps) {}

    bool Matches(uint32_t inDecodeIndex)
    {
        return Consume(mStss, mStssPosition, inDecodeIndex) || Consume(mStps, mStpsPosition, inDecodeIndex);
    }

private:
    static bool Consume(const TableAtom& inTable, uint32_t& ioPosition, uint32_t inDecodeIndex)
    {
        if (!inTable || int32_t(ioPosition) >= int32_t(inTable.StatedCount()) ||
            ioPosition >= inTable.TrustedCount(kStssEntrySize) ||
            inTable.U32(kStssEntriesFromAtom + kStssEntrySize * uint64_t(ioPosition)) != inDecodeIndex + 1)
            return false;
        ++ioPosition;
        return true;
    }

    TableAtom mStss;
    TableAtom mStps;
    uint32_t mStssPosition = 0;
    uint32_t mStpsPosition = 0;
};

FrameClass Classify(uint8_t inFlags, uint32_t inDecodeIndex, SyncMatch& ioSync)
{
    if (inFlags & 0x20)
    {
        ioSync.Matches(inDecodeIndex);
        return FrameClass::Intra;
    }
    if ((inFlags & 0x40) || (inFlags & 0x14) == 0x14)
        return ioSync.Matches(inDecodeIndex) ? FrameClass::Intra : FrameClass::Forward;
    if ((inFlags & 0x08) || (inFlags & 0x30) == 0x10)
        return FrameClass::Bidirectional;
    if ((inFlags & 0x2C) == 0x04)
        return FrameClass::Forward;
    return FrameClass::Invalid;
}

// The anchors that frames refer to: the earlier one, and the latest in display order.
struct Anchors
{
    uint32_t earlier = 0;
    uint32_t latest = 0;

    void Apply(FrameClass inClass, uint32_t inDisplay, uint32_t inInRangeCount,
               VideoTemporalReference& ioRecord)
    {
        switch (inClass)
        {
        case FrameClass::Intra:
            ioRecord.backwardReference = 0;
            ioRecord.forwardReference = 0;
            if (latest < inDisplay)
                earlier = inInRangeCount == 1 ? inDisplay : latest;
            latest = std::max(latest, inDisplay);
            break;
        case FrameClass::Forward:
            if (latest < inDisplay)
                earlier = latest;
            ioRecord.backwardReference = Distance(inDisplay, earlier);
            ioRecord.forwardReference = 0;
            latest = std::max(latest, inDisplay);
            break;
        case FrameClass::Bidirectional:
            ioRecord.backwardReference = Distance(inDisplay, earlier);
            ioRecord.forwardReference = Distance(inDisplay, latest);
            break;
        case FrameClass::Invalid:
            break;
        }
    }
};

// The distinct display positions met so far: one bit for each position inside the table, and
// runs of consecutive positions outside it (one ctts entry gives consecutive positions), so that a
// table of a hundred million samples costs a bit each rather than a tree node each.
class DisplayPositions
{
public:
    explicit DisplayPositions(uint32_t inSampleCount)
        : mInside(inSampleCount, false), mSampleCount(inSampleCount)
    {
    }

    void Insert(uint32_t inDisplay)
    {
        if (inDisplay < mSampleCount)
        {
            if (!mInside[inDisplay])
            {
                mInside[inDisplay] = true;
                ++mInsideCount;
            }
            return;
        }
        if (!mOutside.empty() && mOutside.back().end == inDisplay)
            ++mOutside.back().end;
        else
            mOutside.push_back({inDisplay, uint64_t(inDisplay) + 1});
    }

    // How many distinct positions were inserted.
    uint64_t Count() const
    {
        std::vector<Run> runs = mOutside;
        std::sort(runs.begin(), runs.end(),
                  [](const Run& inA, const Run& inB) { return inA.begin < inB.begin; });
        uint64_t count = mInsideCount;
        uint64_t covered = 0; // positions below this are counted
        for (const Run& run : runs)
        {
            const uint64_t begin = std::max(run.begin, covered);
            if (run.end > begin)
                count += run.end - begin;
            covered = std::max(covered, run.end);
        }
        return count;
    }

private:
    struct Run
    {
        uint64_t begin;
        uint64_t end;
    };

    std::vector<bool> mInside;
    uint32_t mSampleCount;
    uint64_t mInsideCount = 0;
    std::vector<Run> mOutside;
};

} // namespace

bool QTTrack::VideoTrackContainsDeltaFrames()
{
    if (!IsVideoOrReport("QT::QTTrack::VideoTrackContainsDeltaFrames"))
        return false;
    const uint8_t* stss = Item().stss;
    return stss && Table(stss).StatedCount() != GetSampleCount();
}

bool QTTrack::VideoTrackHasDependencyTables()
{
    return Item().sdtp && Item().ctts;
}

// The scan runs four bytes past the table, as far as the buffer allows.
bool QTTrack::VideoTrackContainsIndependentSamples()
{
    const uint8_t* sdtp = Item().sdtp;
    if (!sdtp)
        return false;
    const int32_t count = int32_t(Bytes().U32Or0(sdtp, kAtomSizeFromAtom) - kAtomHeaderSize);
    if (count < 1)
        return false;
    const size_t reachable = std::min<size_t>(
        size_t(count),
        Bytes().Available(sdtp) > kSdtpFlagsFromAtom ? Bytes().Available(sdtp) - kSdtpFlagsFromAtom : 0);
    const uint8_t* flags = sdtp + kSdtpFlagsFromAtom;
    return std::any_of(flags, flags + reachable, [](uint8_t inFlags) { return (inFlags & 0x20) != 0; });
}

bool QTTrack::IsVideoSampleReferenced(uint32_t inSampleIndex)
{
    const uint8_t* sdtp = Item().sdtp;
    if (!sdtp || inSampleIndex >= Bytes().U32Or0(sdtp, kAtomSizeFromAtom) - kSdtpFlagsFromAtom ||
        !Bytes().Contains(sdtp, kSdtpFlagsFromAtom + uint64_t(inSampleIndex), 1))
        return true;
    return (sdtp[kSdtpFlagsFromAtom + uint64_t(inSampleIndex)] & 0x08) == 0;
}

uint32_t QTTrack::MakeVideoTemporalReferenceTable(std::vector<VideoTemporalReference>& outTable)
{
    if (!IsVideoOrReport("QT::QTTrack::MakeVideoTemporalReferenceTable"))
        return kQTErrInvalid;
    const TrackItem& item = Item();
    if (!item.sdtp || !item.ctts)
        return kQTErrBadSampleTable;
    const uint32_t sampleCount = GetSampleCount();
    // Every sample's flags byte must lie inside sdtp; that also bounds the table by the buffer.
    const TableAtom sdtp = Table(item.sdtp);
    if (sampleCount != 0 && !sdtp.Has(kSdtpFlagsFromAtom + uint64_t(sampleCount) - 1, 1))
        return kQTErrBadSampleTable;
    outTable.resize(sampleCount);
    const uint8_t* first = GetTimeToSampleEntry(0);
    const uint32_t frameDuration = first ? ReadTimeToSampleEntry(first).duration : 0;
    // Composition offsets are counted in frames of the first duration; without one there are none.
    if (frameDuration == 0)
        return kQTErrBadSampleTable;

    const TableAtom ctts = Table(item.ctts);
    const uint32_t entries = ctts.TrustedCount(kCttsEntrySize);
    SyncMatch sync(Table(item.stss), Table(item.stps));
    Anchors anchors;
    DisplayPositions displayIndices(sampleCount);
    uint32_t decodeIndex = 0;
    uint32_t inRangeCount = 0;
    bool bad = false;
    for (uint32_t entry = 0; entry < entries && !bad; ++entry)
    {
        const int32_t count =
            int32_t(ctts.U32(kCttsEntriesFromAtom + kCttsEntrySize * uint64_t(entry) + kCttsCountFromEntry));
        const int32_t offset =
            int32_t(ctts.U32(kCttsEntriesFromAtom + kCttsEntrySize * uint64_t(entry) + kCttsOffsetFromEntry));
        const uint32_t frames = uint32_t(int32_t(int64_t(offset) / int64_t(int32_t(frameDuration))));
        for (int32_t i = 0; i < count && !bad; ++i, ++decodeIndex)
        {
            // A ctts that counts more samples than the track has would write past the table.
            if (decodeIndex >= sampleCount)
            {
                bad = true;
                break;
            }
            const uint32_t display = decodeIndex + frames;
            displayIndices.Insert(display);
            if (display >= sampleCount)
                continue;
            outTable[display].decodeOffset = Distance(display, decodeIndex);
            ++inRangeCount;
            const uint8_t flags = sdtp.Atom()[12 + uint64_t(decodeIndex)];
            outTable[decodeIndex].dependencyFlags = flags;
            const FrameClass frameClass = Classify(flags, decodeIndex, sync);
            if (frameClass == FrameClass::Invalid)
            {
                bad = true;
                TraceLine(gInvalidDependencySite, kSifterTraceCategory,
                          "Found invalid sdtp atom data at frame ", displayIndices.Count());
                break;
            }
            anchors.Apply(frameClass, display, inRangeCount, outTable[display]);
        }
    }
    if (bad || displayIndices.Count() < sampleCount)
    {
        TraceLine(gInvalidTableSite, kSifterTraceCategory, "Invalid Quicktime sample table data detected.");
        return kQTErrBadSampleTable;
    }
    return kQTSuccess;
}

} // namespace QT
