#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTSifter.h"

namespace QT
{

bool QTSifter::WalkMovieAtom()
{
    if (!ReadMovieHeader())
        return false;
    if (!WalkTracks())
        return false;
    ReadMovieUserData();
    ParseMetadata();
    return true;
}

bool QTSifter::ReadMovieHeader()
{
    if (movieAtomSize < 9)
        return false;
    const uint8_t* data = mooVAtom->Data();
    uint32_t pos = 8;
    for (;;)
    {
        AtomHeader atom;
        if (!ReadValidAtom(data, pos, movieAtomSize, atom))
            return false;
        if (atom.type == kMvhdAtom)
        {
            mvhd = data + pos;
            if (data[pos + 8] == 1)
                mvhd64 = data + pos;
            return true;
        }
        if (atom.type == kCmovAtom)
        {
            const Expansion expansion = ExpandCompressedMovie(pos);
            if (expansion.replaced)
                return expansion.headerRead;
        }
        else
            pos += atom.size;
        if (pos >= movieAtomSize)
            return false;
    }
}

// The movie's first udta, found among the valid atoms of moov. An invalid atom ends the search.
void QTSifter::ReadMovieUserData()
{
    const uint8_t* data = mooVAtom->Data();
    AtomHeader atom;
    for (uint32_t pos = 8; ReadValidAtom(data, pos, movieAtomSize, atom); pos += atom.size)
    {
        if (atom.type == kUdtaAtom)
        {
            ReadUserData(pos + 8, atom.size);
            return;
        }
    }
}

void QTSifter::ReadUserData(uint32_t inStart, uint32_t inAtomSize)
{
    if (inAtomSize <= 8)
        return;
    ReadUserDataChildren(inStart, inStart + inAtomSize - 8, userData);
}

// Children of a udta from inStart to inEnd, appended to ioItems.
void QTSifter::ReadUserDataChildren(uint32_t inStart, uint32_t inEnd, std::vector<UserDataItem>& ioItems)
{
    const uint8_t* data = mooVAtom->Data();
    uint32_t pos = inStart;
    while (pos < inEnd)
    {
        if (inEnd - pos <= 8)
            return;
        const uint32_t size = BE::U32(data + pos);
        // A child below 8 bytes has no payload to give; its payload length would wrap.
        if (size < 8 || size > inEnd - pos)
            return;
        const uint32_t type = BE::U32(data + pos + 4);
        ioItems.push_back({type, data + pos + 8, size - 8});
        if (type == kMetaAtom)
            ParseMetaItems(data, pos + 12, pos + size);
        pos += size;
    }
}

} // namespace QT
