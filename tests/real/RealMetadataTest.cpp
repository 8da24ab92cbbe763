#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "IQTSifter.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

std::string Text(const Bytes& inBytes, uint64_t inStart, uint64_t inLength)
{
    return std::string(inBytes.begin() + int64_t(inStart), inBytes.begin() + int64_t(inStart + inLength));
}

// The tags of ffprobe's format section that come from the movie's metadata; the others it takes from
// ftyp.
std::map<std::string, std::string> MetadataTags(const nlohmann::json& inProbe)
{
    std::map<std::string, std::string> tags;
    const nlohmann::json& format = inProbe.at("format");
    if (format.contains("tags"))
        for (const auto& [name, value] : format.at("tags").items())
            if (name != "major_brand" && name != "minor_version" && name != "compatible_brands")
                tags[name] = value.get<std::string>();
    return tags;
}

// A narrow string value, or a failure naming what the item holds instead.
std::optional<std::string> NarrowText(const QT::MetadataValue& inValue)
{
    if (const std::string* text = std::get_if<std::string>(&inValue.value))
        return *text;
    ADD_FAILURE() << "the value is not a narrow string but alternative " << inValue.value.index();
    return std::nullopt;
}

class RealMetadata : public RealMovieFixture
{
protected:
    void Open(const std::u16string& inPath)
    {
        const Opened opened = OpenPath(inPath);
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        movie = opened.movie;
    }

    std::optional<FileAtom> MovieChild(uint32_t inType) const
    {
        return FindAtom(ScanChildren(bytes, moov), inType);
    }

    InterfaceRef<QT::IQTMovie> movie;
};

// In an .mp4 ffmpeg writes the tags as an item list in udta/meta, each item typed by its name, such
// as the copyright sign followed by "nam" for the title. The library keys such an item by the last
// three bytes of its type and keeps its text as a narrow string of type code 1. Which names ffmpeg
// uses is read from the file; which tag each carries is ffmpeg's own mapping.
TEST_F(RealMetadata, NamedItemsOfAnMp4CarryFfprobesTags)
{
    Prepare("titled_mp4");
    if (IsSkipped() || HasFatalFailure())
        return;
    const std::map<std::string, std::string> tagOfKey = {{"nam", "title"}, {"cmt", "comment"}};
    const std::map<std::string, std::string> tags = MetadataTags(sMovies->Probe(*made));
    ASSERT_EQ(tags.size(), 2u) << "ffprobe should report the title and the comment";

    const auto udta = MovieChild(Code("udta"));
    ASSERT_TRUE(udta);
    const auto meta = FindAtom(ScanChildren(bytes, *udta), Code("meta"));
    ASSERT_TRUE(meta);
    // This meta has a version word in front of its children.
    const auto ilst = FindAtom(ScanAtoms(bytes, meta->start + 12, meta->End()), Code("ilst"));
    ASSERT_TRUE(ilst);
    std::vector<std::string> keys;
    for (const FileAtom& item : ScanChildren(bytes, *ilst))
        keys.push_back(FourCCText(item.type).substr(1));
    ASSERT_EQ(keys.size(), tags.size()) << "one item per tag";

    Open(made->WidePath());
    ASSERT_TRUE(movie);
    QT::MetadataMap items;
    movie->GetMetadataItems(items);
    EXPECT_EQ(items.size(), keys.size());
    for (const std::string& key : keys)
    {
        SCOPED_TRACE("key " + key);
        const auto tag = tagOfKey.find(key);
        ASSERT_NE(tag, tagOfKey.end()) << "ffmpeg wrote an item that the test does not expect";
        ASSERT_TRUE(tags.count(tag->second)) << "ffprobe does not report " << tag->second;
        QT::MetadataValue value;
        ASSERT_TRUE(movie->GetMetadataValue(key, value));
        EXPECT_EQ(value.typeCode, QT::kMetadataUTF8);
        EXPECT_EQ(NarrowText(value), tags.at(tag->second));
        ASSERT_TRUE(items.count(key));
        EXPECT_EQ(NarrowText(items.at(key)), tags.at(tag->second));
        // Only keyed items have a recorded place.
        uint32_t offset = 0xDEADBEEF;
        EXPECT_FALSE(movie->GetMetadataValueOffset(key, offset));
        EXPECT_EQ(offset, 0xDEADBEEFu);
    }
}

