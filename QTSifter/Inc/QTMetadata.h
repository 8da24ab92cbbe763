#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "MK/BinaryData.h"

namespace QT
{

// Data type codes of metadata values.
inline constexpr int32_t kMetadataBinary = 0;
inline constexpr int32_t kMetadataUTF8 = 1;
inline constexpr int32_t kMetadataWideText = 2;
inline constexpr int32_t kMetadataSignedInteger = 0x15;
inline constexpr int32_t kMetadataUnsignedInteger = 0x16;
inline constexpr int32_t kMetadataFloat32 = 0x17;
inline constexpr int32_t kMetadataFloat64 = 0x18;

// A metadata value: the file's data type code and the value in the form that code gives.
struct MetadataValue
{
    int32_t typeCode = 0;
    std::variant<MK::BinaryData, std::string, std::u16string, int32_t, uint32_t, float, double> value;
};

// Items by key, in key order. The first item seen for a key is the one kept.
using MetadataMap = std::map<std::string, MetadataValue>;

} // namespace QT
