#include "audio/codecs/flac_sink.h"

#include <gtest/gtest.h>

#include <random>

#include "support/audio_test_util.h"
#include "support/temp_dir.h"
#include "toolkit/lfile.h"

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
    ASSERT_TRUE(sink->Close());

    Tool({"flac", "-t", "-s", path});
    EXPECT_EQ(Soxi("-r", path), "48000");
    EXPECT_EQ(Soxi("-c", path), "1");
    EXPECT_EQ(Soxi("-b", path), "24");
    EXPECT_EQ(Soxi("-s", path), "96000");
    std::vector<float> pcm = Decode(path);
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
        std::vector<float> pcm = Decode(path);
        ASSERT_EQ(pcm.size(), audio.size());
        EXPECT_NEAR(pcm[1000], 1.0f, 1e-4);
        EXPECT_NEAR(pcm[1002], -1.0f, 1e-4);
    }
    EXPECT_LT(sizes[1], sizes[0]) << "level 8 packs smaller than level 0";
}
