#include "TimecodeFacts.h"

#include <fstream>
#include <vector>

#include <fmt/format.h>

#include "BigEndian.h"
#include "MovieFacts.h"
#include "QTFourCC.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

// The frames that drop-frame counting skips: two a minute at 30 frames a second, four at 60, but
// not in the minutes that are multiples of ten. Other rates drop none.
int64_t WithDroppedFrames(int64_t inFrameNumber, int64_t inFrameCount)
{
    const int64_t dropped = inFrameCount == 30 ? 2 : inFrameCount == 60 ? 4 : 0;
    if (dropped == 0)
        return inFrameNumber;
    const int64_t perTenMinutes = inFrameCount * 600 - dropped * 9;
    const int64_t tens = inFrameNumber / perTenMinutes;
    const int64_t rest = inFrameNumber % perTenMinutes;
    return inFrameNumber + 9 * dropped * tens + dropped * ((rest - dropped) / (perTenMinutes / 10));
}

// The sample's bytes from the file, or none when the file does not hold them all.
std::optional<MK::BinaryData> ReadSample(const std::string& inUTF8Path, int64_t inOffset, uint32_t inSize)
{
    std::ifstream file(inUTF8Path, std::ios::binary);
    if (!file || inOffset < 0)
        return std::nullopt;
    std::vector<char> bytes(inSize);
    file.seekg(inOffset);
    if (!file.read(bytes.data(), std::streamsize(bytes.size())))
        return std::nullopt;
    return MK::BinaryData(bytes.data(), bytes.size());
}

} // namespace

TimecodeReading ReadTimecode(QT::IQTTrack& inTrack, const std::string& inUTF8Path)
{
    TimecodeReading reading;
    std::u16string name;
    (void)inTrack.GetTimecodeMediaInfo(reading.info, name);
    reading.sourceName = tenacore::string::UTF16to8(name);
    std::optional<MK::BinaryData> sample;
    if (reading.info.mIsHandleReference)
    {
        int64_t value = 0;
        if (inTrack.GetTimecodeMediaHandleSample(value) != 0)
        {
            reading.problem = "the handle data reference does not hold a 4-byte sample";
            return reading;
        }
        const uint8_t bytes[4] = {uint8_t(value >> 24), uint8_t(value >> 16), uint8_t(value >> 8),
                                  uint8_t(value)};
        sample = MK::BinaryData(bytes, sizeof bytes);
    }
    else
    {
        int64_t offset = 0;
        uint32_t size = 0;
        if (inTrack.GetTimecodeMediaSampleLocation(offset, size) != 0)
        {
            reading.problem = "the track's sample tables do not locate its sample";
            return reading;
        }
        reading.fileOffset = offset;
        reading.size = size;
        sample = ReadSample(inUTF8Path, offset, size);
        if (!sample)
        {
            reading.problem =
                fmt::format("the file does not hold the {} bytes of the sample at {}", size, offset);
            return reading;
        }
    }
    int64_t frame = 0;
    reading.result = inTrack.GetTimecodeMediaFrameNumber(std::move(*sample), reading.info, frame);
    if (reading.result == 0)
        reading.frameNumber = frame;
    else
        reading.problem = "the sample's size does not fit the track's timecode width";
    return reading;
}

std::string TimecodeText(int64_t inFrameNumber, uint8_t inFrameCount, bool inDropFrame)
{
    if (inFrameCount == 0)
        return "";
    const bool negative = inFrameNumber < 0;
    int64_t frames = negative ? -inFrameNumber : inFrameNumber;
    if (inDropFrame)
        frames = WithDroppedFrames(frames, inFrameCount);
    const int64_t rate = inFrameCount;
    return fmt::format("{}{:02}:{:02}:{:02}{}{:02}", negative ? "-" : "", frames / (rate * 3600),
                       frames / (rate * 60) % 60, frames / rate % 60, inDropFrame ? ';' : ':', frames % rate);
}

Json TimecodeInfoJson(const TimecodeReading& inReading)
{
    const QT::TimecodeMediaInfo& info = inReading.info;
    return {{"dropFrame", info.mDropFrame},         {"timeScale", info.mTimeScale},
            {"frameDuration", info.mFrameDuration}, {"frameCount", info.mFrameCount},
            {"sourceName", inReading.sourceName},   {"handleReference", info.mIsHandleReference}};
}

void AddTimecodeFrameFacts(QT::IQTTrack& inTrack, const std::string& inUTF8Path, Json& ioTrack)
{
    const TimecodeReading reading = ReadTimecode(inTrack, inUTF8Path);
    Json timecode = TimecodeInfoJson(reading);
    timecode["firstFrameNumber"] = reading.frameNumber ? Json(*reading.frameNumber) : Json(nullptr);
    timecode["firstTimecode"] =
        reading.frameNumber
            ? Json(TimecodeText(*reading.frameNumber, reading.info.mFrameCount, reading.info.mDropFrame))
            : Json(nullptr);
    if (!reading.problem.empty())
        timecode["problem"] = reading.problem;
    ioTrack["timecode"] = std::move(timecode);
}

void AddTimecodeDescriptionFacts(QT::IQTTrack&, int32_t, const uint8_t* inEntry, Json& ioDescription)
{
    // The flags word at offset 20 of the entry: bit 0 drop frame, bit 1 24-hour maximum, bit 2
    // negative times allowed, bit 3 counter.
    if (BE32(inEntry) >= 24)
        ioDescription["flags"] = BE32(inEntry + 20);
}

std::string TimecodeSummary(const Json& inTrack)
{
    if (!inTrack.contains("timecode"))
        return FormatSummary(inTrack);
    const Json& timecode = inTrack.at("timecode");
    std::string text = FormatSummary(inTrack);
    if (!timecode.at("firstTimecode").is_null())
        text += " " + timecode.at("firstTimecode").get<std::string>();
    text += fmt::format(", {} fps{}", timecode.at("frameCount").get<uint32_t>(),
                        timecode.at("dropFrame").get<bool>() ? " drop frame" : "");
    return text;
}

} // namespace qtsifter