// In a .mov ffmpeg writes the tags as QuickTime text atoms straight in udta (a 16-bit length, a
// 16-bit language, the text), not as an item list, so they are no metadata items; the movie hands
// them out as user data.
TEST_F(RealMetadata, TextAtomsOfAMovAreUserDataNotItems)
{
    Prepare("titled_mov");
    if (IsSkipped() || HasFatalFailure())
        return;
    const std::map<std::string, std::string> tags = MetadataTags(sMovies->Probe(*made));
    const auto udta = MovieChild(Code("udta"));
    ASSERT_TRUE(udta);
    const std::vector<FileAtom> children = ScanChildren(bytes, *udta);
    ASSERT_FALSE(FindAtom(children, Code("meta"))) << "ffmpeg should write no item list in a .mov";

    Open(made->WidePath());
    ASSERT_TRUE(movie);
    QT::MetadataMap items;
    movie->GetMetadataItems(items);
    EXPECT_TRUE(items.empty());

    ASSERT_EQ(movie->GetUserDataCount(), children.size());
    for (size_t i = 0; i < children.size(); ++i)
    {
        MK::BinaryData data;
        uint32_t type = 0;
        movie->GetUserData(i, data, type);
        EXPECT_EQ(type, children[i].type);
        EXPECT_EQ(data, MK::BinaryData(bytes.data() + children[i].start + 8, children[i].size - 8));
    }
    const std::map<std::string, uint32_t> typeOfTag = {{"title", 0xA96E616D /* (c)nam */},
                                                       {"comment", 0xA9636D74 /* (c)cmt */}};
    ASSERT_EQ(tags.size(), typeOfTag.size()) << "ffprobe should report the title and the comment";
    for (const auto& [tag, type] : typeOfTag)
    {
        SCOPED_TRACE(tag);
        MK::BinaryData data;
        ASSERT_TRUE(movie->FindUserData(type, data));
        ASSERT_GE(data.GetSize(), 4u);
        const size_t length = size_t(data.GetData()[0]) << 8 | data.GetData()[1];
        ASSERT_EQ(4 + length, data.GetSize());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.GetData()) + 4, length), tags.at(tag));
    }
}

// The keys of a keyed table (keys atom payload: version word, count, then entries of size,
// namespace and text), in order, by the test's own reading.
std::vector<std::string> KeyTable(const Bytes& inBytes, const FileAtom& inKeys)
{
    std::vector<std::string> keys;
    const uint32_t count = ReadU32(inBytes, inKeys.start + 12);
    uint64_t pos = inKeys.start + 16;
    for (uint32_t i = 0; i < count && pos + 8 <= inKeys.End(); ++i)
    {
        const uint32_t size = ReadU32(inBytes, pos);
        if (size < 8 || pos + size > inKeys.End())
            break;
        keys.push_back(Text(inBytes, pos + 8, size - 8));
        pos += size;
    }
    return keys;
}

// With use_metadata_tags this ffmpeg writes the keyed form (hdlr "mdta", keys, ilst) inside
// moov/udta/meta, with a version word in front of meta's children. The keyed form is read only from
// a meta directly under moov; a meta in udta is read as a list of named items, each named by the
// last three bytes of its type, which in the keyed form is its 1-based key index. So the values
// that ffprobe reports under "title" and "custom_key" come out under the names "\0\0\1" and
// "\0\0\2", in the order of the key table, and not under their keys.
TEST_F(RealMetadata, KeyedItemsInsideUserDataAreNamedByTheirKeyIndex)
{
    Prepare("keyed_mov");
    if (IsSkipped() || HasFatalFailure())
        return;
    const std::map<std::string, std::string> tags = MetadataTags(sMovies->Probe(*made));
    ASSERT_EQ(tags.size(), 2u) << "ffprobe should report the title and the custom key";
    ASSERT_FALSE(MovieChild(Code("meta")))
        << "this ffmpeg now writes meta under moov; test the keyed form as is";
    const auto udta = MovieChild(Code("udta"));
    ASSERT_TRUE(udta);
    const auto meta = FindAtom(ScanChildren(bytes, *udta), Code("meta"));
    ASSERT_TRUE(meta);
    const std::vector<FileAtom> inMeta = ScanAtoms(bytes, meta->start + 12, meta->End());
    const auto keysAtom = FindAtom(inMeta, Code("keys"));
    ASSERT_TRUE(keysAtom) << "meta should hold a key table behind a version word";
    const std::vector<std::string> keys = KeyTable(bytes, *keysAtom);
    ASSERT_EQ(keys.size(), tags.size());

    Open(made->WidePath());
    ASSERT_TRUE(movie);
    QT::MetadataMap items;
    movie->GetMetadataItems(items);
    EXPECT_EQ(items.size(), keys.size());
    for (size_t i = 0; i < keys.size(); ++i)
    {
        SCOPED_TRACE("key " + keys[i]);
        ASSERT_TRUE(tags.count(keys[i])) << "ffprobe does not report this key";
        QT::MetadataValue value;
        EXPECT_FALSE(movie->GetMetadataValue(keys[i], value));
        const std::string name{char(0), char(0), char(i + 1)};
        ASSERT_TRUE(movie->GetMetadataValue(name, value));
        EXPECT_EQ(value.typeCode, QT::kMetadataUTF8);
        EXPECT_EQ(NarrowText(value), tags.at(keys[i]));
        uint32_t offset = 0;
        EXPECT_FALSE(movie->GetMetadataValueOffset(name, offset));
        EXPECT_FALSE(movie->GetMetadataValueOffset(keys[i], offset));
    }
}

