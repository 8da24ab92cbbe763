#include "MetadataFacts.h"

#include <algorithm>
#include <type_traits>
#include <vector>

#include <fmt/format.h>

#include "BigEndian.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

using Json = nlohmann::ordered_json;

// How many bytes of a binary value the readable form shows.
constexpr size_t kPreviewBytes = 16;

std::string Hex(const uint8_t* inBytes, size_t inCount)
{
    std::string text;
    for (size_t i = 0; i < inCount; ++i)
        fmt::format_to(std::back_inserter(text), "{:02x}", inBytes[i]);
    return text;
}

// The length of the UTF-8 sequence that starts at inAt, or 0 when it is not one.
size_t Utf8Length(std::string_view inBytes, size_t inAt)
{
    const auto lead = uint8_t(inBytes[inAt]);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    if (length == 0 || inAt + length > inBytes.size())
        return 0;
    for (size_t i = 1; i < length; ++i)
        if ((uint8_t(inBytes[inAt + i]) & 0xC0) != 0x80)
            return 0;
    return length;
}

// Binary values as hex, wide text as UTF-8, numbers as they are.
Json ValueJson(const QT::MetadataValue& inValue)
{
    return std::visit(
        [](const auto& inAlternative) -> Json
        {
            using T = std::decay_t<decltype(inAlternative)>;
            if constexpr (std::is_same_v<T, MK::BinaryData>)
                return Hex(inAlternative.GetData(), inAlternative.GetSize());
            else if constexpr (std::is_same_v<T, std::u16string>)
                return tenacore::string::UTF16to8(inAlternative);
            else
                return inAlternative;
        },
        inValue.value);
}

// The value as a reader wants it: text as text, numbers as numbers, binary as its length and first
// bytes.
Json ValueText(const QT::MetadataValue& inValue)
{
    return std::visit(
        [](const auto& inAlternative) -> Json
        {
            using T = std::decay_t<decltype(inAlternative)>;
            if constexpr (std::is_same_v<T, MK::BinaryData>)
            {
                const size_t shown = std::min(inAlternative.GetSize(), kPreviewBytes);
                return fmt::format("{} bytes: {}{}", inAlternative.GetSize(),
                                   Hex(inAlternative.GetData(), shown),
                                   shown < inAlternative.GetSize() ? "..." : "");
            }
            else if constexpr (std::is_same_v<T, std::u16string>)
                return TextDisplay(tenacore::string::UTF16to8(inAlternative));
            else if constexpr (std::is_same_v<T, std::string>)
                return TextDisplay(inAlternative);
            else
                return inAlternative;
        },
        inValue.value);
}

const char* TypeName(int32_t inTypeCode)
{
    switch (inTypeCode)
    {
    case QT::kMetadataBinary:
        return "binary";
    case QT::kMetadataUTF8:
        return "UTF-8 text";
    case QT::kMetadataWideText:
        return "UTF-16 text";
    case QT::kMetadataSignedInteger:
        return "signed integer";
    case QT::kMetadataUnsignedInteger:
        return "unsigned integer";
    case QT::kMetadataFloat32:
        return "32-bit float";
    case QT::kMetadataFloat64:
        return "64-bit float";
    default:
        return "other";
    }
}

// The names of the movie's keys atom (moov/meta/keys), in order; key index 1 is the first. Items
// that ffmpeg writes with use_metadata_tags are stored under such an index, which the library
// hands over as the key's raw bytes.
std::vector<std::string> KeyNamesIn(const uint8_t* inData, size_t inSize)
{
    std::vector<std::string> names;
    // QuickTime's meta atom has no version and flags; the ISO one has four bytes of them.
    for (size_t start : {size_t(0), size_t(4)})
    {
        for (size_t at = start; at + 8 <= inSize;)
        {
            const uint32_t atomSize = BE32(inData + at);
            if (atomSize < 8 || atomSize > inSize - at)
                break;
            if (BE32(inData + at + 4) == QT::FourCC("keys") && atomSize >= 16)
            {
                const size_t end = at + atomSize;
                const uint32_t count = BE32(inData + at + 12);
                for (size_t entry = at + 16; entry + 8 <= end && names.size() < count;)
                {
                    const uint32_t entrySize = BE32(inData + entry);
                    if (entrySize < 8 || entrySize > end - entry)
                        break;
                    names.emplace_back(reinterpret_cast<const char*>(inData + entry + 8), entrySize - 8);
                    entry += entrySize;
                }
                return names;
            }
            at += atomSize;
        }
    }
    return names;
}

// The names of the movie's keys atom (meta/keys, in moov or in its user data), in order; key index
// 1 is the first. Items that ffmpeg writes with use_metadata_tags are stored under such an index,
// which the library hands over as the key's raw bytes.
std::vector<std::string> KeyNames(QT::IQTMovie& inMovie)
{
    MK::BinaryData meta;
    // The child's data runs from its payload for the length of the whole atom.
    if (inMovie.GetMovieChildAtom(QT::FourCC("meta"), meta) == QT::kQTSuccess && meta.GetSize() > 8)
    {
        auto names = KeyNamesIn(meta.GetData(), meta.GetSize() - 8);
        if (!names.empty())
            return names;
    }
    if (inMovie.FindUserData(QT::FourCC("meta"), meta))
        return KeyNamesIn(meta.GetData(), meta.GetSize());
    return {};
}

// A key as text: a key index is replaced by its name from the keys atom.
std::string KeyText(const std::string& inKey, const std::vector<std::string>& inNames)
{
    if (!inKey.empty() && inKey.size() <= 4 && inKey[0] == '\0')
    {
        uint32_t index = 0;
        for (char byte : inKey)
            index = (index << 8) | uint8_t(byte);
        if (index >= 1 && index <= inNames.size())
            return TextDisplay(inNames[index - 1]);
    }
    return TextDisplay(inKey);
}

} // namespace

std::string TextDisplay(std::string_view inBytes)
{
    std::string text;
    for (size_t at = 0; at < inBytes.size();)
    {
        const size_t length = Utf8Length(inBytes, at);
        const auto byte = uint8_t(inBytes[at]);
        if (length == 0 || (length == 1 && (byte < 0x20 || byte == 0x7F)))
        {
            fmt::format_to(std::back_inserter(text), "\\x{:02X}", byte);
            ++at;
            continue;
        }
        text.append(inBytes.substr(at, length));
        at += length;
    }
    return text;
}

Json MetadataJson(QT::IQTMovie& inMovie)
{
    QT::MetadataMap items;
    inMovie.GetMetadataItems(items);
    const std::vector<std::string> names = KeyNames(inMovie);
    Json metadata = Json::array();
    for (const auto& [key, value] : items)
    {
        uint32_t offset = 0;
        const bool keyed = inMovie.GetMetadataValueOffset(key, offset);
        metadata.push_back({{"key", key},
                            {"keyText", KeyText(key, names)},
                            {"typeCode", value.typeCode},
                            {"typeCodeName", TypeName(value.typeCode)},
                            {"value", ValueJson(value)},
                            {"valueText", ValueText(value)},
                            {"offset", keyed ? Json(offset) : Json(nullptr)}});
    }
    return metadata;
}

} // namespace qtsifter
