#pragma once

#include <cstdint>
#include <string>

#include "IQTTrack.h"

namespace qtsifter
{

// The few facts the public interface does not offer yet, read through to the library's track class.
// Everything the tool takes from behind the interface is here, and only here.

// The stsd entry inIndex of any kind of track (format and size start every kind), or null.
const uint8_t* SampleDescriptionEntry(QT::IQTTrack& inTrack, int32_t inIndex);

// Which of the tables that the temporal listing needs the track carries.
struct DependencyTables
{
    bool sdtp = false;
    bool ctts = false;
};
DependencyTables FindDependencyTables(QT::IQTTrack& inTrack);

// Where the movie fixer would write in the file at inPath, found by its own load and walk without
// writing. reason is empty when there is something to fix.
struct PlannedFix
{
    uint32_t result = 0;
    uint32_t track = 0;
    uint64_t position = 0; // of the sdtp atom's type word
    std::string reason;
};
PlannedFix PlanFix(const std::u16string& inPath);

} // namespace qtsifter
