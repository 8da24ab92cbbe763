#include "QTMovieFixer.h"

#include <utility>

#include "QTAtomLayout.h"
#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTMovie.h"
#include "tenacore/filesupport.h"

namespace QT
{

using tenacore::classref::InterfaceRef;
using tenacore::classref::MakeObject;

namespace
{

// The index of the first enabled video track, or none. Disabled video tracks are stepped over;
// only the first enabled one is ever a candidate.
bool FindEnabledVideoTrack(IQTMovie& inMovie, uint32_t& outIndex)
{
    for (uint32_t i = 0; i < inMovie.GetTrackCount(); ++i)
    {
        InterfaceRef<IQTTrack> track;
        inMovie.GetIndTrack(track, i);
        if (!track || track->GetTrackMediaType() != kVideoMediaType)
            continue;
        if (track->IsTrackEnabled())
        {
            outIndex = i;
            return true;
        }
    }
    return false;
}

} // namespace

InterfaceRef<IQTMovieFixer> MakeFixer()
{
    return InterfaceRef<IQTMovieFixer>::Query(MakeObject<QTMovieFixer>());
}

void* QTMovieFixer::QueryInterface(std::string_view inName)
{
    return tenacore::classref::QueryConcreteOrInterface<QTMovieFixer, IQTMovieFixer>(this, inName);
}

uint32_t QTMovieFixer::OpenMovie(std::u16string inPath, InterfaceRef<IQTMovie>& outMovie)
{
    KSL::File file;
    if (file.Create(inPath, KSL::File::kAccessRead, KSL::File::kShareRead, KSL::File::kOpenExisting,
                    KSL::File::kAttributeNormal, false) < 0)
        return kQTErrOpenFailed;
    const int64_t size = file.SizeOnDisk();
    fileSize = size < 0 ? 0 : uint64_t(size);
    if (fileSize < 8)
        return kQTErrNotAMovie;
    mooVAtom = std::make_shared<QTMooVAtom>();
    if (LoadMovieAtom(file) != kQTSuccess || !WalkMovieAtom())
        return kQTErrNotAMovie;
    auto movie = MakeObject<QTMovie>();
    // The plan reads the track items afterwards; the rest is moved rather than held twice.
    mooVAtom->Adopt(mvhd, mvhd64, trackItems, std::move(userData), std::move(metadataItems),
                    std::move(metadataKeys));
    movie->Init(mooVAtom, movieAtomOffset);
    outMovie = InterfaceRef<IQTMovie>::Query(movie->GetSharedFromThis());
    // Opened for reading only: the write opens the file anew.
    file.Close();
    return kQTSuccess;
}

FixPlan QTMovieFixer::PlanFix(const std::u16string& inPath)
{
    FixPlan plan;
    InterfaceRef<IQTMovie> movie;
    OpenMovie(inPath, movie);
    if (!movie)
        return plan;
    uint32_t index = 0;
    if (!FindEnabledVideoTrack(*movie, index) || index >= trackItems.size())
    {
        plan.finding = FixPlan::Finding::NoEnabledVideoTrack;
        return plan;
    }
    plan.trackIndex = index;
    // The movie was built from this sequence, so the track's index names its item here.
    const uint8_t* sdtp = trackItems[index].sdtp;
    if (sdtp == nullptr)
    {
        plan.finding = FixPlan::Finding::NoSampleDependencyTable;
        return plan;
    }
    plan.finding = FixPlan::Finding::Ready;
    plan.position = uint64_t(sdtp - Data()) + movie->GetMovieAtomOffset() + kAtomTypeFromAtom;
    return plan;
}

uint32_t QTMovieFixer::WriteSkip(const std::u16string& inPath, uint64_t inPosition)
{
    uint8_t skip[4];
    BE::PutU32(skip, kSkipAtom);
    try
    {
        tenacore::filesupport::File file(inPath, tenacore::filesupport::File::kLocalFile);
        tenacore::filesupport::OPlatformByteStream stream(
            file, tenacore::filesupport::OPlatformByteStream::kWriteInPlace);
        stream.CurPos(int64_t(inPosition));
        stream.WriteBlock(skip, sizeof skip);
    }
    catch (const tenacore::filesupport::FileError&)
    {
        return kQTErrFixerWrite;
    }
    return kQTSuccess;
}

uint32_t QTMovieFixer::FixMovie(std::u16string inPath)
{
    const FixPlan plan = PlanFix(inPath);
    if (plan.finding != FixPlan::Finding::Ready)
        return kQTErrFailed;
    return WriteSkip(inPath, plan.position);
}

} // namespace QT
