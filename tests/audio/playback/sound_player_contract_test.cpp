// One contract for every player backend: the null output (what the session's
// tests use) and the PulseAudio stream on a private daemon must behave alike.

#include <gtest/gtest.h>

#include <atomic>

#include "audio/playback/sound_player.h"
#include "playback_test_support.h"

namespace vocarta::test {
namespace {

using Clock = std::chrono::steady_clock;

class SoundPlayerContract : public ::testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        if (GetParam() == "pulse") ASSERT_NE(SharedPulse(), nullptr);
        player_ = GetParam() == "null" ? CreateNullSoundPlayer(LPlaybackRole::Media)
                                       : CreatePlatformSoundPlayer(LPlaybackRole::Media);
        player_->SetEndCallback([this](bool failed) {
            ends_.fetch_add(1);
            failedEnds_.fetch_add(failed ? 1 : 0);
        });
    }

    std::unique_ptr<LSoundPlayer> player_;
    std::atomic<int> ends_{0};
    std::atomic<int> failedEnds_{0};
};

TEST_P(SoundPlayerContract, PlaysToTheEndOnceAndReportsTheWholeLength) {
    auto start = Clock::now();
    ASSERT_TRUE(player_->Play(SineSource(1000, 0.6))) << player_->LastErrorText();
    EXPECT_TRUE(player_->IsPlaying());
    EXPECT_EQ(player_->Length().Milliseconds(), 600);
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    // It took the sound's time: not cut short, not dumped at once.
    EXPECT_GE(MsSince(start), 550);
    EXPECT_FALSE(player_->HasFailed());
    EXPECT_FALSE(player_->IsPlaying());
    EXPECT_EQ(player_->Position().Milliseconds(), 600);
    ASSERT_TRUE(WaitFor([&] { return ends_.load() == 1; }, 1000));
    EXPECT_EQ(failedEnds_.load(), 0);
    // Playing the same source again goes from the start.
    ASSERT_TRUE(player_->Restart()) << player_->LastErrorText();
    EXPECT_LT(player_->Position().Milliseconds(), 300);
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    // The end notice follows the state on the feeder thread, so it may come a moment later.
    EXPECT_TRUE(WaitFor([&] { return ends_.load() == 2; }, 1000)) << ends_.load();
    // So does a source played to its end and given again.
    LSoundSource again = SineSource(1000, 0.3);
    ASSERT_TRUE(player_->Play(again));
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    start = Clock::now();
    ASSERT_TRUE(player_->Play(again));
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    EXPECT_GE(MsSince(start), 250);
    EXPECT_EQ(player_->Position().Milliseconds(), 300);
    // A start position skips what comes before it.
    start = Clock::now();
    ASSERT_TRUE(player_->Play(SineSource(1000, 1.5), LSoundTime(1000)));
    EXPECT_GE(player_->Position().Milliseconds(), 1000);
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    EXPECT_LT(MsSince(start), 1300);
    EXPECT_EQ(player_->Position().Milliseconds(), 1500);
}

TEST_P(SoundPlayerContract, PauseHoldsThePositionResumeGoesOnFromItAndStopEndsAtOnce) {
    ASSERT_TRUE(player_->Play(SineSource(1000, 1.5))) << player_->LastErrorText();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    EXPECT_FALSE(player_->Resume());  // not paused
    ASSERT_TRUE(player_->Pause()) << player_->LastErrorText();
    EXPECT_TRUE(player_->IsPaused() && !player_->IsPlaying());
    EXPECT_FALSE(player_->Pause());  // already paused
    int64_t held = player_->Position().Milliseconds();
    EXPECT_TRUE(held > 150 && held < 700) << held;
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_NEAR(double(player_->Position().Milliseconds()), double(held), 30.0);
    EXPECT_FALSE(player_->HasEnded());

    auto resumed = Clock::now();
    ASSERT_TRUE(player_->Resume()) << player_->LastErrorText();
    EXPECT_TRUE(player_->IsPlaying());
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    // What was left after the pause took its time, no more, no less.
    EXPECT_NEAR(double(MsSince(resumed)), double(1500 - held), 250.0);
    EXPECT_EQ(player_->Position().Milliseconds(), 1500);

    // Stop ends at once, without an end notice.
    ASSERT_TRUE(WaitFor([&] { return ends_.load() == 1; }, 1000));
    int ends = ends_.load();
    ASSERT_TRUE(player_->Play(SineSource(1000, 5.0))) << player_->LastErrorText();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    auto start = Clock::now();
    player_->Stop();
    EXPECT_LT(MsSince(start), 1000);  // a hang guard, not a speed target
    EXPECT_FALSE(player_->IsPlaying() || player_->HasEnded() || player_->Pause());
    EXPECT_EQ(player_->Position().Milliseconds(), 0);
    player_->Stop();  // twice is harmless
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(ends_.load(), ends);

    // Paused playback stops as well.
    ASSERT_TRUE(player_->Play(SineSource(1000, 5.0)));
    ASSERT_TRUE(player_->Pause());
    player_->Stop();
    EXPECT_FALSE(player_->IsPaused());
}

TEST_P(SoundPlayerContract, RefusesWhatCannotBePlayedAndADecoderThatBreaksLaterEndsPlayback) {
    const std::pair<LSoundSource, std::string> refused[] = {
        {LSoundSource(), "There is no recording to play."},
        {LSoundSource(MakeMemorySource({}, 44100, 0)), "This recording holds no playable sound."},
        {LSoundSource(MakeMemorySource(std::vector<float>(40), 44100, 40)),
         "This recording's format cannot be played (40 channels at 44100 Hz)."},
        // A decoder that fails at once: refused before any sound is made.
        {LSoundSource(std::make_shared<BrokenSource>(100, 200)),
         "Cannot play this recording: bad block at byte 4711"}};
    for (const auto& [source, reason] : refused) {
        EXPECT_FALSE(player_->Play(source));
        EXPECT_EQ(player_->LastErrorText(), reason);
        EXPECT_FALSE(player_->IsPlaying());
    }
    EXPECT_EQ(ends_.load(), 0);

    ASSERT_TRUE(
        player_->Play(LSoundSource(std::make_shared<BrokenSource>(kTestRate, 2 * kTestRate))));
    ASSERT_TRUE(WaitFor([&] { return player_->HasEnded(); }, 5000));
    EXPECT_TRUE(player_->HasFailed());
    EXPECT_EQ(player_->LastErrorText(), "Playback stopped: bad block at byte 4711");
    // What decoded before the damage was played.
    EXPECT_NEAR(double(player_->Position().Milliseconds()), 950.0, 50.0);
    ASSERT_TRUE(WaitFor([&] { return failedEnds_.load() == 1; }, 1000));
}

INSTANTIATE_TEST_SUITE_P(Backends, SoundPlayerContract, ::testing::Values("null", "pulse"),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace vocarta::test
