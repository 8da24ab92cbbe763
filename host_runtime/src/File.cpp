#include "KSL/File.h"

#include <mutex>
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

namespace KSL
{

namespace
{

std::mutex& ObserverMutex()
{
    static std::mutex mutex;
    return mutex;
}

File::CreateObserver& Observer()
{
    static File::CreateObserver observer;
    return observer;
}

void NotifyCreate(const File::CreateArgs& inArgs)
{
    std::lock_guard lock(ObserverMutex());
    if (Observer())
        Observer()(inArgs);
}

tenacore::detail::InjectionPoint<File::Step>& Injection()
{
    static tenacore::detail::InjectionPoint<File::Step> point;
    return point;
}

bool Injected(File::Step inStep)
{
    return Injection().Fails(inStep);
}

} // namespace

File::FailureInjector File::SetFailureInjector(FailureInjector inInjector)
{
    return Injection().Replace(std::move(inInjector));
}

File::CreateObserver File::SetCreateObserver(CreateObserver inObserver)
{
    std::lock_guard lock(ObserverMutex());
    std::swap(Observer(), inObserver);
    return inObserver;
}

File::~File()
{
    Close();
}

#if defined(_WIN32)

bool File::IsOpen() const noexcept
{
    return mHandle != INVALID_HANDLE_VALUE;
}

int32_t File::Create(const std::u16string& inPath, uint32_t inAccess, uint32_t inShare,
                     uint32_t inDisposition, uint32_t inAttributes, bool)
{
    NotifyCreate({inPath, inAccess, inShare, inDisposition, inAttributes});
    Close();
    if (inDisposition != kOpenExisting || !(inAccess & kAccessRead))
        return kErrArgument;
    if (Injected(Step::Create))
        return kErrOpen;
    DWORD share = 0;
    if (inShare & kShareRead)
        share |= FILE_SHARE_READ;
    if (inShare & 2)
        share |= FILE_SHARE_WRITE;
    HANDLE handle = CreateFileW(reinterpret_cast<LPCWSTR>(inPath.c_str()), GENERIC_READ, share, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return kErrOpen;
    mHandle = handle;
    return kOK;
}

int64_t File::SizeOnDisk() const
{
    LARGE_INTEGER size;
    if (!IsOpen() || Injected(Step::Size) || !GetFileSizeEx(static_cast<HANDLE>(mHandle), &size))
        return kErrIO;
    return size.QuadPart;
}

int32_t File::Read(void* outBuffer, uint32_t inCount, uint32_t& outRead)
{
    outRead = 0;
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Read))
        return kErrIO;
    DWORD got = 0;
    if (!ReadFile(static_cast<HANDLE>(mHandle), outBuffer, inCount, &got, nullptr))
        return kErrIO;
    outRead = got;
    return kOK;
}

int32_t File::SetFilePointer(int64_t inOffset, uint32_t inOrigin)
{
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Seek))
        return kErrIO;
    LARGE_INTEGER distance;
    distance.QuadPart = inOffset;
    const DWORD method = inOrigin == kFromStart     ? FILE_BEGIN
                         : inOrigin == kFromCurrent ? FILE_CURRENT
                                                    : FILE_END;
    return SetFilePointerEx(static_cast<HANDLE>(mHandle), distance, nullptr, method) ? kOK : kErrIO;
}

int32_t File::GetFilePointer(int64_t& outPosition) const
{
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Position))
        return kErrIO;
    LARGE_INTEGER zero{}, position{};
    if (!SetFilePointerEx(static_cast<HANDLE>(mHandle), zero, &position, FILE_CURRENT))
        return kErrIO;
    outPosition = position.QuadPart;
    return kOK;
}

int32_t File::Close()
{
    if (!IsOpen())
        return kErrNotOpen;
    CloseHandle(static_cast<HANDLE>(mHandle));
    mHandle = INVALID_HANDLE_VALUE;
    return kOK;
}

#else

bool File::IsOpen() const noexcept
{
    return mDescriptor >= 0;
}

int32_t File::Create(const std::u16string& inPath, uint32_t inAccess, uint32_t inShare,
                     uint32_t inDisposition, uint32_t inAttributes, bool)
{
    NotifyCreate({inPath, inAccess, inShare, inDisposition, inAttributes});
    Close();
    // Sharing has no meaning on POSIX; only reading an existing file is supported.
    if (inDisposition != kOpenExisting || !(inAccess & kAccessRead))
        return kErrArgument;
    if (Injected(Step::Create))
        return kErrOpen;
    const std::string path = tenacore::string::UTF16to8(inPath);
    int descriptor;
    do
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
        return kErrOpen;
    struct stat info;
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode))
    {
        ::close(descriptor);
        return kErrOpen;
    }
    mDescriptor = descriptor;
    return kOK;
}

int64_t File::SizeOnDisk() const
{
    struct stat info;
    if (!IsOpen() || Injected(Step::Size) || ::fstat(mDescriptor, &info) != 0)
        return kErrIO;
    return static_cast<int64_t>(info.st_size);
}

int32_t File::Read(void* outBuffer, uint32_t inCount, uint32_t& outRead)
{
    outRead = 0;
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Read))
        return kErrIO;
    auto* cursor = static_cast<uint8_t*>(outBuffer);
    while (outRead < inCount)
    {
        const ssize_t got = ::read(mDescriptor, cursor + outRead, inCount - outRead);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return kErrIO;
        if (got == 0)
            break;
        outRead += static_cast<uint32_t>(got);
    }
    return kOK;
}

int32_t File::SetFilePointer(int64_t inOffset, uint32_t inOrigin)
{
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Seek))
        return kErrIO;
    const int whence = inOrigin == kFromStart ? SEEK_SET : inOrigin == kFromCurrent ? SEEK_CUR : SEEK_END;
    return ::lseek(mDescriptor, static_cast<off_t>(inOffset), whence) < 0 ? kErrIO : kOK;
}

int32_t File::GetFilePointer(int64_t& outPosition) const
{
    if (!IsOpen())
        return kErrNotOpen;
    if (Injected(Step::Position))
        return kErrIO;
    const off_t position = ::lseek(mDescriptor, 0, SEEK_CUR);
    if (position < 0)
        return kErrIO;
    outPosition = static_cast<int64_t>(position);
    return kOK;
}

int32_t File::Close()
{
    if (!IsOpen())
        return kErrNotOpen;
    ::close(mDescriptor);
    mDescriptor = -1;
    return kOK;
}

#endif

} // namespace KSL
