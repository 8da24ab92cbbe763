#include <gtest/gtest.h>

#include <vector>

#include "AtomBuilder.h"
#include "QTAtomScan.h"
#include "QTByteRange.h"

using namespace qttest;
using QT::ChildAtom;
using QT::ChildAtomScanner;
using QT::Overrun;
using QT::ScanRules;
using QT::ShortAtom;

namespace
{

// Where each child the scan gives starts.
std::vector<uint32_t> Positions(ChildAtomScanner inScanner)
{
    std::vector<uint32_t> positions;
    ChildAtom child;
    while (inScanner.Next(child))
        positions.push_back(child.position);
    return positions;
}

ChildAtomScanner Over(const Bytes& inBytes, ScanRules inRules = {})
{
    return ChildAtomScanner::InBuffer(inBytes.data(), uint32_t(inBytes.size()), 0, inRules);
}

} // namespace

TEST(ChildAtomScanner, GivesEachChildInOrderWithItsSizeAndType)
{
    const Bytes bytes = Build({Atom("abcd").U32(1), Atom("efgh").Zeros(8)});
    ChildAtomScanner scanner = Over(bytes);
    ChildAtom child;
    ASSERT_TRUE(scanner.Next(child));
    EXPECT_EQ(child.position, 0u);
    EXPECT_EQ(child.size, 12u);
    EXPECT_EQ(child.type, Code("abcd"));
    EXPECT_EQ(child.End(), 12u);
    ASSERT_TRUE(scanner.Next(child));
    EXPECT_EQ(child.position, 12u);
    EXPECT_EQ(child.type, Code("efgh"));
    EXPECT_FALSE(scanner.Next(child));
    EXPECT_EQ(scanner.Position(), 28u);
}

TEST(ChildAtomScanner, ALastAtomOfEightBytesIsLookedAtOnlyWhenEightBytesAreEnough)
{
    const Bytes bytes = Build({Atom("abcd").U32(1), Atom("last")});
    EXPECT_EQ(Positions(Over(bytes)), (std::vector<uint32_t>{0}));
    EXPECT_EQ(Positions(Over(bytes, {.minBytesLeft = 8})), (std::vector<uint32_t>{0, 12}));
}

TEST(ChildAtomScanner, SizeZeroEndsTheScanWhateverTheRules)
{
    const Bytes bytes = Build({Atom("abcd").U32(1), Atom("zero").SizeWord(0).Zeros(8), Atom("efgh").U32(1)});
    EXPECT_EQ(Positions(Over(bytes)), (std::vector<uint32_t>{0}));
    EXPECT_EQ(Positions(Over(bytes, {.overrun = Overrun::Given})), (std::vector<uint32_t>{0}));
}

