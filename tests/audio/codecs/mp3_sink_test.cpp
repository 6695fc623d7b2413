#include "audio/codecs/mp3_sink.h"

#include <gtest/gtest.h>

#include "support/audio_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

// The settings show in what mpg123 reports of the file, and the LAME tag written
// at Close gives the decoder the exact length back.
TEST(Mp3Sink, SettingsReachTheFileAndItsTonePlays) {
    TempDir dir;
    Mp3Settings cbr;
    cbr.cbrBitRate = 128;
    cbr.channelMode = kMp3Joint;
    Mp3Settings vbr;
    vbr.constantBitRate = false;
    vbr.vbrMinBitRate = 64;
    vbr.vbrMaxBitRate = 256;
    vbr.vbrQuality = 2;
    vbr.channelMode = kMp3Mono;
    vbr.errorProtection = true;
    struct {
        Mp3Settings settings;
        unsigned channels;
        const char *rate, *mode;  // as mpg123 -v prints them
        double hz, amplitude, peakTolerance, seconds;
    } cases[] = {{cbr, 2, "cbr128", "j-s", 1000, 0.5, 0.05, 3.0},
                 {vbr, 1, " vbr ", "mono", 440, 0.25, 0.03, 2.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rate);
        const std::string path = dir.File("tone.mp3");
        std::string error;
        auto sink = OpenMp3Sink(path, c.settings, 44100, Mp3ChannelsFor(c.settings), &error);
        ASSERT_TRUE(sink) << error;
        EXPECT_EQ(sink->Channels(), c.channels);
        ASSERT_TRUE(WriteTone(*sink, c.hz, c.amplitude, c.seconds));
        ASSERT_TRUE(sink->Close());

        std::string verbose = Tool({"mpg123", "-t", "-v", path});
        EXPECT_NE(verbose.find(c.rate), std::string::npos) << verbose;
        EXPECT_NE(verbose.find(c.mode), std::string::npos) << verbose;
        // The MPEG header's protection bit is clear when every frame carries a CRC.
        std::string bytes = ReadFile(path);
        ASSERT_GT(bytes.size(), 2u);
        EXPECT_EQ((uint8_t(bytes[1]) & 1) == 0, c.settings.errorProtection);
        EXPECT_EQ(Soxi("-r", path), "44100");
        EXPECT_EQ(Soxi("-c", path), std::to_string(c.channels));

        std::vector<float> pcm = Decode(path);
        EXPECT_EQ(pcm.size(), uint64_t(c.seconds * 44100) * c.channels);
        ToneMeasure tone = MeasureTone(pcm, c.channels, 44100);
        EXPECT_NEAR(tone.hz, c.hz, c.hz / 500);
        EXPECT_NEAR(tone.peak, c.amplitude, c.peakTolerance);
    }
}
