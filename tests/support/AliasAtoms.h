#pragma once

// Builders of data references: alias records, dref entries, dinf, and tracks that carry them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AtomBuilder.h"
#include "QTExtRefData.h"

namespace qttest
{

// One entry of an alias record's tagged extra data.
struct AliasTag
{
    int16_t tag = 0;
    std::string data;
};

// The tags that name a folder (0), a path on the volume (18) and the volume's mount point (19).
inline constexpr int16_t kDirectoryNameTag = 0;
inline constexpr int16_t kPathOnVolumeTag = 18;
inline constexpr int16_t kMountPointTag = 19;

// A Macintosh alias record: volume name at 10, file name length at 50 and its bytes from 51, the
// levels at 130 and 132, the tags from 150 ended by tag -1, and the record's length at 4.
struct AliasSpec
{
    std::string volumeName = "Media";
    std::string fileName = "clip.mov";
    std::optional<uint8_t> nameLength; // the length byte, when not the name's own
    uint16_t levelFrom = 1;
    uint16_t levelTo = 1;
    std::vector<AliasTag> tags;
    bool endTag = true;                   // close the list with tag -1
    std::optional<uint16_t> recordLength; // the length word, when not the record's own
};
Bytes AliasRecord(const AliasSpec& inSpec);

// A record naming inFileName in folder inDirectory at inPathOnVolume of the volume mounted at
// inMountPoint; empty strings leave their tags out.
AliasSpec AliasTo(const std::string& inFileName, const std::string& inDirectory = "",
                  const std::string& inMountPoint = "", const std::string& inPathOnVolume = "");

// An "alis" dref entry holding inRecord, of size 12 + the record's bytes; flag 1 says the data
// is in the movie file.
Atom AliasEntry(const Bytes& inRecord, uint8_t inFlag = 0);
Atom AliasEntry(const AliasSpec& inSpec, uint8_t inFlag = 0);
// A "url " entry, or one of any other type.
Atom DataReferenceEntry(const char (&inType)[5], uint8_t inFlag, const std::string& inBody = "");

// dref of the given entries, its count the number of entries unless inCount says otherwise.
Atom Dref(const std::vector<Atom>& inEntries, std::optional<uint32_t> inCount = std::nullopt);
// dinf holding inChildren (a dref, usually).
Atom DinfOf(const std::vector<Atom>& inChildren);

// A track of inSpec's headers and sample tables whose minf holds inAtoms where the usual
// self-contained dinf stands (a dinf, perhaps with neighbours; none at all when empty).
Atom TrakWithDataInformation(const TrackSpec& inSpec, const std::vector<Atom>& inAtoms);
// The same for the given handler and enabled flag.
Atom ReferringTrak(const char (&inHandler)[5], const std::optional<Atom>& inDinf, bool inEnabled = true);

// A reference as the enumeration records it, for the resolution and validation calls.
QT::ExtRefData ExtRef(const std::u16string& inFileName, const std::u16string& inAliasPath,
                      int32_t inLevelFrom = 0, int32_t inLevelTo = 0,
                      const std::u16string& inDirectory = u"");

// The alias paths a map holds, in its order.
std::vector<std::u16string> ReferenceKeys(const QT::ExternalReferenceMap& inMap);

} // namespace qttest
