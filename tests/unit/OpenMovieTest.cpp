#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "TestFiles.h"

using namespace qttest;

TEST(OpenMovie, SimpleMovieOpensWithItsHeaderFacts)
{
    const Opened opened = OpenBytes(SimpleMovie({TrackSpec{}}, 600, 1234));
    ASSERT_EQ(opened.result, 0u);
    ASSERT_TRUE(opened.movie);
    EXPECT_EQ(opened.movie->GetMovieTimeScale(), 600u);
    EXPECT_EQ(opened.movie->GetMovieDuration(), 1234);
    EXPECT_EQ(opened.movie->GetTrackCount(), 1u);
    EXPECT_EQ(opened.movie->GetMovieAtomOffset(), Ftyp().Size());
}
