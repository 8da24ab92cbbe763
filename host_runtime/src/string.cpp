#include "tenacore/string.h"

#include <cstdint>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace tenacore::string
{

namespace
{

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point at inText[ioPos], advancing ioPos; ill-formed sequences give U+FFFD.
char32_t DecodeUTF8(std::string_view inText, size_t& ioPos)
{
    const auto lead = static_cast<uint8_t>(inText[ioPos++]);
    if (lead < 0x80)
        return lead;
    int extra;
    char32_t code;
    char32_t minimum;
    if ((lead & 0xE0) == 0xC0)
        extra = 1, code = lead & 0x1F, minimum = 0x80;
    else if ((lead & 0xF0) == 0xE0)
        extra = 2, code = lead & 0x0F, minimum = 0x800;
    else if ((lead & 0xF8) == 0xF0)
        extra = 3, code = lead & 0x07, minimum = 0x10000;
    else
        return kReplacement;
    for (int i = 0; i < extra; ++i)
    {
        if (ioPos >= inText.size() || (static_cast<uint8_t>(inText[ioPos]) & 0xC0) != 0x80)
            return kReplacement;
        code = (code << 6) | (static_cast<uint8_t>(inText[ioPos++]) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return kReplacement;
    return code;
}

void AppendUTF8(std::string& ioText, char32_t inCode)
{
    if (inCode < 0x80)
        ioText += static_cast<char>(inCode);
    else if (inCode < 0x800)
    {
        ioText += static_cast<char>(0xC0 | (inCode >> 6));
        ioText += static_cast<char>(0x80 | (inCode & 0x3F));
    }
    else if (inCode < 0x10000)
    {
        ioText += static_cast<char>(0xE0 | (inCode >> 12));
        ioText += static_cast<char>(0x80 | ((inCode >> 6) & 0x3F));
        ioText += static_cast<char>(0x80 | (inCode & 0x3F));
    }
    else
    {
        ioText += static_cast<char>(0xF0 | (inCode >> 18));
        ioText += static_cast<char>(0x80 | ((inCode >> 12) & 0x3F));
        ioText += static_cast<char>(0x80 | ((inCode >> 6) & 0x3F));
        ioText += static_cast<char>(0x80 | (inCode & 0x3F));
    }
}

} // namespace

std::u16string UTF8to16(std::string_view inText)
{
    std::u16string result;
    result.reserve(inText.size());
    size_t pos = 0;
    while (pos < inText.size())
    {
        const char32_t code = DecodeUTF8(inText, pos);
        if (code < 0x10000)
            result += static_cast<char16_t>(code);
        else
        {
            result += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            result += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
        }
    }
    return result;
}

std::string UTF16to8(std::u16string_view inText)
{
    std::string result;
    result.reserve(inText.size());
    for (size_t i = 0; i < inText.size(); ++i)
    {
        char32_t code = inText[i];
        if (code >= 0xD800 && code <= 0xDBFF && i + 1 < inText.size() && inText[i + 1] >= 0xDC00 &&
            inText[i + 1] <= 0xDFFF)
            code = 0x10000 + ((code - 0xD800) << 10) + (inText[++i] - 0xDC00);
        else if (code >= 0xD800 && code <= 0xDFFF)
            code = kReplacement;
        AppendUTF8(result, code);
    }
    return result;
}

std::string Std8ToUTF8String(std::string_view inText)
{
#if defined(_WIN32)
    if (inText.empty())
        return {};
    const int units = MultiByteToWideChar(CP_ACP, 0, inText.data(), int(inText.size()), nullptr, 0);
    std::u16string wide(size_t(units), u'\0');
    MultiByteToWideChar(CP_ACP, 0, inText.data(), int(inText.size()), reinterpret_cast<wchar_t*>(wide.data()),
                        units);
    return UTF16to8(wide);
#else
    return std::string(inText);
#endif
}

std::u16string Std8ToUTF16String(std::string_view inText)
{
    return UTF8to16(Std8ToUTF8String(inText));
}

std::string SanitizeUTF8CharacterString(std::string_view inText, bool& outNeededRepair)
{
    outNeededRepair = false;
    std::string result;
    result.reserve(inText.size());
    size_t pos = 0;
    while (pos < inText.size())
    {
        const size_t start = pos;
        const char32_t code = DecodeUTF8(inText, pos);
        const bool replaced = code == kReplacement && inText.substr(start, pos - start) != "\xEF\xBF\xBD";
        outNeededRepair = outNeededRepair || replaced;
        AppendUTF8(result, code);
    }
    return result;
}

std::u16string AsciiToUTF16(const char* inText, size_t inLength)
{
    std::u16string result(inLength, u'\0');
    for (size_t i = 0; i < inLength; ++i)
        result[i] = char16_t(static_cast<uint8_t>(inText[i]));
    return result;
}

} // namespace tenacore::string
