// Alias records in a real movie: ffmpeg makes a movie of two video tracks (the second disabled),
// each track's dref is replaced by one holding a built alias record, and ffprobe's debug log of
// what it read from each record is compared with the library's reading.
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AliasAtoms.h"
#include "FfmpegMovies.h"
#include "IQTSifter.h"
#include "MovieLayout.h"
#include "QTExternalReferences.h"
#include "TestFiles.h"
#include "tenacore/string.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

void Put32(Bytes& ioBytes, uint64_t inAt, uint32_t inValue)
{
    for (int i = 0; i < 4; ++i)
        ioBytes[inAt + i] = uint8_t(inValue >> (24 - 8 * i));
}

uint32_t Get32(const Bytes& inBytes, uint64_t inAt)
{
    return uint32_t(inBytes[inAt]) << 24 | uint32_t(inBytes[inAt + 1]) << 16 |
           uint32_t(inBytes[inAt + 2]) << 8 | uint32_t(inBytes[inAt + 3]);
}

// The chain of atoms from moov down to the first child of inPath's last type, outermost first.
std::vector<FileAtom> Chain(const Bytes& inBytes, const FileAtom& inFrom,
                            const std::vector<const char*>& inPath)
{
    std::vector<FileAtom> chain{inFrom};
    for (const char* type : inPath)
    {
        uint32_t code = 0;
        for (int i = 0; i < 4; ++i)
            code = code << 8 | uint8_t(type[i]);
        const auto child = FindAtom(ScanChildren(inBytes, chain.back()), code);
        if (!child)
            return {};
        chain.push_back(*child);
    }
    return chain;
}

// Replaces the dref of every track with inDrefs[i], growing dinf, minf, mdia, trak and moov by the
// difference. moov must be the file's last atom, so that no chunk offset moves.
Bytes WithDrefs(Bytes inBytes, const std::vector<Atom>& inDrefs)
{
    for (size_t track = inDrefs.size(); track-- > 0;)
    {
        const FileAtom moov = *FindAtom(ScanTopLevelAtoms(inBytes), Code("moov"));
        std::vector<FileAtom> traks;
        for (const FileAtom& child : ScanChildren(inBytes, moov))
            if (child.type == Code("trak"))
                traks.push_back(child);
        const std::vector<FileAtom> chain = Chain(inBytes, traks.at(track), {"mdia", "minf", "dinf", "dref"});
        if (chain.empty())
            return {};
        const FileAtom dref = chain.back();
        const Bytes replacement = inDrefs[track].Build();
        const int64_t growth = int64_t(replacement.size()) - int64_t(dref.size);
        inBytes.erase(inBytes.begin() + dref.start, inBytes.begin() + dref.End());
        inBytes.insert(inBytes.begin() + dref.start, replacement.begin(), replacement.end());
        for (size_t i = 0; i + 1 < chain.size(); ++i)
            Put32(inBytes, chain[i].start, uint32_t(Get32(inBytes, chain[i].start) + growth));
        Put32(inBytes, moov.start, uint32_t(Get32(inBytes, moov.start) + growth));
    }
    return inBytes;
}

// What ffprobe's debug log says it read from each alias record, in track order.
struct ProbedAlias
{
    std::string volume, fileName, directory;
    int levelFrom = -1, levelTo = -1;
};

std::vector<ProbedAlias> ProbedAliases(const std::string& inLog)
{
    std::vector<ProbedAlias> aliases;
    std::istringstream lines(inLog);
    std::string line;
    const std::regex volume(R"(\] volume (.*), len \d+$)"), file(R"(\] filename (.*), len \d+$)"),
        levels(R"(\] nlvl from (\d+), nlvl to (\d+)$)"), directory(R"(\] dir (.*)$)");
    std::smatch match;
    while (std::getline(lines, line))
    {
        if (std::regex_search(line, match, volume))
        {
            aliases.emplace_back();
            aliases.back().volume = match[1];
        }
        else if (aliases.empty())
            continue;
        else if (std::regex_search(line, match, file))
            aliases.back().fileName = match[1];
        else if (std::regex_search(line, match, levels))
        {
            aliases.back().levelFrom = std::stoi(match[1]);
            aliases.back().levelTo = std::stoi(match[2]);
        }
        else if (std::regex_search(line, match, directory))
            aliases.back().directory = match[1];
    }
    return aliases;
}

AliasSpec Alias(const std::string& inVolume, const std::string& inFile, const std::string& inFolder,
                uint16_t inLevelFrom, uint16_t inLevelTo)
{
    AliasSpec spec = AliasTo(inFile, inFolder, "/Volumes/" + inVolume, "/" + inFolder + "/" + inFile);
    spec.volumeName = inVolume;
    spec.levelFrom = inLevelFrom;
    spec.levelTo = inLevelTo;
    return spec;
}

