#include "TimecodeAtoms.h"

namespace qttest
{

Atom TimecodeDescription(const TimecodeSpec& inSpec)
{
    Atom entry(inSpec.format);
    entry.Zeros(6).U16(1).U32(0).U32(inSpec.flags).U32(inSpec.timeScale).U32(inSpec.frameDuration);
    return entry.U8(inSpec.frameCount).U8(0).Raw(inSpec.tail);
}

Bytes NameAtom(const std::string& inText, std::optional<uint32_t> inSizeWord)
{
    Atom name("name");
    name.U16(uint16_t(inText.size())).U16(0).Text(inText);
    if (inSizeWord)
        name.SizeWord(*inSizeWord);
    return name.Build();
}

Atom HandleDinf(const Bytes& inData)
{
    Atom handle("hndl");
    handle.FullHeader(0, 0).Zeros(5).U32(uint32_t(inData.size() + 8)).Type("data").Raw(inData);
    return Atom("dinf").Child(Atom("dref").FullHeader().U32(1).Child(handle));
}

Atom TimecodeTrak(const TimecodeTrackSpec& inSpec)
{
    TrackSpec headers;
    headers.handler = inSpec.handler;
    headers.width = 0;
    headers.height = 0;
    Atom stbl("stbl");
    stbl.Child(inSpec.stsd.value_or(StsdOf(inSpec.descriptions)));
    for (const Atom& table : inSpec.tables)
        stbl.Child(table);
    Atom minf("minf");
    minf.Children({Atom("gmhd"), inSpec.dinf.value_or(Dinf()), stbl});
    Atom trak("trak");
    trak.Child(Tkhd(headers));
    if (!inSpec.edits.empty())
        trak.Child(Atom("edts").Child(Elst(inSpec.edits)));
    return trak.Child(Atom("mdia").Children(
        {Mdhd(headers.mediaTimeScale, headers.mediaDuration), Hdlr(inSpec.handler), minf}));
}

std::vector<Atom> TimecodeTables(uint32_t inSampleSize, uint32_t inOffset)
{
    return {Stts({{.sampleCount = 1, .duration = 1000}}), Stsc({{.firstChunk = 1, .samplesPerChunk = 1}}),
            Stsz(inSampleSize, {}, 1), Stco({inOffset})};
}

} // namespace qttest
