// Each codec's sink with its settings, as the outside tools see the file: the
// format fields, the tone at its frequency and level, and what is particular
// to the format (FLAC's own check, the AIFF form, MP3's mode and CRC bits).

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "support/audio_test_util.h"
#include "support/temp_dir.h"
#include "toolkit/lfile.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

uint32_t Be32(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
           uint32_t(uint8_t(b[at + 2])) << 8 | uint32_t(uint8_t(b[at + 3]));
}

// sox reads no AIFC of Apple's types 'alaw' and 'ulaw', so for those the test
// reads the COMM chunk itself and has sox decode the sound data as raw.
std::vector<float> DecodeCompanded(const std::string& path, const TempDir& dir, bool alaw) {
    const std::string b = ReadFile(path), type = alaw ? "alaw" : "ulaw";
    size_t comm = b.find("COMM"), ssnd = b.find("SSND");
    if (comm == std::string::npos || ssnd == std::string::npos) return {};
    EXPECT_EQ(Be32(b, comm + 8) >> 16, 2u) << "channels";
    EXPECT_EQ(Be32(b, comm + 10), 22050u) << "frames";
    EXPECT_EQ(b.substr(comm + 26, 4), type);
    size_t data = ssnd + 16 + Be32(b, ssnd + 8);
    EXPECT_TRUE(WriteFile(dir.File("c.raw"), b.substr(data, Be32(b, ssnd + 4) - 8)));
    std::string raw = Tool({"sox", "-t", "raw", "-e", alaw ? "a-law" : "u-law", "-b", "8", "-c",
                            "2", "-r", "22050", dir.File("c.raw"), "-t", "f32", "-"},
                           false);
    std::vector<float> out(raw.size() / sizeof(float));
    std::memcpy(out.data(), raw.data(), out.size() * sizeof(float));
    return out;
}

using Opener = std::function<std::shared_ptr<LSoundSinkBase>(const std::string&, std::string*)>;

Opener Aiff(AiffEncoding encoding) {
    return [encoding](const std::string& path, std::string* error) {
        return OpenAiffSink(path, encoding, 22050, 2, error);
    };
}

Opener Mp3(Mp3Settings s) {
    return [s](const std::string& path, std::string* error) {
        return OpenMp3Sink(path, s, 44100, Mp3ChannelsFor(s), error);
    };
}

}  // namespace

