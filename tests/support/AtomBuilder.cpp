#include "AtomBuilder.h"

#include <stdexcept>

#include <zlib.h>

namespace qttest
{

uint32_t Code(const char (&inType)[5])
{
    return (uint32_t(uint8_t(inType[0])) << 24) | (uint32_t(uint8_t(inType[1])) << 16) |
           (uint32_t(uint8_t(inType[2])) << 8) | uint32_t(uint8_t(inType[3]));
}

std::string FourCCText(uint32_t inType)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += char(inType >> shift & 0xFF);
    return text;
}

uint32_t ReadU32(const std::vector<uint8_t>& inBytes, uint64_t inPos)
{
    return uint32_t(inBytes.at(inPos)) << 24 | uint32_t(inBytes.at(inPos + 1)) << 16 |
           uint32_t(inBytes.at(inPos + 2)) << 8 | uint32_t(inBytes.at(inPos + 3));
}

Atom::Atom(const char (&inType)[5]) : mType(Code(inType)) {}
Atom::Atom(uint32_t inType) : mType(inType) {}

Atom& Atom::U8(uint8_t inValue)
{
    mBody.push_back(inValue);
    return *this;
}

Atom& Atom::U16(uint16_t inValue)
{
    return U8(uint8_t(inValue >> 8)).U8(uint8_t(inValue));
}

Atom& Atom::U24(uint32_t inValue)
{
    return U8(uint8_t(inValue >> 16)).U16(uint16_t(inValue));
}

Atom& Atom::U32(uint32_t inValue)
{
    return U16(uint16_t(inValue >> 16)).U16(uint16_t(inValue));
}

Atom& Atom::U64(uint64_t inValue)
{
    return U32(uint32_t(inValue >> 32)).U32(uint32_t(inValue));
}

Atom& Atom::Zeros(size_t inCount)
{
    mBody.insert(mBody.end(), inCount, 0);
    return *this;
}

Atom& Atom::Raw(const Bytes& inBytes)
{
    mBody.insert(mBody.end(), inBytes.begin(), inBytes.end());
    return *this;
}

Atom& Atom::Text(const std::string& inText)
{
    mBody.insert(mBody.end(), inText.begin(), inText.end());
    return *this;
}

Atom& Atom::Child(const Atom& inChild)
{
    return Raw(inChild.Build());
}

Atom& Atom::Children(std::initializer_list<Atom> inChildren)
{
    for (const Atom& child : inChildren)
        Child(child);
    return *this;
}

Atom& Atom::SizeWord(uint32_t inSizeWord)
{
    mSizeWord = inSizeWord;
    return *this;
}

Atom& Atom::Extended(std::optional<uint64_t> inExtended)
{
    mExtended = true;
    mExtendedValue = inExtended;
    return *this;
}

Bytes Atom::Build() const
{
    const size_t headerSize = mExtended ? 16 : 8;
    const uint64_t realSize = headerSize + mBody.size();
    Bytes out;
    auto put32 = [&out](uint32_t inValue)
    {
        for (int shift = 24; shift >= 0; shift -= 8)
            out.push_back(uint8_t(inValue >> shift));
    };
    put32(mSizeWord.value_or(mExtended ? 1 : uint32_t(realSize)));
    put32(mType);
    if (mExtended)
    {
        const uint64_t value = mExtendedValue.value_or(realSize);
        put32(uint32_t(value >> 32));
        put32(uint32_t(value));
    }
    out.insert(out.end(), mBody.begin(), mBody.end());
    return out;
}

