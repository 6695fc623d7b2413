#include "toolkit/text.h"

#include <gtest/gtest.h>

using namespace vocarta;

TEST(Text, CutsAtTheBufferLimitAndComparesWithoutCase) {
    std::string long300(300, 'x');
    EXPECT_EQ(CutText(long300).size(), 259u);
    EXPECT_TRUE(EqualsNoCase("-RECORD", "-record"));
    EXPECT_FALSE(EqualsNoCase("-record", "-recordfile"));
    EXPECT_TRUE(EndsWithNoCase("song.WAV", ".wav"));
    EXPECT_EQ(TrimBlanks("  a b \r\n"), "a b");
}
