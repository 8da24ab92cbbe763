#include "tenacore/FileUtils.h"

#include <filesystem>
#include <mutex>
#include <system_error>

#include "tenacore/string.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <sys/stat.h>
#endif

namespace tenacore::utility
{

namespace
{

bool IsSeparator(char16_t inUnit)
{
    return inUnit == u'/' || inUnit == u'\\';
}

std::mutex& ProbeMutex()
{
    static std::mutex mutex;
    return mutex;
}

FileUtils::ExistenceProbe& Probe()
{
    static FileUtils::ExistenceProbe probe;
    return probe;
}

bool ExistsOnDisk(const std::u16string& inPath)
{
#if defined(_WIN32)
    return GetFileAttributesW(reinterpret_cast<const wchar_t*>(inPath.c_str())) != INVALID_FILE_ATTRIBUTES;
#else
    struct stat info
    {
    };
    return stat(string::UTF16to8(inPath).c_str(), &info) == 0;
#endif
}

} // namespace

bool FileUtils::FileOrDirExists(const std::u16string& inPath)
{
    ExistenceProbe probe;
    {
        std::lock_guard lock(ProbeMutex());
        probe = Probe();
    }
    if (probe)
        return probe(inPath) && !inPath.empty();
    return !inPath.empty() && ExistsOnDisk(inPath);
}

FileUtils::ExistenceProbe FileUtils::SetExistenceProbe(ExistenceProbe inProbe)
{
    std::lock_guard lock(ProbeMutex());
    std::swap(Probe(), inProbe);
    return inProbe;
}

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

char16_t FileUtils::PreferredSeparator()
{
#if defined(_WIN32)
    return u'\\';
#else
    return u'/';
#endif
}

std::u16string FileUtils::AddTrailingSlash(const std::u16string& inPath)
{
    if (!inPath.empty() && IsSeparator(inPath.back()))
        return inPath;
    return inPath + PreferredSeparator();
}

std::u16string FileUtils::StripTrailingSlash(const std::u16string& inPath)
{
    if (inPath.size() > 1 && IsSeparator(inPath.back()))
        return inPath.substr(0, inPath.size() - 1);
    return inPath;
}

} // namespace tenacore::utility
