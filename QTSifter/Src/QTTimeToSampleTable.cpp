#include "QTTimeToSampleTable.h"

namespace QT
{

const uint8_t* FindTimeToSampleEntry(const TableAtom& inStts, uint32_t inIndex)
{
    if (!inStts || inIndex >= inStts.StatedCount())
        return nullptr;
    const uint64_t offset = kSttsEntriesFromAtom + kSttsEntrySize * uint64_t(inIndex);
    return inStts.Has(offset, kSttsEntrySize) ? inStts.Atom() + offset : nullptr;
}

bool TimeToSampleCursor::LoadEntry()
{
    const uint8_t* entry = FindTimeToSampleEntry(mStts, mEntryIndex);
    if (!entry)
        return false;
    mEntry = ReadTimeToSampleEntry(entry);
    mHaveEntry = true;
    return true;
}

} // namespace QT
