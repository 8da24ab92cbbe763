#include "ExerciseTimecodeCaptions.h"

#include <vector>

#include "tenacore/config.h"

namespace qtfuzz
{

namespace
{

std::u16string& CaptionMediaPath()
{
    static std::u16string path;
    return path;
}

uint64_t ExerciseTimecode(QT::IQTTrack& inTrack)
{
    QT::TimecodeMediaInfo info;
    std::u16string name;
    uint64_t value = uint64_t(inTrack.GetTimecodeMediaInfo(info, name)) + name.size() + info.mTimeScale +
                     info.mFrameDuration + info.mFrameCount + info.mDropFrame + info.mIsHandleReference;
    int64_t sample = 0;
    value += uint64_t(inTrack.GetTimecodeMediaHandleSample(sample)) + uint64_t(sample);
    // On another kind of track the location raises the contract error, as a host that asks by
    // mistake meets it.
    try
    {
        int64_t offset = 0;
        uint32_t size = 0;
        value += uint64_t(inTrack.GetTimecodeMediaSampleLocation(offset, size)) + uint64_t(offset) + size;
    }
    catch (const tenacore::config::Error&)
    {
        ++value;
    }
    // Every size the frame number tells apart, read with the description's own counting.
    static constexpr uint8_t kBytes[] = {0x00, 0x01, 0x5F, 0x90, 0xFF, 0xFF, 0xFF, 0xFE, 0x80};
    for (size_t size : {0u, 2u, 4u, 6u, 8u, 9u})
    {
        int64_t frame = 0;
        value += uint64_t(inTrack.GetTimecodeMediaFrameNumber(MK::BinaryData(kBytes, size), info, frame)) +
                 uint64_t(frame);
    }
    return value;
}

uint64_t ExerciseCaptions(QT::IQTTrack& inTrack)
{
    uint64_t value = inTrack.GetCaptionMediaFrameDuration();
    for (int32_t index = -1; index <= 2; ++index)
        value += inTrack.GetCaptionMediaDataFormat(index);
    // The fixed scratch copy of the input, and a path that cannot be opened.
    for (const std::u16string& path : {CaptionMediaPath(), std::u16string()})
        for (bool keyByFileOffset : {false, true})
        {
            QT::CaptionSampleMap map;
            value += inTrack.MakeCaptionSampleMap(path, map, keyByFileOffset) + map.size();
            if (!map.empty())
                value += map.begin()->second.mFileOffset + map.rbegin()->second.mTime;
        }
    return value;
}

} // namespace

void SetCaptionMediaPath(const std::u16string& inPath)
{
    CaptionMediaPath() = inPath;
}

uint64_t ExerciseTimecodeCaptions(QT::IQTTrack& inTrack)
{
    return ExerciseTimecode(inTrack) + ExerciseCaptions(inTrack);
}

} // namespace qtfuzz
