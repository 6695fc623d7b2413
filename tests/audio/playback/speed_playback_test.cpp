// Playing recordings at another speed: real files made by sox, flac and lame,
// opened by the real decoders; what the player gets is read out directly, and
// what a real sound server plays is recorded from its null sink's monitor.

#include <gtest/gtest.h>

#include "audio/codecs/sink_factory.h"
#include "audio/playback/recording_playback.h"
#include "audio/playback/speed_change_source.h"
#include "playback_test_support.h"

namespace vocarta::test {
namespace {

class SpeedPlayback : public ::testing::Test {
  protected:
    // `seconds` of each frequency in turn, at `rate`, made by sox.
    std::string ToneFile(const std::string& name, uint32_t rate, int channels,
                         std::vector<int> frequencies, double seconds) {
        std::vector<std::string> argv = {
            "sox", "-n", "-r",           std::to_string(rate), "-c", std::to_string(channels),
            "-b",  "16", dir_.File(name)};
        for (int f : frequencies) {
            if (argv.size() > 9) argv.push_back(":");
            argv.insert(argv.end(), {"synth", std::to_string(seconds), "sine", std::to_string(f),
                                     "vol", "0.5"});
        }
        Tool(argv);
        return dir_.File(name);
    }
    std::string Encoded(const std::string& wav, const std::string& ext) {
        std::string out = wav.substr(0, wav.size() - 4) + ext;
        if (ext == ".mp3")
            Tool({"lame", "--silent", "-b", "128", wav, out});
        else
            Tool({"flac", "-s", "-f", "-o", out, wav});
        return out;
    }
    LSoundSource Open(const std::string& path, int speed) {
        LResult<LSoundSource> source = OpenRecordingForPlayback(path, speed);
        EXPECT_TRUE(source) << path << " at " << speed
                            << "%: " << (source ? "" : source.Error().Message());
        return source ? source.Value() : LSoundSource();
    }

