// How a recording ends by itself: the maximum time, a scheduled end, a
// voice-activation time-out, low disk space and a lost device. The end-to-end
// tests (test_session_recording.py) prove the common paths on real audio.
#include <gtest/gtest.h>

#include "app/session/disk_space.h"
#include "session_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

TEST_F(SessionTest, DefaultMaximumTimeIsNineFiftyNineFiftyNine) {
    Open();
    Record();
    dialog->OnRecorderProgress(dialog->Guard().MaxTimeMs() - 1);
    EXPECT_TRUE(dialog->IsRecordingInProgress());
    dialog->OnRecorderProgress(dialog->Guard().MaxTimeMs());
    EXPECT_FALSE(dialog->IsRecordingInProgress());
    EXPECT_TRUE(log.Has("Maximum recording time reached at 9:59:59.000"));
}

TEST_F(SessionTest, MaximumTimeGoesOnInANewFileOrStopsAsStopReachMaxTimeSays) {
    SetSettings("Settings",
                "MaxTimeHours=0;MaxTimeMinutes=0;MaxTimeSeconds=2;StopReachMaxTime=0;"
                "LaunchPlayWhenStop=1");
    Open();
    Run({"-exitifstop"});
    Record();
    Pump(3);
    EXPECT_EQ(dialog->OutputPath(), Take(1)) << "recording goes on into Untitled 001";
    // Going on into a new file is no stop of the recording.
    EXPECT_TRUE(dialog->RecorderState() == MainDialog::kRecorderRecording && !view.closed);
    EXPECT_NEAR(double(WavMs(Take(0))), 2000.0, 250.0);
    EXPECT_FALSE(log.HasPrefix("Play")) << "the end was not asked for: nothing is played";
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});

    SetSettingBool("Settings", "StopReachMaxTime", true);  // read when the limit is reached
    Pump(4);
    EXPECT_EQ(view.status, "Ready");
    EXPECT_NEAR(double(WavMs(Take(1))), 2000.0, 250.0);
    EXPECT_FALSE(Exists(Take(2)));
    EXPECT_TRUE(view.closed) << "-exitifstop ends the program at a real stop";
}

TEST_F(SessionTest, ScheduledEndIsIgnoredWithCheckMaxTimeOff) {
    SetSettingBool("Settings", "CheckMaxTime", false);
    Open();
    Run({"-scheduled_launch", ClockIn(2)});
    ASSERT_LE(dialog->Guard().ScheduledLimit(), 3000);
    Pump(4);
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kRecorderRecording)
        << "neither the session nor the recorder may stop at the scheduled end";
    dialog->Stop();
    EXPECT_GT(WavMs(Take(0)), 3000);
}

// The split itself is proven end to end; here the rules around it.
TEST_F(SessionTest, VoiceTimeoutSplitsOnlyWhenAskedAndNeverKeepsSilence) {
    SetSettings("Settings", "VoiceActivate=1;PauseWaitSeconds=1;VoiceActivateTimeoutRestart=1");
    Open();
    sound->Set(0);
    Record();
    Pump(1);
    EXPECT_EQ(view.status, "Waiting for voice input...");
    EXPECT_EQ(view.look, SessionLook::Paused);
    sound->Set(0.5);
    Pump(1);
    EXPECT_EQ(view.status, "Recording...");
    sound->Set(0);
    Pump(2);  // the silence wait runs out: the file is finished, a new one waits
    EXPECT_EQ(dialog->OutputPath(), Take(1));
    EXPECT_EQ(view.status, "Waiting for voice input...");
    Pump(2);  // silence alone never makes a file: the waiting one is deleted at the stop
    EXPECT_EQ(dialog->OutputPath(), Take(1));
    dialog->Stop();
    EXPECT_FALSE(Exists(Take(1)));
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});

    // Without the restart setting the recorder only goes back to waiting.
    SetSettingBool("Settings", "VoiceActivateTimeoutRestart", false);
    Record();
    sound->Set(0.5);
    Pump(1.5);
    sound->Set(0);
    Pump(2);
    EXPECT_EQ(dialog->OutputPath(), Take(2)) << "the deleted file's number is not taken again";
    EXPECT_EQ(view.status, "Waiting for voice input...");
    dialog->Stop();
    EXPECT_TRUE(Exists(Take(2)));
}

