#include <gtest/gtest.h>

#include "AtomBuilder.h"

using namespace qttest;

TEST(AtomBuilder, FillsInSizesOfNestedAtoms)
{
    const Bytes bytes = Atom("moov").Child(Atom("free").U32(7)).Build();
    ASSERT_EQ(bytes.size(), 20u);
    EXPECT_EQ(bytes[3], 20);
    EXPECT_EQ(bytes[11], 12);
    EXPECT_EQ(bytes[19], 7);
}

TEST(AtomBuilder, SizeWordOverrideReplacesOnlyTheSize)
{
    const Bytes bytes = Atom("abcd").U32(1).SizeWord(3).Build();
    EXPECT_EQ(bytes.size(), 12u);
    EXPECT_EQ(bytes[3], 3);
    EXPECT_EQ(bytes[4], 'a');
}

TEST(AtomBuilder, ExtendedSizeCountsTheLongHeader)
{
    const Bytes bytes = Atom("moov").Zeros(4).Extended().Build();
    ASSERT_EQ(bytes.size(), 20u);
    EXPECT_EQ(bytes[3], 1);
    EXPECT_EQ(bytes[15], 20);
}

TEST(AtomBuilder, MovieHeaderFieldsStandAtTheirOffsets)
{
    const Bytes v0 = Mvhd(600, 1234, 77).Build();
    ASSERT_EQ(v0.size(), 108u);
    EXPECT_EQ(v0[23], 600 & 0xFF);
    EXPECT_EQ(v0[27], 1234 & 0xFF);
    EXPECT_EQ(v0[91], 77);
    const Bytes v1 = Mvhd64(600, 1234, 77).Build();
    ASSERT_EQ(v1.size(), 120u);
    EXPECT_EQ(v1[31], 600 & 0xFF);
    EXPECT_EQ(v1[39], 1234 & 0xFF);
    EXPECT_EQ(v1[103], 77);
}
