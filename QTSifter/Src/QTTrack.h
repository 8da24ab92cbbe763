#pragma once

#include <memory>

#include "IQTTrack.h"
#include "QTMooVAtom.h"
#include "QTShared.h"

namespace QT
{

class QTTrack : public IQTTrack
{
public:
    void* QueryInterface(std::string_view inName) override;

    void Initialize(uint64_t inIndex, std::shared_ptr<QTMooVAtom> inMooVAtom, uint32_t inMovieTimeScale,
                    int64_t inMovieDuration);

    uint64_t GetTrackIndex() override;
    uint32_t GetTrackMediaType() override;
    QTRect GetTrackBounds() override;
    bool IsTrackEnabled() override;
    uint32_t GetTrackDuration() override;
    uint32_t GetMediaTimeScale() override;
    uint64_t GetEditedTrackDuration() override;
    uint32_t GetSampleDescriptionCount() override;
    uint32_t GetEditedSampleCount() override;
    uint64_t GetTrackDurationInMediaTime() override;
    bool IsEditListSupported(bool inRequireUnitRate) override;
    bool IsTrackEdited() override;
    uint32_t GetFirstSampleIndex() override;
    bool VideoTrackHasVariableFrameRate() override;
    uint32_t GetFirstSampleExcess() override;
    bool GetUserDataItem(uint32_t inType, MK::BinaryData& outData) override;
    uint32_t GetDataReferenceType() override;
    bool HasSingleDataReference() override;
    bool HasIdentityTransform() override;
    bool HasUnscaledTransform() override;
    bool HasRightAngleTransform() override;
    uint32_t GetTrackRotation() override;

    // Internal operations shared by the media kinds.
    uint32_t MovieToMediaTime(uint32_t inMovieTime);
    uint32_t GetFirstEditMediaTime();
    uint32_t GetHandleReferenceData(MK::BinaryData& outData);
    const uint8_t* GetTimeToSampleEntry(uint32_t inEntryIndex);
    uint32_t GetSampleDuration(uint32_t inSampleIndex, uint32_t& outDuration);
    uint32_t GetSampleCount();
    const uint8_t* GetSampleDescription(const uint8_t* inStsd, int32_t inIndex);

    // The edit state computed when the track is made.
    uint32_t MediaStartTime() const { return mMediaStartTime; }
    uint32_t FirstSampleDuration() const { return mFirstSampleDuration; }
    uint32_t EditedMediaDuration() const { return mEditedMediaDuration; }

    // The track's atoms, fetched afresh.
    const TrackItem& Item() const { return mMooVAtom->GetTrackItem(mTrackIndex); }

protected:
    ByteRange Bytes() const { return mMooVAtom->Bytes(); }
    TableAtom Table(const uint8_t* inAtom) const { return TableAtom(inAtom, Bytes()); }
    int64_t GetMediaDuration() const;

private:
    void ComputeEditState();
    void ComputeUneditedState(uint32_t inSttsCount);
    void ComputeSingleEditState();
    bool FindSmallestCompositionTime(int32_t& ioMinimum);
    void FindFirstEditedSample(uint32_t inMediaTime);

    uint64_t mTrackIndex = 0;
    std::shared_ptr<QTMooVAtom> mMooVAtom;
    uint32_t mMovieTimeScale = 0;
    int64_t mMovieDuration = 0;
    uint32_t mSampleCount = 0;
    uint32_t mEditedSampleCount = 0;
    uint32_t mMediaStartTime = 0;
    uint32_t mFirstSampleIndex = 0;
    uint32_t mFirstSampleDuration = 0;
    uint32_t mEditedMediaDuration = 0;
    uint32_t mFirstSampleExcess = 0;
};

} // namespace QT
