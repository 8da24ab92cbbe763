#include "QTSyncSampleTable.h"

namespace QT
{

SyncSampleCursor::SyncSampleCursor(const TableAtom& inStss) : mStss(inStss)
{
    // The count is signed: one with its top bit set leaves the table empty.
    if (mStss && int32_t(mStss.StatedCount()) > 0)
    {
        mCount = mStss.TrustedCount(kStssEntrySize);
        mNextSync = SampleNumber(0) - 1;
    }
}

} // namespace QT
