// Every operation at once, on every movie each load gives.
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
    return qtfuzz::RunMovieInput(inData, inSize);
}