    TempDir dir_{"vocarta-speed"};
};

TEST_F(SpeedPlayback, TheDeadBandPlaysTheDecodedStreamAndOutsideItTheSpeedChanges) {
    std::string wav = ToneFile("a440.wav", 44100, 1, {440}, 2.0);
    for (const std::string& file : {wav, Encoded(wav, ".flac"), Encoded(wav, ".mp3")}) {
        SCOPED_TRACE(file);
        std::string why;
        auto decoder = OpenSoundSource(file, &why);
        ASSERT_TRUE(decoder) << why;
        const std::vector<float> original = ReadAll(*decoder);
        ASSERT_GT(original.size(), 80000u);
        for (int speed : {93, 100, 110}) {
            LSoundSource same = Open(file, speed);
            ASSERT_TRUE(same);
            EXPECT_EQ(same->SampleRate(), 44100u) << speed;
            EXPECT_EQ(same->TotalFrames(), decoder->TotalFrames()) << speed;
            EXPECT_TRUE(ReadAll(*same.Get()) == original) << speed << "% changed the samples";
        }
        for (int speed : {92, 111, 50, 150}) {
            SCOPED_TRACE(speed);
            LSoundSource changed = Open(file, speed);
            ASSERT_TRUE(changed);
            auto* stretched = dynamic_cast<LSpeedChangeSource*>(changed.Get());
            ASSERT_NE(stretched, nullptr);
            EXPECT_TRUE(stretched->Converts());
            EXPECT_EQ(changed->SampleRate(), 22050u);
            std::vector<float> played = ReadAll(*changed.Get());
            // Half the frames per second, and 100 / speed as long.
            double expected = double(original.size()) / 2.0 * 100.0 / speed;
            EXPECT_NEAR(double(played.size()), expected, expected * 0.01);
            EXPECT_NEAR(double(changed->TotalFrames()), expected, expected * 0.01);
            // The pitch stays where it was.
            ToneMeasure tone = MeasureTone(played, 1, 22050);
            EXPECT_NEAR(tone.hz, 440.0, 4.0);
            EXPECT_NEAR(tone.rms, 0.5 / std::sqrt(2.0), 0.05);
        }
    }
}

TEST_F(SpeedPlayback, OnlyRatesAbove22050HzAreConvertedAndEveryChannelIsStretched) {
    struct Case {
        uint32_t rate;
        int channels;
        bool converts;
    } cases[] = {{22050, 1, false}, {16000, 1, false}, {48000, 2, true}, {8000, 2, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.rate) + " Hz, " + std::to_string(c.channels) + " channels");
        std::string file =
            ToneFile("t" + std::to_string(c.rate) + ".wav", c.rate, c.channels, {300}, 1.0);
        LSoundSource source = Open(file, 200);
        ASSERT_TRUE(source);
        auto* stretched = dynamic_cast<LSpeedChangeSource*>(source.Get());
        ASSERT_NE(stretched, nullptr);
        EXPECT_EQ(stretched->Converts(), c.converts);
        EXPECT_EQ(stretched->InnerSampleRate(), c.rate);
        const uint32_t rate = c.converts ? 22050 : c.rate;
        EXPECT_EQ(source->SampleRate(), rate);
        EXPECT_EQ(source->Channels(), c.channels);
        std::vector<float> played = ReadAll(*source.Get());
        EXPECT_NEAR(double(played.size()) / c.channels, rate * 0.5, rate * 0.5 * 0.01);
        for (int ch = 0; ch < c.channels; ++ch)
            EXPECT_NEAR(MeasureTone(played, c.channels, rate, ch).hz, 300.0, 3.0) << ch;
    }
}

TEST_F(SpeedPlayback, BadSpeedsAreRefusedOrClampedAndBadFilesSaySo) {
    std::string file = ToneFile("short.wav", 44100, 1, {440}, 0.2), error;
    for (int speed : {0, -50}) {
        LResult<LSoundSource> source = OpenRecordingForPlayback(file, speed);
        ASSERT_FALSE(source);
        EXPECT_EQ(source.Error().Message(), "The playback speed must be above 0% (it was " +
                                                std::to_string(speed) +
                                                "%); speeds from 10% to 400% can be played.");
        auto player = CreateNullSoundPlayer(LPlaybackRole::Media);
        EXPECT_FALSE(PlayRecordingFile(*player, file, &error, LSoundTime(), speed));
        EXPECT_EQ(error, source.Error().Message());
    }
    // Clamped: 1% plays at 10% (ten times as long), 100000% at 400%.
    for (auto [speed, factor] : {std::pair{1, 10.0}, std::pair{100000, 0.25}}) {
        LSoundSource source = Open(file, speed);
        ASSERT_TRUE(source);
        EXPECT_NEAR(double(ReadAll(*source.Get()).size()), 0.2 * 22050 * factor,
                    0.2 * 22050 * factor * 0.02)
            << speed;
    }
    LResult<LSoundSource> missing = OpenRecordingForPlayback(dir_.File("gone.mp3"), 50);
    ASSERT_FALSE(missing);
    EXPECT_TRUE(missing.Error().Message().starts_with("Cannot play " + dir_.File("gone.mp3")))
        << missing.Error().Message();
    // A decoder that breaks part-way: what came before is played, then its
    // error is told.
    struct Breaking : LSoundSourceBase {
        uint64_t at = 0;
        Breaking() {
            sampleRate_ = 44100;
            channels_ = 1;
            totalFrames_ = 44100;
        }
        int64_t Read(float* out, uint64_t frames) override {
            if (at >= 22050) {
                lastError_ = "bad block at byte 4711";
                return -1;
            }
            uint64_t n = std::min<uint64_t>(frames, 22050 - at);
            std::fill(out, out + n, 0.25f);
            at += n;
            return int64_t(n);
        }
        bool Seek(uint64_t frame) override { return (at = frame) <= totalFrames_; }
    };
    LResult<LSoundSource> broken =
        MakeSpeedChangeSource(LSoundSource(std::make_shared<Breaking>()), 50);
    ASSERT_TRUE(broken);
    std::vector<float> got;
    EXPECT_EQ(ReadToEnd(*broken.Value().Get(), &got), -1);
    EXPECT_GT(got.size(), 11025u);  // a good part of the half second before the fault
    EXPECT_EQ(broken.Value()->LastError(), "bad block at byte 4711");
}

TEST_F(SpeedPlayback, AFourHourRecordingIsReadOnlyAsFarAsItIsPlayed) {
    // Four hours of 48 kHz stereo made up as it is read, counting what is read.
    struct Endless : LSoundSourceBase {
        uint64_t at = 0, read = 0;
        Endless() {
            sampleRate_ = 48000;
            channels_ = 2;
            totalFrames_ = uint64_t(4) * 3600 * 48000;
        }
        int64_t Read(float* out, uint64_t frames) override {
            uint64_t n = std::min(frames, totalFrames_ - at);
            for (uint64_t i = 0; i < n * 2; ++i)
                out[i] = 0.5f * float(std::sin(2 * 3.14159265 * 440 * double(at + i / 2) / 48000));
            at += n;
            read += n;
            return int64_t(n);
        }
        bool Seek(uint64_t frame) override { return (at = frame) <= totalFrames_; }
    };
    auto inner = std::make_shared<Endless>();
    LSoundSource source = MakeSpeedChangeSource(LSoundSource(inner), 50).Value();
    EXPECT_EQ(source->Length().Milliseconds(), 8 * 3600 * 1000);
    std::vector<float> block(4096 * 2);
    ASSERT_EQ(source->Read(block.data(), 4096), 4096);
    EXPECT_LT(inner->read, 48000u / 2);  // under half a second decoded for the first block
    // Ten seconds in, still only what was played (and a block or two ahead).
    for (int i = 0; i < 53; ++i) ASSERT_EQ(source->Read(block.data(), 4096), 4096);
    EXPECT_LT(inner->read, uint64_t(54 * 4096 * 0.5 * 48000 / 22050 + 48000 / 2));
    // Three hours in, where the player would start from an offset.
    ASSERT_TRUE(
        source->Seek(RecordingToPlayedTime(LSoundTime(3 * 3600 * 1000), 50).ToFrames(22050)));
    EXPECT_EQ(inner->at, uint64_t(3) * 3600 * 48000);
    inner->read = 0;
    ASSERT_EQ(source->Read(block.data(), 4096), 4096);
    EXPECT_LT(inner->read, 48000u / 2);
    EXPECT_NEAR(MeasureTone(block, 2, 22050, 1).hz, 440.0, 10.0);
}

// The rate of the stream this program opened on the sound server, from pactl
// ("Sample Specification: float32le 1ch 22050Hz"); 0 when none is playing. The
// shared rig's keeper stream (pacat) is left out.
uint32_t ServerStreamRate() {
    std::string out = Tool({"pactl", "list", "sink-inputs"});
    for (size_t at = out.find("Sink Input #"); at != std::string::npos;) {
        size_t next = out.find("Sink Input #", at + 1);
        std::string block = out.substr(at, next == std::string::npos ? next : next - at);
        at = next;
        if (block.find("binary = \"pacat\"") != std::string::npos) continue;
        size_t spec = block.find("Sample Specification:");
        size_t hz = block.find("Hz", spec);
        if (spec == std::string::npos || hz == std::string::npos) continue;
        size_t space = block.rfind(' ', hz);
        return uint32_t(std::stoul(block.substr(space + 1, hz - space - 1)));
    }
    return 0;
}

// The part of a recording where something was heard.
std::vector<float> Audible(const std::vector<float>& s) {
    auto loud = [](float v) { return std::fabs(v) > 0.1f; };
    auto first = std::find_if(s.begin(), s.end(), loud);
    auto last = std::find_if(s.rbegin(), s.rend(), loud).base();
    return first < last ? std::vector<float>(first, last) : std::vector<float>();
}

TEST_F(SpeedPlayback, ASoundServerPlaysTheChangedSpeedAtTheConvertedRateWithThePitchKept) {
    ASSERT_NE(SharedPulse(), nullptr);
    SetChosenPlayDevice("");
    auto player = CreatePlatformSoundPlayer(LPlaybackRole::Media);
    std::string wav = ToneFile("play.wav", 44100, 1, {440}, 1.0);
    struct Case {
        std::string file;
        int speed;
        int64_t startMs;
        uint32_t serverRate;
        int heardMs;
    } cases[] = {
        {wav, 93, 0, 44100, 1000},
        {wav, 92, 0, 22050, 1087},
        {Encoded(wav, ".flac"), 200, 0, 22050, 500},
        // From half-way at half speed: the second half, twice as long (less
        // the stretcher's last window, which fades out over about 20 ms).
        {Encoded(wav, ".mp3"), 50, 500, 22050, 975},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file + " at " + std::to_string(c.speed) + "%");
        MonitorRecorder monitor("out", dir_.File("heard.wav"));
        ASSERT_TRUE(monitor.Started());
        std::string error;
        ASSERT_TRUE(PlayRecordingFile(*player, c.file, &error, LSoundTime(c.startMs), c.speed))
            << error;
        EXPECT_EQ(ServerStreamRate(), c.serverRate);
        ASSERT_TRUE(WaitFor([&] { return player->HasEnded(); }, 5000));
        EXPECT_FALSE(player->HasFailed()) << player->LastErrorText();
        EXPECT_NEAR(double(PlayedToRecordingTime(player->Position(), c.speed).Milliseconds()),
                    1000.0, 40.0);
        std::vector<float> heard = monitor.Finish();
        EXPECT_NEAR(HeardMs(HeardAt(heard, 440, 0.25)), c.heardMs, 50) << "heard";
        EXPECT_NEAR(MeasureTone(Audible(heard), 1, kTestRate).hz, 440.0, 4.0);
    }
}

}  // namespace
}  // namespace vocarta::test
