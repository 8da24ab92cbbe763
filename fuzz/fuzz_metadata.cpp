// Metadata items, user data, uuid atoms and the movie's child atoms.
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
    return qtfuzz::RunMetadataInput(inData, inSize);
}
