#include <algorithm>

#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTSifter.h"

namespace QT
{

namespace
{

bool HasRequiredSampleTables(const TrackItem& inItem)
{
    return inItem.dinf && inItem.stsd && inItem.stts && inItem.stsc && inItem.stsz &&
           (inItem.stco || inItem.co64);
}

bool IsMediaInfoHeader(uint32_t inType)
{
    return inType == kVmhdAtom || inType == kSmhdAtom || inType == kGmhdAtom || inType == kNmhdAtom;
}

// Where a sample table child is kept; null for types the index does not hold.
const uint8_t** SampleTableSlot(TrackItem& ioItem, uint32_t inType)
{
    switch (inType)
    {
    case kStsdAtom:
        return &ioItem.stsd;
    case kSttsAtom:
        return &ioItem.stts;
    case kStssAtom:
        return &ioItem.stss;
    case kStpsAtom:
        return &ioItem.stps;
    case kStscAtom:
        return &ioItem.stsc;
    case kStcoAtom:
        return &ioItem.stco;
    case kCo64Atom:
        return &ioItem.co64;
    case kStszAtom:
        return &ioItem.stsz;
    case kSdtpAtom:
        return &ioItem.sdtp;
    case kCttsAtom:
        return &ioItem.ctts;
    default:
        return nullptr;
    }
}

// The atoms of one trak, read flat over the buffer. Any Walk* that gives false abandons the
// track, and with it the whole walk.
class TrackWalker
{
public:
    TrackWalker(const uint8_t* inData, uint32_t inLimit, QTSifter& ioSifter)
        : mData(inData), mLimit(inLimit), mSifter(ioSifter)
    {
    }

    // Steps from the trak's first child to the end of minf. outMinfEnd is where the scan for the
    // next trak starts; outAccepted says whether the track has what it must have.
    bool Walk(uint32_t inPos, TrackItem& ioItem, uint32_t& outMinfEnd, bool& outAccepted)
    {
        uint32_t pos = inPos;
        if (!FindTrackHeader(pos, ioItem) || !FindMedia(pos, ioItem))
            return false;
        uint32_t subtype = 0;
        uint32_t minfPos = 0;
        if (!WalkMediaHeaders(pos, ioItem, subtype, minfPos))
            return false;
        if (!WalkMediaInformation(minfPos, ioItem, outMinfEnd))
            return false;
        outAccepted = subtype == kCaptionMediaType || HasRequiredSampleTables(ioItem);
        return true;
    }

private:
    bool Valid(uint32_t inPos, AtomHeader& outAtom) const
    {
        return ReadValidAtom(mData, inPos, mLimit, outAtom);
    }

    bool FindTrackHeader(uint32_t& ioPos, TrackItem& ioItem) const
    {
        AtomHeader atom;
        for (;;)
        {
            if (ioPos >= mLimit - 8 || !Valid(ioPos, atom))
                return false;
            const uint32_t at = ioPos;
            ioPos += atom.size;
            if (atom.type == kTkhdAtom)
            {
                ioItem.tkhd = mData + at + 8;
                return true;
            }
        }
    }

    // Behind tkhd, up to mdia; leaves ioPos at mdia.
    bool FindMedia(uint32_t& ioPos, TrackItem& ioItem) const
    {
        AtomHeader atom;
        for (;;)
        {
            if (!Valid(ioPos, atom))
                return false;
            if (atom.type == kMdiaAtom)
                return true;
            if (atom.type == kEdtsAtom)
                return WalkEdits(ioPos, ioItem);
            if (atom.type == kTaptAtom)
                ReadApertureAtoms(ioPos, atom.size, ioItem);
            ioPos += atom.size;
        }
    }

    void ReadApertureAtoms(uint32_t inPos, uint32_t inSize, TrackItem& ioItem) const
    {
        const uint32_t end = inPos + inSize;
        for (uint32_t pos = inPos + 8; pos < end && end - pos > 8;)
        {
            const uint32_t size = BE::U32(mData + pos);
            if (size == 0 || size > end - pos)
                return;
            const uint32_t type = BE::U32(mData + pos + 4);
            if (type == kClefAtom)
                ioItem.clef = mData + pos;
            else if (type == kProfAtom)
                ioItem.prof = mData + pos;
            else if (type == kEnofAtom)
                ioItem.enof = mData + pos;
            pos += size;
        }
    }

    // edts: its elst, then on from its first child to mdia.
    bool WalkEdits(uint32_t& ioPos, TrackItem& ioItem) const
    {
        AtomHeader atom;
        uint32_t pos = ioPos + 8;
        if (!Valid(pos, atom))
            return false;
        if (atom.type == kElstAtom && !ReadEditList(pos, atom.size, ioItem))
            return false;
        for (;; pos += atom.size)
        {
            if (!Valid(pos, atom))
                return false;
            if (atom.type == kMdiaAtom)
            {
                ioPos = pos;
                return true;
            }
        }
    }

    // The count is tested loosely (8 bytes an entry, where an entry has 12), and that stays;
    // entries are taken only while they lie inside the buffer.
    bool ReadEditList(uint32_t inPos, uint32_t inSize, TrackItem& ioItem) const
    {
        if (mLimit - inPos < 16)
            return false;
        const uint8_t* elst = mData + inPos;
        const int64_t countTimesEight = int32_t(BE::U32(elst + 12) * 8u);
        if (uint64_t(countTimesEight) > inSize)
            return false;
        const ByteRange bytes(mData, mLimit);
        for (int32_t i = 0; i < BE::I32(elst + 12); ++i)
        {
            const uint8_t* entry = elst + 16 + 12 * size_t(i);
            if (!bytes.Contains(entry, 0, 12))
                break;
            ioItem.editList.push_back(entry);
        }
        return true;
    }

