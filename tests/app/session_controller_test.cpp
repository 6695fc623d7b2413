// The recording session's state table, counters and file rules, driven through
// MainDialog with the simulated recorder.
#include <gtest/gtest.h>

#include "session_fakes.h"
#include "settings/usage_stats.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

const std::string kDeviceMessage =
    "Vocarta cannot open the sound device for recording.\r\n\r\nPlease check you have "
    "selected the correct Sound Record Device in Settings";

TEST_F(SessionTest, RecordPauseResumeRetakeStopFollowTheStateTable) {
    Open();
    EXPECT_EQ(view.time, "0:00:00.000");
    EXPECT_EQ(view.status, "Ready");
    EXPECT_TRUE(view.buttons.record);
    EXPECT_FALSE(view.buttons.stop);

    Record();
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kRecording);
    EXPECT_EQ(view.look, SessionLook::Recording);
    EXPECT_EQ(view.toolTip, "Vocarta - Recording");
    EXPECT_TRUE(view.indicatorLit);
    EXPECT_EQ(loop.timers[MainDialog::kTimerBlink], 800);
    loop.Fire(MainDialog::kTimerBlink);
    EXPECT_FALSE(view.indicatorLit);
    EXPECT_EQ(loop.timers[MainDialog::kTimerBlink], 400);
    Pump(1.5);
    EXPECT_EQ(view.status, "Recording...");
    EXPECT_EQ(loop.timers[MainDialog::kTimerTimeDisplay], 13);
    EXPECT_EQ(tones, std::vector<LToneKind>{LToneKind::Start});
    EXPECT_FALSE(view.levels.empty());
    EXPECT_TRUE(view.buttons.pause && view.buttons.stop && !view.buttons.play);

    dialog->Pause();
    EXPECT_TRUE(dialog->IsPausedByUser());
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kPaused);
    EXPECT_EQ(view.look, SessionLook::Paused);
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerBlink));
    EXPECT_TRUE(view.buttons.record) << "Record resumes a paused recording";

    Record();  // resume: the same file goes on
    EXPECT_FALSE(dialog->IsPausedByUser());
    EXPECT_EQ(dialog->OutputPath(), Take(0));
    Pump(1.5);

    dialog->Restart();  // the take so far is thrown away
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kRecording);
    EXPECT_EQ(dialog->OutputPath(), Take(0));
    Pump(2.5);

    dialog->Stop();
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kStopped);
    EXPECT_EQ(view.status, "Ready");
    EXPECT_EQ(view.look, SessionLook::Idle);
    EXPECT_EQ(view.toolTip, "Vocarta Sound Recorder");
    EXPECT_TRUE(dialog->SessionEnded());
    EXPECT_FALSE(dialog->IsSinkOpen());
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerTimeDisplay));
    // Only the retake is in the file: 2.5 s pumped, 0.5 s of it dropped at the start.
    EXPECT_NEAR(double(WavMs(Take(0))), 2000.0, 150.0);
    EXPECT_TRUE(log.Has("Recording complete for file: " + Take(0)));
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});
    EXPECT_EQ(view.finished, std::vector<std::string>{Take(0)});
    EXPECT_EQ(tones.back(), LToneKind::Stop);
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 1);
    EXPECT_EQ(UsageCount("CmRecord"), 2);
    EXPECT_EQ(UsageCount("CmRestart"), 1);
    EXPECT_EQ(UsageCount("StrtRcrdng"), 3);
    EXPECT_TRUE(view.buttons.play);
    EXPECT_EQ(dialog->LastRecordingPath(), Take(0));

    // The next recording takes the next number.
    Record();
    EXPECT_EQ(dialog->OutputPath(), Take(1));
    dialog->AfterStop(true);
}

TEST_F(SessionTest, StopFromPausedWithNothingRecordedDeletesTheFile) {
    SetSettingInt("Settings", "FilesRecorded", 2);
    Open();
    Record();
    Pump(0.4);  // all of it dropped as the device's start-up
    dialog->Pause();
    ASSERT_TRUE(Exists(Take(0)));
    dialog->Stop();
    EXPECT_FALSE(Exists(Take(0)));
    EXPECT_TRUE(log.Has("Recording complete for file: " + Take(0)));
    EXPECT_TRUE(Queued().empty());
    EXPECT_TRUE(view.finished.empty());
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 2);
    EXPECT_EQ(view.status, "Ready");
}

