#include "TestFiles.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <random>
#include <stdexcept>

#include "tenacore/string.h"

namespace qttest
{

std::filesystem::path MakeTempFolder()
{
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    for (;;)
    {
        auto folder = std::filesystem::temp_directory_path() /
                      ("qtsifter-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
        if (std::filesystem::create_directory(folder))
            return folder;
    }
}

std::u16string Wide(const std::filesystem::path& inPath)
{
#if defined(_WIN32)
    // The native form is UTF-16 already; the narrow one would pass through the ANSI code page.
    return inPath.u16string();
#else
    return tenacore::string::UTF8to16(inPath.string());
#endif
}

TempFile::TempFile(const Bytes& inBytes, const std::string& inName) : mFolder(MakeTempFolder())
{
    // The name is UTF-8 on every platform; a narrow path is in the ANSI code page on Windows.
    mPath = mFolder / std::filesystem::path(std::u8string(inName.begin(), inName.end()));
    std::ofstream out(mPath, std::ios::binary);
    out.write(reinterpret_cast<const char*>(inBytes.data()), std::streamsize(inBytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + mPath.string());
}

TempFile::~TempFile()
{
    std::error_code ignored;
    std::filesystem::remove_all(mFolder, ignored);
}

std::u16string TempFile::WidePath() const
{
    return Wide(mPath);
}

namespace
{

MemoryProvider* gCurrent = nullptr;

} // namespace

MemoryProvider::MemoryProvider(Bytes inBytes) : mBytes(std::move(inBytes))
{
    gCurrent = this;
    mTable.IsReady = &IsReady;
    mTable.GetHandle = &GetHandle;
    mTable.ReadAt = &ReadAt;
    mTable.GetSize = &GetSize;
}

MemoryProvider::~MemoryProvider()
{
    gCurrent = nullptr;
}

uint32_t MemoryProvider::IsReady()
{
    ++gCurrent->isReadyCalls;
    return gCurrent->readyAnswer;
}

uint32_t MemoryProvider::GetHandle(void** outHandle)
{
    ++gCurrent->getHandleCalls;
    *outHandle = gCurrent;
    return gCurrent->handleStatus;
}

uint32_t MemoryProvider::ReadAt(void* inHandle, uint64_t inOffset, uint32_t inCount, uint8_t** outBytes,
                                uint64_t* outDelivered)
{
    auto* self = static_cast<MemoryProvider*>(inHandle);
    const int call = self->readAtCalls++;
    self->readOffsets.push_back(inOffset);
    if (self->readStatus != 0 && call >= self->readStatusFromCall)
        return self->readStatus;
    const uint64_t available = inOffset < self->mBytes.size() ? self->mBytes.size() - inOffset : 0;
    uint64_t count = std::min<uint64_t>(inCount, available);
    if (inCount >= self->shortFromCount)
        count = count > self->shortBy ? count - self->shortBy : 0;
    // Exactly the delivered bytes, so that a read past them is caught by the sanitizers.
    self->mDelivered.assign(
        self->mBytes.begin() + std::ptrdiff_t(std::min<uint64_t>(inOffset, self->mBytes.size())),
        self->mBytes.begin() + std::ptrdiff_t(std::min<uint64_t>(inOffset, self->mBytes.size()) + count));
    self->mDelivered.shrink_to_fit();
    *outBytes = self->mDelivered.empty() ? nullptr : self->mDelivered.data();
    *outDelivered = count;
    return 0;
}

uint32_t MemoryProvider::GetSize(void* inHandle, uint64_t* outSize)
{
    auto* self = static_cast<MemoryProvider*>(inHandle);
    *outSize = self->mBytes.size();
    return self->sizeStatus;
}

Opened OpenPath(const std::u16string& inPath)
{
    Opened opened;
    auto sifter = QT::MakeParser();
    opened.result = sifter->MakeMovie(inPath, opened.movie);
    return opened;
}

Opened OpenBytes(const Bytes& inBytes)
{
    TempFile file(inBytes);
    return OpenPath(file.WidePath());
}

Located LocatePath(const std::u16string& inPath, uint32_t inAtomType, QT::QTFileProvider* inProvider)
{
    Located located;
    auto sifter = QT::MakeParser();
    located.result = sifter->MakeMovieAndLocateAtom(inPath, located.movie, inAtomType, located.found,
                                                    located.offset, located.size, inProvider);
    return located;
}

Located LocateInBytes(const Bytes& inBytes, uint32_t inAtomType)
{
    TempFile file(inBytes);
    return LocatePath(file.WidePath(), inAtomType);
}

Located LocateThroughProvider(MemoryProvider& ioProvider, uint32_t inAtomType)
{
    // The path names nothing: a provider that is used must not need it.
    return LocatePath(u"/nonexistent/qtsifter-provider-only.mov", inAtomType, ioProvider.Table());
}

} // namespace qttest
