// The load's compaction on movie atoms that multiply containers and free atoms inside one trak.
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "QTMovieAtomCompaction.h"
#include "QTResultCodes.h"

namespace
{

using Bytes = std::vector<uint8_t>;

void Put32(Bytes& ioBytes, uint32_t inValue)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        ioBytes.push_back(uint8_t(inValue >> shift));
}

void Header(Bytes& ioBytes, uint32_t inSize, const char* inType)
{
    Put32(ioBytes, inSize);
    ioBytes.insert(ioBytes.end(), inType, inType + 4);
}

uint32_t Word(const uint8_t* inAt)
{
    return uint32_t(inAt[0]) << 24 | uint32_t(inAt[1]) << 16 | uint32_t(inAt[2]) << 8 | inAt[3];
}

struct Result
{
    uint32_t status = 0;
    uint32_t removed = 0;
    Bytes work;
};

Result Compact(const Bytes& inMoov)
{
    Result result;
    result.work = inMoov;
    result.status = QT::CompactMovieAtom(result.work.data(), uint32_t(result.work.size()),
                                         QT::LoadRoute::File, result.removed);
    return result;
}

} // namespace

// Each container is shortened by the free atoms dropped after it was entered and before its trak
// ends; those dropped behind the trak shorten nothing.
TEST(HostileCompaction, ContainersAreShortenedByTheFreeAtomsDroppedAfterThem)
{
    Bytes moov;
    Header(moov, 0, "moov");
    Header(moov, 8 + 8 + 16 + 8 + 8 + 8, "trak"); // mdia, free 16, minf, free 8, stbl
    Header(moov, 8, "mdia");
    Header(moov, 16, "free");
    moov.insert(moov.end(), 8, 0);
    Header(moov, 8, "minf");
    Header(moov, 8, "free");
    Header(moov, 8, "stbl");
    Header(moov, 8, "mdia"); // behind the trak
    Header(moov, 8, "free");
    const uint32_t size = uint32_t(moov.size());
    moov[0] = uint8_t(size >> 24);
    moov[3] = uint8_t(size);

    const Result result = Compact(moov);
    ASSERT_EQ(result.status, QT::kQTSuccess);
    EXPECT_EQ(result.removed, 32u);
    const uint8_t* at = result.work.data() + 8;
    EXPECT_EQ(Word(at), 56u - 24u);            // trak: both free atoms inside it
    EXPECT_EQ(Word(at + 8), uint32_t(8 - 24)); // mdia: both, wrapping
    EXPECT_EQ(Word(at + 16), uint32_t(8 - 8)); // minf: the second only
    EXPECT_EQ(Word(at + 24), 8u);              // stbl: none
    EXPECT_EQ(Word(at + 32), 8u);              // the mdia behind the trak: none
    EXPECT_EQ(std::memcmp(at + 36, "mdia", 4), 0);
}

// A trak of 2^19 empty containers and then as many free atoms: each container takes off all of
// them. Shortening every container at every free atom would take 2^38 steps, minutes rather than
// milliseconds.
TEST(HostileCompaction, ManyContainersAndManyFreeAtomsInOneTrak)
{
    constexpr uint32_t kCount = 1u << 19;
    Bytes moov;
    moov.reserve(16 + 16ull * kCount + 8);
    Header(moov, 0, "moov");
    Header(moov, 8 + 16 * kCount, "trak");
    for (uint32_t i = 0; i < kCount; ++i)
        Header(moov, 8, i % 2 ? "mdia" : "stbl");
    for (uint32_t i = 0; i < kCount; ++i)
        Header(moov, 8, "free");
    const uint32_t size = uint32_t(moov.size());
    for (int i = 0; i < 4; ++i)
        moov[size_t(i)] = uint8_t(size >> (24 - 8 * i));

    const Result result = Compact(moov);
    ASSERT_EQ(result.status, QT::kQTSuccess);
    EXPECT_EQ(result.removed, 8u * kCount);
    EXPECT_EQ(Word(result.work.data() + 8), 8u + 8u * kCount);
    for (uint32_t i = 0; i < kCount; ++i)
        ASSERT_EQ(Word(result.work.data() + 16 + 8ull * i), uint32_t(8 - 8 * kCount)) << i;
}
