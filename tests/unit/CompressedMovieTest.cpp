#include <algorithm>
#include <atomic>
#include <cstddef>
#include <optional>

#include <gtest/gtest.h>
#include <zlib.h>

#include "AtomBuilder.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "SifterProbe.h"
#include "TestFiles.h"

#if defined(__SANITIZE_ADDRESS__)
#define QTTEST_WATCH_ALLOCATIONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QTTEST_WATCH_ALLOCATIONS 1
#endif
#endif

#if defined(QTTEST_WATCH_ALLOCATIONS)
// Part of the sanitizer runtime's interface; not every compiler ships the header that declares it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*inMallocHook)(const volatile void*, size_t),
                                                         void (*inFreeHook)(const volatile void*));
#endif

using namespace qttest;

namespace
{

Bytes InnerMoov()
{
    return Atom("moov").Children({Mvhd(1000, 5000, 42), Trak(TrackSpec{})}).Build();
}

// A file whose moov holds only inCmov.
Bytes FileWith(const Atom& inCmov)
{
    return Build({Ftyp(), Atom("moov").Child(inCmov), Mdat()});
}

// inLevels cmov atoms, each holding a moov that holds the next; the innermost holds InnerMoov().
Bytes NestedFile(int inLevels)
{
    Bytes moov = InnerMoov();
    for (int level = 0; level < inLevels; ++level)
        moov = Atom("moov").Child(Cmov(moov)).Build();
    return Concat({Ftyp().Build(), moov, Mdat().Build()});
}

#if defined(QTTEST_WATCH_ALLOCATIONS)
std::atomic<bool> gWatching{false};
std::atomic<size_t> gLargest{0};

void OnAllocation(const volatile void*, size_t inSize)
{
    if (!gWatching.load(std::memory_order_relaxed))
        return;
    size_t seen = gLargest.load(std::memory_order_relaxed);
    while (inSize > seen && !gLargest.compare_exchange_weak(seen, inSize))
    {
    }
}

void OnRelease(const volatile void*) {}
#endif

// The largest single allocation made while the watch lives; known only under the address sanitizer,
// and nullopt elsewhere.
class AllocationWatch
{
public:
    AllocationWatch()
    {
#if defined(QTTEST_WATCH_ALLOCATIONS)
        static const bool installed =
            __sanitizer_install_malloc_and_free_hooks(&OnAllocation, &OnRelease) != 0;
        mInstalled = installed;
        gLargest = 0;
        gWatching = true;
#endif
    }
    ~AllocationWatch()
    {
#if defined(QTTEST_WATCH_ALLOCATIONS)
        gWatching = false;
#endif
    }

    std::optional<size_t> Largest() const
    {
#if defined(QTTEST_WATCH_ALLOCATIONS)
        if (mInstalled)
            return gLargest.load();
#endif
        return std::nullopt;
    }

private:
    [[maybe_unused]] bool mInstalled = false;
};

constexpr size_t kMiB = size_t(1) << 20;

} // namespace

TEST(CompressedMovie, ExpandsAndReportsOffsetZeroAndTheExpandedSize)
{
    const Bytes inner = InnerMoov();
    const Opened opened = OpenBytes(FileWith(Cmov(inner)));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), 0u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), inner.size());
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 1000u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 5000);
    EXPECT_EQ(opened.movie->GetMoviePosterTime(), 42u);
    EXPECT_EQ(opened.movie->GetTrackCount(), 1u);
}

TEST(CompressedMovie, ExpandsThroughAProviderToo)
{
    MemoryProvider provider(FileWith(Cmov(InnerMoov())));
    const Located located = LocateThroughProvider(provider, QT::kMoovAtom);
    ASSERT_EQ(located.result, 0u);
    EXPECT_EQ(located.movie->GetMovieAtomOffset(), 0u);
    EXPECT_EQ(located.movie->GetMovieTimeScale(), 1000u);
    EXPECT_TRUE(located.found);
    EXPECT_EQ(located.offset, Ftyp().Size());
}

TEST(CompressedMovie, HeaderBeforeCmovWinsAndCmovIsIgnored)
{
    const Atom moov = Atom("moov").Children({Mvhd(600, 1234), Cmov(InnerMoov()), Trak(TrackSpec{})});
    const Opened opened = OpenBytes(Build({Ftyp(), moov, Mdat()}));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 600u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 1234);
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), Ftyp().Size());
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), moov.Size());
}

TEST(CompressedMovie, StatedSizeTooSmallIsABufferErrorAndRefusesTheFile)
{
    const Bytes inner = InnerMoov();
    EXPECT_EQ(OpenBytes(FileWith(Cmov(inner, uint32_t(inner.size() - 1)))).result, QT::kQTErrNotAMovie);
}

TEST(CompressedMovie, ExpansionShorterThanStatedSucceedsWithTheShorterLength)
{
    const Bytes inner = InnerMoov();
    const Probe probe = ProbeMakeMovie(FileWith(Cmov(inner, uint32_t(inner.size() + 100))));
    ASSERT_EQ(probe.result, 0u);
    EXPECT_EQ(probe.sifter->movieAtomSize, inner.size());
    EXPECT_EQ(probe.sifter->movieAtomOffset, 0u);
    // The movie sees only what the stream filled, not the tail the stated size reserved.
    EXPECT_EQ(probe.movie->GetMovieAtomSize(), inner.size());
    EXPECT_EQ(probe.movie->GetMovieAtomOffset(), 0u);
    EXPECT_EQ(probe.movie->GetMovieTimeScale(), 1000u);
}