Bytes Concat(std::initializer_list<Bytes> inParts)
{
    Bytes out;
    for (const Bytes& part : inParts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes Build(std::initializer_list<Atom> inAtoms)
{
    Bytes out;
    for (const Atom& atom : inAtoms)
    {
        const Bytes built = atom.Build();
        out.insert(out.end(), built.begin(), built.end());
    }
    return out;
}

namespace
{

Atom& UnityMatrix(Atom& ioAtom)
{
    return ioAtom.U32(0x00010000).U32(0).U32(0).U32(0).U32(0x00010000).U32(0).U32(0).U32(0).U32(0x40000000);
}

} // namespace

Atom Mvhd(uint32_t inTimeScale, uint32_t inDuration, uint32_t inPosterTime)
{
    Atom atom("mvhd");
    atom.FullHeader(0).U32(0).U32(0).U32(inTimeScale).U32(inDuration).U32(0x00010000).U16(0x0100).Zeros(10);
    UnityMatrix(atom);
    return atom.U32(0).U32(0).U32(inPosterTime).U32(0).U32(0).U32(0).U32(2);
}

Atom Mvhd64(uint32_t inTimeScale, uint64_t inDuration, uint32_t inPosterTime)
{
    Atom atom("mvhd");
    atom.FullHeader(1).U64(0).U64(0).U32(inTimeScale).U64(inDuration).U32(0x00010000).U16(0x0100).Zeros(10);
    UnityMatrix(atom);
    return atom.U32(0).U32(0).U32(inPosterTime).U32(0).U32(0).U32(0).U32(2);
}

Atom Ftyp()
{
    return Atom("ftyp").Type("qt  ").U32(0).Type("qt  ");
}

Atom Mdat(size_t inPayload)
{
    return Atom("mdat").Zeros(inPayload);
}

Atom Free(size_t inPayload)
{
    return Atom("free").Zeros(inPayload);
}

Atom Tkhd(const TrackSpec& inSpec)
{
    Atom atom("tkhd");
    atom.FullHeader(0, inSpec.flags).U32(0).U32(0).U32(1).U32(0).U32(inSpec.trackDuration).Zeros(8).Zeros(8);
    UnityMatrix(atom);
    return atom.I32(inSpec.width).I32(inSpec.height);
}

Atom Mdhd(uint32_t inTimeScale, uint32_t inDuration)
{
    return Atom("mdhd").FullHeader(0).U32(0).U32(0).U32(inTimeScale).U32(inDuration).U16(0).U16(0);
}

Atom Hdlr(uint32_t inSubtype)
{
    return Atom("hdlr").FullHeader(0).Type("mhlr").U32(inSubtype).U32(0).U32(0).U32(0).U8(0);
}

Atom Elst(const std::vector<ElstEntry>& inEntries)
{
    return ElstCounting(uint32_t(inEntries.size()), inEntries);
}

Atom ElstCounting(uint32_t inCount, const std::vector<ElstEntry>& inEntries)
{
    Atom atom("elst");
    atom.FullHeader(0).U32(inCount);
    for (const ElstEntry& entry : inEntries)
        atom.U32(entry.duration).U32(entry.mediaTime).U32(entry.rate);
    return atom;
}

Atom Stts(const std::vector<SttsEntry>& inEntries)
{
    Atom atom("stts");
    atom.FullHeader(0).U32(uint32_t(inEntries.size()));
    for (const SttsEntry& entry : inEntries)
        atom.U32(entry.sampleCount).U32(entry.duration);
    return atom;
}

Atom Stsd(uint32_t inFormat)
{
    Atom entry(inFormat);
    entry.Zeros(6).U16(1);
    return Atom("stsd").FullHeader(0).U32(1).Child(entry);
}

Atom SampleEntry(const char (&inFormat)[5], size_t inBody)
{
    return Atom(inFormat).Zeros(inBody);
}

Atom Stsc(const std::vector<StscEntry>& inEntries)
{
    Atom atom("stsc");
    atom.FullHeader(0).U32(uint32_t(inEntries.size()));
    for (const StscEntry& entry : inEntries)
        atom.U32(entry.firstChunk).U32(entry.samplesPerChunk).U32(entry.descriptionId);
    return atom;
}

Atom Stsz(uint32_t inConstantSize, const std::vector<uint32_t>& inSizes, uint32_t inCount)
{
    Atom atom("stsz");
    atom.FullHeader(0).U32(inConstantSize).U32(inCount);
    for (uint32_t size : inSizes)
        atom.U32(size);
    return atom;
}

Atom Stco(const std::vector<uint32_t>& inOffsets)
{
    Atom atom("stco");
    atom.FullHeader(0).U32(uint32_t(inOffsets.size()));
    for (uint32_t offset : inOffsets)
        atom.U32(offset);
    return atom;
}

Atom Ctts(const std::vector<CttsEntry>& inEntries)
{
    Atom atom("ctts");
    atom.FullHeader().U32(uint32_t(inEntries.size()));
    for (const CttsEntry& entry : inEntries)
        atom.U32(entry.sampleCount).I32(entry.offset);
    return atom;
}

Atom Sdtp(const std::vector<uint8_t>& inFlags)
{
    return Atom("sdtp").FullHeader().Raw(inFlags);
}

namespace
{

Atom SyncTable(const char (&inType)[5], const std::vector<uint32_t>& inSamples)
{
    Atom atom(inType);
    atom.FullHeader().U32(uint32_t(inSamples.size()));
    for (uint32_t sample : inSamples)
        atom.U32(sample);
    return atom;
}

} // namespace

Bytes Deflate(const Bytes& inBytes)
{
    uLongf length = compressBound(uLong(inBytes.size()));
    Bytes out(length);
    if (compress(out.data(), &length, inBytes.data(), uLong(inBytes.size())) != Z_OK)
        throw std::runtime_error("deflate failed");
    out.resize(length);
    return out;
}

Atom Stss(const std::vector<uint32_t>& inSamples)
{
    return SyncTable("stss", inSamples);
}

Atom Stps(const std::vector<uint32_t>& inSamples)
{
    return SyncTable("stps", inSamples);
}

Atom Vmhd()
{
    return Atom("vmhd").FullHeader(0, 1).U16(0x40).Zeros(6);
}

Atom Uuid(const std::array<uint8_t, 16>& inUUID, const Bytes& inPayload)
{
    return Atom("uuid").Raw(Bytes(inUUID.begin(), inUUID.end())).Raw(inPayload);
}

Atom Cmov(const Bytes& inMoov, uint32_t inStatedSize, uint32_t inMethod)
{
    return Atom("cmov").Children(
        {Atom("dcom").U32(inMethod), Atom("cmvd").U32(inStatedSize).Raw(Deflate(inMoov))});
}

Atom Cmov(const Bytes& inMoov)
{
    return Cmov(inMoov, uint32_t(inMoov.size()), Code("zlib"));
}

Atom Dinf()
{
    Atom alias("alis");
    alias.FullHeader(0, 1);
    return Atom("dinf").Child(Atom("dref").FullHeader(0).U32(1).Child(alias));
}

Atom Stbl(const TrackSpec& inSpec)
{
    uint32_t samples = 0;
    for (const SttsEntry& entry : inSpec.timeToSample)
        samples += entry.sampleCount;
    return Atom("stbl").Children({Stsd(Code("raw ")), Stts(inSpec.timeToSample),
                                  Stsc({{.firstChunk = 1, .samplesPerChunk = samples}}),
                                  Stsz(100, {}, samples), Stco({48})});
}

Atom Minf(const TrackSpec& inSpec)
{
    Atom header = inSpec.handler == Code("vide")   ? Vmhd()
                  : inSpec.handler == Code("soun") ? Atom("smhd").FullHeader(0).U16(0).U16(0)
                                                   : Atom("gmhd");
    Atom minf("minf");
    minf.Children({header, Dinf()});
    if (inSpec.sampleTables)
        minf.Child(Stbl(inSpec));
    return minf;
}

Atom MinfWithStbl(const Atom& inStbl)
{
    return Atom("minf").Children({Vmhd(), Dinf(), inStbl});
}

Atom MdiaWithMinf(const Atom& inMinf)
{
    return Atom("mdia").Children({Mdhd(600, 1000), Hdlr(Code("vide")), inMinf});
}

Atom Mdia(const TrackSpec& inSpec)
{
    return Atom("mdia").Children(
        {Mdhd(inSpec.mediaTimeScale, inSpec.mediaDuration), Hdlr(inSpec.handler), Minf(inSpec)});
}

Atom Trak(const TrackSpec& inSpec)
{
    return Atom("trak").Children({Tkhd(inSpec), Mdia(inSpec)});
}

Atom Container(const char (&inType)[5], const std::vector<Atom>& inChildren)
{
    Atom container(inType);
    for (const Atom& child : inChildren)
        container.Child(child);
    return container;
}

Atom TrakOfMedia(const std::vector<Atom>& inBeforeMdia, const std::vector<Atom>& inMediaChildren)
{
    Atom trak("trak");
    trak.Child(Tkhd(TrackSpec{}));
    for (const Atom& atom : inBeforeMdia)
        trak.Child(atom);
    Atom mdia("mdia");
    mdia.Child(Mdhd(600, 1000));
    for (const Atom& atom : inMediaChildren)
        mdia.Child(atom);
    return trak.Child(mdia);
}

Atom MoovOf(const std::vector<Atom>& inChildren)
{
    Atom moov("moov");
    moov.Child(Mvhd(600, 1000));
    for (const Atom& child : inChildren)
        moov.Child(child);
    return moov.Child(Atom("skip").U32(0));
}

Atom TrakWithEdits(const TrackSpec& inSpec, const Atom& inElst)
{
    return Atom("trak").Children({Tkhd(inSpec), Atom("edts").Child(inElst), Mdia(inSpec)});
}

Atom SimpleMoov(std::initializer_list<TrackSpec> inTracks, uint32_t inTimeScale, uint32_t inDuration)
{
    Atom moov("moov");
    moov.Child(Mvhd(inTimeScale, inDuration));
    for (const TrackSpec& track : inTracks)
        moov.Child(Trak(track));
    return moov;
}

Bytes SimpleMovie(std::initializer_list<TrackSpec> inTracks, uint32_t inTimeScale, uint32_t inDuration)
{
    return Build({Ftyp(), SimpleMoov(inTracks, inTimeScale, inDuration), Mdat()});
}

std::vector<Atom> BasicSampleTables(const std::vector<SttsEntry>& inTimeToSample)
{
    uint32_t samples = 0;
    for (const SttsEntry& entry : inTimeToSample)
        samples += entry.sampleCount;
    return {Stsd(Code("raw ")), Stts(inTimeToSample), Stsc({{.firstChunk = 1, .samplesPerChunk = samples}}),
            Stsz(100, {}, samples), Stco({48})};
}

Atom TrakWith(const TrackSpec& inSpec, const std::vector<Atom>& inSampleTables,
              const std::vector<ElstEntry>& inEdits)
{
    Atom stbl("stbl");
    for (const Atom& table : inSampleTables)
        stbl.Child(table);
    TrackSpec headers = inSpec;
    headers.sampleTables = false;
    Atom minf = Minf(headers);
    minf.Child(stbl);
    Atom trak("trak");
    trak.Child(Tkhd(inSpec));
    if (!inEdits.empty())
        trak.Child(Atom("edts").Child(Elst(inEdits)));
    return trak.Child(Atom("mdia").Children(
        {Mdhd(inSpec.mediaTimeScale, inSpec.mediaDuration), Hdlr(inSpec.handler), minf}));
}

Bytes MovieWith(const std::vector<Atom>& inTraks, uint32_t inTimeScale, uint32_t inDuration)
{
    Atom moov("moov");
    moov.Child(Mvhd(inTimeScale, inDuration));
    for (const Atom& trak : inTraks)
        moov.Child(trak);
    return Build({Ftyp(), moov, Mdat()});
}

Atom ImageDescription(const ImageSpec& inSpec)
{
    Atom entry(inSpec.format);
    entry.Zeros(6)
        .U16(1)
        .U16(0)
        .U16(0)
        .U32(inSpec.vendor)
        .U32(inSpec.temporalQuality)
        .U32(inSpec.spatialQuality);
    entry.U16(uint16_t(inSpec.width))
        .U16(uint16_t(inSpec.height))
        .U32(0x00480000)
        .U32(0x00480000)
        .U32(0)
        .U16(1);
    std::string name = inSpec.name;
    name.resize(31, '\0');
    entry.U8(inSpec.nameLength == 0xFF ? uint8_t(inSpec.name.size()) : inSpec.nameLength).Text(name);
    return entry.U16(inSpec.depth).U16(uint16_t(inSpec.colorTableId));
}

Atom StsdOf(const std::vector<Atom>& inEntries)
{
    Atom stsd("stsd");
    stsd.FullHeader().U32(uint32_t(inEntries.size()));
    for (const Atom& entry : inEntries)
        stsd.Child(entry);
    return stsd;
}

} // namespace qttest
