#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "AtomBuilder.h"
#include "TestFiles.h"

namespace qttest
{

// A video trak whose stbl holds the required tables, then inTables (an sdtp, a free, ...).
Atom VideoTrakWithTables(const std::vector<Atom>& inTables, uint32_t inFlags = 1);
// The same with an sdtp of three samples at the end of its stbl.
Atom VideoTrakWithSdtp(uint32_t inFlags = 1);
// A sound trak with the required tables and an sdtp, which the fixer must leave alone.
Atom SoundTrakWithSdtp();

// The positions at which two files' bytes differ; a length difference counts from the shorter end.
std::vector<uint64_t> DifferingPositions(const Bytes& inBefore, const Bytes& inAfter);

// FixMovie on a fresh fixer.
uint32_t FixFile(const std::filesystem::path& inPath);

// inCount bytes of the file at inPosition, read without loading the whole file.
Bytes ReadFileRange(const std::filesystem::path& inPath, uint64_t inPosition, size_t inCount);

// Writes inHead, leaves a hole up to inMoovStart (no disk is used for it) and writes inMoov there.
void WriteSparseFile(const std::filesystem::path& inPath, const Bytes& inHead, uint64_t inMoovStart,
                     const Bytes& inMoov);

} // namespace qttest
