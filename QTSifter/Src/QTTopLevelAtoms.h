#pragma once

#include <cstdint>
#include <memory>

#include "KSL/File.h"
#include "QTFileProvider.h"
#include "tenacore/allocator.h"

namespace QT
{

// One atom of the file's top level.
struct TopLevelAtom
{
    uint64_t start = 0;
    int64_t size = 0; // whole atom with header
    uint32_t type = 0;
};

// The stored movie atom is loaded whole; this bounds the memory of a load.
inline constexpr int64_t kMaxMovieAtomSize = 0x8000000;

inline bool IsLoadableMovieSize(int64_t inSize)
{
    return inSize >= 9 && inSize <= kMaxMovieAtomSize;
}

// Reads the header at the file pointer and seeks past the atom. 0 or 99.
uint32_t ReadFileAtomHeader(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outAtom);

// Reads the header at inPos through the provider. 0, 99, or a ReadAt status passed on.
uint32_t ReadProviderAtomHeader(const QTFileProvider& inProvider, uint64_t inPos, uint64_t inFileSize,
                                TopLevelAtom& outAtom);

// The scans for moov over each route.
uint32_t FindMovieAtomInFile(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outMoov);

// Finds the movie atom in the file and reads its bytes, as they lie, into fresh memory. Fails when
// none is found, it is too large to load, memory is short or the read falls short.
uint32_t ReadMovieAtomFromFile(KSL::File& inFile, uint64_t inFileSize, TopLevelAtom& outMoov,
                               std::shared_ptr<tenacore::allocator::RecycledMemory>& outBytes);
uint32_t FindMovieAtomInProvider(const QTFileProvider& inProvider, uint64_t inFileSize,
                                 TopLevelAtom& outMoov);

} // namespace QT
