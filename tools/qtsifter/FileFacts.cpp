#include "FileFacts.h"

#include <fstream>

#include "BigEndian.h"

namespace qtsifter
{

namespace
{

// Enough for any real file; a hostile one of tiny atoms must not keep the tool walking.
constexpr size_t kMaxAtoms = 100000;

} // namespace

bool FileFacts::Has(uint32_t inType) const
{
    for (const TopLevelAtom& atom : atoms)
        if (atom.type == inType)
            return true;
    return false;
}

FileFacts ReadFileFacts(const std::string& inUTF8Path)
{
    FileFacts facts;
    std::ifstream file(inUTF8Path, std::ios::binary | std::ios::ate);
    if (!file)
        return facts;
    const auto end = file.tellg();
    if (end < 0)
        return facts;
    facts.readable = true;
    facts.size = uint64_t(end);

    uint64_t offset = 0;
    while (offset + 8 <= facts.size && facts.atoms.size() < kMaxAtoms)
    {
        uint8_t header[16];
        file.seekg(std::streamoff(offset));
        if (!file.read(reinterpret_cast<char*>(header), 8))
            break;
        uint64_t size = BE32(header);
        const auto type = BE32(header + 4);
        if (size == 1)
        {
            if (offset + 16 > facts.size || !file.read(reinterpret_cast<char*>(header + 8), 8))
                break;
            size = BE64(header + 8);
            if (size < 16)
                break;
        }
        else if (size == 0)
            size = facts.size - offset; // the last atom runs to the end of the file
        else if (size < 8)
            break;
        facts.atoms.push_back({type, offset, size});
        if (size > facts.size - offset)
            break;
        offset += size;
    }
    return facts;
}

} // namespace qtsifter
