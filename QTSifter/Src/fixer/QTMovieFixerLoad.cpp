#include "QTMovieFixer.h"
#include "QTResultCodes.h"
#include "QTTopLevelAtoms.h"

namespace QT
{

// The movie atom as it lies in the file: no free atom is dropped and no size rewritten, so that an
// offset into the buffer plus movieAtomOffset is the file position of the same byte. The scan of
// the top level and its guards are the parser's. When no moov is found the load fails, which ends
// where an empty buffer refused by the walk would.
uint32_t QTMovieFixer::LoadMovieAtom(KSL::File& inFile)
{
    TopLevelAtom moov;
    if (FindMovieAtomInFile(inFile, fileSize, moov) != kQTSuccess || !IsLoadableMovieSize(moov.size))
        return kQTStatusReadFailed;
    auto buffer = tenacore::allocator::RecycledMemory::Create(size_t(moov.size));
    if (!buffer)
        return kQTStatusReadFailed;
    if (inFile.SetFilePointer(int64_t(moov.start), KSL::File::kFromStart) < 0)
        return kQTStatusReadFailed;
    movieAtomSize = uint32_t(moov.size);
    movieAtomOffset = moov.start;
    uint32_t got = 0;
    if (inFile.Read(buffer->GetData(), movieAtomSize, got) < 0 || got < movieAtomSize)
        return kQTStatusReadFailed;
    mooVAtom->buffer = std::move(buffer);
    return kQTSuccess;
}

} // namespace QT
