// The movie fixer on a scratch copy of each input, then a check of what it may have done to the
// copy: the same length, and at most the four bytes "skip" written in one place.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "IQTMovieFixer.h"
#include "ScratchFile.h"
#include "Targets.h"
#include "tenacore/string.h"

namespace qtfuzz
{

namespace
{

const ScratchFile& FixerScratch()
{
    static const ScratchFile file("qtsifter-fuzz-fixer");
    return file;
}

std::vector<uint8_t> ReadScratch()
{
    std::ifstream in(FixerScratch().Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

[[noreturn]] void Fail(const char* inWhat)
{
    std::fprintf(stderr, "fuzz_fixer: %s\n", inWhat);
    std::abort();
}

// The copy after the fix against the input: same length; on success exactly the changed bytes of
// "skip" written over a type word that read "sdtp", otherwise no change at all.
void CheckCopy(const uint8_t* inData, size_t inSize, uint32_t inResult)
{
    const std::vector<uint8_t> after = ReadScratch();
    if (after.size() != inSize)
        Fail("the file's length changed");
    std::vector<size_t> changed;
    for (size_t i = 0; i < inSize; ++i)
        if (after[i] != inData[i])
            changed.push_back(i);
    if (inResult != QT::kQTSuccess)
    {
        if (!changed.empty())
            Fail("bytes changed although the fix was not done");
        return;
    }
    if (changed.empty() || changed.size() > 4 || changed.back() - changed.front() >= 4)
        Fail("the fix changed other than one type word");
    // "sdtp" and "skip" differ in their second and third letters only.
    const size_t typeWord = changed.front() - 1;
    if (typeWord + 4 > inSize || std::string(reinterpret_cast<const char*>(inData) + typeWord, 4) != "sdtp" ||
        std::string(reinterpret_cast<const char*>(after.data()) + typeWord, 4) != "skip")
        Fail("the fix wrote somewhere other than an sdtp's type");
}

} // namespace

int RunFixerInput(const uint8_t* inData, size_t inSize)
{
    if (!FixerScratch().Write(inData, inSize))
        return 0;
    const uint32_t result = QT::MakeFixer()->FixMovie(tenacore::string::UTF8to16(FixerScratch().Path()));
    if (result != QT::kQTSuccess && result != QT::kQTErrFailed)
        Fail("the fixer gave a result it has no cause for");
    CheckCopy(inData, inSize, result);
    return 0;
}

} // namespace qtfuzz
