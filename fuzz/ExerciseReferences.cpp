#include "ExerciseReferences.h"

#include <string>
#include <vector>

#include "ExerciseSupport.h"
#include "QTExternalReferences.h"
#include "external_references/QTWinVolumes.h"
#include "tenacore/FileUtils.h"

namespace qtfuzz
{

namespace
{

using tenacore::utility::FileUtils;

// A path "exists" by a hash of its text, so that every stage of the search is reached now and then.
bool StandInExists(const std::u16string& inPath)
{
    uint32_t hash = 2166136261u;
    for (const char16_t unit : inPath)
        hash = (hash ^ unit) * 16777619u;
    return hash % 3 == 0;
}

// Volumes of both kinds of root, and one drive whose root is in lower case.
void StandInVolumes(QT::WinImpl::VolumeRows& ioRows)
{
    ioRows.push_back({u"E:\\", u"archive", false, true});
    ioRows.push_back({u"c:\\", u"c:", false, true});
    ioRows.push_back({u"A:\\", u"media", true, true});
    ioRows.push_back({u"/media/user/DISK/", u"noname", false, true});
    ioRows.push_back({u"F:\\", u"", false, false});
}

// While alive, existence is the stand-in's; the volume table holds the stand-in rows from the
// first use on.
struct StandInFileSystem
{
    StandInFileSystem() : previous(FileUtils::SetExistenceProbe(&StandInExists))
    {
        static const bool volumes = []
        {
            QT::WinImpl::WinVolumes::SetRowSource(&StandInVolumes);
            QT::WinImpl::WinVolumes::GetInstance()->RefreshVolumes();
            return true;
        }();
        (void)volumes;
    }
    ~StandInFileSystem() { FileUtils::SetExistenceProbe(previous); }
    FileUtils::ExistenceProbe previous;
};

} // namespace

uint64_t ExerciseTrackReferences(QT::IQTTrack& inTrack)
{
    uint64_t value =
        inTrack.IsDataSelfContained() + inTrack.GetDataReferenceType() + inTrack.HasSingleDataReference();
    std::u16string single;
    value += inTrack.GetSingleExternalReference(&single) + single.size();
    value += inTrack.GetSingleExternalReference(nullptr);
    QT::ExternalReferenceMap references;
    value += inTrack.CollectExternalReferences(references) + references.size();
    for (const auto& [path, reference] : references)
        value += path.size() + reference.fileName.size() + reference.directoryName.size() +
                 uint32_t(reference.levelFrom) + uint32_t(reference.levelTo);
    return value;
}

uint64_t ExerciseMovieReferences(QT::IQTMovie& inMovie)
{
    auto movie = tenacore::classref::InterfaceRef<QT::IQTMovie>::Query(inMovie.GetShared());
    QT::ExternalReferenceMap all;
    uint64_t value = QT::GetAllExternalReferences(movie, all) + all.size();
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(movie, video, audio, timecode);
    value += video.size() + audio.size() + timecode.size();

    const StandInFileSystem standIn;
    for (const std::u16string& moviePath :
         {std::u16string(u"C:\\m\\movie.mov"), std::u16string(u"/work/a/b/movie.mov")})
    {
        for (const QT::TrackReferenceMap* tracks : {&video, &audio, &timecode})
        {
            std::vector<std::u16string> resolved;
            value += QT::ResolveExternalReferences(moviePath, *tracks, all, resolved) + resolved.size();
        }
        value += QT::ValidateExternalReferences(moviePath, all);
    }
    return value;
}

uint64_t ExerciseReferencesOfMovie(QT::IQTMovie& inMovie)
{
    return ForEachTrack(inMovie, ExerciseTrackReferences) + ExerciseMovieReferences(inMovie);
}

} // namespace qtfuzz
