#include <algorithm>
#include <cstring>

#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTMovieAtomCompaction.h"
#include "QTResultCodes.h"
#include "QTSifter.h"
#include "QTTopLevelAtoms.h"

namespace QT
{

namespace
{

using RecycledMemory = tenacore::allocator::RecycledMemory;

} // namespace

bool QTSifter::ProviderInUse() const
{
    return provider != nullptr && provider->IsReady() == 0;
}

// Compacts the work area and writes the new moov size. Gives the compacted size in outSize.
uint32_t QTSifter::CompactWorkArea(uint8_t* ioWorkArea, LoadRoute inRoute, uint32_t& outSize)
{
    uint32_t removed = 0;
    if (CompactMovieAtom(ioWorkArea, movieAtomSize, inRoute, removed) != kQTSuccess)
        return kQTStatusReadFailed;
    outSize = movieAtomSize - removed;
    BE::PutU32(ioWorkArea, outSize);
    return kQTSuccess;
}

uint32_t QTSifter::LoadMovieAtomFromFile(KSL::File& inFile)
{
    TopLevelAtom moov;
    std::shared_ptr<RecycledMemory> workArea;
    if (ReadMovieAtomFromFile(inFile, fileSize, moov, workArea) != kQTSuccess)
        return kQTStatusReadFailed;
    movieAtomSize = uint32_t(moov.size);
    movieAtomOffset = moov.start;
    uint32_t finalSize = 0;
    if (CompactWorkArea(workArea->GetData(), LoadRoute::File, finalSize) != kQTSuccess)
        return kQTStatusReadFailed;
    // The work area is ours: it becomes the movie's buffer, cut to the compacted size, rather than
    // being copied into a second block of the same size.
    workArea->Shrink(finalSize);
    mooVAtom->buffer = std::move(workArea);
    movieAtomSize = finalSize;
    return kQTSuccess;
}

uint32_t QTSifter::LoadMovieAtomFromProvider()
{
    TopLevelAtom moov;
    uint32_t status = FindMovieAtomInProvider(*provider, fileSize, moov);
    if (status != kQTSuccess)
        return status;
    if (!IsLoadableMovieSize(moov.size))
        return kQTStatusReadFailed;
    void* handle = nullptr;
    if (provider->GetHandle(&handle) != kQTSuccess)
        return kQTStatusReadFailed;
    uint8_t* workArea = nullptr;
    uint64_t delivered = 0;
    status = provider->ReadAt(handle, moov.start, uint32_t(moov.size), &workArea, &delivered);
    if (status != kQTSuccess)
        return status;
    // A short delivery would leave the pass over the atom reading outside the provider's block.
    if (delivered < uint64_t(moov.size) || workArea == nullptr)
        return kQTStatusReadFailed;
    movieAtomSize = uint32_t(moov.size);
    movieAtomOffset = moov.start;
    // The provider owns its block, so the compacted movie is copied out of it.
    uint32_t finalSize = 0;
    if (CompactWorkArea(workArea, LoadRoute::Provider, finalSize) != kQTSuccess)
        return kQTStatusReadFailed;
    auto finalBuffer = RecycledMemory::Create(finalSize);
    if (!finalBuffer)
        return kQTStatusReadFailed;
    std::memcpy(finalBuffer->GetData(), workArea, finalSize);
    mooVAtom->buffer = std::move(finalBuffer);
    movieAtomSize = finalSize;
    return kQTSuccess;
}

uint32_t QTSifter::FindTopLevelAtom(uint32_t inAtomType, KSL::File& inFile, uint64_t& outOffset,
                                    uint64_t& outSize)
{
    if (!ProviderInUse() && inFile.SetFilePointer(0, KSL::File::kFromStart) < 0)
        return kQTStatusReadFailed;
    // Moves on the provider route only; on the file route the file pointer carries the position.
    uint64_t providerPos = 0;
    for (int atomCount = 0; atomCount <= 50; ++atomCount)
    {
        TopLevelAtom atom;
        const bool viaProvider = ProviderInUse();
        const uint32_t status = viaProvider ? ReadProviderAtomHeader(*provider, providerPos, fileSize, atom)
                                            : ReadFileAtomHeader(inFile, fileSize, atom);
        if (status != kQTSuccess)
            return viaProvider ? status : kQTStatusReadFailed;
        if (atom.type == inAtomType)
        {
            if (!IsLoadableMovieSize(atom.size))
                return kQTStatusReadFailed;
            outOffset = atom.start;
            outSize = uint64_t(atom.size);
            return kQTSuccess;
        }
        if (viaProvider)
            providerPos = uint64_t(atom.size) > fileSize - std::min(providerPos, fileSize)
                              ? fileSize
                              : providerPos + uint64_t(atom.size);
        if (providerPos >= fileSize || atom.size <= 8)
            return kQTStatusReadFailed;
    }
    return kQTStatusReadFailed;
}

} // namespace QT