class RealExternalReferences : public ::testing::Test
{
protected:
    void SetUp() override
    {
        folder = MakeTempFolder();
        const std::filesystem::path made = folder / "made.mov";
        const CommandResult run =
            RunCommand(FfmpegCommand({"-f", "lavfi", "-i", "testsrc=size=64x48:rate=10:duration=1", "-map",
                                      "0:v", "-map", "0:v", "-c:v", "mjpeg", made.string()}));
        if (!run.Succeeded())
            GTEST_SKIP() << "ffmpeg cannot make the movie: " << run.err;
        const Bytes bytes = ReadFileBytes(made);
        const std::vector<FileAtom> top = ScanTopLevelAtoms(bytes);
        ASSERT_FALSE(top.empty());
        ASSERT_EQ(top.back().type, Code("moov")) << "ffmpeg wrote moov before the media";
        const Bytes rewritten = WithDrefs(bytes, {Dref({AliasEntry(first)}), Dref({AliasEntry(second)})});
        ASSERT_FALSE(rewritten.empty());
        movie = folder / "movie.mov";
        std::ofstream(movie, std::ios::binary)
            .write(reinterpret_cast<const char*>(rewritten.data()), std::streamsize(rewritten.size()));
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    const AliasSpec first = Alias("Media", "first.mov", "clips", 1, 2);
    const AliasSpec second = Alias("Backup", "second.mov", "takes", 3, 4);
    std::filesystem::path folder;
    std::filesystem::path movie;
};

} // namespace

TEST_F(RealExternalReferences, FfprobeReadsTheBuiltAliasRecords)
{
    const CommandResult run = RunCommand({"ffprobe", "-v", "debug", movie.string()});
    ASSERT_TRUE(run.Succeeded()) << run.err;
    const std::vector<ProbedAlias> aliases = ProbedAliases(run.err);
    ASSERT_EQ(aliases.size(), 2u) << run.err;
    const AliasSpec* specs[] = {&first, &second};
    for (size_t i = 0; i < 2; ++i)
    {
        EXPECT_EQ(aliases[i].volume, specs[i]->volumeName);
        EXPECT_EQ(aliases[i].fileName, specs[i]->fileName);
        EXPECT_EQ(aliases[i].levelFrom, specs[i]->levelFrom);
        EXPECT_EQ(aliases[i].levelTo, specs[i]->levelTo);
        EXPECT_EQ(aliases[i].directory, specs[i]->tags.at(0).data);
    }
}

TEST_F(RealExternalReferences, LibraryReadsWhatFfprobeRead)
{
    const CommandResult run = RunCommand({"ffprobe", "-v", "debug", movie.string()});
    ASSERT_TRUE(run.Succeeded()) << run.err;
    const std::vector<ProbedAlias> aliases = ProbedAliases(run.err);
    ASSERT_EQ(aliases.size(), 2u);

    InterfaceRef<QT::IQTMovie> opened;
    ASSERT_EQ(QT::MakeParser()->MakeMovie(Wide(movie), opened), 0u);
    ASSERT_EQ(opened->GetTrackCount(), 2u);
    for (uint32_t index = 0; index < 2; ++index)
    {
        InterfaceRef<QT::IQTTrack> track;
        opened->GetIndTrack(track, index);
        EXPECT_FALSE(track->IsDataSelfContained());
        QT::ExternalReferenceMap own;
        ASSERT_TRUE(track->CollectExternalReferences(own));
        ASSERT_EQ(own.size(), 1u);
        const QT::ExtRefData& reference = own.begin()->second;
        EXPECT_EQ(tenacore::string::UTF16to8(reference.fileName), aliases[index].fileName);
        EXPECT_EQ(tenacore::string::UTF16to8(reference.directoryName), aliases[index].directory);
        EXPECT_EQ(reference.levelFrom, aliases[index].levelFrom);
        EXPECT_EQ(reference.levelTo, aliases[index].levelTo);
        EXPECT_EQ(tenacore::string::UTF16to8(reference.aliasPath), "/Volumes/" + aliases[index].volume + "/" +
                                                                       aliases[index].directory + "/" +
                                                                       aliases[index].fileName);
    }
}

TEST_F(RealExternalReferences, TheDisabledSecondTrackIsLeftOut)
{
    InterfaceRef<QT::IQTMovie> opened;
    ASSERT_EQ(QT::MakeParser()->MakeMovie(Wide(movie), opened), 0u);
    InterfaceRef<QT::IQTTrack> secondTrack;
    opened->GetIndTrack(secondTrack, 1);
    ASSERT_FALSE(secondTrack->IsTrackEnabled()) << "ffmpeg left the second video track enabled";

    QT::ExternalReferenceMap all;
    EXPECT_TRUE(QT::GetAllExternalReferences(opened, all));
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all.begin()->first, u"/Volumes/Media/clips/first.mov");
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(opened, video, audio, timecode);
    ASSERT_EQ(video.size(), 1u);
    EXPECT_EQ(video.at(0), u"/Volumes/Media/clips/first.mov");
    EXPECT_TRUE(audio.empty());
    EXPECT_TRUE(timecode.empty());
}

TEST_F(RealExternalReferences, ResolvesBesideTheMovieAndValidates)
{
    std::filesystem::create_directory(folder / "clips");
    std::ofstream(folder / "clips" / "first.mov") << "x";
    InterfaceRef<QT::IQTMovie> opened;
    ASSERT_EQ(QT::MakeParser()->MakeMovie(Wide(movie), opened), 0u);
    QT::ExternalReferenceMap all;
    ASSERT_TRUE(QT::GetAllExternalReferences(opened, all));
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(opened, video, audio, timecode);
    EXPECT_TRUE(QT::ValidateExternalReferences(Wide(movie), all));
    // Resolution looks for the name beside the movie, then the levels: one level down into the
    // recorded folder clips.
    std::vector<std::u16string> paths;
    EXPECT_TRUE(QT::ResolveExternalReferences(Wide(movie), video, all, paths));
    ASSERT_EQ(paths.size(), 1u);
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(paths[0]), folder / "clips" / "first.mov"));
}