// The same movie with its meta moved into moov in the form the keyed reader takes: out of udta
// (which holds nothing else, so its 8-byte header goes) and without the version word. moov shrinks by
// 12 bytes and, lying behind the media, moves no sample; ffprobe reads the copy alike. Each item is
// keyed by its key's text, with ffprobe's value as a narrow string of type code 1, and its offset
// points at the value's bytes in the loaded movie atom, which is moov's bytes in the file as ffmpeg
// writes no free atom into it.
TEST_F(RealMetadata, KeyedItemsUnderMoovCarryFfprobesTagsAndTheirPlaces)
{
    Prepare("keyed_mov");
    if (IsSkipped() || HasFatalFailure())
        return;
    const auto udta = MovieChild(Code("udta"));
    const auto mdat = FindAtom(topLevel, Code("mdat"));
    ASSERT_TRUE(udta && mdat);
    ASSERT_GT(moov.start, mdat->start);
    ASSERT_EQ(moov.headerSize, 8u);
    const std::vector<FileAtom> inUdta = ScanChildren(bytes, *udta);
    ASSERT_EQ(inUdta.size(), 1u);
    const FileAtom& meta = inUdta.front();
    ASSERT_EQ(meta.type, Code("meta"));
    ASSERT_EQ(ReadU32(bytes, meta.start + 8), 0u) << "meta should start with a zero version word";
    ASSERT_EQ(ReadU32(bytes, meta.start + 16), Code("hdlr"));

    const auto putU32 = [](Bytes& ioBytes, uint64_t inPos, uint32_t inValue)
    {
        for (int i = 0; i < 4; ++i)
            ioBytes[inPos + uint64_t(i)] = uint8_t(inValue >> (24 - 8 * i));
    };
    Bytes lifted(bytes.begin(), bytes.begin() + int64_t(udta->start));
    lifted.insert(lifted.end(), bytes.begin() + int64_t(meta.start), bytes.begin() + int64_t(meta.start + 8));
    lifted.insert(lifted.end(), bytes.begin() + int64_t(meta.start + 12), bytes.end());
    const uint32_t moovSize = uint32_t(moov.size - 12);
    putU32(lifted, moov.start, moovSize);
    putU32(lifted, udta->start, uint32_t(meta.size - 4));
    TempFile file(lifted);

    const std::map<std::string, std::string> tags = MetadataTags(Ffprobe(file.Path()));
    EXPECT_EQ(tags, MetadataTags(sMovies->Probe(*made))) << "ffprobe should read the copy alike";
    ASSERT_EQ(tags.size(), 2u) << "ffprobe should report the title and the custom key";

    Open(file.WidePath());
    ASSERT_TRUE(movie);
    ASSERT_EQ(movie->GetMovieAtomOffset(), moov.start);
    ASSERT_EQ(movie->GetMovieAtomSize(), moovSize) << "the loaded atom should be moov's bytes as they are";
    QT::MetadataMap items;
    movie->GetMetadataItems(items);
    EXPECT_EQ(items.size(), tags.size());
    for (const auto& [key, text] : tags)
    {
        SCOPED_TRACE("key " + key);
        QT::MetadataValue value;
        ASSERT_TRUE(movie->GetMetadataValue(key, value));
        EXPECT_EQ(value.typeCode, QT::kMetadataUTF8);
        EXPECT_EQ(NarrowText(value), text);
        ASSERT_TRUE(items.count(key));
        EXPECT_EQ(NarrowText(items.at(key)), text);

        uint32_t offset = 0;
        ASSERT_TRUE(movie->GetMetadataValueOffset(key, offset));
        ASSERT_GE(offset, 24u);
        ASSERT_LE(uint64_t(offset) + text.size(), moovSize);
        const uint64_t at = moov.start + offset;
        EXPECT_EQ(Text(lifted, at, text.size()), text);
        // The value follows the data atom's type and its type code, and ends the item.
        EXPECT_EQ(ReadU32(lifted, at - 12), Code("data"));
        EXPECT_EQ(ReadU32(lifted, at - 8), 1u);
        EXPECT_EQ(ReadU32(lifted, at - 24), 24 + text.size());
    }
    uint32_t offset = 0;
    EXPECT_FALSE(movie->GetMetadataValueOffset("no_such_key", offset));
}

} // namespace