    // mdhd first in mdia, an optional elng, hdlr, and minf right behind it.
    bool WalkMediaHeaders(uint32_t inMdiaPos, TrackItem& ioItem, uint32_t& outSubtype,
                          uint32_t& outMinfPos) const
    {
        AtomHeader atom;
        uint32_t pos = inMdiaPos + 8;
        if (!Valid(pos, atom) || atom.type != kMdhdAtom)
            return false;
        ioItem.mdhd = mData + pos + 8;
        if (int8_t(mData[pos + 8]) == 1)
            ioItem.mdhd64 = ioItem.mdhd;
        pos += atom.size;
        if (!Valid(pos, atom))
            return false;
        if (atom.type == kElngAtom)
        {
            pos += atom.size;
            if (!Valid(pos, atom))
                return false;
        }
        if (atom.type != kHdlrAtom || mLimit - pos < 20)
            return false;
        ioItem.hdlr = mData + pos + 8;
        outSubtype = BE::U32(mData + pos + 16);
        DropEmptyEdits(ioItem, outSubtype);
        pos += atom.size;
        if (!Valid(pos, atom) || atom.type != kMinfAtom)
            return false;
        outMinfPos = pos;
        return true;
    }

    // With more than one edit, empty edits (media time -1) go, except on caption tracks.
    static void DropEmptyEdits(TrackItem& ioItem, uint32_t inSubtype)
    {
        if (ioItem.editList.size() <= 1 || inSubtype == kCaptionMediaType)
            return;
        std::erase_if(ioItem.editList,
                      [](const uint8_t* inEntry) { return BE::U32(inEntry + 4) == 0xFFFFFFFF; });
    }

    bool WalkMediaInformation(uint32_t inMinfPos, TrackItem& ioItem, uint32_t& outEnd) const
    {
        AtomHeader minf;
        Valid(inMinfPos, minf);
        const uint32_t end = inMinfPos + minf.size;
        AtomHeader atom;
        for (uint32_t pos = inMinfPos + 8; pos < end; pos += atom.size)
        {
            if (!Valid(pos, atom))
                return false;
            if (IsMediaInfoHeader(atom.type))
                ioItem.mediaInfoHeader = mData + pos;
            else if (atom.type == kDinfAtom)
                ioItem.dinf = mData + pos;
            else if (atom.type == kStblAtom && !mSifter.WalkSampleTable(pos, mLimit, pos + atom.size, ioItem))
                return false;
        }
        outEnd = end;
        return true;
    }

    const uint8_t* mData;
    uint32_t mLimit;
    QTSifter& mSifter;
};

} // namespace

bool QTSifter::WalkTracks()
{
    const uint8_t* data = mooVAtom->Data();
    const uint32_t limit = movieAtomSize;
    AtomHeader atom;
    uint32_t pos = 8;
    for (;; pos += atom.size)
    {
        if (!ReadValidAtom(data, pos, limit, atom))
            return false; // a movie with no track is no movie
        if (atom.type == kTrakAtom)
            break;
    }
    pos += 8;
    TrackWalker walker(data, limit, *this);
    for (;;)
    {
        TrackItem item;
        bool accepted = false;
        uint32_t minfEnd = 0;
        if (!walker.Walk(pos, item, minfEnd, accepted))
            return false;
        if (accepted)
            trackItems.push_back(item);
        if (!FindNextTrack(minfEnd, pos))
            return accepted;
        // One rejected track ends the walk with failure; tracks already accepted do not save it.
        if (pos >= limit - 8 || !accepted)
            return accepted;
    }
}

// From the end of minf to the next trak, over the buffer rather than the trak. A udta met on the
// way is read for its metadata only: its items are not kept. Gives the next trak's first child.
bool QTSifter::FindNextTrack(uint32_t inFrom, uint32_t& outNextTrack)
{
    const uint8_t* data = mooVAtom->Data();
    const uint32_t limit = movieAtomSize;
    AtomHeader atom;
    for (uint32_t pos = inFrom; pos <= limit && limit - pos > 8; pos += atom.size)
    {
        const bool valid = ReadValidAtom(data, pos, limit, atom);
        const uint32_t type = BE::U32(data + pos + 4);
        // The type alone decides: a trak that overruns the buffer is still entered.
        if (type == kTrakAtom)
        {
            outNextTrack = pos + 8;
            return true;
        }
        if (!valid)
            return false;
        if (type == kUdtaAtom && atom.size > 8)
        {
            std::vector<UserDataItem> dropped;
            ReadUserDataChildren(pos + 8, pos + atom.size, dropped);
        }
    }
    return false;
}

bool QTSifter::WalkSampleTable(uint32_t inPos, uint32_t inLimit, uint32_t inEnd, TrackItem& ioItem)
{
    if (inEnd < 9)
        return false;
    const uint8_t* data = mooVAtom->Data();
    // The position stays 8 behind the child it reads, and validity is tested from there, so the
    // atom right behind stbl is read too. The child's own header must lie inside the buffer.
    for (uint32_t pos = inPos; pos < inEnd;)
    {
        if (pos > inLimit || inLimit - pos < 16)
            return HasRequiredSampleTables(ioItem);
        const uint32_t size = BE::U32(data + pos + 8);
        if (size == 0 || size > inLimit - pos)
            return HasRequiredSampleTables(ioItem);
        if (const uint8_t** slot = SampleTableSlot(ioItem, BE::U32(data + pos + 12)))
            *slot = data + pos + 8;
        pos += size;
    }
    return true;
}

} // namespace QT
