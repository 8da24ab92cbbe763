#pragma once

#include <ostream>

#include <nlohmann/json.hpp>

namespace qtsifter
{

// Writes a report object as indented "key: value" lines, so that every fact added to a command's
// JSON shows in its readable output too. Arrays give their length and one line per element.
// A readable twin of a key shares its line: "duration: 1200 (2.000 s)" from duration and
// durationSeconds; likewise ...Degrees and ...Name, while ...Text replaces the raw value.
void WriteTextReport(std::ostream& ioOut, const nlohmann::ordered_json& inReport, int inIndent = 0);

} // namespace qtsifter
