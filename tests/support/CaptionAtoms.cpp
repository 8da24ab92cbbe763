#include "CaptionAtoms.h"

namespace qttest
{

Bytes CdatSample(const Bytes& inPairs)
{
    return Atom("cdat").Raw(inPairs).Build();
}

Atom CaptionTrak(const CaptionTrackSpec& inSpec)
{
    TrackSpec headers;
    headers.handler = inSpec.handler;
    headers.mediaTimeScale = inSpec.mediaTimeScale;
    headers.trackDuration = inSpec.trackDuration;
    headers.mediaDuration = inSpec.trackDuration;
    headers.width = 0;
    headers.height = 0;
    std::vector<Atom> tables;
    if (inSpec.withDescription)
    {
        Atom entry(inSpec.format);
        entry.Zeros(6).U16(1);
        tables.push_back(StsdOf({entry}));
    }
    tables.insert(tables.end(), inSpec.tables.begin(), inSpec.tables.end());
    return TrakWith(headers, tables, inSpec.edits);
}

Bytes CaptionMovie(const Bytes& inMedia, const std::vector<Atom>& inTraks)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& trak : inTraks)
        moov.Child(trak);
    // A last atom behind the tracks, so that a sample table cut short is read as such and not as
    // one that runs into the end of the buffer.
    moov.Child(Atom("skip").U32(0));
    return Build({Ftyp(), Atom("mdat").Raw(inMedia), moov});
}

} // namespace qttest
