#include "ExerciseVideo.h"

#include <algorithm>
#include <string>
#include <vector>

#include "CompareSamplePasses.h"
#include "ExerciseSupport.h"
#include "QTFourCC.h"

namespace qtfuzz
{

namespace
{

// Bounds on the work one input may ask for, so that a hostile count slows no run to a crawl.
constexpr uint32_t kMaxSamples = 1u << 12;

uint64_t ExerciseApertures(QT::IQTTrack& inTrack)
{
    float width = 0, height = 0;
    uint64_t value = inTrack.GetTrackCleanApertureDimensions(width, height);
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
    uint64_t value =
        inTrack.VideoTrackHasVariableFrameRate() + inTrack.VideoTrackContainsDeltaFrames() +
        inTrack.VideoTrackHasDependencyTables() + inTrack.VideoTrackContainsIndependentSamples() +
        inTrack.GetAllImageDescriptionsEquivalent(false) + inTrack.GetAllImageDescriptionsEquivalent(true);
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

} // namespace

uint64_t ExerciseTrackVideo(QT::IQTTrack& inTrack)
{
    // On other tracks the video operations report a contract violation and answer; they are asked
    // all the same, since a host may get that wrong.
    uint64_t value = ExerciseApertures(inTrack);
    const int32_t descriptions =
        int32_t(std::min<uint32_t>(inTrack.GetSampleDescriptionCount(), kMaxDescriptions));
    for (int32_t index = -1; index <= descriptions; ++index)
        value += ExerciseImageDescription(inTrack, index);
    return value + ExerciseVideoTables(inTrack) + CompareSamplePasses(inTrack);
}

} // namespace qtfuzz
