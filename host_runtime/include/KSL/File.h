#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tenacore/Export.h"

namespace KSL
{

// A file handle over the operating system. Results below 0 are failures.
class TENACORE_API File
{
public:
    enum Access : uint32_t
    {
        kAccessRead = 1,
    };
    enum Share : uint32_t
    {
        kShareRead = 1,
    };
    enum Disposition : uint32_t
    {
        kOpenExisting = 8,
    };
    enum Attributes : uint32_t
    {
        kAttributeNormal = 1,
    };
    enum Origin : uint32_t
    {
        kFromStart = 0,
        kFromCurrent = 1,
        kFromEnd = 2,
    };

    static constexpr int32_t kOK = 0;
    static constexpr int32_t kErrOpen = -1;
    static constexpr int32_t kErrNotOpen = -2;
    static constexpr int32_t kErrIO = -3;
    static constexpr int32_t kErrArgument = -4;

    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // Opens an existing regular file; a missing, unreadable or directory path fails.
    int32_t Create(const std::u16string& inPath, uint32_t inAccess, uint32_t inShare, uint32_t inDisposition,
                   uint32_t inAttributes, bool inTemporary);
    int64_t SizeOnDisk() const;
    int32_t Read(void* outBuffer, uint32_t inCount, uint32_t& outRead);
    int32_t SetFilePointer(int64_t inOffset, uint32_t inOrigin);
    int32_t GetFilePointer(int64_t& outPosition) const;
    int32_t Close();
    bool IsOpen() const noexcept;

    // Sees the arguments of every Create; lets a host audit how files are opened.
    struct CreateArgs
    {
        std::u16string path;
        uint32_t access;
        uint32_t share;
        uint32_t disposition;
        uint32_t attributes;
    };
    using CreateObserver = std::function<void(const CreateArgs&)>;
    static CreateObserver SetCreateObserver(CreateObserver inObserver);

    // The calls at which a failure can be forced. A call on a file that is not open fails by
    // itself and asks nothing; Close is never failed, so that a handle is always let go.
    enum class Step : uint32_t
    {
        Create,
        Size,
        Read,
        Seek,
        Position,
    };
    // Asked before each step; true makes the step fail as the system would (kErrOpen from Create,
    // kErrIO from the others, a read delivering nothing). Lets a host's tests reach the failures
    // that a file system seldom gives on demand. Gives the injector it replaces.
    using FailureInjector = std::function<bool(Step)>;
    static FailureInjector SetFailureInjector(FailureInjector inInjector);

private:
#if defined(_WIN32)
    void* mHandle = reinterpret_cast<void*>(-1);
#else
    int mDescriptor = -1;
#endif
};

} // namespace KSL
