#include "QTMovieWalk.h"

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTFourCC.h"

namespace QT
{

namespace
{

ChildAtomScanner MovieChildren(const MovieIndex& inIndex, const WalkRules& inRules, uint64_t inBegin)
{
    return ChildAtomScanner::InBuffer(inIndex.Data(), inIndex.movieAtomSize, inBegin,
                                      {.minBytesLeft = inRules.minBytesLeft});
}

} // namespace

bool WalkMovieAtom(MovieIndex& ioIndex, const WalkRules& inRules)
{
    if (!ReadMovieHeader(ioIndex, inRules))
        return false;
    if (!WalkTracks(ioIndex, inRules))
        return false;
    ReadMovieUserData(ioIndex, inRules);
    ParseMetadata(ioIndex, inRules);
    return true;
}

bool ReadMovieHeader(MovieIndex& ioIndex, const WalkRules& inRules)
{
    if (ioIndex.movieAtomSize < inRules.minBytesLeft)
        return false;
    ChildAtomScanner children = MovieChildren(ioIndex, inRules, kAtomHeaderSize);
    ChildAtom atom;
    while (children.Next(atom))
    {
        if (atom.type == kMvhdAtom)
        {
            const uint8_t* mvhd = ioIndex.Data() + atom.position;
            ioIndex.mvhd = mvhd;
            if (mvhd[kFullAtomVersionFromAtom] == 1)
                ioIndex.mvhd64 = mvhd;
            return true;
        }
        if (atom.type == kCmovAtom && inRules.expandCompressedMovie)
        {
            // The children of cmov are scanned on past its end; the search goes on from there.
            uint32_t pos = atom.position;
            const Expansion expansion = ExpandCompressedMovie(ioIndex, inRules, pos);
            if (expansion.replaced)
                return expansion.headerRead;
            children.MoveTo(pos);
        }
    }
    return false;
}

// The movie's first udta, found among the valid atoms of moov. An invalid atom ends the search.
void ReadMovieUserData(MovieIndex& ioIndex, const WalkRules& inRules)
{
    ChildAtomScanner children = MovieChildren(ioIndex, inRules, kAtomHeaderSize);
    ChildAtom atom;
    while (children.Next(atom))
    {
        if (atom.type == kUdtaAtom)
        {
            ReadUserData(ioIndex, inRules, atom.position + kAtomHeaderSize, atom.size);
            return;
        }
    }
}

void ReadUserData(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t inStart, uint32_t inAtomSize)
{
    if (inAtomSize <= kAtomHeaderSize)
        return;
    ReadUserDataChildren(ioIndex, inRules, inStart, inStart + inAtomSize - kAtomHeaderSize, ioIndex.userData);
}

void ReadUserDataChildren(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t inStart, uint32_t inEnd,
                          std::vector<UserDataItem>& ioItems)
{
    // A child below 8 bytes has no payload to give; its payload length would wrap.
    auto children = ChildAtomScanner::InContainer(
        ioIndex.Data(), ioIndex.movieAtomSize, inStart, inEnd,
        {.minBytesLeft = inRules.minBytesLeft, .shortAtom = ShortAtom::EndsScan});
    ChildAtom atom;
    while (children.Next(atom))
    {
        const uint8_t* data = ioIndex.Data();
        ioItems.push_back({atom.type, data + atom.position + kAtomHeaderSize, atom.size - kAtomHeaderSize});
        if (atom.type == kMetaAtom && inRules.userData == UserDataWalk::CollectNameTaggedMetadata)
            ParseMetaItems(ioIndex, data, atom.position + kFullAtomHeaderSize, uint32_t(atom.End()));
    }
}

} // namespace QT
