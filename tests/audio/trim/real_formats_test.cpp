// Trimming real recordings of each format, checked with the command-line
// decoders (sox, and mpg123 for MP3): the program's own sinks' files, and WAV
// files made elsewhere in encodings our writer does not write (IMA and MS ADPCM,
// the extensible header with 24 bits, 64-bit float; made by sox). The pauses
// come out at the lengths they should, the channels stay in their order, the
// file keeps its format, and a damaged recording, or one whose encoding nothing
// writes, is never replaced.

#include <gtest/gtest.h>

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

using test::kRate;
using test::Ms;

// How a recording of the format comes to be: written by our sinks to `extension`,
// or converted by sox with `soxArgs` from our WAV.
struct Made {
    const char* name;
    const char* extension;
    std::vector<std::string> soxArgs;
};

// A 440 Hz tone on the channels given an amplitude, or a pause.
void Add(test::Signal& s, uint64_t ms, float left = 0, float right = 0) {
    for (uint64_t f = 0; f < Ms(ms); ++f) {
        const float v = float(std::sin(2 * M_PI * 440.0 * double(f) / kRate + 0.3));
        s.samples.insert(s.samples.end(), {left * v, right * v});
    }
}

// What sox says of the format, and the WAV format tag.
std::vector<std::string> FormatOf(const std::string& path) {
    std::vector<std::string> f;
    for (const char* what : {"-r", "-c", "-b", "-e"}) f.push_back(test::Soxi(what, path));
    if (path.ends_with(".mp3")) f.push_back(test::Soxi("-B", path));
    if (path.ends_with(".wav")) f.push_back(test::ReadFile(path).substr(20, 2));  // the format tag
    return f;
}

class RealFormats : public ::testing::TestWithParam<Made> {
  protected:
    // Writes `audio` as a recording made the parameter's way.
    std::string Recording(const char* name, const test::Signal& audio) {
        const Made& m = GetParam();
        const std::string path = dir_.File(std::string(name) + m.extension);
        if (m.soxArgs.empty()) {
            EXPECT_TRUE(test::WriteRecording(path, audio));
            return path;
        }
        const std::string ours = dir_.File("ours.wav");
        test::WriteRecording(ours, audio);
        std::vector<std::string> sox = {"sox", ours};
        sox.insert(sox.end(), m.soxArgs.begin(), m.soxArgs.end());
        sox.push_back(path);
        test::Tool(sox);
        return path;
    }
    test::TempDir dir_;
};

// A relative threshold and half of each pause kept: 2 s at the start and a 1 s
// pause are halved, a 150 ms pause stays, sound on the right only is sound and
// stays on the right.
TEST_P(RealFormats, PausesShortenedChannelsAndFormatKept) {
    test::Signal audio{2, {}};
    Add(audio, 2000);
    Add(audio, 1000, 0.0f, 0.5f);
    Add(audio, 150);
    Add(audio, 1000, 0.5f, 0.5f);
    Add(audio, 1000);
    Add(audio, 1000, 0.5f, 0.5f);
    const std::string path = Recording("take", audio);
    const auto format = FormatOf(path);
    TrimSettings settings;
    settings.newFixedLengthMs = 0;
    settings.newLengthFractionThousandths = 500;
    TrimOutcome outcome = TrimRecording(path, settings, RealTrimFileIo(), {});
    EXPECT_TRUE(outcome.status == TrimStatus::Ok && outcome.replaced) << outcome.error;
    EXPECT_EQ(FormatOf(path), format);

    const test::Runs want = {{false, 1000}, {true, 1000}, {false, 150},
                             {true, 1000},  {false, 500}, {true, 1000}};
    // ADPCM fills its last block with whatever decodes from its padding: only
    // what ends within 20 ms of the sound counts.
    const bool adpcm = std::string(GetParam().name).ends_with("Adpcm"),
               mp3 = std::string(GetParam().extension) == ".mp3";
    std::vector<float> decoded = test::Decode(path);
    if (adpcm) decoded.resize(std::min(decoded.size(), size_t(2 * Ms(4650 + 20))));
    test::Runs runs = test::MsRuns(decoded, 2);
    if (adpcm && !runs.empty() && !runs.back().first) runs.pop_back();
    ASSERT_EQ(runs.size(), want.size()) << testing::PrintToString(runs);
    for (size_t i = 0; i < runs.size(); ++i) {
        // MP3 adds its encoder delay and padding at the ends.
        const int tolerance = mp3 ? (i == 0 || i + 1 == runs.size() ? 80 : 4) : 2;
        EXPECT_EQ(runs[i].first, want[i].first) << i;
        EXPECT_NEAR(double(runs[i].second), double(want[i].second), tolerance)
            << i << ": " << testing::PrintToString(runs);
    }
    const test::Runs left = test::MsRuns(decoded, 2, 0);
    ASSERT_GE(left.size(), 2u);
    EXPECT_NEAR(double(left[0].second), 1000 + 1000 + 150, mp3 ? 80 : 2)
        << "the first sound moved to the left channel";
}

INSTANTIATE_TEST_SUITE_P(
    Trim, RealFormats,
    ::testing::Values(Made{"wav", ".wav", {}}, Made{"flac", ".flac", {}}, Made{"aiff", ".aiff", {}},
                      Made{"mp3", ".mp3", {}},
                      Made{"ImaAdpcm", ".wav", {"-e", "ima-adpcm", "-b", "4"}},
                      Made{"MsAdpcm", ".wav", {"-e", "ms-adpcm", "-b", "4"}},
                      Made{"Extensible24", ".wav", {"-e", "signed", "-b", "24"}},
                      Made{"Float64", ".wav", {"-e", "float", "-b", "64"}}),
    [](const auto& info) { return std::string(info.param.name); });

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
    EXPECT_FALSE(OpenSinkLike(mpeg, *source, dir.File("new.wav"), &error));
    EXPECT_NE(error.find("mpeg.wav"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(dir.File("new.wav")));

    TrimOutcome outcome = TrimRecording(mpeg, TrimSettings{}, RealTrimFileIo(), {});
    EXPECT_TRUE(outcome.status == TrimStatus::Failed && !outcome.error.empty());
    EXPECT_EQ(test::ReadFile(mpeg), bytes);
}

}  // namespace
}  // namespace vocarta
