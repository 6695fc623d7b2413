// Playing recordings at another speed: real files made by sox and lame, opened
// by the real decoders; what the player gets is read out directly, and what a
// real sound server plays is recorded from its null sink's monitor.

#include <gtest/gtest.h>

#include "audio/codecs/sink_factory.h"
#include "audio/playback/recording_playback.h"
#include "audio/playback/speed_change_source.h"
#include "playback_test_support.h"

namespace vocarta::test {
namespace {

class SpeedPlayback : public ::testing::Test {
  protected:
    std::string Mp3Of(const std::string& wav) {
        std::string out = wav.substr(0, wav.size() - 4) + ".mp3";
        Tool({"lame", "--silent", "-b", "128", wav, out});
        return out;
    }
    LSoundSource Open(const std::string& path, int speed) {
        LResult<LSoundSource> source = OpenRecordingForPlayback(path, speed);
        EXPECT_TRUE(source) << path << " at " << speed << "%";
        return source ? source.Value() : LSoundSource();
    }
    // The stretcher behind a source, or a failure.
    LSpeedChangeSource* Stretcher(const LSoundSource& source) {
        auto* stretched = dynamic_cast<LSpeedChangeSource*>(source.Get());
        EXPECT_NE(stretched, nullptr);
        return stretched;
    }

    TempDir dir_{"vocarta-speed"};
};

TEST_F(SpeedPlayback, TheDeadBandPlaysTheDecodedStreamAndOutsideItTheSpeedChanges) {
    std::string wav = ToneFile(dir_, "a440.wav", 44100, 1, {440}, 2.0);
    for (const std::string& file : {wav, Mp3Of(wav)}) {
        SCOPED_TRACE(file);
        const std::vector<float> original = ReadAll(*Open(file, 100).Get());
        ASSERT_GT(original.size(), 80000u);
        for (int speed : {93, 100, 110}) {
            LSoundSource same = Open(file, speed);
            EXPECT_EQ(same->SampleRate(), 44100u) << speed;
            EXPECT_TRUE(ReadAll(*same.Get()) == original) << speed << "% changed the samples";
        }
        for (int speed : {92, 111}) {
            SCOPED_TRACE(speed);
            LSoundSource changed = Open(file, speed);
            EXPECT_TRUE(Stretcher(changed) && Stretcher(changed)->Converts());
            EXPECT_EQ(changed->SampleRate(), 22050u);
            std::vector<float> played = ReadAll(*changed.Get());
            // Half the frames per second, and 100 / speed as long, at the same pitch.
            double expected = double(original.size()) / 2.0 * 100.0 / speed;
            EXPECT_NEAR(double(played.size()), expected, expected * 0.01);
            EXPECT_NEAR(double(changed->TotalFrames()), expected, expected * 0.01);
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
        SCOPED_TRACE(c.rate);
        LSoundSource source = Open(
            ToneFile(dir_, std::to_string(c.rate) + ".wav", c.rate, c.channels, {300}, 1), 200);
        ASSERT_TRUE(Stretcher(source));
        EXPECT_EQ(Stretcher(source)->Converts(), c.converts);
        EXPECT_EQ(Stretcher(source)->InnerSampleRate(), c.rate);
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
    std::string file = ToneFile(dir_, "short.wav", 44100, 1, {440}, 0.2), error;
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
    for (auto [speed, factor] : {std::pair{1, 10.0}, std::pair{100000, 0.25}})
        EXPECT_NEAR(double(ReadAll(*Open(file, speed).Get()).size()), 4410 * factor,
                    4410 * factor * 0.02)
            << speed;
    LResult<LSoundSource> missing = OpenRecordingForPlayback(dir_.File("gone.mp3"), 50);
    ASSERT_FALSE(missing);
    EXPECT_TRUE(missing.Error().Message().starts_with("Cannot play " + dir_.File("gone.mp3")))
        << missing.Error().Message();
    // A decoder that breaks part-way: what came before is played, then its error is told.
    LResult<LSoundSource> broken =
        MakeSpeedChangeSource(LSoundSource(std::make_shared<BrokenSource>(24000, 48000)), 50);
    ASSERT_TRUE(broken);
    std::vector<float> got;
    EXPECT_EQ(ReadToEnd(*broken.Value().Get(), &got), -1);
    EXPECT_GT(got.size(), 11025u);  // a good part of the second made of the good half second
    EXPECT_EQ(broken.Value()->LastError(), "bad block at byte 4711");
}

TEST_F(SpeedPlayback, AFourHourRecordingIsReadOnlyAsFarAsItIsPlayed) {
    // Four hours of 48 kHz stereo made up as it is read, counting what is read.
    struct Endless : LSoundSourceBase {
        uint64_t at = 0, read = 0;
        Endless() { sampleRate_ = 48000, channels_ = 2, totalFrames_ = uint64_t(4) * 3600 * 48000; }
        int64_t Read(float* out, uint64_t frames) override {
            uint64_t n = std::min(frames, totalFrames_ - at);
            for (uint64_t i = 0; i < n * 2; ++i)
                out[i] = 0.5f * float(std::sin(2 * 3.14159265 * 440 * double(at + i / 2) / 48000));
            at += n, read += n;
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

TEST_F(SpeedPlayback, ASoundServerPlaysTheChangedSpeedAtTheConvertedRateWithThePitchKept) {
    ASSERT_NE(SharedPulse(), nullptr);
    SetChosenPlayDevice("");
    auto player = CreatePlatformSoundPlayer(LPlaybackRole::Media);
    std::string wav = ToneFile(dir_, "play.wav", 44100, 1, {440}, 1.0);
    struct Case {
        std::string file;
        int speed;
        int64_t startMs;
        const char* serverRate;  // of our stream (the rig's keeper plays at 48000 Hz)
        int heardMs;
    } cases[] = {
        {wav, 93, 0, "44100Hz", 1000},
        {wav, 200, 0, "22050Hz", 500},
        // From half-way at half speed: the second half, twice as long (less
        // the stretcher's last window, which fades out over about 20 ms).
        {Mp3Of(wav), 50, 500, "22050Hz", 975},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file + " at " + std::to_string(c.speed) + "%");
        MonitorRecorder monitor("out", dir_.File("heard.wav"));
        std::string error;
        ASSERT_TRUE(PlayRecordingFile(*player, c.file, &error, LSoundTime(c.startMs), c.speed))
            << error;
        EXPECT_NE(Tool({"pactl", "list", "sink-inputs"}).find(c.serverRate), std::string::npos);
        ASSERT_TRUE(WaitFor([&] { return player->HasEnded(); }, 5000));
        EXPECT_FALSE(player->HasFailed()) << player->LastErrorText();
        EXPECT_NEAR(double(PlayedToRecordingTime(player->Position(), c.speed).Milliseconds()),
                    1000.0, 40.0);
        std::vector<float> heard = monitor.Finish();
        EXPECT_NEAR(HeardMs(HeardAt(heard, 440, 0.25)), c.heardMs, 50) << "heard";
        EXPECT_NEAR(MeasureTone(heard, 1, kTestRate).hz, 440.0, 4.0);
    }
}

}  // namespace
}  // namespace vocarta::test
