#include <algorithm>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTByteRange.h"
#include "QTFourCC.h"
#include "QTMovieWalk.h"

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
const uint8_t** SampleTableSlot(TrackItem& ioItem, uint32_t inType, const WalkRules& inRules)
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
        return inRules.recordPartialSync ? &ioItem.stps : nullptr;
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

// Whether inAtom's header lies before inEnd: the atom starts inside the container that ends there.
bool HeaderInside(const ChildAtom& inAtom, uint32_t inEnd)
{
    return inAtom.position < inEnd && kAtomHeaderSize <= inEnd - inAtom.position;
}

// The atoms of one trak, read flat over the buffer. Any Walk* that gives false abandons the
// track, and with it the whole walk.
class TrackWalker
{
public:
    TrackWalker(const MovieIndex& inIndex, const WalkRules& inRules)
        : mIndex(inIndex), mRules(inRules), mData(inIndex.Data()), mLimit(inIndex.movieAtomSize)
    {
    }

    // Steps from the trak's first child to the end of minf. outMinfEnd is where the scan for the
    // next trak starts; outAccepted says whether the track has what it must have.
    [[nodiscard]] bool Walk(uint32_t inPos, TrackItem& ioItem, uint32_t& outMinfEnd, bool& outAccepted) const
    {
        uint32_t pos = inPos;
        if (!FindTrackHeader(pos, ioItem) || !FindMedia(pos, ioItem))
            return false;
        uint32_t subtype = 0;
        ChildAtom minf;
        if (!WalkMediaHeaders(pos, ioItem, subtype, minf) || !WalkMediaInformation(minf, ioItem))
            return false;
        outMinfEnd = uint32_t(minf.End());
        outAccepted = Accepts(ioItem, subtype);
        return true;
    }

private:
    // The children of the buffer from inPos on, measured to its end: the flat walk of the track.
    ChildAtomScanner Flat(uint64_t inPos) const
    {
        return ChildAtomScanner::InBuffer(mData, mLimit, inPos, {.minBytesLeft = mRules.minBytesLeft});
    }

    // The one atom at inPos, if valid.
    [[nodiscard]] bool AtomAt(uint64_t inPos, ChildAtom& outAtom) const { return Flat(inPos).Next(outAtom); }

    bool Accepts(const TrackItem& inItem, uint32_t inSubtype) const
    {
        if (mRules.captionTracksNeedNoTables && inSubtype == kCaptionMediaType)
            return true;
        return HasRequiredSampleTables(inItem) && (!mRules.requireMediaInfoHeader || inItem.mediaInfoHeader);
    }

    [[nodiscard]] bool FindTrackHeader(uint32_t& ioPos, TrackItem& ioItem) const
    {
        ChildAtomScanner atoms = Flat(ioPos);
        ChildAtom atom;
        while (atoms.Next(atom))
        {
            if (atom.type == kTkhdAtom)
            {
                ioItem.tkhd = mData + atom.position + kAtomHeaderSize;
                ioPos = uint32_t(atoms.Position());
                return true;
            }
        }
        return false;
    }

    // Behind tkhd, up to mdia; leaves ioPos at mdia.
    [[nodiscard]] bool FindMedia(uint32_t& ioPos, TrackItem& ioItem) const
    {
        ChildAtomScanner atoms = Flat(ioPos);
        ChildAtom atom;
        while (atoms.Next(atom))
        {
            if (atom.type == kMdiaAtom)
            {
                ioPos = atom.position;
                return true;
            }
            if (atom.type == kEdtsAtom)
                return WalkEdits(atom, ioPos, ioItem);
            if (atom.type == kTaptAtom)
                ReadApertureAtoms(atom, ioItem);
        }
        return false;
    }

    void ReadApertureAtoms(const ChildAtom& inTapt, TrackItem& ioItem) const
    {
        auto children = ChildAtomScanner::InContainer(mData, mLimit, inTapt.position + kAtomHeaderSize,
                                                      inTapt.End(), {.minBytesLeft = mRules.minBytesLeft});
        ChildAtom atom;
        while (children.Next(atom))
        {
            if (atom.type == kClefAtom)
                ioItem.clef = mData + atom.position;
            else if (atom.type == kProfAtom)
                ioItem.prof = mData + atom.position;
            else if (atom.type == kEnofAtom)
                ioItem.enof = mData + atom.position;
        }
    }

