#include "QTSifter.h"

#include <utility>

#include "QTMovie.h"
#include "QTResultCodes.h"

namespace QT
{

using tenacore::classref::InterfaceRef;
using tenacore::classref::MakeObject;

namespace
{

// File flag values as the file class defines them.
constexpr uint32_t kReadAccess = KSL::File::kAccessRead;
constexpr uint32_t kShareReadWrite = 3;
constexpr uint32_t kShareRead = KSL::File::kShareRead;

} // namespace

InterfaceRef<IQTSifter> MakeParser()
{
    return InterfaceRef<IQTSifter>::Query(MakeObject<QTSifter>());
}

void* QTSifter::QueryInterface(std::string_view inName)
{
    return tenacore::classref::QueryConcreteOrInterface<QTSifter, IQTSifter>(this, inName);
}

uint32_t QTSifter::OpenFile(KSL::File& ioFile, const std::u16string& inPath, uint32_t inShare)
{
    if (ioFile.Create(inPath, kReadAccess, inShare, KSL::File::kOpenExisting, KSL::File::kAttributeNormal,
                      false) < 0)
        return kQTErrOpenFailed;
    const int64_t size = ioFile.SizeOnDisk();
    fileSize = size < 0 ? 0 : uint64_t(size);
    return fileSize < 8 ? kQTErrNotAMovie : kQTSuccess;
}

// Gives the index to the movie atom, initialises the movie and hands its interface out.
void QTSifter::HandOver(QTMovie& ioMovie, InterfaceRef<IQTMovie>& outMovie)
{
    // Moved, not copied: a hostile movie's index (millions of user data or metadata items) would
    // otherwise be held twice for as long as the sifter lives.
    mooVAtom->Adopt(mvhd, mvhd64, std::move(trackItems), std::move(userData), std::move(metadataItems),
                    std::move(metadataKeys));
    mHandedOver = mooVAtom;
    ioMovie.Init(mooVAtom, movieAtomOffset);
    outMovie = InterfaceRef<IQTMovie>::Query(ioMovie.GetSharedFromThis());
}

// A second parse on one sifter adds to the index of the first, which went into the first movie:
// a copy of it comes back before the parse starts.
void QTSifter::TakeBackIndex()
{
    if (!mHandedOver)
        return;
    trackItems = mHandedOver->trackItems;
    userData = mHandedOver->userData;
    metadataItems = mHandedOver->metadataItems;
    metadataKeys = mHandedOver->metadataKeys;
    mHandedOver.reset();
}

uint32_t QTSifter::MakeMovie(std::u16string inPath, InterfaceRef<IQTMovie>& outMovie)
{
    KSL::File file;
    auto movie = MakeObject<QTMovie>();
    TakeBackIndex();
    mooVAtom = std::make_shared<QTMooVAtom>();
    uint32_t result = OpenFile(file, inPath, kShareReadWrite);
    if (result == kQTErrOpenFailed)
        return result;
    if (result == kQTSuccess && LoadMovieAtomFromFile(file) != kQTSuccess)
        result = kQTErrNotAMovie;
    if (result == kQTSuccess && !WalkMovieAtom())
        result = kQTErrNotAMovie;
    if (result == kQTSuccess)
        HandOver(*movie, outMovie);
    file.Close();
    return result;
}

uint32_t QTSifter::MakeMovieAndLocateAtom(std::u16string inPath, InterfaceRef<IQTMovie>& outMovie,
                                          uint32_t inAtomType, bool& outFound, uint64_t& outAtomOffset,
                                          uint64_t& outAtomSize, QTFileProvider* inProvider)
{
    KSL::File file;
    auto movie = MakeObject<QTMovie>();
    TakeBackIndex();
    mooVAtom = std::make_shared<QTMooVAtom>();
    provider = inProvider;

    uint32_t status;
    if (ProviderInUse())
    {
        void* handle = nullptr;
        uint64_t size = 0;
        if (provider->GetHandle(&handle) != kQTSuccess || provider->GetSize(handle, &size) != kQTSuccess)
            return kQTStatusReadFailed;
        fileSize = size;
        if (fileSize < 8)
            return kQTErrNotAMovie;
        status = LoadMovieAtomFromProvider();
    }
    else
    {
        const uint32_t opened = OpenFile(file, inPath, kShareRead);
        if (opened != kQTSuccess)
        {
            file.Close();
            return opened;
        }
        status = LoadMovieAtomFromFile(file);
    }
    // On failure the file is left to the destructor.
    if (status != kQTSuccess)
        return status == kQTStatusProviderAbort ? status : kQTErrNotAMovie;
    if (!WalkMovieAtom())
        return kQTErrNotAMovie;
    HandOver(*movie, outMovie);

    status = FindTopLevelAtom(inAtomType, file, outAtomOffset, outAtomSize);
    if (status == kQTStatusProviderAbort)
        return status;
    outFound = status == kQTSuccess;
    if (!ProviderInUse())
        file.Close();
    return kQTSuccess;
}

} // namespace QT
