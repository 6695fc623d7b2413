// Our WAV files as an independent program and our own reader see them, and our
// G.711 coder against sox's on every input.

#include <gtest/gtest.h>

#include <cmath>

#include "audio/wav/g711.h"
#include "audio/wav/wav_reader.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

// Each codec's file as sox sees it (rate, channels, length, encoding, a 1 kHz
// tone at its frequency and level) and as our reader does (description, length,
// the samples written, seeking).
TEST(WavCodecs, EachCodecReadsBackInSoxAndInOurReader) {
    TempDir dir;
    struct Case {
        uint16_t tag, channels, bits;
        uint32_t rate;
        double levelDb;   // how far sox's RMS may stray from the tone's
        float tolerance;  // of our reader's samples; GSM is lossy: its level only
        const char *encoding, *description;
    } cases[] = {
        {1, 1, 8, 44100, 0.1, 1.01f / 127, "Unsigned Integer PCM",
         "Microsoft PCM Format, 8 bit, 44100 Hz, Mono"},
        {1, 2, 16, 44100, 0.01, 1.0f / 32767, "Signed Integer PCM",
         "Microsoft PCM Format, 16 bit, 44100 Hz, Stereo"},
        {1, 3, 24, 48000, 0.01, 1e-6f, "Signed Integer PCM",
         "Microsoft PCM Format, 24 bit, 48000 Hz, 3 Channels"},
        {1, 2, 32, 96000, 0.01, 1e-6f, "Signed Integer PCM",
         "Microsoft PCM Format, 32 bit, 96000 Hz, Stereo"},
        {3, 2, 32, 44100, 0.01, 0, "Floating Point PCM", "IEEE Float, 32 bit, 44100 Hz, Stereo"},
        {6, 2, 8, 8000, 0.1, 0.02f, "A-law",
         "Microsoft ALAW (CCITT A-Law), 8 bit, 8000 Hz, Stereo"},
        {7, 1, 8, 22050, 0.1, 0.02f, "u-law",
         "Microsoft MULAW (CCITT u-Law), 8 bit, 22050 Hz, Mono"},
        // Stereo in, mixed down to one channel; 16000 frames are 50 blocks exactly.
        {49, 2, 0, 8000, 1.5, 0, "GSM", "Microsoft GSM 6.10, 8000 Hz, Mono"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        const std::string path = dir.File("tone.wav");
        const bool gsm = c.tag == 49;
        const unsigned channels = gsm ? 1 : c.channels;
        const uint64_t frames = 2 * c.rate + (gsm ? 0 : 1);
        const auto tone = Tone(1000, 0.5, c.rate, c.channels, frames);
        ASSERT_TRUE(WriteWav(path, Format(c.tag, c.rate, c.channels, c.bits), tone));
        EXPECT_EQ(
            Soxi("-r", path) + " " + Soxi("-c", path) + " " + Soxi("-s", path),
            std::to_string(c.rate) + " " + std::to_string(channels) + " " + std::to_string(frames));
        EXPECT_NE(Soxi("-e", path).find(c.encoding), std::string::npos);
        auto decoded = Decode(path);
        ASSERT_EQ(decoded.size(), frames * channels);
        ToneMeasure measured = MeasureTone(decoded, channels, c.rate);
        EXPECT_NEAR(measured.hz, 1000.0, 1.0);
        EXPECT_NEAR(20 * std::log10(measured.rms / (0.5 / std::sqrt(2.0))), 0.0, c.levelDb);

        auto source = OpenWavSource(path, nullptr);
        ASSERT_TRUE(source);
        EXPECT_EQ(
            std::make_tuple(source->SampleRate(), unsigned(source->Channels()),
                            source->TotalFrames(), source->Length().Milliseconds(),
                            source->FormatDescription()),
            std::make_tuple(c.rate, channels, frames, int64_t(2000), std::string(c.description)));
        auto back = ReadAll(*source, 777);  // an odd size crosses every boundary
        ASSERT_EQ(back.size(), frames * channels);
        ToneMeasure ours = MeasureTone(back, channels, c.rate);
        EXPECT_NEAR(ours.hz, 1000.0, 1.0);
        EXPECT_NEAR(20 * std::log10(ours.rms / (0.5 / std::sqrt(2.0))), 0.0, 2.0);
        EXPECT_TRUE(gsm || MaxError(back, tone) <= c.tolerance) << MaxError(back, tone);
        // Seeking, into the middle of a GSM block too, reads what reading on does.
        ASSERT_TRUE(source->Seek(4321));
        std::vector<float> after(100 * channels);
        ASSERT_EQ(source->Read(after.data(), 100), 100);
        auto onward =
            std::vector<float>(back.begin() + 4321 * channels, back.begin() + 4421 * channels);
        EXPECT_LE(MaxError(after, onward), gsm ? 0.01f : 0.0f);
        EXPECT_FALSE(source->Seek(frames + 1));
    }
}

TEST(WavSox, G711MatchesSoxOnEverySample) {
    TempDir dir;
    std::string linear;
    for (int v = -32768; v < 32768; ++v)
        linear += std::string{char(v & 0xFF), char((v >> 8) & 0xFF)};
    WriteFile(dir.File("all.raw"), linear);
    std::string codes;
    for (int c = 0; c < 256; ++c) codes += char(c);
    WriteFile(dir.File("codes.raw"), codes);
    // Mono 8 kHz raw audio from one encoding to another, without dither.
    auto soxRaw = [](const std::string& in, const std::string& inEncoding, const char* inBits,
                     const std::string& out, const std::string& outEncoding, const char* outBits) {
        Tool({"sox", "-D", "-t", "raw", "-r",  "8000", "-e",        inEncoding, "-b",    inBits,
              "-c",  "1",  in,   "-t",  "raw", "-e",   outEncoding, "-b",       outBits, out});
    };
    for (bool mu : {false, true}) {
        SCOPED_TRACE(mu ? "mu-law" : "A-law");
        const std::string encoding = mu ? "mu-law" : "a-law";
        soxRaw(dir.File("all.raw"), "signed", "16", dir.File("enc.raw"), encoding, "8");
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

        soxRaw(dir.File("codes.raw"), encoding, "8", dir.File("dec.raw"), "signed", "16");
        std::string decoded = ReadFile(dir.File("dec.raw"));
        ASSERT_EQ(decoded.size(), 512u);
        for (int c = 0; c < 256; ++c) {
            int16_t theirs = int16_t(uint8_t(decoded[2 * c]) | (uint8_t(decoded[2 * c + 1]) << 8));
            int16_t ours = mu ? wav::MuLawToLinear(uint8_t(c)) : wav::ALawToLinear(uint8_t(c));
            EXPECT_EQ(ours, theirs) << "code " << c;
        }
    }
}
