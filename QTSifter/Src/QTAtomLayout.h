#pragma once

#include <cstdint>

// Where the fields the library reads stand in their atoms. Each name says what its offset counts
// from: FromAtom is from the size word, FromPayload from the byte behind the 8-byte header (where
// a TrackItem's payload pointers point), FromEntry and FromItem from the start of a table entry
// or list item. Sample-table fields are named beside their views.

namespace QT
{

// Every atom.
inline constexpr uint32_t kAtomHeaderSize = 8;
inline constexpr uint32_t kAtomSizeFromAtom = 0;
inline constexpr uint32_t kAtomTypeFromAtom = 4;
// Atoms with a version byte and 24 bits of flags behind the header.
inline constexpr uint32_t kFullAtomVersionFromAtom = 8;
inline constexpr uint32_t kFullAtomHeaderSize = 12;

// mvhd, version 0 and version 1.
inline constexpr uint32_t kMvhdTimeScaleFromAtom = 20;
inline constexpr uint32_t kMvhdDurationFromAtom = 24;
inline constexpr uint32_t kMvhdPosterTimeFromAtom = 88;
inline constexpr uint32_t kMvhd64TimeScaleFromAtom = 28;
inline constexpr uint32_t kMvhd64DurationFromAtom = 32;
inline constexpr uint32_t kMvhd64PosterTimeFromAtom = 100;

// tkhd.
inline constexpr uint32_t kTkhdFlagsFromPayload = 0;
inline constexpr uint32_t kTkhdDurationFromPayload = 20;
inline constexpr uint32_t kTkhdMatrixFromPayload = 40;
inline constexpr uint32_t kTkhdWidthFromPayload = 76;
inline constexpr uint32_t kTkhdHeightFromPayload = 80;

// mdhd, version 0 and version 1 (both payload pointers stand at the same place).
inline constexpr uint32_t kMdhdVersionFromPayload = 0;
inline constexpr uint32_t kMdhdTimeScaleFromPayload = 12;
inline constexpr uint32_t kMdhdDurationFromPayload = 16;
inline constexpr uint32_t kMdhd64TimeScaleFromPayload = 20;
inline constexpr uint32_t kMdhd64DurationFromPayload = 24;

// hdlr: the component subtype, which names the media type.
inline constexpr uint32_t kHdlrSubtypeFromPayload = 8;
inline constexpr uint32_t kHdlrSubtypeFromAtom = kAtomHeaderSize + kHdlrSubtypeFromPayload;

// elst and its 12-byte entries.
inline constexpr uint32_t kElstCountFromAtom = 12;
inline constexpr uint32_t kElstEntriesFromAtom = 16;
inline constexpr uint32_t kElstEntrySize = 12;
inline constexpr uint32_t kEditDurationFromEntry = 0;
inline constexpr uint32_t kEditMediaTimeFromEntry = 4;
inline constexpr uint32_t kEditRateFromEntry = 8;

// ctts and its 8-byte entries.
inline constexpr uint32_t kCttsEntriesFromAtom = 16;
inline constexpr uint32_t kCttsEntrySize = 8;
inline constexpr uint32_t kCttsCountFromEntry = 0;
inline constexpr uint32_t kCttsOffsetFromEntry = 4;

// sdtp: one flags byte a sample behind the version and flags word.
inline constexpr uint32_t kSdtpFlagsFromAtom = kFullAtomHeaderSize;

// dcom: the compression method of a cmov.
inline constexpr uint32_t kDcomMethodFromAtom = 8;

// dinf holding a dref: its first entry, and the record of a handle reference at byte 9 of its body.
inline constexpr uint32_t kDrefCountFromDinf = 20;
inline constexpr uint32_t kDataReferenceSizeFromDinf = 24;
inline constexpr uint32_t kDataReferenceTypeFromDinf = 28;
inline constexpr uint32_t kHandleRecordSizeFromDinf = 41;
inline constexpr uint32_t kHandleRecordTypeFromDinf = 45;
inline constexpr uint32_t kHandleRecordFromDinf = 49;

// A Timecode Sample Description, from the entry's size word, and the name atom that may follow
// its fixed fields: its size, its type, then the text behind 4 bytes of length and language.
inline constexpr uint32_t kTimecodeFlagsFromEntry = 20;
inline constexpr uint32_t kTimecodeTimeScaleFromEntry = 24;
inline constexpr uint32_t kTimecodeFrameDurationFromEntry = 28;
inline constexpr uint32_t kTimecodeFrameCountFromEntry = 32;
inline constexpr uint32_t kTimecodeNameSizeFromEntry = 34;
inline constexpr uint32_t kTimecodeNameTypeFromEntry = 38;
inline constexpr uint32_t kTimecodeNameTextFromEntry = 46;
inline constexpr uint32_t kTimecodeNameHeaderSize = 12;
inline constexpr uint32_t kTimecodeDropFrameFlag = 1;

// A CEA-608 caption sample: a cdat atom of byte pairs, or two of one pair each (20 bytes) for the
// two fields; a CEA-708 sample: one atom of data.
inline constexpr uint32_t kCaptionHeaderSize = 8;
inline constexpr uint32_t kCaptionPairSize = 2;
inline constexpr uint32_t kCaptionTwoFieldSampleSize = 20;
inline constexpr uint32_t kCaptionSecondFieldFromSample = 18;

// keys and its entries.
inline constexpr uint32_t kKeysCountFromAtom = 12;
inline constexpr uint32_t kKeysEntriesFromAtom = 16;
inline constexpr uint32_t kKeySizeFromEntry = 0;
inline constexpr uint32_t kKeyTextFromEntry = 8;

// An ilst item, keyed or name-tagged, with its first child data right behind its header.
inline constexpr uint32_t kItemKeyIndexFromItem = 4;
inline constexpr uint32_t kItemTagKeyFromItem = 5; // the last three bytes of the item's type
inline constexpr uint32_t kItemTagKeyLength = 3;
inline constexpr uint32_t kItemDataTypeFromItem = 12;
inline constexpr uint32_t kItemTypeCodeFromItem = 16;
inline constexpr uint32_t kItemValueFromItem = 24;
// Size, type, the data child's own header and its type code: what the item reads before the value.
inline constexpr uint32_t kItemFixedBytes = 16;

} // namespace QT
