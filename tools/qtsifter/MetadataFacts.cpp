#include "MetadataFacts.h"

#include <cstdio>
#include <string>
#include <type_traits>

#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

using Json = nlohmann::ordered_json;

std::string Hex(const MK::BinaryData& inData)
{
    std::string text;
    char pair[3];
    for (size_t i = 0; i < inData.GetSize(); ++i)
    {
        std::snprintf(pair, sizeof pair, "%02x", unsigned(inData.GetData()[i]));
        text += pair;
    }
    return text;
}

// Binary values as hex, wide text as UTF-8, numbers as they are.
Json ValueJson(const QT::MetadataValue& inValue)
{
    return std::visit(
        [](const auto& inAlternative) -> Json
        {
            using T = std::decay_t<decltype(inAlternative)>;
            if constexpr (std::is_same_v<T, MK::BinaryData>)
                return Hex(inAlternative);
            else if constexpr (std::is_same_v<T, std::u16string>)
                return tenacore::string::UTF16to8(inAlternative);
            else
                return inAlternative;
        },
        inValue.value);
}

} // namespace

Json MetadataJson(QT::IQTMovie& inMovie)
{
    QT::MetadataMap items;
    inMovie.GetMetadataItems(items);
    Json metadata = Json::array();
    for (const auto& [key, value] : items)
    {
        uint32_t offset = 0;
        const bool keyed = inMovie.GetMetadataValueOffset(key, offset);
        metadata.push_back({{"key", key},
                            {"typeCode", value.typeCode},
                            {"value", ValueJson(value)},
                            {"offset", keyed ? Json(offset) : Json(nullptr)}});
    }
    return metadata;
}

} // namespace qtsifter
