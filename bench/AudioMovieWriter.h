#pragma once

#include <cstdint>
#include <string>

namespace bench
{

// What the day-long audio movie holds: 48 kHz stereo 16-bit PCM, little-endian ("sowt", a version 1
// description), in chunks of 1024 frames as ffmpeg chunks PCM, one chunk after another in the file.
struct AudioMovieLayout
{
    static constexpr uint32_t kSampleRate = 48000;
    static constexpr uint32_t kChannels = 2;
    static constexpr uint32_t kBytesPerFrame = 4;
    static constexpr uint32_t kFramesPerChunk = 1024;

    uint64_t chunkCount = 0;
    uint64_t FrameCount() const { return chunkCount * kFramesPerChunk; }
    uint64_t MediaBytes() const { return FrameCount() * kBytesPerFrame; }
};

// The layout for inSeconds of audio, cut down to whole chunks.
AudioMovieLayout AudioLayoutForSeconds(long inSeconds);

// Writes the movie (moov first, then an mdat whose samples are a sparse hole of the right length, so
// that 16 GB of silence take no disk) to inPath; false with errno set when a write fails.
bool WriteAudioMovie(const std::string& inPath, const AudioMovieLayout& inLayout);

} // namespace bench
