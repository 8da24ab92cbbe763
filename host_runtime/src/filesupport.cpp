#include "tenacore/filesupport.h"

#include <cstring>
#include <utility>

#include "InjectionPoint.h"

#include "tenacore/string.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tenacore::filesupport
{

namespace
{

detail::InjectionPoint<StreamStep>& Injection()
{
    static detail::InjectionPoint<StreamStep> point;
    return point;
}

bool Injected(StreamStep inStep)
{
    return Injection().Fails(inStep);
}

[[noreturn]] void Fail(const std::string& inWhat, const std::string& inWhy)
{
    throw FileError(inWhat + ": " + inWhy);
}

// Whether inCount bytes from inPosition stay inside a file of inLength bytes.
bool InsideFile(int64_t inPosition, uint64_t inCount, int64_t inLength)
{
    return inPosition >= 0 && inPosition <= inLength && inCount <= uint64_t(inLength - inPosition);
}

#if defined(_WIN32)

std::string SystemReason()
{
    return "system error " + std::to_string(GetLastError());
}

HANDLE AsHandle(void* inHandle)
{
    return static_cast<HANDLE>(inHandle);
}

#else

std::string SystemReason()
{
    return std::strerror(errno);
}

#endif

} // namespace

FailureInjector SetFailureInjector(FailureInjector inInjector)
{
    return Injection().Replace(std::move(inInjector));
}

File::File(std::u16string inPath, uint32_t inStorageType) : mPath(std::move(inPath))
{
    if (inStorageType != kLocalFile)
        Fail("file", "unknown storage type " + std::to_string(inStorageType));
}

#if defined(_WIN32)

OPlatformByteStream::OPlatformByteStream(const File& inFile, uint32_t inFlags)
{
    if (inFlags != kWriteInPlace)
        Fail("open for writing", "unknown stream flags " + std::to_string(inFlags));
    if (Injected(StreamStep::Open))
        Fail("open for writing", "failure injected");
    // OPEN_EXISTING neither creates nor truncates.
    HANDLE handle = CreateFileW(reinterpret_cast<LPCWSTR>(inFile.Path().c_str()), GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        Fail("open for writing", SystemReason());
    mHandle = handle;
}

OPlatformByteStream::~OPlatformByteStream()
{
    CloseHandle(AsHandle(mHandle));
}

int64_t OPlatformByteStream::FileLength() const
{
    LARGE_INTEGER size;
    if (!GetFileSizeEx(AsHandle(mHandle), &size))
        Fail("size", SystemReason());
    return size.QuadPart;
}

void OPlatformByteStream::SeekTo(int64_t inPosition)
{
    LARGE_INTEGER distance;
    distance.QuadPart = inPosition;
    if (!SetFilePointerEx(AsHandle(mHandle), distance, nullptr, FILE_BEGIN))
        Fail("seek", SystemReason());
}

uint32_t OPlatformByteStream::WriteSome(const uint8_t* inBytes, uint32_t inCount)
{
    DWORD done = 0;
    if (!WriteFile(AsHandle(mHandle), inBytes, inCount, &done, nullptr))
        Fail("write", SystemReason());
    if (done == 0)
        Fail("write", "nothing was written");
    return uint32_t(done);
}

#else

OPlatformByteStream::OPlatformByteStream(const File& inFile, uint32_t inFlags)
{
    if (inFlags != kWriteInPlace)
        Fail("open for writing", "unknown stream flags " + std::to_string(inFlags));
    if (Injected(StreamStep::Open))
        Fail("open for writing", "failure injected");
    const std::string path = tenacore::string::UTF16to8(inFile.Path());
    // No O_CREAT and no O_TRUNC: an existing file, kept at its length.
    int descriptor;
    do
        descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        Fail("open for writing " + path, SystemReason());
    struct stat info;
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode))
    {
        ::close(descriptor);
        Fail("open for writing " + path, "not a regular file");
    }
    mDescriptor = descriptor;
}

OPlatformByteStream::~OPlatformByteStream()
{
    ::close(mDescriptor);
}

int64_t OPlatformByteStream::FileLength() const
{
    struct stat info;
    if (::fstat(mDescriptor, &info) != 0)
        Fail("size", SystemReason());
    return int64_t(info.st_size);
}

void OPlatformByteStream::SeekTo(int64_t inPosition)
{
    if (::lseek(mDescriptor, off_t(inPosition), SEEK_SET) < 0)
        Fail("seek", SystemReason());
}

uint32_t OPlatformByteStream::WriteSome(const uint8_t* inBytes, uint32_t inCount)
{
    for (;;)
    {
        const ssize_t done = ::write(mDescriptor, inBytes, inCount);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            Fail("write", SystemReason());
        if (done == 0)
            Fail("write", "nothing was written");
        return uint32_t(done);
    }
}

#endif

void OPlatformByteStream::CurPos(int64_t inPosition)
{
    if (Injected(StreamStep::Seek))
        Fail("seek", "failure injected");
    if (!InsideFile(inPosition, 0, FileLength()))
        Fail("seek", "position " + std::to_string(inPosition) + " lies outside the file");
    SeekTo(inPosition);
    mPosition = inPosition;
}

void OPlatformByteStream::WriteBlock(const void* inBytes, uint32_t inCount)
{
    if (Injected(StreamStep::Write))
        Fail("write", "failure injected");
    if (!InsideFile(mPosition, inCount, FileLength()))
        Fail("write", "the bytes would run past the end of the file");
    const auto* cursor = static_cast<const uint8_t*>(inBytes);
    for (uint32_t written = 0; written < inCount;)
        written += WriteSome(cursor + written, inCount - written);
    mPosition += inCount;
}

} // namespace tenacore::filesupport
