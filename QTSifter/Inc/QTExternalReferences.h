#pragma once

// The files a movie refers to: listing them, finding them on this machine and checking that they
// can be found. Resolution and validation probe paths that the movie names, which may be network
// shares; listing touches no file.

#include <string>
#include <vector>

#include "IQTMovie.h"
#include "QTExport.h"
#include "QTExtRefData.h"
#include "tenacore/classref.h"

namespace QT
{

// Adds the references of every enabled track, and of disabled timecode tracks, to ioReferences.
// False when a track's data references run past their bounds; what was read before stays.
QTSIFTER_API bool GetAllExternalReferences(tenacore::classref::InterfaceRef<IQTMovie>& inMovie,
                                           ExternalReferenceMap& ioReferences);

// The single referenced path of each enabled video, sound and timecode track (and of disabled
// timecode tracks), by track index. Tracks with no or several references are left out.
QTSIFTER_API void GetExternalReferences(tenacore::classref::InterfaceRef<IQTMovie>& inMovie,
                                        TrackReferenceMap& ioVideo, TrackReferenceMap& ioAudio,
                                        TrackReferenceMap& ioTimecode);

// A path on this machine for each track of inTrackReferences, stored at the track's index of
// outResolvedPaths. False at the first track whose file cannot be found.
QTSIFTER_API bool ResolveExternalReferences(const std::u16string& inMoviePath,
                                            const TrackReferenceMap& inTrackReferences,
                                            const ExternalReferenceMap& inAllReferences,
                                            std::vector<std::u16string>& outResolvedPaths);

// Whether the referenced files can be found, trying the recorded paths, mounted volumes, the
// movie's folder and the alias's relative levels.
QTSIFTER_API bool ValidateExternalReferences(const std::u16string& inMoviePath,
                                             const ExternalReferenceMap& inReferences);

} // namespace QT
