#pragma once

#include <cstdint>

#include "QTBigEndian.h"
#include "QTByteRange.h"

namespace QT
{

// The layout that stts, stsc, stss, stps, ctts, stco and co64 share after their size word, fourcc,
// version and flags: an entry count, then the entries. stsz keeps its own.
inline constexpr uint64_t kTableCountFromAtom = 12;
inline constexpr uint64_t kTableEntriesFromAtom = 16;

// A sample-table atom read where it lies. Reads stop at its end: the lesser of its size word and
// the end of the movie buffer, so that no count can take a reader outside either.
class TableAtom
{
public:
    TableAtom() = default;
    TableAtom(const uint8_t* inAtom, const ByteRange& inBuffer);

    explicit operator bool() const noexcept { return mAtom != nullptr; }
    const uint8_t* Atom() const noexcept { return mAtom; }
    uint32_t SizeWord() const noexcept { return mSizeWord; }

    [[nodiscard]] bool Has(uint64_t inOffset, uint64_t inWidth) const noexcept
    {
        return inOffset <= mReadable && inWidth <= mReadable - inOffset;
    }
    uint32_t U32(uint64_t inOffset) const noexcept
    {
        return Has(inOffset, 4) ? BE::U32(mAtom + inOffset) : 0;
    }
    uint64_t U64(uint64_t inOffset) const noexcept
    {
        return Has(inOffset, 8) ? BE::U64(mAtom + inOffset) : 0;
    }

    // The entry count, as the file states it; 0 for an absent or cut atom.
    uint32_t StatedCount() const noexcept { return U32(kTableCountFromAtom); }
    // The stated count, but no more entries of inEntrySize than lie inside the atom.
    uint32_t TrustedCount(uint32_t inEntrySize) const noexcept;

private:
    const uint8_t* mAtom = nullptr;
    uint32_t mSizeWord = 0;
    uint64_t mReadable = 0;
};

} // namespace QT
