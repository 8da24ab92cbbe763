#include "LookThrough.h"

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

} // namespace qtsifter
