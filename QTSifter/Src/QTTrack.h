#pragma once

#include <atomic>
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
    bool GetAllSampleDescriptionsEquivalent() override;
    bool GetAllImageDescriptionsEquivalent(bool inIgnoreEntrySize) override;
    uint32_t GetEditedSampleCount() override;
    uint64_t GetTrackDurationInMediaTime() override;
    bool GetTrackCleanApertureDimensions(float& outWidth, float& outHeight) override;
    bool GetTrackProductionApertureDimensions(float& outWidth, float& outHeight) override;
    bool GetTrackEncodedPixelsDimensions(float& outWidth, float& outHeight) override;
    bool IsEditListSupported(bool inRequireUnitRate) override;
    bool IsTrackEdited() override;
    uint32_t GetFirstSampleIndex() override;
    bool VideoTrackHasVariableFrameRate() override;
    uint32_t GetFirstSampleExcess() override;

    uint32_t GetVideoMediaCompressionFourCC(int32_t inIndex) override;
    uint32_t GetVideoMediaVendorFourCC(int32_t inIndex) override;
    int32_t GetVideoMediaWidth(int32_t inIndex) override;
    int32_t GetVideoMediaHeight(int32_t inIndex) override;
    uint16_t GetVideoMediaDepth(int32_t inIndex) override;
    uint32_t GetVideoMediaCleanAperture(int32_t inIndex, uint32_t& outWidthN, uint32_t& outWidthD,
                                        uint32_t& outHeightN, uint32_t& outHeightD,
                                        uint32_t& outHorizontalOffsetN, uint32_t& outHorizontalOffsetD,
                                        uint32_t& outVerticalOffsetN, uint32_t& outVerticalOffsetD) override;
    uint32_t GetVideoMediaPixelAspect(int32_t inIndex, uint32_t& outHorizontal,
                                      uint32_t& outVertical) override;
    uint32_t GetVideoMediaCodecName(int32_t inIndex, std::u16string& outName) override;
    uint32_t GetVideoMediaQuality(int32_t inIndex, uint32_t& outTemporal, uint32_t& outSpatial) override;
    uint32_t GetVideoMediaFieldInfo(int32_t inIndex, uint8_t& outFieldCount,
                                    uint8_t& outFieldOrdering) override;
    uint32_t GetVideoMediaColorInfo(int32_t inIndex, uint32_t& outPrimaries, uint32_t& outTransferFunction,
                                    uint32_t& outMatrix) override;
    uint32_t GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(int32_t inIndex, uint32_t inType,
                                                                     MK::BinaryData& outData) override;
    uint32_t GetVideoMediaImageDescriptionAsBinary(int32_t inIndex, MK::BinaryData& outData) override;
    uint32_t GetVideoMediaImageDescriptionAsPlatformBinary(int32_t inIndex, MK::BinaryData& outData) override;
    uint32_t MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, uint32_t inMaxSamples,
                                  VideoSampleTable& outSamples, bool* outHasVariableDuration) override;
    uint32_t MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, VideoSampleTable& outSamples,
                                  bool* outHasVariableDuration) override;
    bool VideoTrackContainsDeltaFrames() override;
    bool VideoTrackHasDependencyTables() override;
    bool VideoTrackContainsIndependentSamples() override;
    bool IsVideoSampleReferenced(uint32_t inSampleIndex) override;
    uint32_t MakeVideoTemporalReferenceTable(std::vector<VideoTemporalReference>& outTable) override;

    uint32_t GetAudioMediaSampleRate(uint32_t inIndex) override;
    int16_t GetAudioMediaNumChannels(uint32_t inIndex) override;
    int16_t GetAudioMediaBitsPerSample(uint32_t inIndex) override;
    uint32_t GetAudioMediaPackedBitsPerSample(uint32_t inIndex) override;
    uint32_t GetAudioMediaDataFormat(uint32_t inIndex) override;
    bool IsAudioMediaUncompressed(uint32_t inIndex) override;
    uint32_t GetAudioMediaRawDataFormat(uint32_t inIndex) override;
    uint32_t MakeAudioSampleRangeMap(AudioSampleRangeMap& outMap, bool inKeyByFileOffset) override;
    bool GetMultiChannelMap(uint32_t inIndex, std::vector<int32_t>& outMap, bool& outUnsupported) override;
    int32_t GetTimecodeMediaInfo(TimecodeMediaInfo& outInfo, std::u16string& outSourceName) override;
    int32_t GetTimecodeMediaHandleSample(int64_t& outSample) override;
    int32_t GetTimecodeMediaSampleLocation(int64_t& outFileOffset, uint32_t& outSize) override;
    int32_t GetTimecodeMediaFrameNumber(MK::BinaryData inSampleData, const TimecodeMediaInfo& inInfo,
                                        int64_t& outFrameNumber) override;
    uint32_t MakeCaptionSampleMap(const std::u16string& inPath, CaptionSampleMap& outMap,
                                  bool inKeyByFileOffset) override;
    uint32_t GetCaptionMediaDataFormat(int32_t inIndex) override;
    uint32_t GetCaptionMediaFrameDuration() override;
    bool GetUserDataItem(uint32_t inType, MK::BinaryData& outData) override;
    bool IsDataSelfContained() override;
    uint32_t GetDataReferenceType() override;
    bool GetSingleExternalReference(std::u16string* outReference) override;
    bool HasSingleDataReference() override;
    bool CollectExternalReferences(ExternalReferenceMap& ioReferences) override;
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

    // The track's atoms, fetched afresh, and the buffer they point into.
    const TrackItem& Item() const { return mMooVAtom->GetTrackItem(mTrackIndex); }
    ByteRange Bytes() const { return mMooVAtom->Bytes(); }

