// Playback through a real (private) PulseAudio daemon, checked by recording the
// null sink's monitor with parecord and looking for the played frequencies.

#include <gtest/gtest.h>

#include "audio/playback/recording_playback.h"
#include "audio/playback/sound_player.h"
#include "audio/playback/tone_player.h"
#include "playback_test_support.h"

namespace vocarta {
namespace {

using test::HeardAt;
using test::HeardMs;
using test::MonitorRecorder;
using test::MsSince;
using test::PulseDaemon;
using test::WaitFor;
using Clock = std::chrono::steady_clock;

// The largest silence between two steps in which a frequency was heard.
int LongestGap(const std::vector<int>& steps) {
    int gap = 0;
    for (size_t i = 1; i < steps.size(); ++i) gap = std::max(gap, steps[i] - steps[i - 1] - 10);
    return gap;
}

double MeanTime(const std::vector<int>& steps) {
    double sum = 0;
    for (int t : steps) sum += t;
    return steps.empty() ? 0 : sum / double(steps.size());
}

class PulsePlayback : public ::testing::Test {
  protected:
    void SetUp() override {
        pulse_ = test::SharedPulse();
        ASSERT_NE(pulse_, nullptr);
        SetChosenPlayDevice("");
        player_ = CreatePlatformSoundPlayer(LPlaybackRole::Media);
    }

    // A WAV of `seconds` of each frequency in turn, made by sox.
    std::string ToneFile(const std::string& name, std::vector<int> frequencies, double seconds) {
        std::vector<std::string> parts;
        for (size_t i = 0; i < frequencies.size(); ++i) {
            parts.push_back(dir_.File(name + std::to_string(i) + ".wav"));
            EXPECT_EQ(PulseDaemon::Run({"sox", "-n", "-r", "48000", "-c", "1", "-b", "16",
                                        parts.back(), "synth", std::to_string(seconds), "sine",
                                        std::to_string(frequencies[i]), "vol", "0.5"},
                                       nullptr),
                      0)
                << "sox is needed for these tests";
        }
        std::vector<std::string> join = {"sox"};
        join.insert(join.end(), parts.begin(), parts.end());
        join.push_back(dir_.File(name));
        EXPECT_EQ(PulseDaemon::Run(join, nullptr), 0);
        return dir_.File(name);
    }

    bool PlayFile(const std::string& path) {
        std::string error;
        bool ok = PlayRecordingFile(*player_, path, &error);
        EXPECT_TRUE(ok) << error;
        return ok;
    }

    test::TempDir dir_{"vocarta-playback"};
    PulseDaemon* pulse_ = nullptr;
    std::unique_ptr<LSoundPlayer> player_;
};

TEST_F(PulsePlayback, AFileOfA1kHzToneIsHeardForItsLength) {
    std::string wav = ToneFile("tone.wav", {1000}, 1.0);
    std::string flac = dir_.File("tone.flac");
    ASSERT_EQ(PulseDaemon::Run({"sox", wav, flac}, nullptr), 0);
    for (const std::string& file : {wav, flac}) {
        SCOPED_TRACE(file);
        MonitorRecorder monitor("out", dir_.File("heard.wav"));
        ASSERT_TRUE(monitor.Started());
        ASSERT_TRUE(PlayFile(file));
        ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
        EXPECT_FALSE(player_->HasFailed()) << player_->LastErrorText();
        std::vector<float> heard = monitor.Finish();
        std::vector<int> at = HeardAt(heard, 1000, 0.25);
        EXPECT_NEAR(HeardMs(at), 1000, 40);
        EXPECT_LE(LongestGap(at), 0);                     // no drop-out
        EXPECT_TRUE(HeardAt(heard, 1000, 0.75).empty());  // not louder than the file
    }
    std::string error;
    EXPECT_FALSE(PlayRecordingFile(*player_, dir_.File("missing.wav"), &error));
    EXPECT_NE(error.find("missing.wav"), std::string::npos) << error;
}

TEST_F(PulsePlayback, PauseThenResumeGoesOnWhereItStopped) {
    // One second of 1000 Hz, then one of 1500 Hz: a restart or a skip would
    // change how much of each is heard.
    std::string file = ToneFile("two.wav", {1000, 1500}, 1.0);
    MonitorRecorder monitor("out", dir_.File("heard.wav"));
    ASSERT_TRUE(PlayFile(file));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    ASSERT_TRUE(player_->Pause());
    int64_t held = player_->Position().Milliseconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    ASSERT_TRUE(player_->Resume());
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    std::vector<float> heard = monitor.Finish();

    std::vector<int> low = HeardAt(heard, 1000, 0.25), high = HeardAt(heard, 1500, 0.25);
    ASSERT_FALSE(low.empty());
    ASSERT_FALSE(high.empty());
    EXPECT_NEAR(HeardMs(low), 1000, 50);
    EXPECT_NEAR(HeardMs(high), 1000, 50);
    EXPECT_NEAR(LongestGap(low), 800, 100);  // the pause, in the first part
    EXPECT_GT(high.front(), low.back());
    // The position shown while paused is what had been heard.
    int firstRun = 0;
    for (size_t i = 0; i < low.size() && (i == 0 || low[i] - low[i - 1] == 10); ++i) firstRun += 10;
    EXPECT_NEAR(double(held), double(firstRun), 60.0);
}

TEST_F(PulsePlayback, StopSilencesAtOnce) {
    std::string file = ToneFile("long.wav", {1000}, 3.0);
    MonitorRecorder monitor("out", dir_.File("heard.wav"));
    ASSERT_TRUE(PlayFile(file));
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    int64_t at = player_->Position().Milliseconds();
    player_->Stop();
    std::vector<float> heard = monitor.Finish();
    std::vector<int> steps = HeardAt(heard, 1000, 0.25);
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
        ASSERT_TRUE(player_->Play(test::SineSource(440, 1.0)));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        auto start = Clock::now();
        PlayTone(c.kind);
        EXPECT_LT(MsSince(start), 100);  // queued, not played by the caller
        ASSERT_TRUE(WaitForTones(5000));
        EXPECT_EQ(LastToneError(), "");
        ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
        std::vector<float> heard = monitor.Finish();
        std::vector<int> music = HeardAt(heard, 440, 0.25);
        EXPECT_NEAR(HeardMs(music), 1000, 40);
        EXPECT_LE(LongestGap(music), 0);
        std::vector<std::vector<int>> notes;
        int first = 1 << 30, last = 0;
        for (double f : c.notes) {
            notes.push_back(HeardAt(heard, f, kToneAmplitude / 2));
            EXPECT_GE(HeardMs(notes.back()), 30) << f << " Hz";
            EXPECT_LE(HeardMs(notes.back()), 80) << f << " Hz";
            if (!notes.back().empty()) {
                first = std::min(first, notes.back().front());
                last = std::max(last, notes.back().back());
            }
        }
        EXPECT_LE(last - first, 150);  // short
        if (notes.size() == 2) {
            EXPECT_LT(MeanTime(notes[0]), MeanTime(notes[1]));  // in order
        }
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
        MonitorRecorder there("second", dir_.File("second.wav"));
        MonitorRecorder here("out", dir_.File("out.wav"));
        ASSERT_TRUE(player_->Play(test::SineSource(1000, 0.5))) << player_->LastErrorText();
        ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
        EXPECT_NEAR(HeardMs(HeardAt(there.Finish(), 1000, 0.25)), 500, 40);
        EXPECT_TRUE(HeardAt(here.Finish(), 1000, 0.1).empty());
    }
    SetChosenPlayDevice("second");
    ASSERT_TRUE(player_->Play(test::SineSource(1000, 5.0))) << player_->LastErrorText();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    ASSERT_TRUE(pulse_->UnloadModule(second));
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 3000));
    EXPECT_TRUE(player_->HasFailed());
    EXPECT_EQ(player_->LastErrorText(), "The playback device \"second\" is no longer available.");
    auto start = Clock::now();
    player_->Stop();
    EXPECT_LT(MsSince(start), 1000);

    // A device that is not there plays on the default device.
    MonitorRecorder here("out", dir_.File("fallback.wav"));
    ASSERT_TRUE(player_->Play(test::SineSource(1000, 0.5))) << player_->LastErrorText();
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    EXPECT_NEAR(HeardMs(HeardAt(here.Finish(), 1000, 0.25)), 500, 40);
    SetChosenPlayDevice("");
}

