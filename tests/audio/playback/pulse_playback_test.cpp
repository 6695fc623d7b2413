// Playback through a real (private) PulseAudio daemon, checked by recording the
// null sink's monitor with parecord and looking for the played frequencies.

#include <gtest/gtest.h>

#include <numeric>

#include "audio/playback/recording_playback.h"
#include "audio/playback/sound_player.h"
#include "audio/playback/tone_player.h"
#include "playback_test_support.h"

namespace vocarta::test {
namespace {

using Clock = std::chrono::steady_clock;

// The largest silence between two steps in which a frequency was heard.
int LongestGap(const std::vector<int>& steps) {
    int gap = 0;
    for (size_t i = 1; i < steps.size(); ++i) gap = std::max(gap, steps[i] - steps[i - 1] - 10);
    return gap;
}

class PulsePlayback : public ::testing::Test {
  protected:
    void SetUp() override {
        pulse_ = SharedPulse();
        ASSERT_NE(pulse_, nullptr);
        SetChosenPlayDevice("");
        player_ = CreatePlatformSoundPlayer(LPlaybackRole::Media);
        server_ = std::getenv("PULSE_SERVER");
        runtime_ = std::getenv("XDG_RUNTIME_DIR");
    }
    // A test may point this process at another server; the next one uses the shared one.
    void TearDown() override {
        setenv("PULSE_SERVER", server_.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", runtime_.c_str(), 1);
    }

    // Plays a file (or a source) and returns what the monitor of `sink` heard.
    std::vector<float> Heard(const std::string& file, LSoundSource source = {},
                             const std::string& sink = "out") {
        MonitorRecorder monitor(sink, dir_.File("heard.wav"));
        EXPECT_TRUE(monitor.Started());
        std::string error;
        EXPECT_TRUE(source ? player_->Play(source) : PlayRecordingFile(*player_, file, &error))
            << error << player_->LastErrorText();
        EXPECT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
        EXPECT_FALSE(player_->HasFailed()) << player_->LastErrorText();
        return monitor.Finish();
    }

    TempDir dir_{"vocarta-playback"};
    PulseDaemon* pulse_ = nullptr;
    std::unique_ptr<LSoundPlayer> player_;
    std::string server_, runtime_;
};

TEST_F(PulsePlayback, PauseThenResumeGoesOnWhereItStoppedAndStopSilencesAtOnce) {
    // One second of 1000 Hz, then one of 1500 Hz: a restart or a skip would
    // change how much of each is heard.
    std::string file = ToneFile(dir_, "two.wav", kTestRate, 1, {1000, 1500}, 1.0), error;
    MonitorRecorder monitor("out", dir_.File("heard.wav"));
    ASSERT_TRUE(PlayRecordingFile(*player_, file, &error)) << error;
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    ASSERT_TRUE(player_->Pause());
    int64_t held = player_->Position().Milliseconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    ASSERT_TRUE(player_->Resume());
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    std::vector<float> heard = monitor.Finish();
    std::vector<int> low = HeardAt(heard, 1000, 0.25), high = HeardAt(heard, 1500, 0.25);
    ASSERT_TRUE(!low.empty() && !high.empty());
    EXPECT_NEAR(HeardMs(low), 1000, 50);
    EXPECT_NEAR(HeardMs(high), 1000, 50);
    EXPECT_NEAR(LongestGap(low), 800, 100);  // the pause, in the first part
    // A 10 ms window straddling the change may hold both tones.
    EXPECT_GE(high.front(), low.back());
    // The position shown while paused is what had been heard.
    int firstRun = 0;
    for (size_t i = 0; i < low.size() && (i == 0 || low[i] - low[i - 1] == 10); ++i) firstRun += 10;
    EXPECT_NEAR(double(held), double(firstRun), 60.0);

    // Stopped part-way: heard up to the position, and nothing after.
    MonitorRecorder stopped("out", dir_.File("stopped.wav"));
    ASSERT_TRUE(PlayRecordingFile(*player_, file, &error)) << error;
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    int64_t at = player_->Position().Milliseconds();
    player_->Stop();
    std::vector<int> steps = HeardAt(stopped.Finish(), 1000, 0.25);
    EXPECT_NEAR(HeardMs(steps), double(at), 80.0);
    EXPECT_LE(LongestGap(steps), 0);
}

TEST_F(PulsePlayback, EachToneIsHeardShortAndInOrderBesidePlayback) {
    struct Case {
        LToneKind kind;
        std::vector<double> notes;
    } cases[] = {{LToneKind::Start, {880, 1320}},
                 {LToneKind::Stop, {1320, 880}},
                 {LToneKind::Interval, {1000}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(ToneName(c.kind));
        MonitorRecorder monitor("out", dir_.File("tone.wav"));
        // Music plays all along; the tone must not interrupt it.
        ASSERT_TRUE(player_->Play(SineSource(440, 1.0)));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        PlayTone(c.kind);
        // Queued, not played by the caller: its notes are still to come.
        EXPECT_FALSE(WaitForTones(0));
        ASSERT_TRUE(WaitForTones(5000));
        EXPECT_EQ(LastToneError(), "");
        ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
        std::vector<float> heard = monitor.Finish();
        std::vector<int> music = HeardAt(heard, 440, 0.25);
        EXPECT_NEAR(HeardMs(music), 1000, 40);
        EXPECT_LE(LongestGap(music), 0);                 // no drop-out
        EXPECT_TRUE(HeardAt(heard, 440, 0.75).empty());  // not louder than the source
        int first = 1 << 30, last = 0;
        std::vector<double> meanTimes;
        for (double f : c.notes) {
            std::vector<int> note = HeardAt(heard, f, kToneAmplitude / 2);
            EXPECT_NEAR(HeardMs(note), 55, 25) << f << " Hz";
            if (note.empty()) continue;
            first = std::min(first, note.front());
            last = std::max(last, note.back());
            meanTimes.push_back(std::accumulate(note.begin(), note.end(), 0.0) / note.size());
        }
        EXPECT_LE(last - first, 150);                                     // short
        EXPECT_TRUE(std::is_sorted(meanTimes.begin(), meanTimes.end()));  // in order
    }
}

TEST_F(PulsePlayback, TheChosenDeviceIsUsedAndItsLossEndsPlaybackWithAReason) {
    int second = pulse_->LoadModule("module-null-sink",
                                    "sink_name=second rate=48000 channels=1 format=float32le "
                                    "sink_properties=device.description=Headset");
    ASSERT_GE(second, 0);
    // Chosen by its display name, as the device list shows it.
    SetChosenPlayDevice("Headset");
    {
        MonitorRecorder here("out", dir_.File("out.wav"));
        EXPECT_NEAR(HeardMs(HeardAt(Heard("", SineSource(1000, 0.5), "second"), 1000, 0.25)), 500,
                    40);
        EXPECT_TRUE(HeardAt(here.Finish(), 1000, 0.1).empty());
    }
    SetChosenPlayDevice("second");
    ASSERT_TRUE(player_->Play(SineSource(1000, 5.0))) << player_->LastErrorText();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    ASSERT_TRUE(pulse_->UnloadModule(second));
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 3000));
    EXPECT_TRUE(player_->HasFailed() &&
                player_->LastErrorText() ==
                    "The playback device \"second\" is no longer available.")
        << player_->LastErrorText();
    auto start = Clock::now();
    player_->Stop();
    EXPECT_LT(MsSince(start), 1000);
    // A device that is not there plays on the default device.
    EXPECT_NEAR(HeardMs(HeardAt(Heard("", SineSource(1000, 0.5)), 1000, 0.25)), 500, 40);
}

TEST_F(PulsePlayback, AServerThatStopsAnsweringNeverHangsTheCaller) {
    pid_t pid = pulse_->Pid();
    ASSERT_TRUE(player_->Play(SineSource(1000, 5.0)));
    kill(pid, SIGSTOP);
    // Whatever fails below, the shared daemon must go on for the other tests.
    std::unique_ptr<pid_t, void (*)(pid_t*)> resume(&pid, [](pid_t* p) { kill(*p, SIGCONT); });
    auto start = Clock::now();
    player_->Stop();
    EXPECT_LT(MsSince(start), 1000);
    start = Clock::now();
    EXPECT_FALSE(player_->Play(SineSource(1000, 1.0)));
    EXPECT_LT(MsSince(start), 8000);
    EXPECT_EQ(player_->LastErrorText(), "The sound server did not answer within 5 seconds.");
    resume.reset();
    // And it plays again once the server is back.
    ASSERT_TRUE(player_->Play(SineSource(1000, 0.3))) << player_->LastErrorText();
    EXPECT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
}

TEST_F(PulsePlayback, ALostServerEndsPlaybackWithAReasonAndNoServerGivesAClearError) {
    PulseDaemon own;  // a daemon of its own, so the shared one lives on
    std::string error;
    ASSERT_TRUE(own.Start(dir_.Path(), &error)) << error;
    ASSERT_GE(own.LoadModule("module-null-sink", "sink_name=own"), 0);
    ASSERT_TRUE(player_->Play(SineSource(1000, 5.0))) << player_->LastErrorText();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(own.Pid(), SIGKILL);  // as a crash would
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 3000));
    EXPECT_TRUE(player_->HasFailed());
    EXPECT_TRUE(player_->LastErrorText().starts_with("The connection to the sound server was lost"))
        << player_->LastErrorText();
    player_->Stop();
    // Nothing listens there now: a clear error at once, for playback and tones.
    auto start = Clock::now();
    EXPECT_FALSE(player_->Play(SineSource(1000, 1.0)));
    EXPECT_LT(MsSince(start), 3000);
    EXPECT_EQ(player_->LastErrorText(), "Cannot connect to the sound server (Connection refused).");
    EXPECT_FALSE(player_->IsPlaying());
    PlayStopTone();
    ASSERT_TRUE(WaitForTones(3000));
    EXPECT_EQ(LastToneError(), "Cannot connect to the sound server (Connection refused).");
}

}  // namespace
}  // namespace vocarta::test
