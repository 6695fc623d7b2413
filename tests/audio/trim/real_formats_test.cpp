// Trimming real recordings of each format, written by the program's own sinks
// and checked by decoding the result with the command-line decoders (sox for
// WAV, AIFF and FLAC, mpg123 for MP3): the pauses come out at the lengths they
// should, the cut sits in the middle of a pause, and the file keeps its format.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/trim/recording_trim.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

using test::kRate;
using test::Ms;

// Runs a program (argument vector, no shell) and returns what it printed.
std::string Run(const std::vector<std::string>& args) {
    int out[2];
    if (pipe(out) != 0) return {};
    pid_t child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        close(out[0]);
        close(out[1]);
        std::vector<char*> argv;
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    std::string text;
    char buf[65536];
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) text.append(buf, size_t(n));
    close(out[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << args[0] << " failed on " << args.back() << " (is it installed?)";
    return text;
}

// Interleaved stereo floats as the reference decoder gives them.
std::vector<float> Decode(const std::string& path) {
    std::string raw = OutputFormatFromPath(path) == kFormatMp3
                          ? Run({"mpg123", "-q", "-e", "f32", "-s", path})
                          : Run({"sox", path, "-t", "f32", "-e", "floating-point", "-"});
    std::vector<float> samples(raw.size() / sizeof(float));
    std::memcpy(samples.data(), raw.data(), samples.size() * sizeof(float));
    return samples;
}

// The loudest sample of each millisecond on the given channels (-1: all).
std::vector<float> Envelope(const std::vector<float>& stereo, int channel = -1) {
    std::vector<float> env;
    const uint64_t frames = stereo.size() / 2;
    for (uint64_t ms = 0; ms * kRate / 1000 < frames; ++ms) {
        float peak = 0;
        for (uint64_t f = ms * kRate / 1000; f < std::min(frames, (ms + 1) * kRate / 1000); ++f)
            for (int c = 0; c < 2; ++c)
                if (channel < 0 || channel == c)
                    peak = std::max(peak, std::fabs(stereo[f * 2 + c]));
        env.push_back(peak);
    }
    return env;
}

// Loud (true) and quiet stretches in milliseconds.
test::Runs Stretches(const std::vector<float>& env) {
    test::Runs runs;
    for (float e : env) {
        const bool loud = e > 0.1f;
        if (runs.empty() || runs.back().first != loud) runs.push_back({loud, 0});
        ++runs.back().second;
    }
    return runs;
}

// Stereo test audio: sine tones for sound, and pauses that may carry a quiet
// tone rising from 0 to `rampTo` (below any threshold used here).
struct Stereo {
    std::vector<float> samples;
    void Tone(uint64_t ms, float left, float right) {
        for (uint64_t f = 0; f < Ms(ms); ++f) {
            const float s = std::sin(2 * M_PI * 440.0 * double(f) / kRate + 0.3);
            samples.push_back(left * s);
            samples.push_back(right * s);
        }
    }
    void Pause(uint64_t ms, float rampTo = 0) {
        const uint64_t n = Ms(ms);
        for (uint64_t f = 0; f < n; ++f) {
            const float s =
                rampTo * float(f) / float(n) * std::sin(2 * M_PI * 1000.0 * double(f) / kRate);
            samples.push_back(s);
            samples.push_back(s);
        }
    }
};

bool WriteRecording(const std::string& path, const Stereo& audio) {
    std::string error;
    auto sink = OpenRecordingSink(OutputFormatFromPath(path), path, &error);
    if (!sink) {
        ADD_FAILURE() << error;
        return false;
    }
    sink->SetFormat(kRate, 2);
    const uint64_t frames = audio.samples.size() / 2;
    return sink->Write(audio.samples.data(), frames) == int64_t(frames) && sink->Close();
}

std::vector<std::string> FormatOf(const std::string& path) {
    std::vector<std::string> f;
    for (const char* what : {"-r", "-c", "-b", "-e"}) f.push_back(Run({"soxi", what, path}));
    if (OutputFormatFromPath(path) == kFormatMp3) f.push_back(Run({"soxi", "-B", path}));
    return f;
}

// Stretches must match within `edge` ms for the first and last, `inner` ms for
// the rest (MP3 adds its encoder delay and padding at the ends).
void ExpectStretches(const test::Runs& got, const test::Runs& want, int edge, int inner,
                     const std::string& what) {
    ASSERT_EQ(got.size(), want.size()) << what << ": " << testing::PrintToString(got);
    for (size_t i = 0; i < got.size(); ++i) {
        const int tolerance = (i == 0 || i + 1 == got.size()) ? edge : inner;
        EXPECT_EQ(got[i].first, want[i].first) << what << " stretch " << i;
        EXPECT_NEAR(double(got[i].second), double(want[i].second), tolerance)
            << what << " stretch " << i << ": " << testing::PrintToString(got);
    }
}

class RealFormats : public ::testing::TestWithParam<const char*> {
  protected:
    std::string Path(const char* name) { return dir_.File(std::string(name) + GetParam()); }
    bool IsMp3() const { return std::string(GetParam()) == ".mp3"; }
    test::TempDir dir_;
};

// Default lengths: a short silence at the very start stays, a 150 ms pause stays,
// a 1 s pause becomes 400 ms with its cut in the middle.
TEST_P(RealFormats, AfterRecordingTrimShortensLongPausesOnly) {
    const std::string path = Path("recording");
    Stereo audio;
    audio.Pause(150);
    audio.Tone(1000, 0.5f, 0.5f);
    audio.Pause(150);
    audio.Tone(1000, 0.5f, 0.5f);
    audio.Pause(1000, 0.008f);
    audio.Tone(1000, 0.5f, 0.5f);
    ASSERT_TRUE(WriteRecording(path, audio));
    const auto format = FormatOf(path);

    TrimOutcome outcome = TrimAfterRecording(path, {});
    ASSERT_EQ(outcome.status, TrimStatus::Ok) << outcome.tag << ": " << outcome.error;
    EXPECT_TRUE(outcome.replaced);
    EXPECT_EQ(FormatOf(path), format);

    const std::vector<float> env = Envelope(Decode(path));
    const test::Runs runs = Stretches(env);
    ExpectStretches(
        runs, {{false, 150}, {true, 1000}, {false, 150}, {true, 1000}, {false, 400}, {true, 1000}},
        IsMp3() ? 80 : 2, IsMp3() ? 4 : 2, GetParam());
    if (runs.size() != 6) return;
    // The pause held a quiet tone rising to 0.008: 200 ms of its quiet start are
    // left before the cut and 200 ms of its louder end after it.
    uint64_t pause = 0;
    for (size_t i = 0; i < 4; ++i) pause += runs[i].second;
    for (uint64_t ms = 20; ms < 180; ++ms) EXPECT_LT(env[pause + ms], 0.0025f) << ms;
    for (uint64_t ms = 220; ms < 380; ++ms) EXPECT_GT(env[pause + ms], 0.0055f) << ms;
}

// A relative threshold with a proportional new length: 2 s pauses become 1 s,
// and sound on one channel only is sound.
TEST_P(RealFormats, FractionAndOneLoudChannel) {
    const std::string path = Path("take");
    Stereo audio;
    audio.Pause(2000);
    audio.Tone(1000, 0.0f, 0.5f);  // right channel only
    audio.Pause(2000);
    audio.Tone(1000, 0.5f, 0.5f);
    ASSERT_TRUE(WriteRecording(path, audio));
    TrimSettings settings;
    settings.newFixedLengthMs = 0;
    settings.newLengthFractionThousandths = 500;
    TrimOutcome outcome = TrimRecording(path, settings, RealTrimFileIo(), {});
    ASSERT_EQ(outcome.status, TrimStatus::Ok) << outcome.tag << ": " << outcome.error;

    const std::vector<float> decoded = Decode(path);
    const test::Runs runs = Stretches(Envelope(decoded));
    ExpectStretches(runs, {{false, 1000}, {true, 1000}, {false, 1000}, {true, 1000}},
                    IsMp3() ? 80 : 2, IsMp3() ? 4 : 2, GetParam());
    if (runs.size() != 4) return;
    // The channels kept their order: the first sound is still on the right only.
    const std::vector<float> left = Envelope(decoded, 0);
    for (uint64_t ms = runs[0].second + 20; ms < runs[0].second + 980; ++ms)
        ASSERT_LT(left[ms], 0.01f) << ms;
}

// A damaged recording is left exactly as it is: never replaced by whatever part
// of it could be decoded.
TEST_P(RealFormats, DamagedRecordingIsLeftAlone) {
    const std::string path = Path("damaged");
    Stereo audio;
    audio.Tone(500, 0.5f, 0.5f);
    audio.Pause(1500);
    audio.Tone(2000, 0.5f, 0.5f);
    ASSERT_TRUE(WriteRecording(path, audio));
    std::string bytes = test::ReadFile(path);
    // Cut off in the middle, and garbage where the audio was.
    bytes.resize(bytes.size() * 2 / 3);
    for (size_t i = bytes.size() / 2; i < bytes.size() / 2 + 4000; ++i) bytes[i] = char(i * 7919);
    ASSERT_TRUE(test::WriteFile(path, bytes));

    TrimOutcome outcome = TrimRecording(path, TrimSettings{}, RealTrimFileIo(), {});
    if (outcome.status == TrimStatus::Ok && outcome.replaced) {
        // PCM cut off by a crash plays to its end, so a decoder may read all that
        // is there; then the new file must hold exactly what the trim kept.
        EXPECT_NEAR(double(Decode(path).size() / 2), double(outcome.framesAfter),
                    IsMp3() ? 2500 : 0);
    } else {
        EXPECT_EQ(test::ReadFile(path), bytes) << outcome.tag << ": " << outcome.error;
    }

    ASSERT_TRUE(test::WriteFile(path, "definitely not audio, just text in a file"));
    outcome = TrimRecording(path, TrimSettings{}, RealTrimFileIo(), {});
    EXPECT_EQ(outcome.status, TrimStatus::Failed);
    EXPECT_EQ(outcome.section, "TrimSilence");
    EXPECT_EQ(outcome.tag, "OpenSourceFailed");
    EXPECT_EQ(test::ReadFile(path), "definitely not audio, just text in a file");
}

INSTANTIATE_TEST_SUITE_P(Trim, RealFormats, ::testing::Values(".wav", ".flac", ".aiff", ".mp3"),
                         [](const auto& info) { return std::string(info.param + 1); });

}  // namespace
}  // namespace vocarta