    // edts: its elst, then on from its first child to mdia.
    [[nodiscard]] bool WalkEdits(const ChildAtom& inEdts, uint32_t& ioPos, TrackItem& ioItem) const
    {
        ChildAtomScanner atoms = Flat(inEdts.position + kAtomHeaderSize);
        ChildAtom atom;
        if (!AtomAt(atoms.Position(), atom))
            return false;
        const bool isEditList = atom.type == kElstAtom || !mRules.checkEditListType;
        if (isEditList && !ReadEditList(atom, ioItem))
            return false;
        while (atoms.Next(atom))
        {
            if (atom.type == kMdiaAtom)
            {
                ioPos = atom.position;
                return true;
            }
        }
        return false;
    }

    // The count is tested loosely (8 bytes an entry, where an entry has 12), and that stays;
    // entries are taken only while they lie inside the buffer. A child taken as the edit list
    // without a look at its type may be any atom at all: its entries are held to its own bytes.
    [[nodiscard]] bool ReadEditList(const ChildAtom& inElst, TrackItem& ioItem) const
    {
        const uint64_t entriesEnd =
            mRules.checkEditListType ? mLimit : std::min<uint64_t>(inElst.End(), mLimit);
        const ByteRange bytes(mData, uint32_t(entriesEnd));
        const uint8_t* elst = mData + inElst.position;
        if (!ByteRange(mData, mLimit).Contains(elst, kElstCountFromAtom, 4))
            return false;
        const int32_t count = BE::I32(elst + kElstCountFromAtom);
        const int64_t countTimesEight = int32_t(uint32_t(count) * 8u);
        if (uint64_t(countTimesEight) > inElst.size)
            return false;
        for (int32_t i = 0; i < count; ++i)
        {
            const uint8_t* entry = elst + kElstEntriesFromAtom + kElstEntrySize * size_t(i);
            if (!bytes.Contains(entry, 0, kElstEntrySize))
                break;
            ioItem.editList.push_back(entry);
        }
        return true;
    }

    // mdhd first in mdia, an optional elng, hdlr, and minf right behind it.
    [[nodiscard]] bool WalkMediaHeaders(uint32_t inMdiaPos, TrackItem& ioItem, uint32_t& outSubtype,
                                        ChildAtom& outMinf) const
    {
        ChildAtomScanner atoms = Flat(inMdiaPos + kAtomHeaderSize);
        ChildAtom atom;
        if (!atoms.Next(atom) || atom.type != kMdhdAtom)
            return false;
        ioItem.mdhd = mData + atom.position + kAtomHeaderSize;
        if (int8_t(ioItem.mdhd[kMdhdVersionFromPayload]) == 1)
            ioItem.mdhd64 = ioItem.mdhd;
        if (!atoms.Next(atom))
            return false;
        if (atom.type == kElngAtom && mRules.skipExtendedLanguage && !atoms.Next(atom))
            return false;
        if (atom.type != kHdlrAtom ||
            !ByteRange(mData, mLimit).Contains(mData, atom.position, kHdlrSubtypeFromAtom + 4))
            return false;
        ioItem.hdlr = mData + atom.position + kAtomHeaderSize;
        outSubtype = BE::U32(ioItem.hdlr + kHdlrSubtypeFromPayload);
        if (mRules.dropEmptyEdits)
            DropEmptyEdits(ioItem, outSubtype);
        return atoms.Next(outMinf) && outMinf.type == kMinfAtom;
    }

    // With more than one edit, empty edits (media time -1) go, except on caption tracks.
    static void DropEmptyEdits(TrackItem& ioItem, uint32_t inSubtype)
    {
        if (ioItem.editList.size() <= 1 || inSubtype == kCaptionMediaType)
            return;
        std::erase_if(ioItem.editList, [](const uint8_t* inEntry)
                      { return BE::U32(inEntry + kEditMediaTimeFromEntry) == 0xFFFFFFFF; });
    }