TEST_F(SessionTest, LowDiskSpaceAtTheStartEmptiesTheTrashThenRefuses) {
    const uint64_t needed = 8000ull * 100 * 4;  // 100 s of 8000 Hz mono, 4 bytes a sample
    freeBytes = needed;                         // exactly the figure is not more than it
    trashHolds = 1;                             // emptying the Trash makes it just enough
    Open();
    Record();
    EXPECT_TRUE(trashEmptied == 1 && dialog->IsRecordingInProgress());
    dialog->Stop();

    freeBytes = needed / 2;
    trashHolds = 0;
    Record();
    EXPECT_TRUE(trashEmptied == 2 && !dialog->IsRecordingInProgress());
    // The figures say how far off the disk is: 3.2 MB are needed, 1.6 MB free (rounded).
    EXPECT_EQ(view.messages.at(0).text,
              "You have no free disk space left. Please delete some of the files to make more "
              "space.\r\n\r\nThe recording needs 3 MB, 2 MB free on " +
                  MountPointOf(folder.Path()) + ".");
    EXPECT_TRUE(!Exists(Take(1)) && dialog->SessionEnded());
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailedReason"), "LowDiskSpace");
    SetSettingBool("Settings", "AutoEmpty", false);
    Record();
    EXPECT_EQ(trashEmptied, 2) << "with AutoEmpty off the Trash is left alone";
}

// Once a minute while recording: a recording without room for 100 s more stops,
// and what it holds is kept.
TEST_F(SessionTest, LowDiskSpaceStopsARecordingAtTheMinuteCheck) {
    Open();
    Record();
    Pump(1);
    freeBytes = 8000ull * 100 * 4;
    dialog->OnRecorderProgress(59999);
    EXPECT_TRUE(dialog->IsRecordingInProgress()) << "checked once a minute only";
    dialog->OnRecorderProgress(60000);
    EXPECT_TRUE(!dialog->IsRecordingInProgress() && trashEmptied == 1);
    EXPECT_EQ(view.messages.at(0).text.rfind("Recording has been stopped due to low disk space. "
                                             "Please free up some space and start recording "
                                             "again.\r\n\r\nThe recording needs 3 MB, 3 MB",
                                             0),
              0u)
        << view.messages.at(0).text;
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailedReason"), "LowDiskSpace");
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});
}

TEST_F(SessionTest, LostDeviceKeepsWhatWasRecorded) {
    loseDeviceAfterFrames = 8000 * 2;
    Open();
    Record();
    Pump(4);
    // The worker notices the loss on its own; the poll timer then reports it.
    // (The worker ends itself at once; the session hears of it only through Poll.)
    for (int i = 0; i < 500 && view.messages.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        loop.Fire(MainDialog::kTimerRecorderPoll);
        loop.RunPosted(0, 0);
    }
    EXPECT_TRUE(!dialog->IsRecordingInProgress() && view.levels.empty());
    EXPECT_EQ(view.status, "Ready");
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_NE(view.messages[0].text.find("stopped delivering sound"), std::string::npos);
    EXPECT_NEAR(double(WavMs(Take(0))), 1500.0, 250.0);
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});
}

TEST_F(SessionTest, LostSoundIsToldOncePerStartAndTheRecordingGoesOn) {
    Open();
    Record();
    Pump(2);
    dialog->OnAudioLost(120);
    dialog->OnAudioLost(340);  // the total grew: logged, not asked about again
    loop.RunPosted(0, 0);
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].text, "120 ms of audio lost: the disk could not keep up.");
    EXPECT_TRUE(dialog->IsRecordingInProgress());
}

}  // namespace