TEST(ChildAtomScanner, AShortSizeStepsByItsSizeOrEndsTheScan)
{
    // A size word of 4 steps into the middle of the header; from there the bytes read as a child
    // of size 12.
    const Bytes bytes = {0, 0, 0, 4, 0, 0, 0, 12, 'n', 'e', 'x', 't', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(Positions(Over(bytes)), (std::vector<uint32_t>{0, 4}));
    EXPECT_EQ(Positions(Over(bytes, {.shortAtom = ShortAtom::EndsScan})), (std::vector<uint32_t>{}));
}

TEST(ChildAtomScanner, AnOverrunEndsTheScanOrIsGiven)
{
    const Bytes bytes = Build({Atom("abcd").U32(1), Atom("long").SizeWord(100).Zeros(8)});
    EXPECT_EQ(Positions(Over(bytes)), (std::vector<uint32_t>{0}));
    ChildAtomScanner given = Over(bytes, {.overrun = Overrun::Given});
    ChildAtom child;
    ASSERT_TRUE(given.Next(child));
    ASSERT_TRUE(given.Next(child));
    EXPECT_EQ(child.size, 100u);
    EXPECT_TRUE(given.Overruns(child));
    EXPECT_FALSE(given.Next(child));
}

TEST(ChildAtomScanner, AContainerEndsItsChildrenAndMeasuresThem)
{
    const Bytes bytes = Build({Atom("abcd").U32(1), Atom("efgh").U32(1), Atom("ijkl").U32(1)});
    // Up to the end of the second child: the third is not visited.
    auto inner = ChildAtomScanner::InContainer(bytes.data(), uint32_t(bytes.size()), 0, 24);
    EXPECT_EQ(Positions(inner), (std::vector<uint32_t>{0, 12}));
    // A child that runs past the container's end ends the scan though the buffer holds it.
    auto cut = ChildAtomScanner::InContainer(bytes.data(), uint32_t(bytes.size()), 0, 20);
    EXPECT_EQ(Positions(cut), (std::vector<uint32_t>{0}));
}

TEST(ChildAtomScanner, ALimitBeyondTheBufferNeverReadsAHeaderOutsideIt)
{
    // A limit 8 bytes past the buffer, as the sample table walk uses: the last 4 bytes of the
    // buffer could start a child by the limit, but hold no header.
    Bytes bytes = Build({Atom("abcd").U32(1)});
    bytes.insert(bytes.end(), {0, 0, 0, 12});
    ChildAtomScanner scanner(bytes.data(), uint32_t(bytes.size()), 0, bytes.size() + 8, bytes.size() + 8);
    EXPECT_EQ(Positions(scanner), (std::vector<uint32_t>{0}));
}

TEST(ChildAtomScanner, PeekGivesAnInvalidHeaderWithoutMoving)
{
    const Bytes bytes = Build({Atom("trak").SizeWord(0).Zeros(8)});
    ChildAtomScanner scanner = Over(bytes);
    ChildAtom child;
    ASSERT_TRUE(scanner.Peek(child));
    EXPECT_EQ(child.type, Code("trak"));
    EXPECT_EQ(child.size, 0u);
    EXPECT_FALSE(scanner.Next(child));
    EXPECT_EQ(scanner.Position(), 0u);
}

TEST(ChildAtomScanner, MoveToGoesOnFromElsewhere)
{
    const Bytes bytes = Build({Atom("meta").Child(Atom("hdlr").U32(1)), Atom("efgh").U32(1)});
    ChildAtomScanner scanner = Over(bytes);
    ChildAtom child;
    ASSERT_TRUE(scanner.Next(child));
    scanner.MoveTo(child.position + 8);
    ASSERT_TRUE(scanner.Next(child));
    EXPECT_EQ(child.type, Code("hdlr"));
    ASSERT_TRUE(scanner.Next(child));
    EXPECT_EQ(child.type, Code("efgh"));
}

TEST(ChildAtomScanner, AHugeStartOrEndReadsNothing)
{
    const Bytes bytes = Build({Atom("abcd").U32(1)});
    ChildAtom child;
    ChildAtomScanner far(bytes.data(), uint32_t(bytes.size()), 0xFFFFFFF0u, 0xFFFFFFFFu, 0xFFFFFFFFu);
    EXPECT_FALSE(far.Peek(child));
    EXPECT_FALSE(far.Next(child));
}

TEST(ByteReader, ReadsBigEndianFieldsInOrder)
{
    const Bytes bytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                         0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0xFF, 0xFE};
    QT::ByteReader reader(bytes.data(), bytes.size());
    uint8_t u8 = 0;
    uint16_t u16 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    int16_t i16 = 0;
    ASSERT_TRUE(reader.U8(u8));
    ASSERT_TRUE(reader.U16(u16));
    ASSERT_TRUE(reader.U32(u32));
    ASSERT_TRUE(reader.Skip(1));
    const uint8_t* view = nullptr;
    ASSERT_TRUE(reader.Bytes(2, view));
    ASSERT_TRUE(reader.U8(u8));
    EXPECT_EQ(u16, 0x0203);
    EXPECT_EQ(u32, 0x04050607u);
    EXPECT_EQ(view, bytes.data() + 8);
    EXPECT_EQ(u8, 0x0B);
    ASSERT_TRUE(reader.I16(i16));
    EXPECT_EQ(i16, 0x0C0D);
    ASSERT_TRUE(reader.I16(i16));
    EXPECT_EQ(i16, -2);
    EXPECT_EQ(reader.Remaining(), 0u);
    EXPECT_FALSE(reader.U64(u64));
}

TEST(ByteReader, AReadPastTheEndReadsNothingAndTheReaderStaysFailed)
{
    const Bytes bytes = {0, 0, 0, 7, 0xAA, 0xBB};
    QT::ByteReader reader(bytes.data(), bytes.size());
    uint32_t word = 0;
    ASSERT_TRUE(reader.U32(word));
    uint32_t untouched = 0x12345678;
    EXPECT_FALSE(reader.U32(untouched));
    EXPECT_EQ(untouched, 0x12345678u);
    EXPECT_TRUE(reader.Failed());
    EXPECT_EQ(reader.Offset(), 4u);
    // The two bytes that are there are not given after a failure either.
    uint16_t half = 0;
    EXPECT_FALSE(reader.U16(half));
    EXPECT_EQ(half, 0u);
}

TEST(ByteReader, AHugeCountFailsWithoutWrapping)
{
    const Bytes bytes(16, 0);
    QT::ByteReader reader(bytes.data(), bytes.size());
    ASSERT_TRUE(reader.Skip(8));
    const uint8_t* view = nullptr;
    EXPECT_FALSE(reader.Bytes(SIZE_MAX - 4, view));
    EXPECT_EQ(view, nullptr);
}

TEST(ByteReader, ANullRangeReadsNothing)
{
    QT::ByteReader reader(nullptr, 100);
    uint8_t byte = 0;
    EXPECT_FALSE(reader.U8(byte));
    EXPECT_EQ(reader.Remaining(), 0u);
}
