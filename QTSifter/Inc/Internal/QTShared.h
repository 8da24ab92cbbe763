#pragma once

// The sample tables of a track, read where they lie in the movie buffer, one header a table:
//
//   QTTableAtom.h          TableAtom, the bounded view that every table reads through
//   QTTimeToSampleTable.h  stts: entries, and the cursor of durations
//   QTSampleToChunkTable.h stsc: SampleToChunkTable, the runs of chunks, and the cursor of places
//   QTSampleSizeTable.h    stsz: SampleSizeTable
//   QTChunkOffsetTable.h   stco and co64: ChunkOffsetHelper, and a sample's offset in its chunk
//   QTSyncSampleTable.h    stss: the cursor of sync samples
//
// Names follow one style. A table view answers for any index and keeps no state; its accessors
// are named by what they give (RunCount, FirstChunk, EntrySize). A cursor serves a pass over
// samples in increasing order and keeps what it read for the next sample: each has one step,
// Next(inSample, ..., outValue), which fills outValue and gives false only when the cursor has no
// answer for inSample, which ends the pass. A one-off lookup, for the few samples asked at random,
// is Find...: it gives null, or false, when nothing is found. ChunkOffsetHelper::GetEntry keeps its
// name, which its contract report carries. Field offsets are named once for each atom, counted
// from the atom's start (...FromAtom) or from an entry's (...FromEntry).

#include <cstdint>

#include "QTBigEndian.h"
#include "QTByteRange.h"
#include "QTChunkOffsetTable.h"
#include "QTContract.h"
#include "QTFourCC.h"
#include "QTMooVAtom.h"
#include "QTResultCodes.h"
#include "QTSampleSizeTable.h"
#include "QTSampleToChunkTable.h"
#include "QTSyncSampleTable.h"
#include "QTTableAtom.h"
#include "QTTimeToSampleTable.h"
