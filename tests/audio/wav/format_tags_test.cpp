#include "audio/wav/format_tags.h"

#include <gtest/gtest.h>

#include <string>

using namespace vocarta;

TEST(FormatTags, NamesOfRegisteredAndUnknownTags) {
    EXPECT_STREQ(WaveFormatTagName(1), "Microsoft PCM Format");
    EXPECT_STREQ(WaveFormatTagName(2), "Microsoft ADPCM Format");
    EXPECT_STREQ(WaveFormatTagName(3), "IEEE Float");
    EXPECT_STREQ(WaveFormatTagName(6), "Microsoft ALAW (CCITT A-Law)");
    EXPECT_STREQ(WaveFormatTagName(7), "Microsoft MULAW (CCITT u-Law)");
    EXPECT_STREQ(WaveFormatTagName(49), "Microsoft GSM 6.10");
    EXPECT_STREQ(WaveFormatTagName(0x55), "MPEG-1 Layer 3 (MP3)");
    EXPECT_STREQ(WaveFormatTagName(0xFFFE), "Extensible wave format");
    // Neighbours of registered tags and the ends of the range.
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
