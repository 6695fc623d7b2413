#include <gtest/gtest.h>

#include <random>

#include "audio/codecs/flac_sink.h"
#include "codec_test_util.h"
#include "support/temp_dir.h"
#include "toolkit/lfile.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(FlacSink, DepthRateAndToneSurviveOutsideDecoders) {
    TempDir dir;
    const std::string path = dir.File("tone.flac");
    FlacSettings s;
    s.bitDepth = 24;
    s.compression = 8;
    std::string error;
    auto sink = OpenFlacSink(path, s, 48000, 1, &error);
    ASSERT_TRUE(sink) << error;
    ASSERT_TRUE(WriteTone(*sink, 440, 0.25, 2.0));
    EXPECT_FALSE(sink->TruncateTo(LSoundTime(500))) << "FLAC cannot be cut back";
    ASSERT_TRUE(sink->Close());

    ToolResult test = RunTool({"flac", "-t", "-s", path});
    EXPECT_EQ(test.status, 0) << test.err;
    EXPECT_EQ(Soxi("-r", path), "48000");
    EXPECT_EQ(Soxi("-c", path), "1");
    EXPECT_EQ(Soxi("-b", path), "24");
    EXPECT_EQ(Soxi("-s", path), "96000");
    std::vector<float> pcm = DecodeWithSox(path);
    ASSERT_EQ(pcm.size(), 96000u);
    ToneMeasure tone = MeasureTone(pcm, 1, 48000);
    EXPECT_NEAR(tone.hz, 440, 0.5);
    EXPECT_NEAR(tone.peak, 0.25, 0.001);
    // Lossless: a sample far in comes back within one step of 24 bits.
    EXPECT_NEAR(pcm[50000], Tone(440, 0.25, 48000, 1, 1, 50000)[0], 2.0 / (1 << 23));
}

TEST(FlacSink, CompressionLevelAndOverloadedSamples) {
    TempDir dir;
    std::mt19937 random(7);
    std::normal_distribution<float> noise(0, 0.05f);
    std::vector<float> audio = Tone(300, 0.3, 44100, 2, 44100 * 2);
    for (float& v : audio) v += noise(random);
    audio[1000] = 4.0f;  // far beyond full scale: clipped, not wrapped
    audio[1002] = -4.0f;
    int64_t sizes[2] = {};
    for (int level : {0, 8}) {
        FlacSettings s;
        s.compression = level;
        const std::string path = dir.File("level" + std::to_string(level) + ".flac");
        std::string error;
        auto sink = OpenFlacSink(path, s, 44100, 2, &error);
        ASSERT_TRUE(sink) << error;
        ASSERT_EQ(sink->Write(audio.data(), audio.size() / 2), int64_t(audio.size() / 2));
        ASSERT_TRUE(sink->Close());
        sizes[level / 8] = LFile::GetFileSizeBytes64(path);
        std::vector<float> pcm = DecodeWithSox(path);
        ASSERT_EQ(pcm.size(), audio.size());
        EXPECT_NEAR(pcm[1000], 1.0f, 1e-4);
        EXPECT_NEAR(pcm[1002], -1.0f, 1e-4);
    }
    EXPECT_LT(sizes[1], sizes[0]) << "level 8 packs smaller than level 0";
}

TEST(FlacSink, TakesTheDeviceFormatBeforeTheFirstFrameOnly) {
    TempDir dir;
    const std::string path = dir.File("device.flac");
    std::string error;
    auto sink = OpenFlacSink(path, FlacSettings(), 44100, 2, &error);
    ASSERT_TRUE(sink) << error;
    EXPECT_FALSE(sink->SetFormat(44100, 9)) << "FLAC holds eight channels at most";
    ASSERT_TRUE(sink->SetFormat(32000, 1));
    ASSERT_TRUE(WriteTone(*sink, 1000, 0.5, 1.0));
    EXPECT_FALSE(sink->SetFormat(44100, 2));
    ASSERT_TRUE(sink->Close());
    EXPECT_EQ(RunTool({"flac", "-t", "-s", path}).status, 0);
    EXPECT_EQ(Soxi("-r", path), "32000");
    EXPECT_EQ(Soxi("-c", path), "1");
    EXPECT_EQ(Soxi("-s", path), "32000");

    EXPECT_FALSE(OpenFlacSink(dir.File("no/such/folder/x.flac"), FlacSettings(), 44100, 2, &error));
    EXPECT_NE(error.find("Cannot create"), std::string::npos) << error;
    EXPECT_FALSE(OpenFlacSink(dir.File("nine.flac"), FlacSettings(), 44100, 9, &error));
    EXPECT_FALSE(FileExists(dir.File("nine.flac"))) << "a refused sink leaves no file";
}
