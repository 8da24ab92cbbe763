#include <cstring>
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "QTFourCC.h"
#include "QTMovieAtomCompaction.h"
#include "QTResultCodes.h"
#include "SifterProbe.h"
#include "TestFiles.h"

using namespace qttest;

namespace
{

struct Compacted
{
    uint32_t status = 0;
    uint32_t removed = 0;
    Bytes kept; // the bytes that the load keeps: all but the last `removed`
};

// Compacts a copy of inMoov in a block of exactly its size, so that a read past it is caught.
Compacted Compact(const Bytes& inMoov, QT::LoadRoute inRoute)
{
    std::unique_ptr<uint8_t[]> work(new uint8_t[inMoov.size()]);
    std::memcpy(work.get(), inMoov.data(), inMoov.size());
    Compacted compacted;
    compacted.status = QT::CompactMovieAtom(work.get(), uint32_t(inMoov.size()), inRoute, compacted.removed);
    if (compacted.removed <= inMoov.size())
        compacted.kept.assign(work.get(), work.get() + (inMoov.size() - compacted.removed));
    return compacted;
}

bool IsTiledContainer(uint32_t inType)
{
    return inType == QT::kTrakAtom || inType == QT::kMdiaAtom || inType == QT::kMinfAtom ||
           inType == QT::kStblAtom || inType == QT::kEdtsAtom;
}

// True when moov's size is the buffer's and the children of every container fill it exactly.
testing::AssertionResult ContainersTile(const Bytes& inBuffer)
{
    if (inBuffer.size() < 8 || WordAt(inBuffer, 0) != inBuffer.size())
        return testing::AssertionFailure()
               << "moov size word differs from the buffer size " << inBuffer.size();
    std::function<testing::AssertionResult(size_t, size_t)> tile = [&](size_t inPos, size_t inEnd)
    {
        size_t pos = inPos;
        while (pos < inEnd)
        {
            const uint32_t size = inEnd - pos >= 8 ? WordAt(inBuffer, pos) : 0;
            if (size < 8 || size > inEnd - pos)
                return testing::AssertionFailure()
                       << "child at " << pos << " does not fit its parent ending at " << inEnd;
            const uint32_t type = WordAt(inBuffer, pos + 4);
            if (IsTiledContainer(type))
                if (auto inner = tile(pos + 8, pos + size); !inner)
                    return inner;
            pos += size;
        }
        return testing::AssertionSuccess();
    };
    return tile(8, inBuffer.size());
}

// Four bytes that no atom of these movies starts with, so that a read of them as a header shows.
Bytes Tail(size_t inLength)
{
    return Bytes(inLength, 0xFF);
}

} // namespace

TEST(Compaction, FreeBetweenMdhdAndHdlrIsDroppedAndSizesStayConsistent)
{
    const TrackSpec spec;
    const Atom mdia =
        Atom("mdia").Children({Mdhd(600, 1000), Free(8), Hdlr(QT::kVideoMediaType), Minf(spec)});
    const Atom trak = Atom("trak").Children({Tkhd(spec), mdia});
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), trak});
    const Bytes file = Build({Ftyp(), moov, Mdat()});

    const Probe probe = ProbeMakeMovie(file);
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.movie->GetTrackCount(), 1u);
    const Bytes buffer = probe.Buffer();
    EXPECT_EQ(buffer.size(), moov.Size() - 16);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "trak")), trak.Size() - 16);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "mdia")), mdia.Size() - 16);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "minf")), Minf(spec).Size());
    EXPECT_EQ(FindAtom(buffer, "free"), kNoAtom);
    EXPECT_EQ(FindAtom(buffer, "hdlr"), FindAtom(buffer, "mdhd") + Mdhd(600, 1000).Size());
    EXPECT_TRUE(ContainersTile(buffer));

    MemoryProvider provider(file);
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomSize(), moov.Size() - 16);
}

TEST(Compaction, TwoFreesInSuccessionAtTheEndOfStblAreBothRemoved)
{
    const TrackSpec spec;
    const Atom stbl = Stbl(spec).Children({Free(4), Free(0)});
    const Atom minf = MinfWithStbl(stbl);
    const Atom mdia = MdiaWithMinf(minf);
    const Atom trak = Atom("trak").Children({Tkhd(spec), mdia});
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), trak});

    const Probe probe = ProbeMakeMovie(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(probe.result, 0u);
    const Bytes buffer = probe.Buffer();
    EXPECT_EQ(buffer.size(), moov.Size() - 20);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "stbl")), stbl.Size() - 20);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "minf")), minf.Size() - 20);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "mdia")), mdia.Size() - 20);
    EXPECT_EQ(WordAt(buffer, FindAtom(buffer, "trak")), trak.Size() - 20);
    EXPECT_EQ(FindAtom(buffer, "free"), kNoAtom);
    EXPECT_TRUE(ContainersTile(buffer));
}

