#include "LoadInput.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ExerciseSupport.h"
#include "ExerciseTimecodeCaptions.h"
#include "IQTSifter.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "ScratchFile.h"
#include "WalkUnderOtherRules.h"
#include "tenacore/string.h"

namespace qtfuzz
{

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

const ScratchFile& LoadScratch()
{
    static const ScratchFile file("qtsifter-fuzz");
    return file;
}

// The atom to locate after the load, picked by the input's length so that each is tried.
uint32_t AtomToLocate(size_t inSize)
{
    static constexpr uint32_t kTypes[] = {QT::FourCC("mdat"), QT::FourCC("free"), QT::FourCC("wide"),
                                          QT::FourCC("ftyp"), QT::FourCC("moov"), QT::FourCC("uuid"),
                                          QT::FourCC("skip"), QT::FourCC("pnot")};
    return kTypes[inSize % (sizeof kTypes / sizeof kTypes[0])];
}

// What one load gave, for comparing two loads of the same bytes.
struct Loaded
{
    uint32_t result = 0;
    bool found = false;
    uint64_t atomOffset = 0;
    uint64_t atomSize = 0;
    uint32_t movieAtomSize = 0;
    uint64_t movieAtomOffset = 0;
    uint32_t trackCount = 0;

    bool operator==(const Loaded&) const = default;
};

Loaded Describe(uint32_t inResult, const tenacore::classref::InterfaceRef<QT::IQTMovie>& inMovie,
                bool inFound, uint64_t inAtomOffset, uint64_t inAtomSize)
{
    Loaded loaded{inResult, inFound, inAtomOffset, inAtomSize};
    // The name of every result is asked for, as a host prints it.
    Keep(QT::ResultCodeName(inResult).size());
    if (inResult == 0 && inMovie)
    {
        loaded.movieAtomSize = inMovie->GetMovieAtomSize();
        loaded.movieAtomOffset = inMovie->GetMovieAtomOffset();
        loaded.trackCount = inMovie->GetTrackCount();
    }
    return loaded;
}

Loaded LoadThroughMemory(const uint8_t* inData, size_t inSize, MovieQuestions inAsk)
{
    gInput = inData;
    gInputSize = inSize;
    QT::QTFileProvider provider = MakeProvider();
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t atomOffset = 0;
    uint64_t atomSize = 0;
    const uint32_t result = QT::MakeParser()->MakeMovieAndLocateAtom(u"", movie, AtomToLocate(inSize), found,
                                                                     atomOffset, atomSize, &provider);
    // The last delivery need stay valid only until the operation returns.
    gDelivered = {};
    const Loaded loaded = Describe(result, movie, found, atomOffset, atomSize);
    if (result == 0 && movie)
        inAsk(*movie);
    return loaded;
}

// Through the file by path: with the atom located when inLocate, so that it compares with the load
// through memory, or plainly.
Loaded LoadThroughFile(size_t inSize, bool inLocate, MovieQuestions inAsk)
{
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    bool found = false;
    uint64_t atomOffset = 0;
    uint64_t atomSize = 0;
    const std::u16string path = tenacore::string::UTF8to16(LoadScratch().Path());
    const uint32_t result =
        inLocate ? QT::MakeParser()->MakeMovieAndLocateAtom(path, movie, AtomToLocate(inSize), found,
                                                            atomOffset, atomSize, nullptr)
                 : QT::MakeParser()->MakeMovie(path, movie);
    const Loaded loaded = Describe(result, movie, found, atomOffset, atomSize);
    if (result == 0 && movie)
        inAsk(*movie);
    return loaded;
}

void Compare(const Loaded& inLocated, const Loaded& inPlain)
{
    if (inLocated == inPlain)
        return;
    std::fprintf(stderr,
                 "fuzz: the located and the plain load of the file differ: result %u/%u, movie atom %u/%u "
                 "bytes at %llu/%llu, %u/%u tracks\n",
                 inLocated.result, inPlain.result, inLocated.movieAtomSize, inPlain.movieAtomSize,
                 (unsigned long long)inLocated.movieAtomOffset, (unsigned long long)inPlain.movieAtomOffset,
                 inLocated.trackCount, inPlain.trackCount);
    std::abort();
}

void Load(const uint8_t* inData, size_t inSize, MovieQuestions inAsk, bool inCompare)
{
    // The input is the media file that caption maps peek into, through one fixed path; written
    // once, before either movie is asked.
    const bool scratchWritten = LoadScratch().Write(inData, inSize);
    SetCaptionMediaPath(scratchWritten ? tenacore::string::UTF8to16(LoadScratch().Path()) : std::u16string());

    LoadThroughMemory(inData, inSize, inAsk);
    if (scratchWritten && !inCompare)
        LoadThroughFile(inSize, false, inAsk);
    if (scratchWritten && inCompare)
    {
        // The two routes differ by design where an atom's size runs past its parent or the file,
        // so only the loads of the file route are held to each other: the plain load locates
        // nothing; the rest is the same.
        const Loaded located = LoadThroughFile(inSize, true, inAsk);
        Loaded plain = LoadThroughFile(inSize, false, inAsk);
        plain.found = located.found;
        plain.atomOffset = located.atomOffset;
        plain.atomSize = located.atomSize;
        Compare(located, plain);
    }
    WalkUnderOtherRules(inData, inSize, inAsk);
}

} // namespace

void LoadEachWay(const uint8_t* inData, size_t inSize, MovieQuestions inAsk)
{
    Load(inData, inSize, inAsk, false);
}

void LoadEachWayAndCompare(const uint8_t* inData, size_t inSize, MovieQuestions inAsk)
{
    Load(inData, inSize, inAsk, true);
}

} // namespace qtfuzz
