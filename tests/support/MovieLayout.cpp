#include "MovieLayout.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "AtomBuilder.h"

namespace qttest
{

namespace
{

uint64_t ReadBE(const Bytes& inBytes, uint64_t inPos, int inWidth)
{
    uint64_t value = 0;
    for (int i = 0; i < inWidth; ++i)
        value = value << 8 | inBytes.at(inPos + uint64_t(i));
    return value;
}

} // namespace

Bytes ReadFileBytes(const std::filesystem::path& inPath)
{
    std::ifstream in(inPath, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + inPath.string());
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<FileAtom> ScanAtoms(const Bytes& inBytes, uint64_t inStart, uint64_t inEnd)
{
    std::vector<FileAtom> atoms;
    const uint64_t end = std::min<uint64_t>(inEnd, inBytes.size());
    uint64_t pos = inStart;
    while (end >= 8 && pos <= end - 8)
    {
        FileAtom atom;
        atom.start = pos;
        atom.type = uint32_t(ReadBE(inBytes, pos + 4, 4));
        const uint64_t sizeWord = ReadBE(inBytes, pos, 4);
        if (sizeWord == 0)
            atom.size = end - pos;
        else if (sizeWord == 1)
        {
            if (end - pos < 16)
                break;
            atom.size = ReadBE(inBytes, pos + 8, 8);
            atom.headerSize = 16;
        }
        else
            atom.size = sizeWord;
        if (atom.size < atom.headerSize)
            break;
        atoms.push_back(atom);
        if (atom.size > end - pos)
            break;
        pos += atom.size;
    }
    return atoms;
}

std::vector<FileAtom> ScanTopLevelAtoms(const Bytes& inBytes)
{
    return ScanAtoms(inBytes, 0, inBytes.size());
}

std::vector<FileAtom> ScanChildren(const Bytes& inBytes, const FileAtom& inParent)
{
    return ScanAtoms(inBytes, inParent.start + inParent.headerSize, inParent.End());
}

std::optional<FileAtom> FindAtom(const std::vector<FileAtom>& inAtoms, uint32_t inType)
{
    for (const FileAtom& atom : inAtoms)
        if (atom.type == inType)
            return atom;
    return std::nullopt;
}

std::optional<FileAtom> ExpectedLocation(const std::vector<FileAtom>& inAtoms, uint64_t inFileSize,
                                         uint32_t inType)
{
    for (size_t i = 0; i < inAtoms.size() && i < 51; ++i)
    {
        const FileAtom& atom = inAtoms[i];
        if (atom.type == inType)
            return atom.size >= 9 && atom.size <= 0x8000000 ? std::optional(atom) : std::nullopt;
        if (atom.size <= 8 || atom.End() >= inFileSize)
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<MovieHeaderFields> ReadMovieHeaderFields(const Bytes& inBytes, const FileAtom& inMoov)
{
    const auto mvhd = FindAtom(ScanChildren(inBytes, inMoov), Code("mvhd"));
    if (!mvhd || mvhd->End() > inBytes.size())
        return std::nullopt;
    MovieHeaderFields fields;
    const uint64_t body = mvhd->start + mvhd->headerSize;
    fields.version = inBytes.at(body);
    // Version 1 widens the creation and modification times and the duration to 64 bits.
    if (fields.version == 1)
    {
        if (mvhd->size < mvhd->headerSize + 32)
            return std::nullopt;
        fields.timeScale = uint32_t(ReadBE(inBytes, body + 20, 4));
        fields.duration = ReadBE(inBytes, body + 24, 8);
    }
    else
    {
        if (mvhd->size < mvhd->headerSize + 20)
            return std::nullopt;
        fields.timeScale = uint32_t(ReadBE(inBytes, body + 12, 4));
        fields.duration = ReadBE(inBytes, body + 16, 4);
    }
    return fields;
}

} // namespace qttest
