#include "audio/codecs/aiff_sink.h"

#include <gtest/gtest.h>

#include "codec_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

struct EncodingCase {
    AiffEncoding encoding;
    const char* form;      // "AIFF" or "AIFC"
    const char* soxiBits;  // soxi -b
    const char* soxiEncoding;
    double tolerance;  // of the peak level after the round trip
};

constexpr EncodingCase kCases[] = {
    {AiffEncoding::Pcm8, "AIFF", "8", "Signed Integer PCM", 0.01},
    {AiffEncoding::Pcm16, "AIFF", "16", "Signed Integer PCM", 1e-4},
    {AiffEncoding::Pcm24, "AIFF", "24", "Signed Integer PCM", 1e-5},
    {AiffEncoding::Pcm32, "AIFF", "32", "Signed Integer PCM", 1e-5},
    {AiffEncoding::Float32, "AIFC", "32", "Floating Point PCM", 1e-5},
    {AiffEncoding::Float64, "AIFC", "64", "Floating Point PCM", 1e-5},
    {AiffEncoding::ALaw, "AIFC", "8", "A-law", 0.02},
    {AiffEncoding::ULaw, "AIFC", "8", "u-law", 0.02},
};

uint32_t Be32(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
           uint32_t(uint8_t(b[at + 2])) << 8 | uint32_t(uint8_t(b[at + 3]));
}

// sox reads no AIFC of the types 'alaw' and 'ulaw' (Apple's codes), so for those
// the test reads the COMM chunk itself and has sox decode the sound data as raw.
std::vector<float> CheckCompandedByHand(const std::string& path, const TempDir& dir,
                                        const std::string& type, const char* encoding) {
    std::string b = ReadFile(path);
    size_t comm = b.find("COMM"), ssnd = b.find("SSND");
    EXPECT_NE(comm, std::string::npos);
    EXPECT_NE(ssnd, std::string::npos);
    if (comm == std::string::npos || ssnd == std::string::npos) return {};
    EXPECT_EQ(Be32(b, comm + 8) >> 16, 2u) << "channels";
    EXPECT_EQ((Be32(b, comm + 10)), 22050u) << "frames";
    EXPECT_EQ(b.substr(comm + 26, 4), type);
    size_t data = ssnd + 16 + Be32(b, ssnd + 8);
    const std::string raw = dir.File(type + ".raw");
    EXPECT_TRUE(WriteFile(raw, b.substr(data, Be32(b, ssnd + 4) - 8)));
    ToolResult r = RunTool({"sox", "-t", "raw", "-e", encoding, "-b", "8", "-c", "2", "-r", "22050",
                            raw, "-t", "raw", "-e", "floating-point", "-b", "32", "-"});
    std::vector<float> out(r.out.size() / sizeof(float));
    std::memcpy(out.data(), r.out.data(), out.size() * sizeof(float));
    return out;
}

}  // namespace

TEST(AiffSink, EveryEncodingOpensInSoxWithItsTone) {
    TempDir dir;
    for (const EncodingCase& c : kCases) {
        SCOPED_TRACE(c.soxiEncoding + std::string(" ") + c.soxiBits);
        const std::string path = dir.File("tone.aiff");
        std::string error;
        auto sink = OpenAiffSink(path, c.encoding, 22050, 2, &error);
        ASSERT_TRUE(sink) << error;
        ASSERT_TRUE(WriteTone(*sink, 1000, 0.5, 1.0));
        ASSERT_TRUE(sink->Close());

        EXPECT_EQ(ReadFile(path).substr(8, 4), c.form);
        if (c.encoding == AiffEncoding::ALaw || c.encoding == AiffEncoding::ULaw) {
            bool alaw = c.encoding == AiffEncoding::ALaw;
            std::vector<float> pcm =
                CheckCompandedByHand(path, dir, alaw ? "alaw" : "ulaw", alaw ? "a-law" : "u-law");
            ASSERT_EQ(pcm.size(), 2u * 22050);
            EXPECT_NEAR(MeasureTone(pcm, 2, 22050, 1).peak, 0.5, c.tolerance);
            continue;
        }
        EXPECT_EQ(Soxi("-r", path), "22050");
        EXPECT_EQ(Soxi("-c", path), "2");
        EXPECT_EQ(Soxi("-s", path), "22050");
        EXPECT_EQ(Soxi("-b", path), c.soxiBits);
        EXPECT_EQ(Soxi("-e", path), c.soxiEncoding);
        std::vector<float> pcm = DecodeWithSox(path);
        ASSERT_EQ(pcm.size(), 2u * 22050);
        ToneMeasure tone = MeasureTone(pcm, 2, 22050, 1);
        EXPECT_NEAR(tone.hz, 1000, 0.5);
        EXPECT_NEAR(tone.peak, 0.5, c.tolerance);
    }
}

TEST(AiffSink, CutsBackToAFrameAndGoesOnFromThere) {
    TempDir dir;
    const std::string path = dir.File("cut.aiff");
    std::string error;
    auto sink = OpenAiffSink(path, AiffEncoding::Pcm16, 44100, 1, &error);
    ASSERT_TRUE(sink) << error;
    ASSERT_TRUE(WriteTone(*sink, 440, 0.5, 2.0));
    EXPECT_FALSE(sink->TruncateTo(LSoundTime(3000))) << "beyond what was written";
    ASSERT_TRUE(sink->TruncateTo(LSoundTime(500)));
    EXPECT_EQ(sink->FramesWritten(), 22050u);
    EXPECT_EQ(Soxi("-s", path), "22050") << "sizes on disk follow the cut at once";

    std::vector<float> quiet(44100 / 2, 0.0f);
    ASSERT_EQ(sink->Write(quiet.data(), quiet.size()), int64_t(quiet.size()));
    ASSERT_TRUE(sink->Close());
    std::vector<float> pcm = DecodeWithSox(path);
    ASSERT_EQ(pcm.size(), 44100u);
    EXPECT_GT(std::fabs(pcm[22049 - 25]), 0.1f) << "the tone up to the cut";
    EXPECT_EQ(pcm[22050], 0.0f) << "the new frames right after it";
    EXPECT_EQ(pcm[44099], 0.0f);
}