TEST(CodecSinks, SettingsReachTheFileAndItsTonePlays) {
    TempDir dir;
    FlacSettings flac24;
    flac24.bitDepth = 24;
    flac24.compression = 8;
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
        const char* file;
        Opener open;
        const char *form, *bits, *encoding;  // AIFF's form type; soxi -b and -e ("": not asked)
        double peakTolerance;                // of the peak after the round trip
        double sampleTolerance;              // of a sample far in (< 0: lossy, not checked)
        unsigned rate = 22050, channels = 2;
        double hz = 1000, amplitude = 0.5, seconds = 1.0;
        const char *mpg123Rate = nullptr, *mpg123Mode = nullptr;  // as mpg123 -v prints them
    } cases[] = {
        {"8.aiff", Aiff(AiffEncoding::Pcm8), "AIFF", "8", "Signed Integer PCM", 0.01, 0.01},
        {"16.aiff", Aiff(AiffEncoding::Pcm16), "AIFF", "16", "Signed Integer PCM", 1e-4, 1e-4},
        {"24.aiff", Aiff(AiffEncoding::Pcm24), "AIFF", "24", "Signed Integer PCM", 1e-5, 1e-5},
        {"32.aiff", Aiff(AiffEncoding::Pcm32), "AIFF", "32", "Signed Integer PCM", 1e-5, 1e-5},
        {"f32.aiff", Aiff(AiffEncoding::Float32), "AIFC", "32", "Floating Point PCM", 1e-5, 1e-5},
        {"f64.aiff", Aiff(AiffEncoding::Float64), "AIFC", "64", "Floating Point PCM", 1e-5, 1e-5},
        {"alaw.aiff", Aiff(AiffEncoding::ALaw), "AIFC", "", "", 0.02, -1},
        {"ulaw.aiff", Aiff(AiffEncoding::ULaw), "AIFC", "", "", 0.02, -1},
        // Lossless: a sample far in comes back within one step of 24 bits.
        {"24.flac",
         [&](const std::string& path, std::string* error) {
             return OpenFlacSink(path, flac24, 48000, 1, error);
         },
         "", "24", "", 0.001, 2.0 / (1 << 23), 48000, 1, 440, 0.25, 2.0},
        {"cbr.mp3", Mp3(cbr), "", "", "", 0.05, -1, 44100, 2, 1000, 0.5, 3.0, "cbr128", "j-s"},
        {"vbr.mp3", Mp3(vbr), "", "", "", 0.03, -1, 44100, 1, 440, 0.25, 2.0, " vbr ", "mono"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string path = dir.File(c.file);
        const bool mp3 = c.mpg123Rate != nullptr, companded = *c.form && !*c.bits;
        auto sink = c.open(path, nullptr);
        ASSERT_TRUE(sink && WriteTone(*sink, c.hz, c.amplitude, c.seconds) && sink->Close());
        EXPECT_EQ(sink->Channels(), c.channels);
        const std::string bytes = ReadFile(path);
        EXPECT_TRUE(!*c.form || bytes.substr(8, 4) == c.form) << bytes.substr(8, 4);
        if (path.ends_with(".flac")) Tool({"flac", "-t", "-s", path});
        if (mp3) {
            std::string verbose = Tool({"mpg123", "-t", "-v", path});
            EXPECT_NE(verbose.find(c.mpg123Rate), std::string::npos) << verbose;
            EXPECT_NE(verbose.find(c.mpg123Mode), std::string::npos) << verbose;
            // The MPEG header's protection bit is clear when every frame carries a CRC.
            EXPECT_EQ((uint8_t(bytes[1]) & 1) == 0, std::string(c.file) == "vbr.mp3");
        }
        const uint64_t frames = uint64_t(c.seconds * c.rate);
        std::vector<float> pcm;
        if (companded) {
            pcm = DecodeCompanded(path, dir, std::string(c.file) == "alaw.aiff");
        } else {
            EXPECT_EQ(Soxi("-r", path) + " " + Soxi("-c", path),
                      std::to_string(c.rate) + " " + std::to_string(c.channels));
            EXPECT_TRUE(!*c.bits || Soxi("-b", path) == c.bits) << Soxi("-b", path);
            EXPECT_TRUE(!*c.encoding || Soxi("-e", path) == c.encoding) << Soxi("-e", path);
            // MP3 too: the LAME tag written at Close gives the decoder the exact length.
            pcm = Decode(path);
        }
        ASSERT_EQ(pcm.size(), frames * c.channels);
        ToneMeasure tone = MeasureTone(pcm, c.channels, c.rate, c.channels - 1);
        EXPECT_NEAR(tone.hz, c.hz, mp3 ? c.hz / 500 : 0.5);
        EXPECT_NEAR(tone.peak, c.amplitude, c.peakTolerance);
        if (c.sampleTolerance >= 0) {
            const uint64_t far = frames * 5 / 6;
            EXPECT_NEAR(pcm[far * c.channels], Tone(c.hz, c.amplitude, c.rate, 1, 1, far)[0],
                        c.sampleTolerance);
        }
    }
}

TEST(CodecSinks, FlacCompressionLevelAndOverloadedSamples) {
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
        auto sink = OpenFlacSink(path, s, 44100, 2, nullptr);
        ASSERT_TRUE(sink && sink->Write(audio.data(), audio.size() / 2) > 0 && sink->Close());
        sizes[level / 8] = LFile::GetFileSizeBytes64(path);
        std::vector<float> pcm = Decode(path);
        ASSERT_EQ(pcm.size(), audio.size());
        EXPECT_NEAR(pcm[1000] - pcm[1002], 2.0f, 2e-4);  // both at full scale, decoded in [-1, 1]
    }
    EXPECT_LT(sizes[1], sizes[0]) << "level 8 packs smaller than level 0";
}
