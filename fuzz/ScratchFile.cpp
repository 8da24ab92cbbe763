#include "ScratchFile.h"

#include <cstdio>
#include <filesystem>

#include <unistd.h>

namespace qtfuzz
{

ScratchFile::ScratchFile(std::string_view inStem)
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::is_directory("/dev/shm", error)
                                             ? "/dev/shm"
                                             : std::filesystem::temp_directory_path();
    mPath = (folder / (std::string(inStem) + "-" + std::to_string(::getpid()) + ".mov")).string();
}

ScratchFile::~ScratchFile()
{
    std::remove(mPath.c_str());
}

bool ScratchFile::Write(const uint8_t* inData, size_t inSize) const
{
    FILE* file = std::fopen(mPath.c_str(), "wb");
    if (file == nullptr)
        return false;
    // An empty input may come without a buffer, which fwrite must not be given.
    const bool written = inSize == 0 || std::fwrite(inData, 1, inSize, file) == inSize;
    return std::fclose(file) == 0 && written;
}

} // namespace qtfuzz
