#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qtfuzz
{

// The one file of a fuzz process through which the library reads its input, named after inStem
// and the process, in memory-backed /dev/shm when there is one. fuzz/run.sh removes what a crash
// leaves; the process removes it when it ends normally.
class ScratchFile
{
public:
    explicit ScratchFile(std::string_view inStem);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::string& Path() const { return mPath; }
    // Replaces the file's bytes with the input; false when it cannot be written whole.
    [[nodiscard]] bool Write(const uint8_t* inData, size_t inSize) const;

private:
    std::string mPath;
};

} // namespace qtfuzz
