#include "FixerFiles.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "IQTMovieFixer.h"

namespace qttest
{

Atom VideoTrakWithTables(const std::vector<Atom>& inTables, uint32_t inFlags)
{
    std::vector<Atom> tables = BasicSampleTables({{.sampleCount = 3, .duration = 100}});
    tables.insert(tables.end(), inTables.begin(), inTables.end());
    TrackSpec spec;
    spec.flags = inFlags;
    return TrakWith(spec, tables);
}

Atom VideoTrakWithSdtp(uint32_t inFlags)
{
    return VideoTrakWithTables({Sdtp({0x20, 0x10, 0x10})}, inFlags);
}

Atom SoundTrakWithSdtp()
{
    std::vector<Atom> tables = BasicSampleTables({{.sampleCount = 3, .duration = 100}});
    tables.push_back(Sdtp({0x20, 0x10, 0x10}));
    TrackSpec spec;
    spec.handler = Code("soun");
    return TrakWith(spec, tables);
}

std::vector<uint64_t> DifferingPositions(const Bytes& inBefore, const Bytes& inAfter)
{
    std::vector<uint64_t> positions;
    const size_t common = std::min(inBefore.size(), inAfter.size());
    for (size_t i = 0; i < common; ++i)
        if (inBefore[i] != inAfter[i])
            positions.push_back(i);
    for (size_t i = common; i < std::max(inBefore.size(), inAfter.size()); ++i)
        positions.push_back(i);
    return positions;
}

uint32_t FixFile(const std::filesystem::path& inPath)
{
    return QT::MakeFixer()->FixMovie(Wide(inPath));
}

Bytes ReadFileRange(const std::filesystem::path& inPath, uint64_t inPosition, size_t inCount)
{
    std::ifstream in(inPath, std::ios::binary);
    in.seekg(std::streamoff(inPosition));
    Bytes bytes(inCount);
    in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(inCount));
    bytes.resize(size_t(in.gcount()));
    return bytes;
}

void WriteSparseFile(const std::filesystem::path& inPath, const Bytes& inHead, uint64_t inMoovStart,
                     const Bytes& inMoov)
{
    {
        std::ofstream out(inPath, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(inHead.data()), std::streamsize(inHead.size()));
        if (!out)
            throw std::runtime_error("cannot write " + inPath.string());
    }
    std::filesystem::resize_file(inPath, inMoovStart);
    std::ofstream out(inPath, std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<const char*>(inMoov.data()), std::streamsize(inMoov.size()));
    if (!out)
        throw std::runtime_error("cannot write " + inPath.string());
}

} // namespace qttest
