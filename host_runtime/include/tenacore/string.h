#pragma once

#include <sstream>
#include <string>
#include <string_view>

#include "tenacore/Export.h"

namespace tenacore
{

// A narrow stream whose text is UTF-8.
using oUTF8StringStream = std::ostringstream;

namespace string
{

// Ill-formed input becomes U+FFFD; nothing throws.
TENACORE_API std::u16string UTF8to16(std::string_view inText);
TENACORE_API std::string UTF16to8(std::u16string_view inText);

} // namespace string
} // namespace tenacore
