#include "tenacore/FileUtils.h"

#include <filesystem>
#include <system_error>

namespace tenacore::utility
{

bool FileUtils::GetFileSize(const std::u16string& inPath, uint64_t& outSize)
{
    std::error_code error;
    const std::filesystem::path path(inPath);
    if (!std::filesystem::is_regular_file(path, error))
        return false;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error)
        return false;
    outSize = uint64_t(size);
    return true;
}

} // namespace tenacore::utility