    // The children of minf, read up to its end; their validity is measured to the buffer's.
    [[nodiscard]] bool WalkMediaInformation(const ChildAtom& inMinf, TrackItem& ioItem) const
    {
        ChildAtomScanner children(mData, mLimit, inMinf.position + kAtomHeaderSize, inMinf.End(), mLimit,
                                  {.minBytesLeft = mRules.minBytesLeft});
        ChildAtom atom;
        if (mRules.mediaInformation == MediaInformationWalk::FirstChildIsHeader)
        {
            if (!children.Next(atom))
                return false;
            ioItem.mediaInfoHeader = mData + atom.position;
        }
        while (children.Position() < inMinf.End())
        {
            if (!children.Next(atom))
                return false;
            if (IsMediaInfoHeader(atom.type) && mRules.mediaInformation == MediaInformationWalk::InLine)
                ioItem.mediaInfoHeader = mData + atom.position;
            else if (atom.type == kDinfAtom)
                ioItem.dinf = mData + atom.position;
            else if (atom.type == kStblAtom &&
                     !WalkSampleTable(mIndex, mRules, atom.position, mLimit, uint32_t(atom.End()), ioItem))
                return false;
        }
        return true;
    }

    const MovieIndex& mIndex;
    const WalkRules& mRules;
    const uint8_t* mData;
    uint32_t mLimit;
};

// From the end of minf to the next trak, over the buffer rather than the trak. A udta met on the
// way is read for its metadata only: its items are not kept. Gives the next trak's first child.
[[nodiscard]] bool FindNextTrack(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t inFrom,
                                 uint32_t& outNextTrack)
{
    auto atoms = ChildAtomScanner::InBuffer(ioIndex.Data(), ioIndex.movieAtomSize, inFrom,
                                            {.minBytesLeft = inRules.minBytesLeft});
    ChildAtom atom;
    while (atoms.Peek(atom))
    {
        // The type alone decides: a trak that overruns the buffer is still entered.
        if (atom.type == kTrakAtom)
        {
            outNextTrack = atom.position + kAtomHeaderSize;
            return true;
        }
        if (!atoms.Next(atom))
            return false;
        if (atom.type == kUdtaAtom && atom.size > kAtomHeaderSize)
        {
            std::vector<UserDataItem> dropped;
            ReadUserDataChildren(ioIndex, inRules, atom.position + kAtomHeaderSize, uint32_t(atom.End()),
                                 dropped);
        }
    }
    return false;
}

} // namespace

bool WalkTracks(MovieIndex& ioIndex, const WalkRules& inRules)
{
    const uint32_t limit = ioIndex.movieAtomSize;
    auto atoms = ChildAtomScanner::InBuffer(ioIndex.Data(), limit, kAtomHeaderSize,
                                            {.minBytesLeft = inRules.minBytesLeft});
    ChildAtom atom;
    do
    {
        if (!atoms.Next(atom))
            return false; // a movie with no track is no movie
    } while (atom.type != kTrakAtom);
    uint32_t pos = atom.position + kAtomHeaderSize;
    const TrackWalker walker(ioIndex, inRules);
    for (;;)
    {
        TrackItem item;
        bool accepted = false;
        uint32_t minfEnd = 0;
        if (!walker.Walk(pos, item, minfEnd, accepted))
            return false;
        if (accepted)
            ioIndex.trackItems.push_back(item);
        if (!FindNextTrack(ioIndex, inRules, minfEnd, pos))
            return accepted;
        // One rejected track ends the walk with failure; tracks already accepted do not save it.
        if (pos >= limit - kAtomHeaderSize || !accepted)
            return accepted;
    }
}

// The position stays 8 behind the child it reads, and the child's room is measured from there, so
// the atom right behind stbl is read too: children are scanned to 8 bytes past stbl's end and
// measured to 8 bytes past the buffer's. The child's own header must still lie inside the buffer.
bool WalkSampleTable(const MovieIndex& inIndex, const WalkRules& inRules, uint32_t inPos, uint32_t inLimit,
                     uint32_t inEnd, TrackItem& ioItem)
{
    if (inEnd < inRules.minBytesLeft)
        return false;
    const uint8_t* data = inIndex.Data();
    constexpr uint64_t kBehind = kAtomHeaderSize;
    ChildAtomScanner children(data, inLimit, uint64_t(inPos) + kBehind, uint64_t(inEnd) + kBehind,
                              uint64_t(inLimit) + kBehind, {.minBytesLeft = inRules.minBytesLeft});
    ChildAtom atom;
    while (children.Position() < uint64_t(inEnd) + kBehind)
    {
        if (!children.Next(atom))
            return HasRequiredSampleTables(ioItem);
        if (atom.type == kSdtpAtom && !inRules.sdtpBehindSampleTable && !HeaderInside(atom, inEnd))
            continue;
        if (const uint8_t** slot = SampleTableSlot(ioItem, atom.type, inRules))
            *slot = data + atom.position;
    }
    return true;
}

} // namespace QT