TEST_F(SessionTest, FilesRecordedStopsCountingAtFive) {
    SetSettingInt("Settings", "FilesRecorded", 4);
    Open();
    for (int i = 0; i < 2; ++i) {
        Record();
        Pump(1);
        dialog->Stop();
    }
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 5);
    EXPECT_EQ(Queued().size(), 2u);
}

TEST_F(SessionTest, FailedDeviceStartPutsTheNumberBackAndSaysSo) {
    SetSettingInt("Settings", "AutoNumber", 6);
    deviceIndex = 99;  // no such device
    Open();
    Record();
    EXPECT_EQ(GetSettingInt("Settings", "AutoNumber", 0), 6);
    EXPECT_FALSE(Exists(Take(6)));
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].text, kDeviceMessage);
    EXPECT_EQ(view.messages[0].title, "Vocarta Sound Recorder");
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kStopped);
    EXPECT_TRUE(dialog->SessionEnded());
    EXPECT_EQ(view.status, "Ready");
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailed"), "StrtRcrdng");
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailedReason"), recorder->LastErrorText());
    EXPECT_FALSE(GetSettingString("UsageStats", "LastFailedReason").empty());
    EXPECT_EQ(UsageCount("StrtRcrdng"), 0);

    // With the device back, the same number is taken again.
    deviceIndex = 0;
    Record();
    EXPECT_EQ(dialog->OutputPath(), Take(6));
    dialog->Stop();
}

TEST_F(SessionTest, AFileUnder1024BytesIsNotKept) {
    LSoundFormat aLaw;  // 8 bits a sample: 100 ms make 800 bytes
    ASSERT_TRUE(MakeWavFormat(6, kRate, 1, 8, aLaw));
    SaveWavFormat(aLaw);
    Open();
    Record();
    Pump(0.6);  // five buffers dropped at the start, one written
    dialog->Stop();
    EXPECT_FALSE(Exists(Take(0))) << "a file of less than 1024 bytes is deleted";
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 0);
    EXPECT_TRUE(view.finished.empty());
    Record();
    Pump(0.8);
    dialog->Stop();
    EXPECT_TRUE(Exists(Take(1)));
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(1)});
}

TEST_F(SessionTest, OpenSinkFailureIsRecordedAndNothingStarts) {
    Open();
    // A file in a folder that does not exist: the sink cannot open.
    dialog->RecordToFile(folder.File("missing/x.wav"));
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailed"), "RcrdFile");
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailedReason"), "OpenSinkFailed");
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kStopped);
    ASSERT_FALSE(view.messages.empty());
    EXPECT_NE(view.messages.back().text.find("x.wav"), std::string::npos);
}

}  // namespace

namespace {

TEST_F(SessionTest, IntervalToneRunsOnlyWhileRecording) {
    SetSettingBool("Settings", "IntervalTone", true);
    SetSettingInt("Settings", "IntervalSecs", 2);
    SetSettingBool("Settings", "RecordTone", false);
    Open();
    Record();
    EXPECT_EQ(loop.timers[MainDialog::kTimerIntervalTone], 2000);
    loop.Fire(MainDialog::kTimerIntervalTone);
    EXPECT_EQ(tones, std::vector<LToneKind>{LToneKind::Interval});
    dialog->Pause();
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerIntervalTone));
    Record();
    EXPECT_TRUE(loop.IsTimerRunning(MainDialog::kTimerIntervalTone));
    dialog->Stop();
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerIntervalTone));
}

TEST_F(SessionTest, PlayAfterStopAndTheButtonsThatHoldPlayback) {
    SetSettingBool("Settings", "LaunchPlayWhenStop", true);
    Open();
    Record();
    Pump(2);
    dialog->Stop();
    EXPECT_TRUE(log.Has("Play")) << "a stop that was asked for plays the new recording";
    EXPECT_TRUE(view.buttons.pause && view.buttons.stop && !view.buttons.play);
    dialog->Pause();  // nothing records: the button holds playback
    EXPECT_TRUE(view.buttons.playbackPaused);
    EXPECT_TRUE(view.buttons.play);
    dialog->Play();  // goes on from where it was held
    EXPECT_FALSE(view.buttons.playbackPaused);
    dialog->Stop();
    EXPECT_TRUE(view.buttons.play && !view.buttons.stop);
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kStopped);
}

}  // namespace
