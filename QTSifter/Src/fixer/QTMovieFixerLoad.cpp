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
    std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
    if (ReadMovieAtomFromFile(inFile, fileSize, moov, buffer) != kQTSuccess)
        return kQTStatusReadFailed;
    movieAtomSize = uint32_t(moov.size);
    movieAtomOffset = moov.start;
    mooVAtom->buffer = std::move(buffer);
    return kQTSuccess;
}

} // namespace QT
