#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "IQTSifter.h"
#include "QTFileProvider.h"

namespace qttest
{

using Bytes = std::vector<uint8_t>;

// A file in a fresh temporary folder, removed with the object. The name is UTF-8.
class TempFile
{
public:
    explicit TempFile(const Bytes& inBytes, const std::string& inName = "movie.mov");
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::filesystem::path& Path() const { return mPath; }
    std::u16string WidePath() const;

private:
    std::filesystem::path mFolder;
    std::filesystem::path mPath;
};

std::filesystem::path MakeTempFolder();
std::u16string Wide(const std::filesystem::path& inPath);

// A provider table over bytes in memory. Each delivery is a fresh writable copy. Only one may
// exist at a time, since the table's functions carry no context.
class MemoryProvider
{
public:
    explicit MemoryProvider(Bytes inBytes);
    ~MemoryProvider();

    QT::QTFileProvider* Table() { return &mTable; }

    uint32_t readyAnswer = 0;    // what IsReady says
    uint32_t handleStatus = 0;   // what GetHandle says
    uint32_t sizeStatus = 0;     // what GetSize says
    uint32_t readStatus = 0;     // what ReadAt says, from call readStatusFromCall on
    uint64_t shortBy = 0;        // deliver this many bytes fewer than asked
    uint32_t shortFromCount = 0; // ... but only to reads that ask for at least this many
    int readStatusFromCall = 0;  // readStatus holds from this ReadAt on, counted from 0
    int isReadyCalls = 0;
    int getHandleCalls = 0;
    int readAtCalls = 0;
    std::vector<uint64_t> readOffsets;

private:
    static uint32_t IsReady();
    static uint32_t GetHandle(void** outHandle);
    static uint32_t ReadAt(void* inHandle, uint64_t inOffset, uint32_t inCount, uint8_t** outBytes,
                           uint64_t* outDelivered);
    static uint32_t GetSize(void* inHandle, uint64_t* outSize);

    Bytes mBytes;
    Bytes mDelivered;
    QT::QTFileProvider mTable{};
};

// Opens bytes through a file with MakeMovie.
struct Opened
{
    uint32_t result = 0;
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
};
Opened OpenBytes(const Bytes& inBytes);
Opened OpenPath(const std::u16string& inPath);

// MakeMovieAndLocateAtom over a path, or through a provider when one is given.
struct Located
{
    uint32_t result = 0;
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t offset = 0;
    uint64_t size = 0;
};
Located LocatePath(const std::u16string& inPath, uint32_t inAtomType,
                   QT::QTFileProvider* inProvider = nullptr);
Located LocateInBytes(const Bytes& inBytes, uint32_t inAtomType);
Located LocateThroughProvider(MemoryProvider& ioProvider, uint32_t inAtomType);

} // namespace qttest
