#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "TestFiles.h"

namespace qttest
{

// An atom as it lies in a file, read by the tests on their own as a check on the library.
struct FileAtom
{
    uint64_t start = 0;
    uint64_t size = 0; // whole size, header included; may run past the end of a cut file
    uint32_t type = 0;
    uint32_t headerSize = 8;

    uint64_t End() const { return start + size; }
};

Bytes ReadFileBytes(const std::filesystem::path& inPath);

// The atoms from inStart to inEnd, one after the other. Size word 0 runs to inEnd and size word 1
// takes the 64-bit field. The scan stops at a header that does not fit or a size below its
// header; an atom that runs past inEnd is listed and ends the scan.
std::vector<FileAtom> ScanAtoms(const Bytes& inBytes, uint64_t inStart, uint64_t inEnd);
std::vector<FileAtom> ScanTopLevelAtoms(const Bytes& inBytes);
// The children of a container, which begin right behind its header.
std::vector<FileAtom> ScanChildren(const Bytes& inBytes, const FileAtom& inParent);
std::optional<FileAtom> FindAtom(const std::vector<FileAtom>& inAtoms, uint32_t inType);

// Where the library's search of the top-level atoms should find inType in a file of inFileSize
// bytes laid out as inAtoms. The search gives up at an atom of 8 bytes or less, at the end of the
// file and after 51 atoms, and takes only sizes from 9 bytes to 128 MiB.
std::optional<FileAtom> ExpectedLocation(const std::vector<FileAtom>& inAtoms, uint64_t inFileSize,
                                         uint32_t inType);

// The fields of mvhd that a movie reports.
struct MovieHeaderFields
{
    uint8_t version = 0;
    uint32_t timeScale = 0;
    uint64_t duration = 0;
};
std::optional<MovieHeaderFields> ReadMovieHeaderFields(const Bytes& inBytes, const FileAtom& inMoov);

} // namespace qttest
