#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

namespace tenacore::filesupport
{

// Used by the library only, so none of it is exported.

// Every failure to open, seek or write.
class FileError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// A file named by its path. Nothing is opened until a stream is made over it.
class File
{
public:
    // The one storage type: a file of the local file system.
    static constexpr uint32_t kLocalFile = 0;

    // Throws FileError for any other storage type.
    File(std::u16string inPath, uint32_t inStorageType);

    const std::u16string& Path() const noexcept { return mPath; }

private:
    std::u16string mPath;
};

// A stream that overwrites bytes of an existing file where they stand. The file is opened when the
// stream is made and closed when it goes: never created, never truncated, never made longer. A
// failure throws FileError.
class OPlatformByteStream
{
public:
    // The one mode: write in place.
    static constexpr uint32_t kWriteInPlace = 1;

    OPlatformByteStream(const File& inFile, uint32_t inFlags);
    ~OPlatformByteStream();
    OPlatformByteStream(const OPlatformByteStream&) = delete;
    OPlatformByteStream& operator=(const OPlatformByteStream&) = delete;

    // Moves to an absolute position, which must lie inside the file.
    void CurPos(int64_t inPosition);
    // Writes inCount bytes at the position and moves past them; they must end inside the file.
    void WriteBlock(const void* inBytes, uint32_t inCount);

private:
    [[nodiscard]] int64_t FileLength() const;
    // The system's own seek and write, after the checks that both platforms share. WriteSome
    // gives the bytes it wrote, at least one.
    void SeekTo(int64_t inPosition);
    [[nodiscard]] uint32_t WriteSome(const uint8_t* inBytes, uint32_t inCount);

#if defined(_WIN32)
    void* mHandle = nullptr;
#else
    int mDescriptor = -1;
#endif
    int64_t mPosition = 0;
};

// The steps of a stream at which a failure can be forced.
enum class StreamStep
{
    Open,
    Seek,
    Write,
};

// Asked before each step; true makes the step fail as the system would. Lets a host's tests reach
// the failures that a file system seldom gives on demand (a running process as root writes any
// file). Gives the injector it replaces.
using FailureInjector = std::function<bool(StreamStep)>;
FailureInjector SetFailureInjector(FailureInjector inInjector);

} // namespace tenacore::filesupport
