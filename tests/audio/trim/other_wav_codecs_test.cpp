// WAV recordings made elsewhere, in encodings our own WAV writer does not write
// (IMA and MS ADPCM, the extensible header with 24 bits, 64-bit float), made by
// sox: they play (decode) and trim, and the trimmed file keeps its encoding as
// sox sees it, and its format tag.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "audio/codecs/sink_factory.h"
#include "audio/trim/recording_trim.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

struct Encoding {
    const char* name;
    std::vector<std::string> soxArgs;
    unsigned formatTag;
};

uint16_t FormatTagOf(const std::string& path) {
    const std::string bytes = test::ReadFile(path);
    return bytes.size() < 22 ? 0 : uint16_t(uint8_t(bytes[20]) | (uint8_t(bytes[21]) << 8));
}

void PrintTo(const Encoding& e, std::ostream* out) {
    *out << e.name;
}

// Loud (a peak above 0.1) and quiet milliseconds of mono audio, as runs.
test::Runs MsRuns(const std::vector<float>& samples) {
    test::Runs runs;
    for (uint64_t ms = 0; test::Ms(ms + 1) <= samples.size(); ++ms) {
        float peak = 0;
        for (uint64_t i = test::Ms(ms); i < test::Ms(ms + 1); ++i)
            peak = std::max(peak, std::fabs(samples[i]));
        if (runs.empty() || runs.back().first != (peak > 0.1f)) runs.push_back({peak > 0.1f, 0});
        ++runs.back().second;
    }
    // ADPCM fills its last block with silence.
    if (runs.size() == 4 && !runs.back().first && runs.back().second < 150) runs.pop_back();
    return runs;
}

class OtherWavCodecs : public ::testing::TestWithParam<Encoding> {};

TEST_P(OtherWavCodecs, PlayAndTrimInTheirOwnEncoding) {
    test::TempDir dir;
    const std::string made = dir.File("made.wav"), path = dir.File("take.wav");
    test::Signal signal{1, {}};
    for (const char* stretch : {"L1000", "S2000", "L1000"})
        for (uint64_t f = 0; f < test::Ms(std::stoul(stretch + 1)); ++f)
            signal.samples.push_back(stretch[0] == 'L' ? 0.5f * float(std::sin(f * 0.0627)) : 0);
    ASSERT_TRUE(test::WriteRecording(made, signal));
    std::vector<std::string> sox = {"sox", made};
    sox.insert(sox.end(), GetParam().soxArgs.begin(), GetParam().soxArgs.end());
    sox.push_back(path);
    test::Tool(sox);
    const std::string encoding = test::Soxi("-e", path), bits = test::Soxi("-b", path);
    ASSERT_EQ(FormatTagOf(path), GetParam().formatTag);

    std::string error;
    auto source = OpenSoundSource(path, &error);
    ASSERT_TRUE(source) << error;
    const test::Runs played = MsRuns(test::ReadAll(*source));
    ASSERT_EQ(played.size(), 3u) << testing::PrintToString(played);
    EXPECT_NEAR(double(played[1].second), 2000, 30);
    source.reset();

    TrimOutcome outcome = TrimRecording(path, TrimSettings{}, RealTrimFileIo(), {});
    ASSERT_EQ(outcome.status, TrimStatus::Ok) << outcome.tag << ": " << outcome.error;
    EXPECT_TRUE(outcome.replaced);
    EXPECT_EQ(test::Soxi("-e", path), encoding);
    EXPECT_EQ(test::Soxi("-b", path), bits);
    EXPECT_EQ(FormatTagOf(path), GetParam().formatTag);
    const test::Runs trimmed = MsRuns(test::Decode(path));
    ASSERT_EQ(trimmed.size(), 3u) << testing::PrintToString(trimmed);
    EXPECT_NEAR(double(trimmed[0].second), 1000, 30);
    EXPECT_NEAR(double(trimmed[1].second), 400, 30);
    EXPECT_NEAR(double(trimmed[2].second), 1000, 30);
}

// A WAV in an encoding that neither our writer nor libsndfile writes (here MPEG
// audio, tag 0x55) is never rewritten in another encoding: no sink opens, and a
// trim leaves the file as it was, saying why.
TEST(OtherWavCodecs, AnEncodingNothingWritesIsNeverRewrittenInAnother) {
    test::TempDir dir;
    const std::string pcm = dir.File("pcm.wav"), mpeg = dir.File("mpeg.wav");
    ASSERT_TRUE(test::WriteRecording(pcm, test::SignalOf("L500 S2000 L500")));
    std::string bytes = test::ReadFile(pcm);
    bytes[20] = 0x55;
    bytes[21] = 0;
    ASSERT_TRUE(test::WriteFile(mpeg, bytes));
    std::string error;
    auto source = OpenSoundSource(pcm, &error);
    ASSERT_TRUE(source) << error;
    EXPECT_FALSE(OpenSinkLike(mpeg, *source, dir.File("new.wav"), &error));
    EXPECT_NE(error.find("mpeg.wav"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(dir.File("new.wav")));

    TrimOutcome outcome = TrimRecording(mpeg, TrimSettings{}, RealTrimFileIo(), {});
    EXPECT_EQ(outcome.status, TrimStatus::Failed);
    EXPECT_FALSE(outcome.error.empty());
    EXPECT_EQ(test::ReadFile(mpeg), bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Sox, OtherWavCodecs,
    ::testing::Values(Encoding{"ImaAdpcm", {"-e", "ima-adpcm", "-b", "4"}, 0x11},
                      Encoding{"MsAdpcm", {"-e", "ms-adpcm", "-b", "4"}, 0x02},
                      Encoding{"Extensible24", {"-e", "signed", "-b", "24"}, 0xFFFE},
                      Encoding{"Float64", {"-e", "float", "-b", "64"}, 0x03}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vocarta
