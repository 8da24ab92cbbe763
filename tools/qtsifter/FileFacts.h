#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qtsifter
{

// One atom at the top level of a file, as its header states it.
struct TopLevelAtom
{
    uint32_t type = 0;
    uint64_t offset = 0;
    uint64_t size = 0;
};

// What the tool reads of the file itself, beside the library: its size and its top-level atoms.
// The library never reads media, so the tool checks sample ranges and fragments against these.
struct FileFacts
{
    bool readable = false;
    uint64_t size = 0;
    std::vector<TopLevelAtom> atoms; // stops at the first header that does not fit the file
    bool Has(uint32_t inType) const;
};

FileFacts ReadFileFacts(const std::string& inUTF8Path);

} // namespace qtsifter
