// Our WAV files as an independent program sees them: soxi reports the rate,
// channels and length we wrote, and sox decodes a 1 kHz tone back at 1 kHz and
// its level. Our G.711 coder matches sox's on every input.

#include <gtest/gtest.h>

#include <cmath>

#include "audio/wav/g711.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(WavSox, SoxReadsEveryCodecWithRateChannelsLengthAndTone) {
    TempDir dir;
    struct Case {
        uint16_t tag, channels, bits;
        uint32_t rate;
        double levelDb;  // how far the decoded RMS may stray from the tone's
        const char* encoding;
    } cases[] = {
        {1, 1, 8, 44100, 0.1, "Unsigned Integer PCM"},
        {1, 2, 16, 44100, 0.01, "Signed Integer PCM"},
        {1, 2, 24, 48000, 0.01, "Signed Integer PCM"},
        {1, 2, 32, 96000, 0.01, "Signed Integer PCM"},
        {3, 2, 32, 44100, 0.01, "Floating Point PCM"},
        {6, 2, 8, 8000, 0.1, "A-law"},
        {7, 1, 8, 22050, 0.1, "u-law"},
        {49, 1, 0, 8000, 1.5, "GSM"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.encoding + std::string(" ") + std::to_string(c.bits));
        std::string path = dir.File("tone.wav");
        const uint64_t frames = 2 * c.rate;  // a whole number of GSM blocks at 8000 Hz
        ASSERT_TRUE(WriteWav(path, Format(c.tag, c.rate, c.channels, c.bits),
                             Tone(1000, 0.5, c.rate, c.channels, frames)));
        EXPECT_EQ(Soxi("-r", path), std::to_string(c.rate));
        EXPECT_EQ(Soxi("-c", path), std::to_string(c.channels));
        EXPECT_EQ(Soxi("-s", path), std::to_string(frames));
        EXPECT_NE(Soxi("-e", path).find(c.encoding), std::string::npos);

        auto decoded = Decode(path);
        ASSERT_EQ(decoded.size(), frames * c.channels);
        ToneMeasure tone = MeasureTone(decoded, c.channels, c.rate);
        EXPECT_NEAR(tone.hz, 1000.0, 1.0);
        EXPECT_NEAR(20 * std::log10(tone.rms / (0.5 / std::sqrt(2.0))), 0.0, c.levelDb);
    }
}

TEST(WavSox, G711MatchesSoxOnEverySample) {
    TempDir dir;
    std::string linear;
    for (int v = -32768; v < 32768; ++v) linear += std::string{char(v & 0xFF), char((v >> 8) & 0xFF)};
    ASSERT_TRUE(WriteFile(dir.File("all.raw"), linear));
    std::string codes;
    for (int c = 0; c < 256; ++c) codes += char(c);
    ASSERT_TRUE(WriteFile(dir.File("codes.raw"), codes));
    for (bool mu : {false, true}) {
        SCOPED_TRACE(mu ? "mu-law" : "A-law");
        const std::string encoding = mu ? "mu-law" : "a-law";
        Tool({"sox", "-D", "-t", "raw", "-r", "8000", "-e", "signed", "-b", "16", "-c", "1",
              dir.File("all.raw"), "-t", "raw", "-e", encoding, "-b", "8", dir.File("enc.raw")});
        std::string sox = ReadFile(dir.File("enc.raw"));
        ASSERT_EQ(sox.size(), 65536u);
        // G.711 codes 13-bit (A-law) or 14-bit (µ-law) samples. On inputs that
        // are exact samples of that width ours and sox's agree everywhere. Between
        // them the 16-bit input is cut down (floor) first, as the ITU reference
        // coder does, where sox cuts the magnitude instead: ours must then
        // equal the code of the sample below.
        const int step = mu ? 4 : 8;
        int mismatches = 0;
        for (int v = -32768; v < 32768; ++v) {
            uint8_t ours = mu ? wav::LinearToMuLaw(int16_t(v)) : wav::LinearToALaw(int16_t(v));
            int below = v - ((v % step) + step) % step;
            uint8_t expected = below == v ? uint8_t(sox[size_t(v + 32768)])
                                          : (mu ? wav::LinearToMuLaw(int16_t(below))
                                                : wav::LinearToALaw(int16_t(below)));
            if (ours != expected && ++mismatches <= 5)
                ADD_FAILURE() << "input " << v << ": ours " << int(ours) << ", expected "
                              << int(expected);
        }
        EXPECT_EQ(mismatches, 0);

        Tool({"sox", "-t", "raw", "-r", "8000", "-e", encoding, "-b", "8", "-c", "1",
              dir.File("codes.raw"), "-t", "raw", "-e", "signed", "-b", "16", dir.File("dec.raw")});
        std::string decoded = ReadFile(dir.File("dec.raw"));
        ASSERT_EQ(decoded.size(), 512u);
        for (int c = 0; c < 256; ++c) {
            int16_t theirs = int16_t(uint8_t(decoded[2 * c]) | (uint8_t(decoded[2 * c + 1]) << 8));
            int16_t ours = mu ? wav::MuLawToLinear(uint8_t(c)) : wav::ALawToLinear(uint8_t(c));
            EXPECT_EQ(ours, theirs) << "code " << c;
        }
    }
}
