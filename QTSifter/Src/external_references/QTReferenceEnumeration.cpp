// What a movie refers to: every referenced file, and the one file of each track.

#include "QTExternalReferences.h"
#include "QTFourCC.h"

namespace QT
{

using tenacore::classref::InterfaceRef;

namespace
{

// Disabled tracks are left out, but for timecode, which a host reads even when it is not shown.
bool IsConsidered(IQTTrack& inTrack)
{
    return inTrack.IsTrackEnabled() || inTrack.GetTrackMediaType() == kTimecodeMediaType;
}

TrackReferenceMap* MapForMediaType(uint32_t inType, TrackReferenceMap& ioVideo, TrackReferenceMap& ioAudio,
                                   TrackReferenceMap& ioTimecode)
{
    if (inType == kAudioMediaType)
        return &ioAudio;
    if (inType == kTimecodeMediaType)
        return &ioTimecode;
    if (inType == kVideoMediaType)
        return &ioVideo;
    return nullptr;
}

} // namespace

bool GetAllExternalReferences(InterfaceRef<IQTMovie>& inMovie, ExternalReferenceMap& ioReferences)
{
    const uint32_t count = inMovie->GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        InterfaceRef<IQTTrack> track;
        inMovie->GetIndTrack(track, index);
        if (IsConsidered(*track) && !track->CollectExternalReferences(ioReferences))
            return false;
    }
    return true;
}

void GetExternalReferences(InterfaceRef<IQTMovie>& inMovie, TrackReferenceMap& ioVideo,
                           TrackReferenceMap& ioAudio, TrackReferenceMap& ioTimecode)
{
    const uint32_t count = inMovie->GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        InterfaceRef<IQTTrack> track;
        inMovie->GetIndTrack(track, index);
        std::u16string path;
        if (track->IsTrackEnabled() && track->GetSingleExternalReference(&path))
        {
            if (TrackReferenceMap* map =
                    MapForMediaType(track->GetTrackMediaType(), ioVideo, ioAudio, ioTimecode))
                (*map)[index] = path;
        }
        else if (track->GetTrackMediaType() == kTimecodeMediaType && track->GetSingleExternalReference(&path))
            ioTimecode[index] = path;
    }
}

} // namespace QT
