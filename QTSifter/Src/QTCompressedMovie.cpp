#include <algorithm>

#include <zlib.h>

#include "QTAtomLayout.h"
#include "QTAtomScan.h"
#include "QTFourCC.h"
#include "QTMovieWalk.h"

namespace QT
{

namespace
{

// Deflate cannot expand data by more than about 1032 to 1, so a stated size beyond that is more
// than the stream can fill and the buffer need not be larger.
constexpr uint64_t kMaxDeflateRatio = 1032;
// A stored moov is at most 128 MiB; an expansion above twice that is refused rather than
// allocated. Inflating and walking 1 GiB of atoms took over 3 s, for a movie atom no writer makes.
constexpr uint64_t kMaxExpandedSize = uint64_t(256) << 20;
// Nested cmov atoms are expanded in turn; a real movie never nests, and hostile ones could nest
// deep enough to exhaust the stack.
constexpr uint32_t kMaxExpansionDepth = 8;

struct CompressedMovie
{
    uint32_t method = 0;
    const uint8_t* data = nullptr; // cmvd payload: expanded size, then the zlib stream
    uint32_t length = 0;
};

// Children of cmov, read with the buffer's size as limit; the last dcom and cmvd win. ioPos ends
// where the scan stopped, which may lie past the end of cmov.
CompressedMovie ScanCompressedMovie(const uint8_t* inData, uint32_t inLimit, const WalkRules& inRules,
                                    uint32_t& ioPos)
{
    CompressedMovie found;
    auto children = ChildAtomScanner::InBuffer(inData, inLimit, uint64_t(ioPos) + kAtomHeaderSize,
                                               {.minBytesLeft = inRules.minBytesLeft});
    ChildAtom atom;
    while (children.Next(atom))
    {
        if (atom.type == kDcomAtom && inLimit - atom.position >= kDcomMethodFromAtom + 4)
            found.method = BE::U32(inData + atom.position + kDcomMethodFromAtom);
        else if (atom.type == kCmvdAtom)
        {
            found.data = inData + atom.position + kAtomHeaderSize;
            found.length = atom.size >= kAtomHeaderSize ? atom.size - kAtomHeaderSize : 0;
        }
    }
    ioPos = uint32_t(children.Position());
    return found;
}

size_t ExpansionBufferSize(uint32_t inStatedSize, uint32_t inStreamLength)
{
    const uint64_t mostTheStreamCanFill = uint64_t(inStreamLength) * kMaxDeflateRatio + 64;
    return size_t(std::min<uint64_t>(inStatedSize, mostTheStreamCanFill));
}

} // namespace

Expansion ExpandCompressedMovie(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t& ioPos)
{
    const CompressedMovie compressed =
        ScanCompressedMovie(ioIndex.Data(), ioIndex.movieAtomSize, inRules, ioPos);
    // The payload must hold the expanded size word ahead of the stream.
    if (compressed.data == nullptr || compressed.length < 4 || compressed.method != kZlibCompression)
        return {};
    const uint32_t statedSize = BE::U32(compressed.data);
    if (statedSize > kMaxExpandedSize || ioIndex.expansionDepth >= kMaxExpansionDepth)
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
    ioIndex.mooVAtom = std::move(expanded);
    ioIndex.movieAtomSize = uint32_t(expandedLength);
    ioIndex.movieAtomOffset = 0;
    ++ioIndex.expansionDepth;
    const bool headerRead = ReadMovieHeader(ioIndex, inRules);
    --ioIndex.expansionDepth;
    return {true, headerRead};
}

} // namespace QT
