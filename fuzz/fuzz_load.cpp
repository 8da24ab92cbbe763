// Loading and the index: every load, the movie's header and every track's headers and edits.
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
    return qtfuzz::RunLoadInput(inData, inSize);
}
