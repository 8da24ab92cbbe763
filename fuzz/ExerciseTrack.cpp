#include "ExerciseTrack.h"

#include <algorithm>
#include <string>
#include <vector>

#include "CompareSamplePasses.h"
#include "ExerciseSoundDescriptions.h"
#include "ExerciseTimecodeCaptions.h"
#include "QTFourCC.h"
#include "tenacore/config.h"

namespace qtfuzz
{

namespace
{

// Bounds on the work one input may ask for, so that a hostile count slows no run to a crawl.
constexpr int32_t kMaxDescriptions = 8;
constexpr uint32_t kMaxSamples = 1u << 16;

uint64_t Fold(const MK::BinaryData& inData)
{
    uint64_t value = inData.GetSize();
    if (inData.GetSize() > 0)
        value += inData.GetData()[0] + inData.GetData()[inData.GetSize() - 1];
    return value;
}

uint64_t ExerciseTrackCore(QT::IQTTrack& inTrack)
{
    uint64_t value =
        inTrack.GetTrackIndex() + inTrack.GetTrackMediaType() + inTrack.IsTrackEnabled() +
        inTrack.GetTrackDuration() + inTrack.GetMediaTimeScale() + inTrack.GetEditedTrackDuration() +
        inTrack.GetSampleDescriptionCount() + inTrack.GetEditedSampleCount() +
        inTrack.GetTrackDurationInMediaTime() + inTrack.IsEditListSupported(false) +
        inTrack.IsEditListSupported(true) + inTrack.IsTrackEdited() + inTrack.GetFirstSampleIndex() +
        inTrack.VideoTrackHasVariableFrameRate() + inTrack.GetFirstSampleExcess() +
        inTrack.GetDataReferenceType() + inTrack.HasSingleDataReference() + inTrack.HasIdentityTransform() +
        inTrack.HasUnscaledTransform() + inTrack.HasRightAngleTransform() + inTrack.GetTrackRotation();
    const QT::QTRect bounds = inTrack.GetTrackBounds();
    value += uint64_t(bounds.width) + uint64_t(bounds.height);
    MK::BinaryData data;
    if (inTrack.GetUserDataItem(QT::FourCC("name"), data))
        value += Fold(data);
    value += inTrack.GetAllSampleDescriptionsEquivalent();
    float width = 0, height = 0;
    value += inTrack.GetTrackProductionApertureDimensions(width, height);
    value += inTrack.GetTrackEncodedPixelsDimensions(width, height);
    return value + uint64_t(width + height);
}

uint64_t ExerciseImageDescription(QT::IQTTrack& inTrack, int32_t inIndex)
{
    uint64_t value = inTrack.GetVideoMediaCompressionFourCC(inIndex) +
                     inTrack.GetVideoMediaVendorFourCC(inIndex) +
                     uint64_t(inTrack.GetVideoMediaWidth(inIndex)) +
                     uint64_t(inTrack.GetVideoMediaHeight(inIndex)) + inTrack.GetVideoMediaDepth(inIndex);
    uint32_t w[8] = {};
    value += inTrack.GetVideoMediaCleanAperture(inIndex, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
    value += inTrack.GetVideoMediaPixelAspect(inIndex, w[0], w[1]);
    std::u16string name;
    value += inTrack.GetVideoMediaCodecName(inIndex, name) + name.size();
    value += inTrack.GetVideoMediaQuality(inIndex, w[2], w[3]);
    uint8_t count = 0, ordering = 0;
    value += inTrack.GetVideoMediaFieldInfo(inIndex, count, ordering) + count + ordering;
    value += inTrack.GetVideoMediaColorInfo(inIndex, w[4], w[5], w[6]);
    for (const uint32_t type :
         {QT::FourCC("avcC"), QT::FourCC("hvcC"), QT::FourCC("clut"), QT::FourCC("fiel")})
    {
        MK::BinaryData data;
        if (inTrack.GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(inIndex, type, data) == 0)
            value += Fold(data);
    }
    MK::BinaryData whole;
    if (inTrack.GetVideoMediaImageDescriptionAsBinary(inIndex, whole) == 0)
        value += Fold(whole);
    if (inTrack.GetVideoMediaImageDescriptionAsPlatformBinary(inIndex, whole) == 0)
        value += Fold(whole);
    return value + w[0] + w[7];
}

uint64_t ExerciseVideoTables(QT::IQTTrack& inTrack)
{
    uint64_t value = inTrack.VideoTrackContainsDeltaFrames() + inTrack.VideoTrackHasDependencyTables() +
                     inTrack.VideoTrackContainsIndependentSamples() +
                     inTrack.GetAllImageDescriptionsEquivalent(false);
    float width = 0, height = 0;
    value += inTrack.GetTrackCleanApertureDimensions(width, height);
    for (const uint32_t sample : {0u, 1u, 7u, 0xFFFFFFFFu})
        value += inTrack.IsVideoSampleReferenced(sample);
    for (const bool ignoreEdits : {false, true})
    {
        QT::VideoSampleTable samples;
        bool variable = false;
        value += inTrack.MakeVideoSampleTable(ignoreEdits, ignoreEdits, kMaxSamples, samples, &variable);
        value += samples.size() + variable;
        if (!samples.empty())
            value += samples.back().fileOffset + samples.back().startTime;
        // A run that stopped short of the limit ends where the unlimited form would.
        if (samples.size() < kMaxSamples)
        {
            samples.clear();
            value +=
                inTrack.MakeVideoSampleTable(!ignoreEdits, ignoreEdits, samples, nullptr) + samples.size();
        }
    }
    std::vector<QT::VideoTemporalReference> references;
    value += inTrack.MakeVideoTemporalReferenceTable(references) + references.size();
    return value;
}

// The audio accessors of one description; on another kind of track each raises the contract error,
// which a host that asks by mistake meets as this does.
uint64_t ExerciseSoundDescription(QT::IQTTrack& inTrack, uint32_t inIndex)
{
    uint64_t value = 0;
    try
    {
        value +=
            inTrack.GetAudioMediaSampleRate(inIndex) + uint64_t(inTrack.GetAudioMediaNumChannels(inIndex)) +
            uint64_t(inTrack.GetAudioMediaBitsPerSample(inIndex)) +
            inTrack.GetAudioMediaPackedBitsPerSample(inIndex) + inTrack.GetAudioMediaDataFormat(inIndex) +
            (inTrack.IsAudioMediaUncompressed(inIndex) ? 1 : 0) + inTrack.GetAudioMediaRawDataFormat(inIndex);
        std::vector<int32_t> map;
        bool unsupported = false;
        value += (inTrack.GetMultiChannelMap(inIndex, map, unsupported) ? 1 : 0) + map.size() +
                 (unsupported ? 1 : 0);
    }
    catch (const tenacore::config::Error&)
    {
        ++value;
    }
    return value;
}

uint64_t ExerciseAudioRangeMap(QT::IQTTrack& inTrack)
{
    uint64_t value = 0;
    for (bool keyByFileOffset : {false, true})
    {
        try
        {
            QT::AudioSampleRangeMap map;
            value += inTrack.MakeAudioSampleRangeMap(map, keyByFileOffset) + map.size();
        }
        catch (const tenacore::config::Error&)
        {
            ++value;
        }
    }
    return value;
}

} // namespace

uint64_t ExerciseTrack(QT::IQTTrack& inTrack)
{
    // On other tracks the video operations report a contract violation and answer; they are asked
    // all the same, since a host may get that wrong.
    uint64_t value = ExerciseTrackCore(inTrack);
    const int32_t descriptions =
        int32_t(std::min<uint32_t>(inTrack.GetSampleDescriptionCount(), kMaxDescriptions));
    for (int32_t index = -1; index <= descriptions; ++index)
        value +=
            ExerciseImageDescription(inTrack, index) + ExerciseSoundDescription(inTrack, uint32_t(index));
    value += ExerciseAudioRangeMap(inTrack) + ExerciseTimecodeCaptions(inTrack);
    return value + ExerciseVideoTables(inTrack) + ExerciseSoundDescriptions(inTrack) +
           CompareSamplePasses(inTrack);
}

} // namespace qtfuzz
