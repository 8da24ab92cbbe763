#include <algorithm>

#include <zlib.h>

#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTSifter.h"

namespace QT
{

namespace
{

// Deflate cannot expand data by more than about 1032 to 1, so a stated size beyond that is more
// than the stream can fill and the buffer need not be larger.
constexpr uint64_t kMaxDeflateRatio = 1032;
// A stored moov is at most 128 MiB; an expansion above 1 GiB is refused rather than allocated.
constexpr uint64_t kMaxExpandedSize = uint64_t(1) << 30;
// Nested cmov atoms are expanded in turn; a real movie never nests, and hostile ones could nest
// deep enough to exhaust the stack.
constexpr uint32_t kMaxExpansionDepth = 8;

struct CompressedMovie
{
    uint32_t method = 0;
    const uint8_t* data = nullptr; // cmvd payload: expanded size, then the zlib stream
    uint32_t length = 0;
};

// Children of cmov, read with the buffer's size as limit; the last dcom and cmvd win.
CompressedMovie ScanCompressedMovie(const uint8_t* inData, uint32_t inLimit, uint32_t& ioPos)
{
    CompressedMovie found;
    AtomHeader atom;
    uint32_t pos = ioPos + 8;
    while (pos <= inLimit && inLimit - pos > 8 && ReadValidAtom(inData, pos, inLimit, atom))
    {
        if (atom.type == kDcomAtom && inLimit - pos >= 12)
            found.method = BE::U32(inData + pos + 8);
        else if (atom.type == kCmvdAtom)
        {
            found.data = inData + pos + 8;
            found.length = atom.size >= 8 ? atom.size - 8 : 0;
        }
        pos += atom.size;
    }
    ioPos = pos;
    return found;
}

size_t ExpansionBufferSize(uint32_t inStatedSize, uint32_t inStreamLength)
{
    const uint64_t mostTheStreamCanFill = uint64_t(inStreamLength) * kMaxDeflateRatio + 64;
    return size_t(std::min<uint64_t>(inStatedSize, mostTheStreamCanFill));
}

} // namespace

QTSifter::Expansion QTSifter::ExpandCompressedMovie(uint32_t& ioPos)
{
    const CompressedMovie compressed = ScanCompressedMovie(mooVAtom->Data(), movieAtomSize, ioPos);
    // The payload must hold the expanded size word ahead of the stream.
    if (compressed.data == nullptr || compressed.length < 4 || compressed.method != kZlibCompression)
        return {};
    const uint32_t statedSize = BE::U32(compressed.data);
    if (statedSize > kMaxExpandedSize || expansionDepth >= kMaxExpansionDepth)
        return {};

    auto expanded = std::make_shared<QTMooVAtom>();
    expanded->buffer =
        tenacore::allocator::RecycledMemory::Create(ExpansionBufferSize(statedSize, compressed.length - 4));
    if (!expanded->buffer)
        return {};
    uLongf expandedLength = uLongf(expanded->buffer->GetSize());
    if (uncompress(expanded->buffer->GetData(), &expandedLength, compressed.data + 4,
                   uLong(compressed.length - 4)) != Z_OK)
        return {};

    // A stream shorter than its stated size leaves the tail of the buffer unfilled; it is not movie.
    expanded->buffer->Shrink(expandedLength);
    mooVAtom = std::move(expanded);
    movieAtomSize = uint32_t(expandedLength);
    movieAtomOffset = 0;
    ++expansionDepth;
    const bool headerRead = ReadMovieHeader();
    --expansionDepth;
    return {true, headerRead};
}

} // namespace QT
