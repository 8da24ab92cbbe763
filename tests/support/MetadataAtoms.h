#pragma once

// Builders of metadata atoms: the keyed form under moov and the name-tagged form inside udta.

#include <cstdint>
#include <string>
#include <vector>

#include "AtomBuilder.h"

namespace qttest
{

// The bytes of inText, unterminated.
Bytes TextBytes(const std::string& inText);
// An ilst item whose value is its first child, a "data" atom of inCode. inTypeOrKeyIndex is the
// item's type in the name-tagged form and its 1-based key index in the keyed form.
Atom MetadataItem(uint32_t inTypeOrKeyIndex, int32_t inCode, const Bytes& inPayload);
// keys with one "mdta" entry a key.
Atom Keys(const std::vector<std::string>& inKeys);
Atom Ilst(const std::vector<Atom>& inItems);
// The keyed meta under moov: hdlr, keys, ilst.
Atom KeyedMeta(const Atom& inKeys, const std::vector<Atom>& inItems);
// A udta whose meta holds one ilst of name-tagged items.
Atom TaggedUdta(const std::vector<Atom>& inItems);

} // namespace qttest
