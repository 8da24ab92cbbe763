#include <gtest/gtest.h>

#include "AliasAtoms.h"
#include "Capture.h"
#include "ProbeRecorder.h"
#include "QTExternalReferences.h"
#include "external_references/QTPathResolution.h"

using namespace qttest;

namespace
{

const std::u16string kMovie = u"/work/a/b/movie.mov";

struct Resolved
{
    bool result = false;
    std::vector<std::u16string> paths;
};

// Track 0 refers to inReference.
Resolved ResolveOne(const QT::ExtRefData& inReference)
{
    Resolved resolved;
    QT::ExternalReferenceMap all{{inReference.aliasPath, inReference}};
    QT::TrackReferenceMap tracks{{0, inReference.aliasPath}};
    resolved.result = QT::ResolveExternalReferences(kMovie, tracks, all, resolved.paths);
    return resolved;
}

} // namespace

TEST(ExtRefResolution, ExistingRecordedPathResolvesToItself)
{
    ProbeRecorder fs;
    fs.existing = {u"/other/x.mov"};
    const Resolved resolved = ResolveOne(ExtRef(u"x.mov", u"/other/x.mov", 1, 1));
    EXPECT_TRUE(resolved.result);
    EXPECT_EQ(resolved.paths, std::vector<std::u16string>{u"/other/x.mov"});
    // Asked once before the fallback and once as the answer.
    EXPECT_EQ(fs.probes, (std::vector<std::u16string>{u"/other/x.mov", u"/other/x.mov"}));
}

TEST(ExtRefResolution, MissingRecordedPathFallsBackToTheMoviesFolder)
{
    ProbeRecorder fs;
    fs.existing = {u"/work/a/b/x.mov"};
    const Resolved resolved = ResolveOne(ExtRef(u"x.mov", u"/gone/x.mov", 0, 0));
    EXPECT_TRUE(resolved.result);
    EXPECT_EQ(resolved.paths, std::vector<std::u16string>{u"/work/a/b/x.mov"});
    EXPECT_EQ(fs.probes, (std::vector<std::u16string>{u"/gone/x.mov", u"/work/a/b/x.mov"}));
}

TEST(ExtRefResolution, TheMovieItselfIsRejectedThenReachedByTheRelativeRule)
{
    ProbeRecorder fs;
    // The relative rule joins with the platform's separator: on Windows it names the movie with
    // a backslash, which exists as the movie does.
    const std::u16string relative = u"/work/a/b" + Sep() + u"movie.mov";
    fs.existing = {kMovie, relative};
    const Resolved resolved = ResolveOne(ExtRef(u"movie.mov", u"/disk/movie.mov", 1, 1));
    EXPECT_TRUE(resolved.result);
    EXPECT_EQ(resolved.paths, std::vector<std::u16string>{relative});
    EXPECT_EQ(fs.probes, (std::vector<std::u16string>{u"/disk/movie.mov", kMovie, relative}));
}

TEST(ExtRefResolution, LevelFromTwoGoesUpOneFolder)
{
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/Vol/p/f.mov", 2, 1)),
              u"/work/a" + Sep() + u"f.mov");
}

TEST(ExtRefResolution, LevelToThreeTakesTheLastTwoRecordedFolders)
{
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/Vol/p/q/r/f.mov", 1, 3)),
              u"/work/a/b" + Sep() + u"q" + Sep() + u"r" + Sep() + u"f.mov");
}

TEST(ExtRefResolution, RecordWithoutPathTagsGoesDownIntoItsFolderName)
{
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"f.mov", 1, 2, u"clips")),
              u"/work/a/b" + Sep() + u"clips" + Sep() + u"f.mov");
}

TEST(ExtRefResolution, TooFewRecordedFoldersReportAndGiveTheFolder)
{
    AssertCounter reports;
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"f.mov", 1, 3)), u"/work/a/b" + Sep());
    ASSERT_EQ(reports.calls.size(), 1u);
    EXPECT_EQ(reports.calls[0].condition, "aliasPathSegments.size() >= levelToCount");
}

TEST(ExtRefResolution, LevelFromZeroGivesEmptyAndResolutionFails)
{
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/v/f.mov", 0, 1)), u"");
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/v/f.mov", 1, 0)), u"");
    ProbeRecorder fs;
    fs.existing = {u""};
    const Resolved resolved = ResolveOne(ExtRef(u"f.mov", u"/v/f.mov", 0, 1));
    EXPECT_FALSE(resolved.result);
    EXPECT_TRUE(resolved.paths.empty());
}

