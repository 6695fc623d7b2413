#include "audio/wav/format_tags.h"

#include <gtest/gtest.h>

#include <string>

using namespace vocarta;

TEST(FormatTags, UnknownTagsAndTheEndsOfTheRange) {
    // The registered names themselves show in the format descriptions checked by
    // the reader and writer tests; here the lookup at the edges of the table.
    EXPECT_STREQ(WaveFormatTagName(0x000C), "In Development / Unregistered");
    EXPECT_STREQ(WaveFormatTagName(0xFFFD), "In Development / Unregistered");
    EXPECT_STREQ(WaveFormatTagName(0xFFFF), "In Development / Unregistered");
    EXPECT_STREQ(WaveFormatTagName(0), "Microsoft Unknown Wave Format");
    EXPECT_GE(WaveFormatTagCount(), 220u);
    // Every tag has a name, and only unknown ones the unregistered text.
    int named = 0;
    for (uint32_t tag = 0; tag <= 0xFFFF; ++tag)
        named += std::string(WaveFormatTagName(uint16_t(tag))) != kUnregisteredTagName;
    EXPECT_EQ(std::size_t(named), WaveFormatTagCount() - 1);  // 0xFFFF names itself so
}
