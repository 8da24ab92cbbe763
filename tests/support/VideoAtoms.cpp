#include "VideoAtoms.h"

namespace qttest
{

Atom Pasp(uint32_t inHorizontal, uint32_t inVertical)
{
    return Atom("pasp").U32(inHorizontal).U32(inVertical);
}

Atom Clap()
{
    return Atom("clap").U32(1920).U32(1).U32(1080).U32(1).U32(0).U32(1).U32(0xFFFFFFFE).U32(2);
}

Atom Colr(const char (&inType)[5])
{
    return Atom("colr").Type(inType).U16(1).U16(1).U16(1);
}

Atom Fiel(uint8_t inCount, uint8_t inOrdering)
{
    return Atom("fiel").U8(inCount).U8(inOrdering);
}

Atom ImageDescriptionWith(const std::vector<Atom>& inExtensions, const ImageSpec& inSpec)
{
    Atom entry = ImageDescription(inSpec);
    for (const Atom& extension : inExtensions)
        entry.Child(extension);
    return entry;
}

Atom ApertureDimensions(const char (&inType)[5], int32_t inWidth, int32_t inHeight)
{
    return Atom(inType).FullHeader().I32(inWidth).I32(inHeight);
}

} // namespace qttest
