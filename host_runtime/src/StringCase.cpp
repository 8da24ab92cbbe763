#include "tenacore/StringCase.h"

namespace tenacore::string
{

namespace
{

char16_t LowerOf(char16_t inUnit)
{
    if ((inUnit >= u'A' && inUnit <= u'Z') || (inUnit >= 0xC0 && inUnit <= 0xDE && inUnit != 0xD7))
        return char16_t(inUnit + 0x20);
    // Latin Extended-A pairs capitals and small letters, capital first, save at its two seams.
    if (inUnit >= 0x100 && inUnit <= 0x137 && inUnit % 2 == 0)
        return char16_t(inUnit + 1);
    if (inUnit >= 0x139 && inUnit <= 0x148 && inUnit % 2 == 1)
        return char16_t(inUnit + 1);
    if (inUnit >= 0x14A && inUnit <= 0x177 && inUnit % 2 == 0)
        return char16_t(inUnit + 1);
    if (inUnit == 0x178)
        return 0xFF;
    if (inUnit >= 0x179 && inUnit <= 0x17E && inUnit % 2 == 1)
        return char16_t(inUnit + 1);
    if (inUnit >= 0x391 && inUnit <= 0x3A9 && inUnit != 0x3A2)
        return char16_t(inUnit + 0x20);
    if (inUnit >= 0x410 && inUnit <= 0x42F)
        return char16_t(inUnit + 0x20);
    if (inUnit >= 0x400 && inUnit <= 0x40F)
        return char16_t(inUnit + 0x50);
    return inUnit;
}

} // namespace

void ToLowerCase(std::u16string& ioText)
{
    for (char16_t& unit : ioText)
        unit = LowerOf(unit);
}

} // namespace tenacore::string
