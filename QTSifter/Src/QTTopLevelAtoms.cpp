#include "QTTopLevelAtoms.h"

#include <algorithm>
#include <limits>

#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"

namespace QT
{

namespace
{

constexpr uint64_t kMaxSignedSize = uint64_t(std::numeric_limits<int64_t>::max());

// Turns a size word into the atom's whole size. inReadExtended fetches the 8-byte field.
// An extended size below 16 cannot hold its own header; taking it would stall or crawl the scan.
template <class ReadExtended>
uint32_t ResolveAtomSize(uint32_t inSizeWord, uint64_t inPos, uint64_t inFileSize,
                         ReadExtended inReadExtended, int64_t& outSize)
{
    if (inSizeWord == 0)
    {
        if (inPos >= inFileSize)
            return kQTStatusReadFailed;
        outSize = int64_t(inFileSize - inPos);
        return kQTSuccess;
    }
    if (inSizeWord == 1)
    {
        uint8_t extended[8];
        const uint32_t status = inReadExtended(extended);
        if (status != kQTSuccess)
            return status;
        outSize = int64_t(BE::U64(extended));
        return outSize < 16 ? kQTStatusReadFailed : kQTSuccess;
    }
    if (inSizeWord < 8)
        return kQTStatusReadFailed;
    outSize = inSizeWord;
    return kQTSuccess;
}

uint32_t ReadFileExactly(KSL::File& inFile, uint8_t* outBytes, uint32_t inCount)
{
    uint32_t got = 0;
    if (inFile.Read(outBytes, inCount, got) < 0 || got != inCount)
        return kQTStatusReadFailed;
    return kQTSuccess;
}

// One ReadAt of exactly inCount bytes. A short delivery would leave the rest of the bytes
// unknown, so it fails like an empty one.
uint32_t ReadProviderExactly(const QTFileProvider& inProvider, void* inHandle, uint64_t inOffset,
                             uint32_t inCount, uint8_t*& outBytes, uint64_t& delivered)
{
    delivered = 0;
    outBytes = nullptr;
    const uint32_t status = inProvider.ReadAt(inHandle, inOffset, inCount, &outBytes, &delivered);
    if (status != kQTSuccess)
        return status;
    if (delivered < inCount || outBytes == nullptr)
        return kQTStatusReadFailed;
    return kQTSuccess;
}

} // namespace

uint32_t ReadFileAtomHeader(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outAtom)
{
    int64_t position = 0;
    if (inFile.GetFilePointer(position) < 0 || position < 0)
        return kQTStatusReadFailed;
    outAtom.start = uint64_t(position);
    uint8_t header[8];
    if (ReadFileExactly(inFile, header, 8) != kQTSuccess)
        return kQTStatusReadFailed;
    outAtom.type = BE::U32(header + 4);
    auto readExtended = [&](uint8_t* outBytes) { return ReadFileExactly(inFile, outBytes, 8); };
    if (ResolveAtomSize(BE::U32(header), outAtom.start, inFileSize, readExtended, outAtom.size) != kQTSuccess)
        return kQTStatusReadFailed;
    if (outAtom.size < 0 || uint64_t(outAtom.size) > kMaxSignedSize - outAtom.start)
        return kQTStatusReadFailed;
    if (inFile.SetFilePointer(int64_t(outAtom.start + uint64_t(outAtom.size)), KSL::File::kFromStart) < 0)
        return kQTStatusReadFailed;
    return kQTSuccess;
}

uint32_t ReadProviderAtomHeader(const QTFileProvider& inProvider, uint64_t inPos, uint64_t inFileSize,
                                TopLevelAtom& outAtom)
{
    void* handle = nullptr;
    if (inProvider.GetHandle(&handle) != kQTSuccess)
        return kQTStatusReadFailed;
    uint8_t* header = nullptr;
    uint64_t delivered = 0;
    uint32_t status = ReadProviderExactly(inProvider, handle, inPos, 8, header, delivered);
    if (status != kQTSuccess)
        return status;
    outAtom.start = inPos;
    outAtom.type = BE::U32(header + 4);
    const uint32_t sizeWord = BE::U32(header);
    // The extended field is asked for behind what the first read delivered.
    const uint64_t extendedPos = inPos + delivered;
    auto readExtended = [&](uint8_t* outBytes)
    {
        uint8_t* extended = nullptr;
        uint64_t extendedDelivered = 0;
        const uint32_t readStatus =
            ReadProviderExactly(inProvider, handle, extendedPos, 8, extended, extendedDelivered);
        if (readStatus == kQTSuccess)
            std::copy(extended, extended + 8, outBytes);
        return readStatus;
    };
    status = ResolveAtomSize(sizeWord, inPos, inFileSize, readExtended, outAtom.size);
    if (status != kQTSuccess)
        return status;
    return outAtom.size < 0 ? kQTStatusReadFailed : kQTSuccess;
}

uint32_t ReadMovieAtomFromFile(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outMoov,
                               std::shared_ptr<tenacore::allocator::RecycledMemory>& outBytes)
{
    if (FindMovieAtomInFile(inFile, inFileSize, outMoov) != kQTSuccess || !IsLoadableMovieSize(outMoov.size))
        return kQTStatusReadFailed;
    auto bytes = tenacore::allocator::RecycledMemory::Create(size_t(outMoov.size));
    if (!bytes || inFile.SetFilePointer(int64_t(outMoov.start), KSL::File::kFromStart) < 0)
        return kQTStatusReadFailed;
    const uint32_t size = uint32_t(outMoov.size);
    uint32_t got = 0;
    if (inFile.Read(bytes->GetData(), size, got) < 0 || got < size)
        return kQTStatusReadFailed;
    outBytes = std::move(bytes);
    return kQTSuccess;
}

uint32_t FindMovieAtomInFile(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outMoov)
{
    if (inFile.SetFilePointer(0, KSL::File::kFromStart) < 0)
        return kQTStatusReadFailed;
    for (;;)
    {
        if (ReadFileAtomHeader(inFile, inFileSize, outMoov) != kQTSuccess)
            return kQTStatusReadFailed;
        if (outMoov.type == kMoovAtom)
            return kQTSuccess;
        if (outMoov.start >= inFileSize)
            return kQTStatusReadFailed;
    }
}

uint32_t FindMovieAtomInProvider(const QTFileProvider& inProvider, uint64_t inFileSize, TopLevelAtom& outMoov)
{
    uint64_t pos = 0;
    for (;;)
    {
        const uint32_t status = ReadProviderAtomHeader(inProvider, pos, inFileSize, outMoov);
        if (status != kQTSuccess)
            return status;
        if (outMoov.type == kMoovAtom)
            return kQTSuccess;
        // The position moves on first: an atom that reaches the end of the file ends the scan.
        if (uint64_t(outMoov.size) >= inFileSize - pos)
            return kQTStatusReadFailed;
        pos += uint64_t(outMoov.size);
    }
}

} // namespace QT