TEST_F(PulsePlayback, NoServerGivesAClearErrorAndNoHang) {
    const std::string server = std::getenv("PULSE_SERVER");
    setenv("PULSE_SERVER", ("unix:" + dir_.File("no-server")).c_str(), 1);
    auto start = Clock::now();
    EXPECT_FALSE(player_->Play(test::SineSource(1000, 1.0)));
    EXPECT_LT(MsSince(start), 3000);
    EXPECT_EQ(player_->LastErrorText(), "Cannot connect to the sound server (Connection refused).");
    EXPECT_FALSE(player_->IsPlaying());
    PlayStopTone();
    ASSERT_TRUE(WaitForTones(3000));
    EXPECT_EQ(LastToneError(), "Cannot connect to the sound server (Connection refused).");
    setenv("PULSE_SERVER", server.c_str(), 1);
}

TEST_F(PulsePlayback, AServerThatStopsAnsweringNeverHangsTheCaller) {
    pid_t pid = test::DaemonPid(pulse_->Socket());
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(player_->Play(test::SineSource(1000, 5.0)));
    kill(pid, SIGSTOP);
    // Whatever fails below, the shared daemon must go on for the other tests.
    std::unique_ptr<pid_t, void (*)(pid_t*)> resume(&pid, [](pid_t* p) { kill(*p, SIGCONT); });
    auto start = Clock::now();
    player_->Stop();
    EXPECT_LT(MsSince(start), 1000);
    start = Clock::now();
    EXPECT_FALSE(player_->Play(test::SineSource(1000, 1.0)));
    EXPECT_LT(MsSince(start), 8000);
    EXPECT_EQ(player_->LastErrorText(), "The sound server did not answer within 5 seconds.");
    resume.reset();
    // And it plays again once the server is back.
    ASSERT_TRUE(player_->Play(test::SineSource(1000, 0.3))) << player_->LastErrorText();
    EXPECT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
}

TEST_F(PulsePlayback, ALostServerEndsPlaybackWithAReason) {
    // A daemon of its own, so the shared one lives on for the other tests.
    const std::string server = std::getenv("PULSE_SERVER");
    const std::string runtime = std::getenv("XDG_RUNTIME_DIR");
    {
        PulseDaemon own;
        std::string error;
        ASSERT_TRUE(own.Start(dir_.File(""), &error)) << error;
        ASSERT_GE(own.LoadModule("module-null-sink", "sink_name=own"), 0);
        ASSERT_TRUE(player_->Play(test::SineSource(1000, 5.0))) << player_->LastErrorText();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        kill(test::DaemonPid(own.Socket()), SIGKILL);  // as a crash would
        own.Stop();
        ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 3000));
        EXPECT_TRUE(player_->HasFailed());
        EXPECT_EQ(player_->LastErrorText().rfind("The connection to the sound server was lost", 0),
                  0u)
            << player_->LastErrorText();
        player_->Stop();
    }
    setenv("PULSE_SERVER", server.c_str(), 1);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
}

}  // namespace
}  // namespace vocarta
