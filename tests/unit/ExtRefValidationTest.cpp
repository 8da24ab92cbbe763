#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "AliasAtoms.h"
#include "InjectedVolumes.h"
#include "ProbeRecorder.h"
#include "QTExternalReferences.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

const std::u16string kWindowsMovie = u"C:\\m\\movie.mov";

QT::ExternalReferenceMap MapOf(std::initializer_list<QT::ExtRefData> inReferences)
{
    QT::ExternalReferenceMap map;
    for (const QT::ExtRefData& reference : inReferences)
        map.emplace(reference.aliasPath, reference);
    return map;
}

bool Probed(const ProbeRecorder& inRecorder, const std::u16string& inPath)
{
    return std::find(inRecorder.probes.begin(), inRecorder.probes.end(), inPath) != inRecorder.probes.end();
}

bool ProbedUnder(const ProbeRecorder& inRecorder, const std::u16string& inPrefix)
{
    return std::any_of(inRecorder.probes.begin(), inRecorder.probes.end(),
                       [&](const std::u16string& inPath) { return inPath.rfind(inPrefix, 0) == 0; });
}

// Runs in inFolder while alive.
struct CurrentFolder
{
    explicit CurrentFolder(const std::filesystem::path& inFolder) : previous(std::filesystem::current_path())
    {
        std::filesystem::current_path(inFolder);
    }
    ~CurrentFolder() { std::filesystem::current_path(previous); }
    std::filesystem::path previous;
};

} // namespace

TEST(ExtRefValidation, EmptyMapGivesTrue)
{
    ProbeRecorder fs;
    EXPECT_TRUE(QT::ValidateExternalReferences(kWindowsMovie, {}));
    EXPECT_TRUE(fs.probes.empty());
}

TEST(ExtRefValidation, NetworkPathIsProbedWithBackslashes)
{
    ProbeRecorder fs;
    fs.existing = {u"\\\\server\\share\\a.mov"};
    EXPECT_TRUE(
        QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"//server/share/a.mov")})));
    EXPECT_EQ(fs.probes, std::vector<std::u16string>{u"\\\\server\\share\\a.mov"});
}

TEST(ExtRefValidation, RelativePathIsProbedBesideTheMovieAsItStands)
{
    ProbeRecorder fs;
    fs.existing = {u"C:\\m\\sub/a.mov"};
    EXPECT_TRUE(QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"sub/a.mov")})));
    EXPECT_EQ(fs.probes, std::vector<std::u16string>{u"C:\\m\\sub/a.mov"});
}

TEST(ExtRefValidation, PosixPathIsMappedOntoTheVolumeOfItsFirstComponent)
{
    InjectedVolumes volumes({Volume(u"E:\\", u"archive")});
    ProbeRecorder fs;
    const std::u16string expected = u"E:\\clips" + Sep() + u"a.mov";
    fs.existing = {expected};
    EXPECT_TRUE(
        QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"/Archive/./clips//a.mov")})));
    EXPECT_EQ(fs.probes, std::vector<std::u16string>{expected});
}

TEST(ExtRefValidation, PosixPathWithoutSecondSlashLooksUpNoVolume)
{
    // A volume labelled as the file: a look-up would find it and probe its root.
    InjectedVolumes volumes({Volume(u"Z:\\", u"a.mov")});
    ProbeRecorder fs;
    EXPECT_FALSE(QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"/a.mov")})));
    EXPECT_FALSE(ProbedUnder(fs, u"Z:"));
    ASSERT_FALSE(fs.probes.empty());
    EXPECT_EQ(fs.probes.front(), u"a.mov"); // stage 2's first probe
}

TEST(ExtRefValidation, PosixPathOnAnUnknownVolumeGoesBesideTheMovie)
{
    InjectedVolumes volumes({Volume(u"E:\\", u"archive")});
    ProbeRecorder fs;
    fs.existing = {u"C:\\m\\a.mov"};
    EXPECT_TRUE(
        QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"/Elsewhere/clips/a.mov")})));
    EXPECT_FALSE(ProbedUnder(fs, u"E:"));
    ASSERT_FALSE(fs.probes.empty());
    EXPECT_EQ(fs.probes.front(), u"a.mov");
    EXPECT_TRUE(Probed(fs, u"C:\\m\\a.mov"));
}

TEST(ExtRefValidation, RecordedFolderBesideTheMovieComesFirst)
{
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    const std::u16string inFolder = u"C:\\m\\clips" + Sep() + u"a.mov";
    fs.existing = {inFolder, u"C:\\m\\a.mov"};
    EXPECT_TRUE(QT::ValidateExternalReferences(kWindowsMovie,
                                               MapOf({ExtRef(u"a.mov", u"/Other/x/a.mov", 0, 0, u"clips")})));
    EXPECT_TRUE(Probed(fs, inFolder));
    EXPECT_FALSE(Probed(fs, u"C:\\m\\a.mov"));
}

