#include "AudioMovieWriter.h"

#include <cerrno>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace bench
{

namespace
{

// Big-endian atoms built in memory; Begin leaves the size to End, which knows it.
class AtomWriter
{
public:
    void U8(uint8_t inValue) { mBytes.push_back(inValue); }
    void U16(uint16_t inValue)
    {
        U8(uint8_t(inValue >> 8));
        U8(uint8_t(inValue));
    }
    void U32(uint32_t inValue)
    {
        U16(uint16_t(inValue >> 16));
        U16(uint16_t(inValue));
    }
    void U64(uint64_t inValue)
    {
        U32(uint32_t(inValue >> 32));
        U32(uint32_t(inValue));
    }
    void Type(std::string_view inFourCC)
    {
        for (char c : inFourCC.substr(0, 4))
            U8(uint8_t(c));
    }
    void Zeros(size_t inCount) { mBytes.insert(mBytes.end(), inCount, 0); }
    // Unity matrix, as every header with a matrix carries.
    void Matrix()
    {
        for (uint32_t value : {0x00010000u, 0u, 0u, 0u, 0x00010000u, 0u, 0u, 0u, 0x40000000u})
            U32(value);
    }

    size_t Begin(std::string_view inType)
    {
        const size_t start = mBytes.size();
        U32(0);
        Type(inType);
        return start;
    }
    void End(size_t inStart)
    {
        const uint32_t size = uint32_t(mBytes.size() - inStart);
        for (int index = 0; index < 4; ++index)
            mBytes[inStart + size_t(index)] = uint8_t(size >> (24 - 8 * index));
    }
    size_t Size() const { return mBytes.size(); }
    const std::vector<uint8_t>& Bytes() const { return mBytes; }

private:
    std::vector<uint8_t> mBytes;
};

constexpr uint32_t kMovieTimeScale = 1000;
constexpr size_t kMdatHeaderSize = 16; // size 1, type, then the 64-bit size

// The whole file before the media data, with chunk offsets that start inDataStart bytes in.
void BuildHeader(AtomWriter& ioOut, const AudioMovieLayout& inLayout, uint64_t inDataStart)
{
    using L = AudioMovieLayout;
    const uint64_t frames = inLayout.FrameCount();
    const uint32_t movieDuration = uint32_t(frames * kMovieTimeScale / L::kSampleRate);

    const size_t ftyp = ioOut.Begin("ftyp");
    ioOut.Type("qt  ");
    ioOut.U32(0x20050300);
    ioOut.Type("qt  ");
    ioOut.End(ftyp);

    const size_t moov = ioOut.Begin("moov");
    const size_t mvhd = ioOut.Begin("mvhd");
    ioOut.Zeros(12); // version, flags, creation and modification times
    ioOut.U32(kMovieTimeScale);
    ioOut.U32(movieDuration);
    ioOut.U32(0x00010000); // rate
    ioOut.U16(0x0100);     // volume
    ioOut.Zeros(10);
    ioOut.Matrix();
    ioOut.Zeros(24); // preview, poster, selection and current times
    ioOut.U32(2);    // next track ID
    ioOut.End(mvhd);

    const size_t trak = ioOut.Begin("trak");
    const size_t tkhd = ioOut.Begin("tkhd");
    ioOut.U32(0x0000000F); // version 0; enabled, in movie, in preview, in poster
    ioOut.Zeros(8);
    ioOut.U32(1); // track ID
    ioOut.Zeros(4);
    ioOut.U32(movieDuration);
    ioOut.Zeros(8);
    ioOut.U16(0);      // layer
    ioOut.U16(0);      // alternate group
    ioOut.U16(0x0100); // volume
    ioOut.Zeros(2);
    ioOut.Matrix();
    ioOut.Zeros(8); // width and height
    ioOut.End(tkhd);

    const size_t mdia = ioOut.Begin("mdia");
    const size_t mdhd = ioOut.Begin("mdhd");
    ioOut.Zeros(12);
    ioOut.U32(L::kSampleRate);
    ioOut.U32(uint32_t(frames)); // a day of 48 kHz still fits 32 bits
    ioOut.U16(0x55C4);           // language "und"
    ioOut.U16(0);
    ioOut.End(mdhd);
    const size_t hdlr = ioOut.Begin("hdlr");
    ioOut.Zeros(4);
    ioOut.Type("mhlr");
    ioOut.Type("soun");
    ioOut.Zeros(12);
    ioOut.U8(0); // empty name
    ioOut.End(hdlr);

    const size_t minf = ioOut.Begin("minf");
    const size_t smhd = ioOut.Begin("smhd");
    ioOut.Zeros(8);
    ioOut.End(smhd);
    const size_t dinf = ioOut.Begin("dinf");
    const size_t dref = ioOut.Begin("dref");
    ioOut.Zeros(4);
    ioOut.U32(1);
    const size_t alis = ioOut.Begin("alis");
    ioOut.U32(1); // the data is in this file
    ioOut.End(alis);
    ioOut.End(dref);
    ioOut.End(dinf);

    const size_t stbl = ioOut.Begin("stbl");
    const size_t stsd = ioOut.Begin("stsd");
    ioOut.Zeros(4);
    ioOut.U32(1);
    const size_t sowt = ioOut.Begin("sowt");
    ioOut.Zeros(6);
    ioOut.U16(1); // data reference index
    ioOut.U16(1); // version 1
    ioOut.Zeros(6);
    ioOut.U16(L::kChannels);
    ioOut.U16(16); // bits per sample
    ioOut.U16(0);  // compression ID
    ioOut.U16(0);  // packet size
    ioOut.U32(L::kSampleRate << 16);
    ioOut.U32(1);                                // frames per packet
    ioOut.U32(L::kBytesPerFrame / L::kChannels); // bytes per packet, one channel's
    ioOut.U32(L::kBytesPerFrame);                // bytes per frame
    ioOut.U32(L::kBytesPerFrame / L::kChannels); // bytes per sample
    ioOut.End(sowt);
    ioOut.End(stsd);

    const size_t stts = ioOut.Begin("stts");
    ioOut.Zeros(4);
    ioOut.U32(1);
    ioOut.U32(uint32_t(frames));
    ioOut.U32(1);
    ioOut.End(stts);
    const size_t stsc = ioOut.Begin("stsc");
    ioOut.Zeros(4);
    ioOut.U32(1);
    ioOut.U32(1);
    ioOut.U32(L::kFramesPerChunk);
    ioOut.U32(1);
    ioOut.End(stsc);
    const size_t stsz = ioOut.Begin("stsz");
    ioOut.Zeros(4);
    ioOut.U32(L::kBytesPerFrame);
    ioOut.U32(uint32_t(frames));
    ioOut.End(stsz);
    const size_t co64 = ioOut.Begin("co64");
    ioOut.Zeros(4);
    ioOut.U32(uint32_t(inLayout.chunkCount));
    const uint64_t chunkBytes = uint64_t(L::kFramesPerChunk) * L::kBytesPerFrame;
    for (uint64_t chunk = 0; chunk < inLayout.chunkCount; ++chunk)
        ioOut.U64(inDataStart + chunk * chunkBytes);
    ioOut.End(co64);
    ioOut.End(stbl);

    ioOut.End(minf);
    ioOut.End(mdia);
    ioOut.End(trak);
    ioOut.End(moov);

    ioOut.U32(1);
    ioOut.Type("mdat");
    ioOut.U64(kMdatHeaderSize + inLayout.MediaBytes());
}

} // namespace

AudioMovieLayout AudioLayoutForSeconds(long inSeconds)
{
    AudioMovieLayout layout;
    layout.chunkCount = inSeconds > 0 ? uint64_t(inSeconds) * AudioMovieLayout::kSampleRate /
                                            AudioMovieLayout::kFramesPerChunk
                                      : 0;
    return layout;
}

bool WriteAudioMovie(const std::string& inPath, const AudioMovieLayout& inLayout)
{
    // The offsets' values do not change the header's length, so a first pass measures it.
    AtomWriter measure;
    BuildHeader(measure, inLayout, 0);
    AtomWriter header;
    BuildHeader(header, inLayout, measure.Size());

    const int fd = open(inPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        return false;
    const std::vector<uint8_t>& bytes = header.Bytes();
    size_t written = 0;
    while (written < bytes.size())
    {
        const ssize_t got = write(fd, bytes.data() + written, bytes.size() - written);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
        {
            close(fd);
            return false;
        }
        written += size_t(got);
    }
    // The samples are never read when a movie opens, so they stay a hole.
    const bool ok = ftruncate(fd, off_t(bytes.size() + inLayout.MediaBytes())) == 0;
    return close(fd) == 0 && ok;
}

} // namespace bench
