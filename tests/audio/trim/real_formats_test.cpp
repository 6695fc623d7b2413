// Trimming real recordings of each format, written by the program's own sinks
// and checked with the command-line decoders (sox, and mpg123 for MP3): the
// pauses come out at the lengths they should, the channels stay in their order,
// the file keeps its format, and a damaged recording is never replaced by part
// of it.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "audio/trim/recording_trim.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

using test::kRate;
using test::Ms;

// Loud (true) and quiet stretches in milliseconds of one channel (-1: any).
test::Runs Stretches(const std::vector<float>& stereo, int channel = -1) {
    test::Runs runs;
    for (uint64_t ms = 0; Ms(ms + 1) <= stereo.size() / 2; ++ms) {
        float peak = 0;
        for (uint64_t i = Ms(ms) * 2; i < Ms(ms + 1) * 2; ++i)
            if (channel < 0 || int(i % 2) == channel) peak = std::max(peak, std::fabs(stereo[i]));
        if (runs.empty() || runs.back().first != (peak > 0.1f)) runs.push_back({peak > 0.1f, 0});
        ++runs.back().second;
    }
    return runs;
}

// A 440 Hz tone on the channels given an amplitude, or a pause.
void Add(test::Signal& s, uint64_t ms, float left = 0, float right = 0) {
    for (uint64_t f = 0; f < Ms(ms); ++f) {
        const float v = float(std::sin(2 * M_PI * 440.0 * double(f) / kRate + 0.3));
        s.samples.insert(s.samples.end(), {left * v, right * v});
    }
}

std::vector<std::string> FormatOf(const std::string& path) {
    std::vector<std::string> f;
    for (const char* what : {"-r", "-c", "-b", "-e"}) f.push_back(test::Soxi(what, path));
    if (path.ends_with(".mp3")) f.push_back(test::Soxi("-B", path));
    return f;
}

class RealFormats : public ::testing::TestWithParam<const char*> {
  protected:
    std::string Path(const char* name) { return dir_.File(std::string(name) + GetParam()); }
    bool IsMp3() const { return std::string(GetParam()) == ".mp3"; }
    test::TempDir dir_;
};

// A relative threshold and half of each pause kept: 2 s at the start and a 1 s
// pause are halved, a 150 ms pause stays, sound on the right only is sound and
// stays on the right.
TEST_P(RealFormats, PausesShortenedChannelsAndFormatKept) {
    const std::string path = Path("take");
    test::Signal audio{2, {}};
    Add(audio, 2000);
    Add(audio, 1000, 0.0f, 0.5f);
    Add(audio, 150);
    Add(audio, 1000, 0.5f, 0.5f);
    Add(audio, 1000);
    Add(audio, 1000, 0.5f, 0.5f);
    ASSERT_TRUE(test::WriteRecording(path, audio));
    const auto format = FormatOf(path);
    TrimSettings settings;
    settings.newFixedLengthMs = 0;
    settings.newLengthFractionThousandths = 500;
    TrimOutcome outcome = TrimRecording(path, settings, RealTrimFileIo(), {});
    ASSERT_EQ(outcome.status, TrimStatus::Ok) << outcome.tag << ": " << outcome.error;
    EXPECT_TRUE(outcome.replaced);
    EXPECT_EQ(FormatOf(path), format);

    const std::vector<float> decoded = test::Decode(path);
    const test::Runs runs = Stretches(decoded);
    const test::Runs want = {{false, 1000}, {true, 1000}, {false, 150},
                             {true, 1000},  {false, 500}, {true, 1000}};
    ASSERT_EQ(runs.size(), want.size()) << testing::PrintToString(runs);
    for (size_t i = 0; i < runs.size(); ++i) {
        // MP3 adds its encoder delay and padding at the ends.
        const int tolerance = IsMp3() ? (i == 0 || i + 1 == runs.size() ? 80 : 4) : 2;
        EXPECT_EQ(runs[i].first, want[i].first) << i;
        EXPECT_NEAR(double(runs[i].second), double(want[i].second), tolerance)
            << i << ": " << testing::PrintToString(runs);
    }
    const test::Runs left = Stretches(decoded, 0);
    ASSERT_GE(left.size(), 2u);
    EXPECT_NEAR(double(left[0].second), 1000 + 1000 + 150, IsMp3() ? 80 : 2)
        << "the first sound moved to the left channel";
}

// A damaged recording is left exactly as it is: never replaced by whatever part
// of it could be decoded.
TEST_P(RealFormats, DamagedRecordingIsLeftAlone) {
    const std::string path = Path("damaged");
    test::Signal audio{2, {}};
    Add(audio, 500, 0.5f, 0.5f);
    Add(audio, 1500);
    Add(audio, 2000, 0.5f, 0.5f);
    ASSERT_TRUE(test::WriteRecording(path, audio));
    std::string bytes = test::ReadFile(path);
    // Cut off in the middle, and garbage where the audio was.
    bytes.resize(bytes.size() * 2 / 3);
    for (size_t i = bytes.size() / 2; i < bytes.size() / 2 + 4000; ++i) bytes[i] = char(i * 7919);
    ASSERT_TRUE(test::WriteFile(path, bytes));

    TrimOutcome outcome = TrimRecording(path, TrimSettings{}, RealTrimFileIo(), {});
    if (outcome.status == TrimStatus::Ok && outcome.replaced) {
        // PCM cut off by a crash plays to its end, so a decoder may read all that
        // is there; then the new file must hold exactly what the trim kept.
        EXPECT_NEAR(double(test::Decode(path).size() / 2), double(outcome.framesAfter),
                    IsMp3() ? 2500 : 0);
    } else {
        EXPECT_EQ(test::ReadFile(path), bytes) << outcome.tag << ": " << outcome.error;
    }
}

INSTANTIATE_TEST_SUITE_P(Trim, RealFormats, ::testing::Values(".wav", ".flac", ".aiff", ".mp3"),
                         [](const auto& info) { return std::string(info.param + 1); });

}  // namespace
}  // namespace vocarta
