#include "ExerciseAudio.h"

#include <algorithm>
#include <vector>

#include "ExerciseSoundDescriptions.h"
#include "ExerciseSupport.h"
#include "tenacore/config.h"

namespace qtfuzz
{

namespace
{

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
            if (!map.empty())
                value += map.begin()->first + map.rbegin()->first;
        }
        catch (const tenacore::config::Error&)
        {
            ++value;
        }
    }
    return value;
}

} // namespace

uint64_t ExerciseTrackAudio(QT::IQTTrack& inTrack)
{
    uint64_t value = 0;
    const int32_t descriptions =
        int32_t(std::min<uint32_t>(inTrack.GetSampleDescriptionCount(), kMaxDescriptions));
    for (int32_t index = -1; index <= descriptions; ++index)
        value += ExerciseSoundDescription(inTrack, uint32_t(index));
    return value + ExerciseAudioRangeMap(inTrack) + ExerciseSoundDescriptions(inTrack);
}

} // namespace qtfuzz
