#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "QTMetadata.h"
#include "QTMooVAtom.h"

namespace QT
{

// What one walk of a loaded movie atom builds: the buffer it walks and the pointers into it.
// The sifter is one; the movie fixer, which loads byte-exact and walks by its own rules, another.
struct MovieIndex
{
    std::shared_ptr<QTMooVAtom> mooVAtom;
    uint64_t movieAtomOffset = 0;
    uint32_t movieAtomSize = 0;
    const uint8_t* mvhd = nullptr;
    const uint8_t* mvhd64 = nullptr;
    std::vector<TrackItem> trackItems;
    std::vector<UserDataItem> userData;
    MetadataMap metadataItems;
    MetadataMap metadataKeys;
    // How many cmov atoms deep the current expansion stands.
    uint32_t expansionDepth = 0;

    const uint8_t* Data() const noexcept { return mooVAtom->Data(); }
};

// How the media information atom's children are read.
enum class MediaInformationWalk
{
    // Children in line: vmhd, smhd, gmhd or nmhd is the header; dinf and stbl wherever they stand.
    InLine,
    // The first child, of any type, is the header and must be there; dinf and stbl follow.
    FirstChildIsHeader,
};

// What a udta's children give.
enum class UserDataWalk
{
    // Each child is recorded and a meta child's name-tagged items are collected.
    CollectNameTaggedMetadata,
    // Each child is recorded; meta is not read.
    RecordOnly,
};

// Every point at which one walk of the movie atom differs from another. Guards against reading
// outside the buffer are not rules: they hold in every walk.
struct WalkRules
{
    // Fewer bytes than this before a limit end each walk; 9 keeps a last atom of 8 bytes unread.
    uint32_t minBytesLeft = 9;
    // A cmov met before mvhd is expanded and walked in place of the stored movie atom.
    bool expandCompressedMovie = true;
    // The first child of edts is read as the edit list only when its type says elst.
    bool checkEditListType = true;
    // With more than one edit, edits of media time -1 are dropped (caption tracks keep them).
    bool dropEmptyEdits = true;
    // An elng may stand between mdhd and hdlr.
    bool skipExtendedLanguage = true;
    MediaInformationWalk mediaInformation = MediaInformationWalk::InLine;
    // A caption track is kept whatever sample tables it has.
    bool captionTracksNeedNoTables = true;
    // stps is recorded with the other sample tables.
    bool recordPartialSync = true;
    // A kept track must have a media information header too.
    bool requireMediaInfoHeader = false;
    UserDataWalk userData = UserDataWalk::CollectNameTaggedMetadata;
    // The keyed metadata is read with its checks and reports: key sizes against keys, each
    // taken item against the end of ilst, an ilst of more than 8 bytes.
    bool checkKeyedMetadata = true;
    // An sdtp in the sample table walk's one-atom reach behind stbl is taken as the track's. A
    // walk whose pointers are written through takes only one that lies inside the stbl.
    bool sdtpBehindSampleTable = true;
};

// The parser's walk.
inline constexpr WalkRules kParserWalkRules{};

// The stages of the walk, in the order the whole walk runs them.
[[nodiscard]] bool WalkMovieAtom(MovieIndex& ioIndex, const WalkRules& inRules);
[[nodiscard]] bool ReadMovieHeader(MovieIndex& ioIndex, const WalkRules& inRules);
[[nodiscard]] bool WalkTracks(MovieIndex& ioIndex, const WalkRules& inRules);
[[nodiscard]] bool WalkSampleTable(const MovieIndex& inIndex, const WalkRules& inRules, uint32_t inPos,
                                   uint32_t inLimit, uint32_t inEnd, TrackItem& ioItem);
void ReadMovieUserData(MovieIndex& ioIndex, const WalkRules& inRules);
void ReadUserData(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t inStart, uint32_t inAtomSize);
// Children of a udta from inStart to inEnd, appended to ioItems.
void ReadUserDataChildren(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t inStart, uint32_t inEnd,
                          std::vector<UserDataItem>& ioItems);
// The name-tagged metadata of a udta's meta child, and the keyed metadata under moov.
void ParseMetaItems(MovieIndex& ioIndex, const uint8_t* inBuffer, uint32_t inStart, uint32_t inEnd);
void ParseMetadata(MovieIndex& ioIndex, const WalkRules& inRules);

// Result of ExpandCompressedMovie: whether the buffer was replaced, and if so the header read on it.
struct Expansion
{
    bool replaced = false;
    bool headerRead = false;
};
// The cmov at ioPos: its children are scanned (ioPos ends behind the last of them) and, when they
// hold a zlib stream, the expanded movie atom replaces the index's buffer and its header is read.
Expansion ExpandCompressedMovie(MovieIndex& ioIndex, const WalkRules& inRules, uint32_t& ioPos);

} // namespace QT
