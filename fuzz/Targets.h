#pragma once

#include <cstddef>
#include <cstdint>

namespace qtfuzz
{

// What every target sets up once before its first input: contract reports go unprinted (the
// targets ask operations of the wrong media on purpose) and caption maps are bounded.
void InitializeTargets();

// The body of each fuzz target: loads one input and asks it the operations of one part of the
// library. Each returns 0, as libFuzzer wants; a failed check aborts.
int RunLoadInput(const uint8_t* inData, size_t inSize);
int RunVideoInput(const uint8_t* inData, size_t inSize);
int RunAudioInput(const uint8_t* inData, size_t inSize);
int RunTimecodeCaptionsInput(const uint8_t* inData, size_t inSize);
int RunMetadataInput(const uint8_t* inData, size_t inSize);
int RunReferencesInput(const uint8_t* inData, size_t inSize);
int RunFixerInput(const uint8_t* inData, size_t inSize);
// Everything at once.
int RunMovieInput(const uint8_t* inData, size_t inSize);

struct Target
{
    const char* name;
    int (*run)(const uint8_t* inData, size_t inSize);
};

// Every target by the name of its executable, which is also its folder under fuzz/regressions.
inline constexpr Target kTargets[] = {
    {"fuzz_load", &RunLoadInput},         {"fuzz_video", &RunVideoInput},
    {"fuzz_audio", &RunAudioInput},       {"fuzz_timecode_captions", &RunTimecodeCaptionsInput},
    {"fuzz_metadata", &RunMetadataInput}, {"fuzz_references", &RunReferencesInput},
    {"fuzz_fixer", &RunFixerInput},       {"fuzz_movie", &RunMovieInput},
};

} // namespace qtfuzz