TEST(ExtRefResolution, GoingUpPastTheTopStopsThere)
{
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/v/f.mov", 40, 1)), Sep() + u"f.mov");
    EXPECT_EQ(QT::ResolveRelativePath(u"C:\\m\\movie.mov", ExtRef(u"f.mov", u"/v/f.mov", 5, 1)),
              u"C:" + Sep() + u"f.mov");
}

TEST(ExtRefResolution, EmptySegmentsStayAndBecomeBareSeparators)
{
    // "//" in the recorded path is an empty folder name; it is kept as a bare separator.
    EXPECT_EQ(QT::ResolveRelativePath(kMovie, ExtRef(u"f.mov", u"/v/p//f.mov", 1, 3)),
              u"/work/a/b" + Sep() + u"p" + Sep() + Sep() + u"f.mov");
}

TEST(ExtRefResolution, BackslashesSplitRecordedFoldersToo)
{
    EXPECT_EQ(QT::ResolveRelativePath(u"C:\\m\\movie.mov", ExtRef(u"f.mov", u"D:\\x\\y\\f.mov", 1, 2)),
              u"C:\\m" + Sep() + u"y" + Sep() + u"f.mov");
}

TEST(ExtRefResolution, TrackIndicesOneAndFourGiveFiveSlots)
{
    ProbeRecorder fs;
    fs.existing = {u"/one.mov", u"/four.mov"};
    QT::ExternalReferenceMap all;
    QT::TrackReferenceMap tracks{{1, u"/one.mov"}, {4, u"/four.mov"}};
    std::vector<std::u16string> paths;
    EXPECT_TRUE(QT::ResolveExternalReferences(kMovie, tracks, all, paths));
    EXPECT_EQ(paths, (std::vector<std::u16string>{u"", u"/one.mov", u"", u"", u"/four.mov"}));
}

TEST(ExtRefResolution, StopsAtTheFirstMissingTrackKeepingWhatWasStored)
{
    ProbeRecorder fs;
    fs.existing = {u"/one.mov", u"/three.mov"};
    QT::ExternalReferenceMap all;
    QT::TrackReferenceMap tracks{{1, u"/one.mov"}, {2, u"/two.mov"}, {3, u"/three.mov"}};
    std::vector<std::u16string> paths{u"kept", u"", u"", u"", u"", u"", u"old"};
    EXPECT_FALSE(QT::ResolveExternalReferences(kMovie, tracks, all, paths));
    EXPECT_EQ(paths, (std::vector<std::u16string>{u"kept", u"/one.mov", u"", u"", u"", u"", u"old"}));
    EXPECT_EQ(std::count(fs.probes.begin(), fs.probes.end(), u"/three.mov"), 0);
}

TEST(ExtRefResolution, EmptyTrackMapGivesTrueAndLeavesThePaths)
{
    std::vector<std::u16string> paths{u"x"};
    EXPECT_TRUE(QT::ResolveExternalReferences(kMovie, {}, {}, paths));
    EXPECT_EQ(paths, std::vector<std::u16string>{u"x"});
}

TEST(ExtRefResolution, ComparisonsAreExact)
{
    // The same movie path in other case is not the movie, so it counts as found.
    ProbeRecorder fs;
    fs.existing = {u"/work/a/b/MOVIE.mov"};
    const Resolved resolved = ResolveOne(ExtRef(u"MOVIE.mov", u"/disk/MOVIE.mov", 0, 0));
    EXPECT_TRUE(resolved.result);
    EXPECT_EQ(resolved.paths, std::vector<std::u16string>{u"/work/a/b/MOVIE.mov"});
}

TEST(ExtRefResolution, MovieFoundByNameWithoutARecordIsAccepted)
{
    ProbeRecorder fs;
    fs.existing = {kMovie};
    QT::TrackReferenceMap tracks{{0, u"/disk/movie.mov"}};
    std::vector<std::u16string> paths;
    EXPECT_TRUE(QT::ResolveExternalReferences(kMovie, tracks, {}, paths));
    EXPECT_EQ(paths, std::vector<std::u16string>{kMovie});
}
