// The host's in-place file stream, through which the fixer writes its four bytes.
#include <gtest/gtest.h>

#include <filesystem>

#include "MovieLayout.h"
#include "TestFiles.h"
#include "tenacore/filesupport.h"

using namespace qttest;
using tenacore::filesupport::File;
using tenacore::filesupport::FileError;
using tenacore::filesupport::OPlatformByteStream;
using tenacore::filesupport::StreamStep;

namespace
{

const Bytes kTen = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};

} // namespace

TEST(FixerStream, OverwritesBytesWhereTheyStandAndKeepsTheLength)
{
    TempFile file(kTen);
    {
        const File target(file.WidePath(), File::kLocalFile);
        OPlatformByteStream stream(target, OPlatformByteStream::kWriteInPlace);
        stream.CurPos(3);
        stream.WriteBlock("abc", 3);
        stream.WriteBlock("d", 1);
    }
    EXPECT_EQ(ReadFileBytes(file.Path()), (Bytes{'0', '1', '2', 'a', 'b', 'c', 'd', '7', '8', '9'}));
}

TEST(FixerStream, NeverCreatesAFile)
{
    const auto folder = MakeTempFolder();
    const auto path = folder / "absent.mov";
    const File target(Wide(path), File::kLocalFile);
    EXPECT_THROW(OPlatformByteStream(target, OPlatformByteStream::kWriteInPlace), FileError);
    EXPECT_FALSE(std::filesystem::exists(path));
    std::filesystem::remove_all(folder);
}

TEST(FixerStream, NeverMakesTheFileLonger)
{
    TempFile file(kTen);
    {
        const File target(file.WidePath(), File::kLocalFile);
        OPlatformByteStream stream(target, OPlatformByteStream::kWriteInPlace);
        EXPECT_THROW(stream.CurPos(11), FileError);
        EXPECT_THROW(stream.CurPos(-1), FileError);
        stream.CurPos(8);
        EXPECT_THROW(stream.WriteBlock("abc", 3), FileError);
        stream.CurPos(10);
        EXPECT_THROW(stream.WriteBlock("a", 1), FileError);
    }
    EXPECT_EQ(ReadFileBytes(file.Path()), kTen);
}

TEST(FixerStream, AFolderIsNoFileToWrite)
{
    const auto folder = MakeTempFolder();
    const File target(Wide(folder), File::kLocalFile);
    EXPECT_THROW(OPlatformByteStream(target, OPlatformByteStream::kWriteInPlace), FileError);
    std::filesystem::remove_all(folder);
}

TEST(FixerStream, OnlyTheLocalStorageTypeAndTheInPlaceModeAreKnown)
{
    TempFile file(kTen);
    EXPECT_THROW(File(file.WidePath(), 1), FileError);
    const File target(file.WidePath(), File::kLocalFile);
    EXPECT_THROW(OPlatformByteStream(target, 0), FileError);
    EXPECT_EQ(ReadFileBytes(file.Path()), kTen);
}

TEST(FixerStream, AnInjectedFailureFailsItsStepOnlyAndIsRemovedAgain)
{
    TempFile file(kTen);
    const File target(file.WidePath(), File::kLocalFile);
    auto previous = tenacore::filesupport::SetFailureInjector([](StreamStep inStep)
                                                              { return inStep == StreamStep::Write; });
    {
        OPlatformByteStream stream(target, OPlatformByteStream::kWriteInPlace);
        stream.CurPos(0);
        EXPECT_THROW(stream.WriteBlock("a", 1), FileError);
    }
    tenacore::filesupport::SetFailureInjector(previous);
    EXPECT_EQ(ReadFileBytes(file.Path()), kTen);
    OPlatformByteStream stream(target, OPlatformByteStream::kWriteInPlace);
    stream.CurPos(0);
    EXPECT_NO_THROW(stream.WriteBlock("a", 1));
}
