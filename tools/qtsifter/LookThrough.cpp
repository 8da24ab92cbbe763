#include "LookThrough.h"

#include <fmt/format.h>

#include "QTMovieFixer.h"
#include "QTTrack.h"

namespace qtsifter
{

namespace
{

tenacore::classref::InterfaceRef<QT::QTTrack> Concrete(QT::IQTTrack& inTrack)
{
    return tenacore::classref::InterfaceRef<QT::QTTrack>::Query(inTrack.GetShared());
}

} // namespace

const uint8_t* SampleDescriptionEntry(QT::IQTTrack& inTrack, int32_t inIndex)
{
    auto track = Concrete(inTrack);
    return track ? track->GetSampleDescription(track->Item().stsd, inIndex) : nullptr;
}

DependencyTables FindDependencyTables(QT::IQTTrack& inTrack)
{
    auto track = Concrete(inTrack);
    if (!track)
        return {};
    return {track->Item().sdtp != nullptr, track->Item().ctts != nullptr};
}

PlannedFix PlanFix(const std::u16string& inPath)
{
    using Finding = QT::FixPlan::Finding;
    auto fixer = tenacore::classref::MakeObject<QT::QTMovieFixer>();
    const QT::FixPlan plan = fixer->PlanFix(inPath);
    PlannedFix planned{plan.Result(), plan.trackIndex, plan.position, {}};
    switch (plan.finding)
    {
    case Finding::Ready:
        break;
    case Finding::NotLoaded:
        planned.reason = "the fixer cannot load a movie from the file: it cannot be read, has no movie atom "
                         "(moov), or its movie atom is compressed or refused";
        break;
    case Finding::NoEnabledVideoTrack:
        planned.reason = "nothing to fix: the movie has no enabled video track";
        break;
    case Finding::NoSampleDependencyTable:
        planned.reason = fmt::format("nothing to fix: the first enabled video track (track {}) has no sample "
                                     "dependency table (sdtp) in its sample table",
                                     plan.trackIndex);
        break;
    }
    return planned;
}

} // namespace qtsifter
