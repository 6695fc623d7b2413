#include "audio/codecs/aiff_sink.h"

#include <gtest/gtest.h>

#include "support/audio_test_util.h"
#include "support/temp_dir.h"

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

}  // namespace

TEST(AiffSink, EveryEncodingOpensInSoxWithItsTone) {
    TempDir dir;
    struct {
        AiffEncoding encoding;
        const char *form, *bits, *encodingName;  // soxi -b, soxi -e
        double tolerance;                        // of the peak after the round trip
    } cases[] = {
        {AiffEncoding::Pcm8, "AIFF", "8", "Signed Integer PCM", 0.01},
        {AiffEncoding::Pcm16, "AIFF", "16", "Signed Integer PCM", 1e-4},
        {AiffEncoding::Pcm24, "AIFF", "24", "Signed Integer PCM", 1e-5},
        {AiffEncoding::Pcm32, "AIFF", "32", "Signed Integer PCM", 1e-5},
        {AiffEncoding::Float32, "AIFC", "32", "Floating Point PCM", 1e-5},
        {AiffEncoding::Float64, "AIFC", "64", "Floating Point PCM", 1e-5},
        {AiffEncoding::ALaw, "AIFC", "8", "A-law", 0.02},
        {AiffEncoding::ULaw, "AIFC", "8", "u-law", 0.02},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.encodingName + std::string(" ") + c.bits);
        const std::string path = dir.File("tone.aiff");
        std::string error;
        auto sink = OpenAiffSink(path, c.encoding, 22050, 2, &error);
        ASSERT_TRUE(sink) << error;
        ASSERT_TRUE(WriteTone(*sink, 1000, 0.5, 1.0));
        ASSERT_TRUE(sink->Close());

        EXPECT_EQ(ReadFile(path).substr(8, 4), c.form);
        std::vector<float> pcm;
        if (c.encoding == AiffEncoding::ALaw || c.encoding == AiffEncoding::ULaw) {
            pcm = DecodeCompanded(path, dir, c.encoding == AiffEncoding::ALaw);
        } else {
            EXPECT_EQ(Soxi("-r", path), "22050");
            EXPECT_EQ(Soxi("-c", path), "2");
            EXPECT_EQ(Soxi("-s", path), "22050");
            EXPECT_EQ(Soxi("-b", path), c.bits);
            EXPECT_EQ(Soxi("-e", path), c.encodingName);
            pcm = Decode(path);
        }
        ASSERT_EQ(pcm.size(), 2u * 22050);
        ToneMeasure tone = MeasureTone(pcm, 2, 22050, 1);
        EXPECT_NEAR(tone.hz, 1000, 0.5);
        EXPECT_NEAR(tone.peak, 0.5, c.tolerance);
    }
}
