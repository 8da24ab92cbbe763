// The sound descriptions and audio operations of every track.
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
    return qtfuzz::RunAudioInput(inData, inSize);
}
