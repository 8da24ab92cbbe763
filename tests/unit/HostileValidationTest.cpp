// Validation of recorded POSIX paths made of many "/./" and "//".
#include <gtest/gtest.h>

#include <string>

#include "InjectedVolumes.h"
#include "ProbeRecorder.h"
#include "QTExternalReferences.h"

using namespace qttest;

namespace
{

const std::u16string kMovie = u"C:\\m\\movie.mov";

// The one probe on the volume that a reference of inAliasPath leads to.
std::u16string VolumeProbe(const std::u16string& inAliasPath)
{
    InjectedVolumes volumes({Volume(u"E:\\", u"archive")});
    ProbeRecorder fs;
    QT::ExternalReferenceMap references;
    references.emplace(inAliasPath, QT::ExtRefData{u"a.mov", u"", inAliasPath, 0, 0});
    (void)QT::ValidateExternalReferences(kMovie, references);
    return fs.probes.empty() ? u"" : fs.probes.front();
}

std::u16string Repeated(const std::u16string& inText, size_t inTimes)
{
    std::u16string text;
    for (size_t i = 0; i < inTimes; ++i)
        text += inText;
    return text;
}

} // namespace

// Runs of both patterns, next to each other and overlapping, come out as erasing the first
// occurrence again and again would leave them.
TEST(HostileValidation, RunsOfDotSegmentsAndDoubleSlashesCollapse)
{
    EXPECT_EQ(VolumeProbe(u"/Archive/././/clips///a.mov"), u"E:\\clips" + Sep() + u"a.mov");
    EXPECT_EQ(VolumeProbe(u"/Archive//././/clips/./a.mov"), u"E:\\clips" + Sep() + u"a.mov");
    // "/../" is no pattern: it stays, and so does a dot that no slash follows.
    EXPECT_EQ(VolumeProbe(u"/Archive/../x/.a.mov"), u"E:\\.." + Sep() + u"x" + Sep() + u".a.mov");
}

// 100,000 of each: erasing one occurrence at a time and searching again from the front would move
// the whole path for each, some 10^10 units.
TEST(HostileValidation, ManyDotSegmentsAndDoubleSlashes)
{
    const std::u16string path =
        u"/Archive" + Repeated(u"/.", 100000) + u"/clips" + Repeated(u"/", 100000) + u"/a.mov";
    EXPECT_EQ(VolumeProbe(path), u"E:\\clips" + Sep() + u"a.mov");
}