TEST(CompressedMovie, MethodOtherThanZlibIsRefused)
{
    const Bytes inner = InnerMoov();
    EXPECT_EQ(OpenBytes(FileWith(Cmov(inner, uint32_t(inner.size()), QT::FourCC("zlub")))).result,
              QT::kQTErrNotAMovie);
}

TEST(CompressedMovie, MissingOrEmptyCmvdIsRefused)
{
    const Atom dcom = Atom("dcom").U32(QT::kZlibCompression);
    EXPECT_EQ(OpenBytes(FileWith(Atom("cmov").Child(dcom))).result, QT::kQTErrNotAMovie);
    EXPECT_EQ(OpenBytes(FileWith(Atom("cmov").Children({dcom, Atom("cmvd")}))).result, QT::kQTErrNotAMovie);
}

TEST(CompressedMovie, LastDcomAndCmvdWin)
{
    const Bytes inner = InnerMoov();
    const Atom cmov =
        Atom("cmov").Children({Atom("dcom").Type("none"), Atom("cmvd").U32(9).Raw(Deflate({1, 2})),
                               Atom("dcom").U32(QT::kZlibCompression),
                               Atom("cmvd").U32(uint32_t(inner.size())).Raw(Deflate(inner))});
    EXPECT_EQ(OpenBytes(FileWith(cmov)).result, 0u);
}

// The expanded movie skips the compaction, so a free between mdhd and hdlr stays and the walk refuses it.
TEST(CompressedMovie, ExpandedMovieIsNotCompacted)
{
    const TrackSpec spec;
    const Atom mdia =
        Atom("mdia").Children({Mdhd(600, 1000), Free(8), Hdlr(QT::kVideoMediaType), Minf(spec)});
    const Bytes inner =
        Atom("moov").Children({Mvhd(600, 1000), Atom("trak").Children({Tkhd(spec), mdia})}).Build();
    EXPECT_EQ(OpenBytes(Concat({Ftyp().Build(), inner})).result, 0u);
    EXPECT_EQ(OpenBytes(FileWith(Cmov(inner))).result, QT::kQTErrNotAMovie);
}

TEST(CompressedMovie, StatedSizeAboveTwoHundredFiftySixMibIsRefusedWithoutAllocatingIt)
{
    const Bytes inner = InnerMoov();
    for (uint32_t stated : {0xFFFFFFFFu, 0x40000000u, 0x10000001u})
    {
        AllocationWatch watch;
        EXPECT_EQ(OpenBytes(FileWith(Cmov(inner, stated))).result, QT::kQTErrNotAMovie) << stated;
        EXPECT_LT(watch.Largest().value_or(0), kMiB) << stated;
    }
}

TEST(CompressedMovie, StatedSizeOfTwoHundredFiftySixMibOverATinyStreamExpandsToTheRealLength)
{
    const Bytes inner = InnerMoov();
    for (uint32_t stated : {0x08000000u, 0x10000000u})
    {
        AllocationWatch watch;
        const Probe probe = ProbeMakeMovie(FileWith(Cmov(inner, stated)));
        ASSERT_EQ(probe.result, 0u) << stated;
        EXPECT_EQ(probe.sifter->movieAtomSize, inner.size()) << stated;
        EXPECT_EQ(probe.movie->GetMovieAtomSize(), inner.size()) << stated;
        EXPECT_EQ(probe.movie->GetMovieTimeScale(), 1000u) << stated;
        // The buffer is bounded by what the stream can fill, not by what it states.
        EXPECT_LT(watch.Largest().value_or(0), 4 * kMiB) << stated;
    }
}

TEST(CompressedMovie, EightLevelsOfNestingExpand)
{
    const Bytes inner = InnerMoov();
    const Opened opened = OpenBytes(NestedFile(8));
    ASSERT_EQ(opened.result, 0u);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 1000u);
    EXPECT_EQ(opened.movie->GetMovieAtomSize(), inner.size());
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), 0u);
}

TEST(CompressedMovie, NineLevelsOfNestingAreRefused)
{
    EXPECT_EQ(OpenBytes(NestedFile(9)).result, QT::kQTErrNotAMovie);
}

// The cmvd is the last atom of the buffer; its payload cannot hold the expanded size word.
TEST(CompressedMovie, CmvdShorterThanFourBytesAtTheBufferEndIsRefused)
{
    for (size_t payload = 0; payload < 4; ++payload)
    {
        const Atom cmov = Atom("cmov").Children(
            {Atom("dcom").U32(QT::kZlibCompression), Atom("cmvd").Raw(Bytes(payload, 0x7F))});
        const Bytes file = Build({Ftyp(), Atom("moov").Child(cmov)});
        EXPECT_EQ(OpenBytes(file).result, QT::kQTErrNotAMovie) << payload;
        MemoryProvider provider(file);
        EXPECT_EQ(LocateThroughProvider(provider, QT::kMoovAtom).result, QT::kQTErrNotAMovie) << payload;
    }
}

// The dcom is the last atom of the buffer and too short to hold a method.
TEST(CompressedMovie, DcomCutAtTheBufferEndIsNotReadBeyond)
{
    const Bytes inner = InnerMoov();
    for (size_t payload = 1; payload < 4; ++payload)
    {
        const Atom cmov = Atom("cmov").Children({Atom("cmvd").U32(uint32_t(inner.size())).Raw(Deflate(inner)),
                                                 Atom("dcom").Raw(Bytes(payload, 'z'))});
        const Bytes file = Build({Ftyp(), Atom("moov").Child(cmov)});
        EXPECT_EQ(OpenBytes(file).result, QT::kQTErrNotAMovie) << payload;
    }
}
