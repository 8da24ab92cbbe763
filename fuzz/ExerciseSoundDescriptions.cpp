#include "ExerciseSoundDescriptions.h"

#include <algorithm>
#include <vector>

#include "QTSoundDescription.h"
#include "QTTrack.h"

namespace qtfuzz
{

namespace
{

// Enough descriptions to reach every walk; a hostile count could ask for billions.
constexpr uint32_t kMaxWalkedDescriptions = 16;

uint64_t Exercise(const QT::SoundDescription& inView)
{
    std::vector<int32_t> map;
    bool unsupported = false;
    const bool mapped = inView.GetChannelMap(map, unsupported);
    return uint64_t(inView.GetSampleRate()) + uint64_t(inView.GetNumChannels()) +
           uint64_t(inView.GetBitsPerSample()) + inView.GetPackedBitsPerSample() + inView.GetDataFormat() +
           map.size() + (mapped ? 1 : 0) + (unsupported ? 2 : 0);
}

} // namespace

uint64_t ExerciseSoundDescriptions(QT::IQTTrack& inTrack)
{
    const auto track = tenacore::classref::InterfaceRef<QT::QTTrack>::Query(inTrack.GetShared());
    if (!track)
        return 0;
    uint64_t value = 0;
    const uint32_t count = std::min(track->GetSampleDescriptionCount(), kMaxWalkedDescriptions);
    for (uint32_t index = 0; index < count; ++index)
        if (const uint8_t* entry = track->GetSampleDescription(track->Item().stsd, int32_t(index)))
            value += Exercise(QT::SoundDescription(track->Bytes(), entry));
    return value;
}

} // namespace qtfuzz
