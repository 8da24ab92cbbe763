#include <string>
#include <vector>

#include <fmt/format.h>

#include "MediaKinds.h"
#include "MovieFacts.h"

namespace qtsifter
{

namespace
{

// The twelve uncompressed codes the library normalises to, in words; other codes are compressed
// formats and are shown by their fourcc.
struct PcmName
{
    const char* code;
    const char* words;
};

constexpr PcmName kPcmNames[] = {
    {"raw ", "PCM 8-bit unsigned"},  {"twos", "PCM 8-bit signed"},    {"16be", "PCM 16-bit BE"},
    {"16le", "PCM 16-bit LE"},       {"in24", "PCM 24-bit BE"},       {"42ni", "PCM 24-bit LE"},
    {"in32", "PCM 32-bit BE"},       {"23ni", "PCM 32-bit LE"},       {"fl32", "PCM 32-bit float BE"},
    {"23lf", "PCM 32-bit float LE"}, {"fl64", "PCM 64-bit float BE"}, {"46lf", "PCM 64-bit float LE"},
};

std::string FormatWords(const std::string& inCode)
{
    for (const PcmName& name : kPcmNames)
        if (inCode == name.code)
            return name.words;
    if (inCode == "unkn")
        return "unknown format";
    return inCode;
}

} // namespace

void AddSoundDescriptionFacts(QT::IQTTrack& inTrack, int32_t inIndex, const uint8_t*, Json& ioDescription)
{
    // Every fact from the library, which knows the three description versions and their
    // extension atoms; "format" is its normalised code, "rawFormat" the entry's own.
    const auto index = uint32_t(inIndex);
    ioDescription["format"] = FourCCDisplay(inTrack.GetAudioMediaDataFormat(index));
    ioDescription["rawFormat"] = FourCCDisplay(inTrack.GetAudioMediaRawDataFormat(index));
    ioDescription["sampleRate"] = inTrack.GetAudioMediaSampleRate(index);
    ioDescription["channels"] = inTrack.GetAudioMediaNumChannels(index);
    ioDescription["bitsPerSample"] = inTrack.GetAudioMediaBitsPerSample(index);
    ioDescription["packedBitsPerSample"] = inTrack.GetAudioMediaPackedBitsPerSample(index);
    ioDescription["uncompressed"] = inTrack.IsAudioMediaUncompressed(index);
    std::vector<int32_t> map;
    bool unsupported = false;
    if (inTrack.GetMultiChannelMap(index, map, unsupported))
        ioDescription["channelMap"] = {{"channels", map}, {"unsupported", unsupported}};
}

std::string SoundSummary(const Json& inTrack)
{
    const Json& descriptions = inTrack.at("descriptions");
    if (descriptions.empty())
        return "no sample description";
    const Json& first = descriptions[0];
    std::string text = FormatWords(first.at("format").get<std::string>());
    if (first.contains("sampleRate"))
        text += fmt::format(", {} Hz, {} ch", first.at("sampleRate").get<uint32_t>(),
                            first.at("channels").get<int32_t>());
    return text;
}

} // namespace qtsifter
