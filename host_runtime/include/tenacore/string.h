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
// Text in the system's 8-bit encoding as UTF-8: the ANSI code page on Windows; elsewhere the
// system encoding is UTF-8 and the bytes pass as they are.
TENACORE_API std::string Std8ToUTF8String(std::string_view inText);
// The same text as UTF-16.
TENACORE_API std::u16string Std8ToUTF16String(std::string_view inText);
// The text with every ill-formed sequence replaced by U+FFFD; outNeededRepair says whether any was.
TENACORE_API std::string SanitizeUTF8CharacterString(std::string_view inText, bool& outNeededRepair);
// Each of the inLength bytes becomes one 16-bit unit.
TENACORE_API std::u16string AsciiToUTF16(const char* inText, size_t inLength);

} // namespace string
} // namespace tenacore
