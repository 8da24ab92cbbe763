#include "QTTableAtom.h"

#include <algorithm>

namespace QT
{

TableAtom::TableAtom(const uint8_t* inAtom, const ByteRange& inBuffer) : mAtom(inAtom)
{
    if (!mAtom)
        return;
    const size_t available = inBuffer.Available(mAtom);
    mSizeWord = available >= 4 ? BE::U32(mAtom) : 0;
    mReadable = std::min<uint64_t>(mSizeWord, available);
}

uint32_t TableAtom::TrustedCount(uint32_t inEntrySize) const noexcept
{
    const uint64_t fitting =
        mReadable > kTableEntriesFromAtom ? (mReadable - kTableEntriesFromAtom) / inEntrySize : 0;
    return uint32_t(std::min<uint64_t>(StatedCount(), fitting));
}

} // namespace QT