// The containers seen since the latest trak are a record, not a stack: a free behind a closed mdia
// shortens the mdia, minf and stbl that ended before it as well as the trak.
TEST(Compaction, FreeBehindAClosedMdiaAlsoShortensTheContainersThatEndedBeforeIt)
{
    const TrackSpec spec;
    const Atom trak = Atom("trak").Children({Tkhd(spec), Mdia(spec), Free(8)});
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), trak});

    const Compacted compacted = Compact(moov.Build(), QT::LoadRoute::File);
    ASSERT_EQ(compacted.status, 0u);
    EXPECT_EQ(compacted.removed, 16u);
    const Bytes& kept = compacted.kept;
    EXPECT_EQ(WordAt(kept, FindAtom(kept, "trak")), trak.Size() - 16);
    EXPECT_EQ(WordAt(kept, FindAtom(kept, "mdia")), Mdia(spec).Size() - 16);
    EXPECT_EQ(WordAt(kept, FindAtom(kept, "minf")), Minf(spec).Size() - 16);
    EXPECT_EQ(WordAt(kept, FindAtom(kept, "stbl")), Stbl(spec).Size() - 16);
    EXPECT_EQ(WordAt(kept, FindAtom(kept, "tkhd")), Tkhd(spec).Size());
}

TEST(Compaction, FreeAtMovieLevelChangesOnlyTheMovieSize)
{
    const TrackSpec spec;
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), Free(8), Trak(spec), Free(24)});

    const Probe probe = ProbeMakeMovie(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(probe.result, 0u);
    const Bytes buffer = probe.Buffer();
    EXPECT_EQ(buffer.size(), moov.Size() - 48);
    EXPECT_EQ(buffer, Atom("moov").Children({Mvhd(600, 1000), Trak(spec)}).Build());
}

TEST(Compaction, FreeInsideAtomsThatAreNotPassedThroughStays)
{
    const TrackSpec spec;
    const Atom edts = Atom("edts").Children({Elst({{.duration = 1000, .mediaTime = 0}}), Free(4)});
    const Atom trak = Atom("trak").Children({Tkhd(spec), edts, Mdia(spec)});
    const Atom udta = Atom("udta").Children({Free(0), Atom("abcd").U32(7)});
    const Atom moov = Atom("moov").Children({Mvhd(600, 1000), trak, udta});

    const Probe probe = ProbeMakeMovie(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(probe.result, 0u);
    const Bytes buffer = probe.Buffer();
    EXPECT_EQ(buffer, moov.Build());
    EXPECT_NE(FindAtom(buffer, "free", 1), kNoAtom);
    EXPECT_EQ(probe.movie->GetUserDataCount(), 2u);
}

TEST(Compaction, SkipAndWideAreOrdinaryAtoms)
{
    const TrackSpec spec;
    const Atom minf =
        Atom("minf").Children({Vmhd(), Atom("skip").Zeros(4), Atom("wide"), Dinf(), Stbl(spec)});
    const Atom moov = Atom("moov").Children(
        {Mvhd(600, 1000), Atom("wide"), Atom("trak").Children({Tkhd(spec), MdiaWithMinf(minf)})});

    const Probe probe = ProbeMakeMovie(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.Buffer(), moov.Build());
}

TEST(Compaction, ZeroSizeEndsTheFileRouteButFailsTheProviderRoute)
{
    const Atom zero = Atom("zero").Zeros(8).SizeWord(0);
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), zero}).Build();

    const Compacted viaFile = Compact(moov, QT::LoadRoute::File);
    EXPECT_EQ(viaFile.status, 0u);
    EXPECT_EQ(viaFile.removed, 0u);
    // A zero size would never move the provider route on.
    EXPECT_EQ(Compact(moov, QT::LoadRoute::Provider).status, QT::kQTStatusReadFailed);

    const Bytes file = Concat({Ftyp().Build(), moov});
    EXPECT_EQ(OpenBytes(file).result, 0u);
    MemoryProvider provider(file);
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
}

TEST(Compaction, FreeRunningPastTheBlockEndsTheFileRouteButFailsTheProviderRoute)
{
    const Atom overlong = Free(8).SizeWord(64);
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), overlong}).Build();

    const Compacted viaFile = Compact(moov, QT::LoadRoute::File);
    EXPECT_EQ(viaFile.status, 0u);
    EXPECT_EQ(viaFile.removed, 0u);
    EXPECT_EQ(Compact(moov, QT::LoadRoute::Provider).status, QT::kQTStatusReadFailed);

    const Bytes file = Concat({Ftyp().Build(), moov});
    EXPECT_EQ(OpenBytes(file).result, 0u);
    MemoryProvider provider(file);
    EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie);
}

