#pragma once

#include <cstdint>

#include "QTBigEndian.h"

namespace QT
{

struct AtomHeader
{
    uint32_t size = 0;
    uint32_t type = 0;
};

// The valid-atom test of every walk over the loaded buffer: at least 9 bytes from inPos to
// inLimit, a size word that is not 0 and does not run past inLimit. A size below 8 passes.
inline bool ReadValidAtom(const uint8_t* inData, uint32_t inPos, uint32_t inLimit, AtomHeader& outAtom)
{
    if (inPos > inLimit || inLimit - inPos < 9)
        return false;
    outAtom.size = BE::U32(inData + inPos);
    outAtom.type = BE::U32(inData + inPos + 4);
    return outAtom.size != 0 && outAtom.size <= inLimit - inPos;
}

} // namespace QT