protected:
    TableAtom Table(const uint8_t* inAtom) const { return TableAtom(inAtom, Bytes()); }
    int64_t GetMediaDuration() const;

private:
    [[nodiscard]] bool IsVideoOrReport(const char* inFunction);
    void RequireAudio(const char* inFunction);
    const uint8_t* SoundDescriptionEntry(uint32_t inIndex);
    const uint8_t* ImageDescription(int32_t inIndex);
    [[nodiscard]] bool FindExtension(int32_t inIndex, uint32_t inType, uint32_t inAtomSize,
                                     size_t inPayloadBytes, const uint8_t*& outPayload);
    [[nodiscard]] bool CopyImageDescription(int32_t inIndex, std::vector<uint8_t>& outCopy);
    [[nodiscard]] bool DescriptionsEquivalent(bool inCompareEntrySize);
    [[nodiscard]] bool ReadApertureDimensions(const uint8_t* inAtom, float& outWidth, float& outHeight);
    uint64_t MovieToMediaTime64(uint32_t inMovieTime);
    void ComputeEditState();
    void ComputeUneditedState(uint32_t inSttsCount);
    void ComputeSingleEditState();
    [[nodiscard]] bool FindSmallestCompositionTime(int32_t& ioMinimum);
    void FindFirstEditedSample(uint32_t inMediaTime);

    uint64_t mTrackIndex = 0;
    std::shared_ptr<QTMooVAtom> mMooVAtom;
    uint32_t mMovieTimeScale = 0;
    int64_t mMovieDuration = 0;
    // Lazy caches, raced by threads that query one track: every thread computes the same value, so
    // relaxed stores and loads are all they need.
    std::atomic<uint32_t> mSampleCount{0};
    std::atomic<uint32_t> mEditedSampleCount{0};
    uint32_t mMediaStartTime = 0;
    uint32_t mFirstSampleIndex = 0;
    uint32_t mFirstSampleDuration = 0;
    uint32_t mEditedMediaDuration = 0;
    uint32_t mFirstSampleExcess = 0;
};

} // namespace QT
