#include "audio/codecs/mp3_sink.h"

#include <gtest/gtest.h>

#include "codec_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string Mpg123Verbose(const std::string& path) {
    ToolResult r = RunTool({"mpg123", "-t", "-v", path}, true);
    EXPECT_EQ(r.status, 0) << r.out;
    return r.out;
}

// The MPEG header's protection bit: clear when every frame carries a CRC.
bool FirstFrameHasCrc(const std::string& path) {
    std::string bytes = ReadFile(path);
    return bytes.size() > 2 && (uint8_t(bytes[1]) & 1) == 0;
}

}  // namespace

TEST(Mp3Sink, ConstantBitRateFilePlaysItsToneInOutsideDecoders) {
    TempDir dir;
    const std::string path = dir.File("cbr.mp3");
    Mp3Settings s;
    s.cbrBitRate = 128;
    s.channelMode = kMp3Joint;
    std::string error;
    auto sink = OpenMp3Sink(path, s, 44100, 2, &error);
    ASSERT_TRUE(sink) << error;
    ASSERT_TRUE(WriteTone(*sink, 1000, 0.5, 3.0));
    ASSERT_TRUE(sink->Close());

    std::string verbose = Mpg123Verbose(path);
    EXPECT_NE(verbose.find("cbr128"), std::string::npos) << verbose;
    EXPECT_NE(verbose.find("j-s"), std::string::npos) << verbose;
    EXPECT_FALSE(FirstFrameHasCrc(path));
    EXPECT_EQ(Soxi("-r", path), "44100");
    EXPECT_EQ(Soxi("-c", path), "2");

    // The LAME tag written at Close gives players the exact length back.
    int status = 0;
    std::vector<float> pcm = DecodeWithMpg123(path, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(pcm.size() / 2, 3u * 44100);
    ToneMeasure tone = MeasureTone(pcm, 2, 44100);
    EXPECT_NEAR(tone.hz, 1000, 2);
    EXPECT_NEAR(tone.peak, 0.5, 0.05);
}

TEST(Mp3Sink, VariableBitRateMonoAndCrcReachTheFile) {
    TempDir dir;
    const std::string path = dir.File("vbr.mp3");
    Mp3Settings s;
    s.constantBitRate = false;
    s.vbrMinBitRate = 64;
    s.vbrMaxBitRate = 256;
    s.vbrQuality = 2;
    s.channelMode = kMp3Mono;
    s.errorProtection = true;
    std::string error;
    auto sink = OpenMp3Sink(path, s, 44100, Mp3ChannelsFor(s), &error);
    ASSERT_TRUE(sink) << error;
    EXPECT_EQ(sink->Channels(), 1);
    ASSERT_TRUE(WriteTone(*sink, 440, 0.25, 2.0));
    ASSERT_TRUE(sink->Close());

    std::string verbose = Mpg123Verbose(path);
    EXPECT_NE(verbose.find(" vbr "), std::string::npos) << verbose;
    EXPECT_NE(verbose.find("mono"), std::string::npos) << verbose;
    EXPECT_TRUE(FirstFrameHasCrc(path));
    std::vector<float> pcm = DecodeWithMpg123(path);
    EXPECT_EQ(pcm.size(), 2u * 44100);
    ToneMeasure tone = MeasureTone(pcm, 1, 44100);
    EXPECT_NEAR(tone.hz, 440, 1);
    EXPECT_NEAR(tone.peak, 0.25, 0.03);
}
