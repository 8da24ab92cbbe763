#pragma once

#include <cstdint>

#include "QTTableAtom.h"

namespace QT
{

// stsz: a constant size, or 0 and then one size a sample. Its count stands after the constant
// size, so its entries start later than those of the other tables.
inline constexpr uint64_t kStszConstantSizeFromAtom = 12;
inline constexpr uint64_t kStszCountFromAtom = 16;
inline constexpr uint64_t kStszEntriesFromAtom = 20;
inline constexpr uint32_t kStszEntrySize = 4;

// Sample sizes from stsz: a constant size, or one entry per sample.
class SampleSizeTable
{
public:
    explicit SampleSizeTable(const TableAtom& inStsz)
        : mStsz(inStsz), mConstantSize(inStsz.U32(kStszConstantSizeFromAtom))
    {
    }

    uint32_t ConstantSize() const noexcept { return mConstantSize; }
    // The sample count as the file states it; nothing tests it against the atom's size.
    uint32_t StatedCount() const noexcept { return mStsz.U32(kStszCountFromAtom); }
    // Whether the table gives a size to each of inCount samples: its stated count reaches them and,
    // without a constant size, their entries lie inside the atom.
    [[nodiscard]] bool CoversSamples(uint32_t inCount) const noexcept
    {
        return StatedCount() >= inCount && (mConstantSize != 0 || (inCount != 0 && HasEntry(inCount - 1)));
    }
    // Entries that lie inside the atom.
    [[nodiscard]] bool HasEntry(uint32_t inSample) const noexcept
    {
        return mStsz.Has(EntryFromAtom(inSample), kStszEntrySize);
    }
    // 0 for an entry outside the atom.
    uint32_t EntrySize(uint32_t inSample) const noexcept { return mStsz.U32(EntryFromAtom(inSample)); }
    // The same, unchecked, for a sample at or before one that HasEntry has vouched for.
    uint32_t VouchedEntrySize(uint32_t inSample) const noexcept
    {
        return BE::U32(mStsz.Atom() + EntryFromAtom(inSample));
    }
    // Where that entry lies, for a pass that reads the entries after it in turn.
    const uint8_t* VouchedEntry(uint32_t inSample) const noexcept
    {
        return mStsz.Atom() + EntryFromAtom(inSample);
    }

private:
    static uint64_t EntryFromAtom(uint32_t inSample) noexcept
    {
        return kStszEntriesFromAtom + kStszEntrySize * uint64_t(inSample);
    }

    TableAtom mStsz;
    uint32_t mConstantSize;
};

} // namespace QT
