#include "MetadataAtoms.h"

namespace qttest
{

Bytes TextBytes(const std::string& inText)
{
    return Bytes(inText.begin(), inText.end());
}

Atom MetadataItem(uint32_t inTypeOrKeyIndex, int32_t inCode, const Bytes& inPayload)
{
    return Atom(inTypeOrKeyIndex).Child(Atom("data").I32(inCode).U32(0).Raw(inPayload));
}

Atom Keys(const std::vector<std::string>& inKeys)
{
    Atom keys("keys");
    keys.FullHeader().U32(uint32_t(inKeys.size()));
    for (const std::string& key : inKeys)
        keys.U32(uint32_t(8 + key.size())).Type("mdta").Text(key);
    return keys;
}

Atom Ilst(const std::vector<Atom>& inItems)
{
    Atom ilst("ilst");
    for (const Atom& item : inItems)
        ilst.Child(item);
    return ilst;
}

Atom KeyedMeta(const Atom& inKeys, const std::vector<Atom>& inItems)
{
    return Atom("meta").Children({Hdlr(Code("mdta")), inKeys, Ilst(inItems)});
}

Atom TaggedUdta(const std::vector<Atom>& inItems)
{
    return Atom("udta").Child(Atom("meta").FullHeader().Child(Hdlr(Code("mdir"))).Child(Ilst(inItems)));
}

} // namespace qttest
