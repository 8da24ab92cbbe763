#include "CompareSamplePasses.h"

#include <algorithm>
#include <cstdlib>

#include "QTTrack.h"
#include "QTVideoSamplePass.h"

namespace qtfuzz
{

namespace
{

// Enough samples to cross every kind of run a small input can hold, few enough to keep each input
// fast: a constant size lets a few bytes claim billions.
constexpr uint32_t kMostSamples = 1u << 12;

bool SameRecords(const QT::VideoSampleTable& inA, const QT::VideoSampleTable& inB)
{
    return std::equal(inA.begin(), inA.end(), inB.begin(), inB.end(),
                      [](const QT::VideoSampleRecord& inX, const QT::VideoSampleRecord& inY)
                      {
                          return inX.fileOffset == inY.fileOffset && inX.duration == inY.duration &&
                                 inX.startTime == inY.startTime && inX.size == inY.size &&
                                 inX.isSync == inY.isSync;
                      });
}

} // namespace

uint64_t CompareSamplePasses(QT::IQTTrack& inTrack)
{
    const auto track = tenacore::classref::InterfaceRef<QT::QTTrack>::Query(inTrack.GetShared());
    if (!track)
        return 0;
    const uint32_t samples = std::min(track->GetSampleCount(), kMostSamples);
    const QT::SamplePassEdit edit{true, track->GetFirstSampleIndex(), track->FirstSampleDuration(),
                                  track->EditedMediaDuration() + track->MediaStartTime()};
    uint64_t value = 0;
    for (const QT::SamplePassEdit& applied : {edit, QT::SamplePassEdit{}})
    {
        QT::VideoSampleTable stepped, stretched;
        bool steppedVariable = false, stretchedVariable = false;
        const uint32_t steppedResult =
            QT::RunVideoSamplePass(track->Item(), track->Bytes(), samples, applied, 0xFFFFFFFFu,
                                   QT::SamplePassStride::SampleBySample, stepped, steppedVariable);
        const uint32_t stretchedResult =
            QT::RunVideoSamplePass(track->Item(), track->Bytes(), samples, applied, 0xFFFFFFFFu,
                                   QT::SamplePassStride::RunByRun, stretched, stretchedVariable);
        if (steppedResult != stretchedResult || steppedVariable != stretchedVariable ||
            !SameRecords(stepped, stretched))
            std::abort();
        value += stepped.size() + steppedResult;
    }
    return value;
}

} // namespace qtfuzz