TEST(Compaction, AtomRunningPastTheBlockBehindAFreeIsCutOffOnTheProviderRoute)
{
    const TrackSpec spec;
    const Atom junk = Atom("junk").Zeros(8).SizeWord(400);
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(spec), Free(8), junk}).Build();
    const Bytes wanted = Atom("moov").Children({Mvhd(600, 1000), Trak(spec)}).Build();

    const Compacted viaProvider = Compact(moov, QT::LoadRoute::Provider);
    EXPECT_EQ(viaProvider.status, 0u);
    EXPECT_EQ(viaProvider.removed, 16 + junk.Size());

    MemoryProvider provider(Concat({Ftyp().Build(), moov}));
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomSize(), wanted.size());
}

// With nothing dropped before it, the atom is stepped over as it stands and the pass is over.
TEST(Compaction, AtomRunningPastTheBlockWithNothingDroppedEndsTheProviderRoute)
{
    const Atom junk = Atom("junk").Zeros(8).SizeWord(400);
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{}), junk}).Build();
    for (QT::LoadRoute route : {QT::LoadRoute::File, QT::LoadRoute::Provider})
    {
        const Compacted compacted = Compact(moov, route);
        EXPECT_EQ(compacted.status, 0u);
        EXPECT_EQ(compacted.removed, 0u);
    }

    MemoryProvider provider(Concat({Ftyp().Build(), moov}));
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomSize(), moov.size());
}

// The file route stops at the atom without moving it; the end of the shortened buffer is then a
// stale piece of the file, which the walk steps through.
TEST(Compaction, AtomRunningPastTheBlockBehindAFreeStopsTheFileRouteWithAStaleTail)
{
    const TrackSpec spec;
    const Atom junk = Atom("junk").Zeros(8).SizeWord(400);
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(spec), Free(8), junk}).Build();

    const Compacted viaFile = Compact(moov, QT::LoadRoute::File);
    EXPECT_EQ(viaFile.status, 0u);
    EXPECT_EQ(viaFile.removed, 16u);

    const Probe probe = ProbeMakeMovie(Concat({Ftyp().Build(), moov}));
    ASSERT_EQ(probe.result, 0u);
    const Bytes buffer = probe.Buffer();
    ASSERT_EQ(buffer.size(), moov.size() - 16);
    const size_t staleAt = Atom("moov").Children({Mvhd(600, 1000), Trak(spec)}).Size();
    EXPECT_EQ(Bytes(buffer.begin() + std::ptrdiff_t(staleAt), buffer.end()),
              Bytes(moov.begin() + std::ptrdiff_t(staleAt), moov.end() - 16));
}

TEST(Compaction, HeaderIsNeverReadFromFewerThanEightRemainingBytes)
{
    for (size_t tail = 1; tail < 8; ++tail)
    {
        const Bytes moov = Atom("moov").Child(Mvhd(600, 1000)).Raw(Tail(tail)).Build();
        for (QT::LoadRoute route : {QT::LoadRoute::File, QT::LoadRoute::Provider})
        {
            const Compacted compacted = Compact(moov, route);
            EXPECT_EQ(compacted.status, 0u) << tail;
            EXPECT_EQ(compacted.removed, 0u) << tail;
        }

        const Bytes behindFree = Atom("moov").Children({Mvhd(600, 1000), Free(8)}).Raw(Tail(tail)).Build();
        for (QT::LoadRoute route : {QT::LoadRoute::File, QT::LoadRoute::Provider})
        {
            const Compacted compacted = Compact(behindFree, route);
            EXPECT_EQ(compacted.status, 0u) << tail;
            EXPECT_EQ(compacted.removed, 16u) << tail;
        }
    }
}

TEST(Compaction, ShortTailOfTheMovieAtomLoadsOnBothRoutes)
{
    const Bytes moov = Atom("moov").Children({Mvhd(600, 1000), Trak(TrackSpec{})}).Raw(Tail(5)).Build();
    const Bytes file = Concat({Ftyp().Build(), moov});
    const Opened opened = OpenBytes(file);
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), moov.size());

    MemoryProvider provider(file);
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomSize(), moov.size());
}

TEST(Compaction, MovieAtomOfEightBytesIsLeftAlone)
{
    const Compacted compacted = Compact(Atom("moov").Build(), QT::LoadRoute::Provider);
    EXPECT_EQ(compacted.status, 0u);
    EXPECT_EQ(compacted.removed, 0u);
}