TEST(ExtRefValidation, FileNamedAsTheMovieEndsStageTwoOnTheMovieAndStageThreeDecides)
{
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    const std::u16string relative = u"C:\\m" + Sep() + u"movie.mov";
    fs.existing = {kWindowsMovie, relative};
    EXPECT_TRUE(QT::ValidateExternalReferences(kWindowsMovie,
                                               MapOf({ExtRef(u"movie.mov", u"/Vol/movie.mov", 1, 1)})));
    ASSERT_GE(fs.probes.size(), 2u);
    EXPECT_TRUE(Probed(fs, kWindowsMovie));
    EXPECT_EQ(fs.probes.back(), relative);
}

TEST(ExtRefValidation, LevelFromZeroAtStageThreeGivesFalse)
{
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    fs.existing = {u""};
    EXPECT_FALSE(
        QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"/Vol/a.mov", 0, 1)})));
    EXPECT_EQ(fs.probes.back(), u"");
}

TEST(ExtRefValidation, AnExistingRelativePathAtStageThreeEndsTheWalkWithTrue)
{
    // Two levels up from C:\m stops at C:, a place that no earlier stage looks at.
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    const std::u16string relative = u"C:" + Sep() + u"1.mov";
    fs.existing = {relative};
    EXPECT_TRUE(QT::ValidateExternalReferences(
        kWindowsMovie, MapOf({ExtRef(u"1.mov", u"/V/1.mov", 2, 1), ExtRef(u"2.mov", u"/V/2.mov", 2, 1),
                              ExtRef(u"3.mov", u"/V/3.mov", 2, 1)})));
    EXPECT_EQ(fs.probes.back(), relative);
    EXPECT_FALSE(Probed(fs, u"3.mov"));
}

TEST(ExtRefValidation, AMissingRelativePathAtStageThreeEndsTheWalkWithFalse)
{
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    fs.existing = {u"C:\\m\\1.mov"};
    EXPECT_FALSE(QT::ValidateExternalReferences(
        kWindowsMovie, MapOf({ExtRef(u"1.mov", u"/V/1.mov", 2, 1), ExtRef(u"2.mov", u"/V/2.mov", 2, 1),
                              ExtRef(u"3.mov", u"/V/3.mov", 2, 1)})));
    EXPECT_EQ(fs.probes.back(), u"C:" + Sep() + u"2.mov");
    EXPECT_FALSE(Probed(fs, u"3.mov"));
}

TEST(ExtRefValidation, EmptyAliasPathSkipsStageOne)
{
    InjectedVolumes volumes({});
    ProbeRecorder fs;
    fs.existing = {u"C:\\m\\a.mov"};
    EXPECT_TRUE(QT::ValidateExternalReferences(kWindowsMovie, MapOf({ExtRef(u"a.mov", u"")})));
    EXPECT_EQ(fs.probes.front(), u"a.mov");
}

TEST(ExtRefValidation, BareFileNameIsFoundInTheCurrentFolder)
{
    InjectedVolumes volumes({});
    const std::filesystem::path here = MakeTempFolder();
    const std::filesystem::path movieFolder = MakeTempFolder();
    std::ofstream(here / "a.mov") << "x";
    const std::u16string movie = Wide(movieFolder / "movie.mov");
    const QT::ExternalReferenceMap references = MapOf({ExtRef(u"a.mov", u"/NoSuchVolume/a.mov")});
    {
        CurrentFolder current(here);
        EXPECT_TRUE(QT::ValidateExternalReferences(movie, references));
    }
    {
        CurrentFolder current(movieFolder);
        EXPECT_FALSE(QT::ValidateExternalReferences(movie, references));
    }
    std::error_code ignored; // cleanup only: a folder a test looked into may stay locked on Windows
    std::filesystem::remove_all(here, ignored);
    std::filesystem::remove_all(movieFolder, ignored);
}

TEST(ExtRefValidation, FileBesideARealMovieIsFound)
{
    InjectedVolumes volumes({});
    const std::filesystem::path folder = MakeTempFolder();
    const std::filesystem::path elsewhere = MakeTempFolder();
    std::filesystem::create_directory(folder / "clips");
    std::ofstream(folder / "clips" / "b.mov") << "x";
    CurrentFolder current(elsewhere);
    EXPECT_TRUE(QT::ValidateExternalReferences(Wide(folder / "movie.mov"),
                                               MapOf({ExtRef(u"b.mov", u"/Disk/x/b.mov", 0, 0, u"clips")})));
    std::error_code ignored; // cleanup only: a folder a test looked into may stay locked on Windows
    std::filesystem::remove_all(folder, ignored);
    std::filesystem::remove_all(elsewhere, ignored);
}
