// Feeds each input to the parser twice: through a host read table over memory, and through a real
// file. Whatever movie comes out is then asked everything it answers. Last, the input is walked as a
// movie atom under the other walk rules.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

#include "ExerciseMovie.h"
#include "ExerciseTimecodeCaptions.h"
#include "IQTSifter.h"
#include "QTCaptionLimits.h"
#include "QTFourCC.h"
#include "ScratchFile.h"
#include "WalkUnderOtherRules.h"
#include "tenacore/debug.h"
#include "tenacore/string.h"

namespace
{

// The input of the current run, and the one block delivered last. Each delivery is a fresh
// allocation of exactly the bytes delivered, and the previous one is freed, so that a read past
// a delivery or a use of a stale one is caught.
const uint8_t* gInput = nullptr;
size_t gInputSize = 0;
std::vector<uint8_t> gDelivered;

uint32_t IsReady()
{
    return 0;
}

uint32_t GetHandle(void** outHandle)
{
    *outHandle = &gDelivered;
    return 0;
}

uint32_t ReadAt(void*, uint64_t inOffset, uint32_t inCount, uint8_t** outBytes, uint64_t* outDelivered)
{
    const uint64_t available = inOffset < gInputSize ? gInputSize - inOffset : 0;
    const uint64_t count = inCount < available ? inCount : available;
    std::vector<uint8_t> fresh(gInput + (count ? inOffset : 0), gInput + (count ? inOffset + count : 0));
    gDelivered.swap(fresh);
    *outBytes = gDelivered.empty() ? nullptr : gDelivered.data();
    *outDelivered = count;
    return 0;
}

uint32_t GetSize(void*, uint64_t* outSize)
{
    *outSize = gInputSize;
    return 0;
}

QT::QTFileProvider MakeProvider()
{
    QT::QTFileProvider provider{};
    provider.IsReady = &IsReady;
    provider.GetHandle = &GetHandle;
    provider.ReadAt = &ReadAt;
    provider.GetSize = &GetSize;
    return provider;
}

const qtfuzz::ScratchFile& Scratch()
{
    static const qtfuzz::ScratchFile file("qtsifter-fuzz");
    return file;
}

const std::string& ScratchPath()
{
    return Scratch().Path();
}

bool WriteScratch(const uint8_t* inData, size_t inSize)
{
    return Scratch().Write(inData, inSize);
}

// The atom to locate after the load, picked by the input's length so that each is tried.
uint32_t AtomToLocate(size_t inSize)
{
    static constexpr uint32_t kTypes[] = {QT::FourCC("mdat"), QT::FourCC("free"), QT::FourCC("wide"),
                                          QT::FourCC("ftyp"), QT::FourCC("moov"), QT::FourCC("uuid"),
                                          QT::FourCC("skip"), QT::FourCC("pnot")};
    return kTypes[inSize % (sizeof kTypes / sizeof kTypes[0])];
}

} // namespace

// The video operations report a contract violation on other tracks and then answer; a host may
// ask them there by mistake, so they are asked, but the reports need not be printed.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    tenacore::debug::SetAssertHandler([](const char*, int, const char*, const char*, const std::string&)
                                      { return false; });
    // A caption map of a few bytes of table may claim billions of entries; far fewer show the same.
    QT::SetCaptionMapLimits({.maxConstantSizeSamples = 1u << 12, .maxEntries = 1u << 12});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* inData, size_t inSize)
{
    gInput = inData;
    gInputSize = inSize;
    // The input is the media file that caption maps peek into, through one fixed path; written
    // once, before either movie is asked.
    const bool scratchWritten = WriteScratch(inData, inSize);
    qtfuzz::SetCaptionMediaPath(scratchWritten ? tenacore::string::UTF8to16(ScratchPath())
                                               : std::u16string());
    {
        QT::QTFileProvider provider = MakeProvider();
        tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
        bool found = false;
        uint64_t atomOffset = 0;
        uint64_t atomSize = 0;
        const uint32_t result = QT::MakeParser()->MakeMovieAndLocateAtom(
            u"", movie, AtomToLocate(inSize), found, atomOffset, atomSize, &provider);
        // The last delivery need stay valid only until the operation returns.
        gDelivered = {};
        if (result == 0 && movie)
            qtfuzz::ExerciseMovie(*movie);
    }

    if (scratchWritten)
    {
        tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
        const uint32_t result = QT::MakeParser()->MakeMovie(tenacore::string::UTF8to16(ScratchPath()), movie);
        if (result == 0 && movie)
            qtfuzz::ExerciseMovie(*movie);
    }
    qtfuzz::WalkUnderOtherRules(inData, inSize);
    return 0;
}
