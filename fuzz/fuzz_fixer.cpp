// The movie fixer on a scratch copy of each input, with a check of what it wrote.
#include <cstddef>
#include <cstdint>

#include "Targets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qtfuzz::InitializeTargets();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* inData, size_t inSize)
{
    return qtfuzz::RunFixerInput(inData, inSize);
}
