#pragma once

#include <cstdint>

#include "MK/BinaryData.h"
#include "QTExport.h"
#include "QTRect.h"
#include "tenacore/classref.h"

namespace QT
{

// One track of a movie. Sample and description indices are 0-based. Media-specific operations
// join the interface in their places as each kind of media is supported.
class QTSIFTER_INTERFACE IQTTrack : public tenacore::classref::Unknown
{
public:
    // Place of this track in the movie.
    virtual uint64_t GetTrackIndex() = 0;
    // The handler subtype mapped to the supported kinds: "vide", "soun", "tmcd" (also for "tc64"),
    // "text", "meta", "clcp", "auxv"; any other is "unkn".
    virtual uint32_t GetTrackMediaType() = 0;
    // 0, 0, width, height from the track header, in whole pixels.
    virtual QTRect GetTrackBounds() = 0;
    virtual bool IsTrackEnabled() = 0;
    // In movie ticks, from the track header.
    virtual uint32_t GetTrackDuration() = 0;
    virtual uint32_t GetMediaTimeScale() = 0;
    // The span the edit list keeps, in movie ticks.
    virtual uint64_t GetEditedTrackDuration() = 0;
    virtual uint32_t GetSampleDescriptionCount() = 0;
    // Samples inside the edited span.
    virtual uint32_t GetEditedSampleCount() = 0;
    // The track header's duration in media ticks.
    virtual uint64_t GetTrackDurationInMediaTime() = 0;
    // Whether the edit list is simple enough to honour: no edit, one edit (of unit rate when
    // inRequireUnitRate), or two edits that together cover the track.
    virtual bool IsEditListSupported(bool inRequireUnitRate) = 0;
    virtual bool IsTrackEdited() = 0;
    // The first sample that the edit keeps.
    virtual uint32_t GetFirstSampleIndex() = 0;
    virtual bool VideoTrackHasVariableFrameRate() = 0;
    // For sound: how much longer the first sample is than the others.
    virtual uint32_t GetFirstSampleExcess() = 0;
    // The track's own user data item of inType.
    virtual bool GetUserDataItem(uint32_t inType, MK::BinaryData& outData) = 0;
    // The type of the track's only data reference, or "????".
    virtual uint32_t GetDataReferenceType() = 0;
    virtual bool HasSingleDataReference() = 0;
    virtual bool HasIdentityTransform() = 0;
    virtual bool HasUnscaledTransform() = 0;
    virtual bool HasRightAngleTransform() = 0;
    // Quarter turns clockwise, 0 to 3.
    virtual uint32_t GetTrackRotation() = 0;
};

} // namespace QT
