// The recording session's state table, counters and file rules, driven through
// MainDialog with the simulated recorder.
#include <gtest/gtest.h>

#include "session_fakes.h"
#include "settings/usage_stats.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// Hidden in the tray or with nowhere to show it, the time is not refreshed: timer 15 stops, and
// comes back with the time caught up when the window shows again.
TEST_F(SessionTest, TimersRunOnlyWhenTheyHaveSomethingToDo) {
    Open();
    view.visible = false;
    Record();
    // Poll comes when the recorder signals news, not only from the timer.
    EXPECT_EQ(loop.watches[MainDialog::kTimerRecorderPoll], recorder->WakeSignal().Descriptor());
    Pump(1.0);
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay));
    view.visible = true;
    loop.Fire(MainDialog::kTimerRecorderPoll);
    EXPECT_TRUE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay));
    EXPECT_GE(view.time, "0:00:00.5") << view.time;
    view.timeShown = false;
    loop.Fire(MainDialog::kTimerRecorderPoll);
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay));
    dialog->Pause();
    view.timeShown = true;
    loop.Fire(MainDialog::kTimerRecorderPoll);
    EXPECT_TRUE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay))
        << "paused, the time still shows";
    dialog->Stop();
    EXPECT_EQ(loop.watches.count(MainDialog::kTimerRecorderPoll), 0u);
    loop.Fire(MainDialog::kTimerRecorderPoll);
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay));
}

// Texts and tool tips: the window and end-to-end tests.
TEST_F(SessionTest, RecordPauseResumeRetakeStopFollowTheStateTable) {
    Open();
    view.visible = true;
    EXPECT_TRUE(view.buttons.record && !view.buttons.stop);
    Record();
    ExpectState(MainDialog::kRecorderRecording, SessionLook::Recording);
    EXPECT_TRUE(view.indicatorLit);
    loop.Fire(SessionPresenter::kTimerBlink);
    EXPECT_FALSE(view.indicatorLit);
    Pump(1.5);
    EXPECT_TRUE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay) && !view.levels.empty());
    EXPECT_EQ(tones, std::vector<LToneKind>{LToneKind::Start});
    EXPECT_TRUE(view.buttons.pause && view.buttons.stop && !view.buttons.play);

    dialog->Pause();
    ExpectState(MainDialog::kRecorderPaused, SessionLook::Paused);
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerBlink));
    EXPECT_TRUE(view.buttons.record) << "Record resumes a paused recording";
    Record();
    EXPECT_FALSE(dialog->IsPausedByUser());
    Pump(1.5);
    dialog->Restart();  // the take so far is thrown away
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kRecorderRecording);
    EXPECT_EQ(dialog->OutputPath(), Take(0));
    Pump(2.5);

    dialog->Stop();
    ExpectState(MainDialog::kRecorderStopped, SessionLook::Idle);
    EXPECT_TRUE(dialog->SessionEnded() && !dialog->IsSinkOpen());
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerTimeDisplay));
    // Only the retake is in the file: 2.5 s pumped, 0.5 s of it dropped at the start.
    EXPECT_NEAR(double(WavMs(Take(0))), 2000.0, 150.0);
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(0)});
    EXPECT_EQ(view.finished, std::vector<std::string>{Take(0)});
    EXPECT_EQ(tones.back(), LToneKind::Stop);
    // Each device start counts.
    EXPECT_EQ((std::vector<int>{UsageCount("CmRecord"), UsageCount("CmRestart"),
                                UsageCount("StrtRcrdng")}),
              (std::vector<int>{2, 1, 3}));
    EXPECT_TRUE(view.buttons.play && dialog->LastRecordingPath() == Take(0));
    Record();
    EXPECT_EQ(dialog->OutputPath(), Take(1)) << "the next recording takes the next number";
    dialog->AfterStop(true);
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

TEST_F(SessionTest, AFileUnder1024BytesIsNotKept) {
    LSoundFormat aLaw;  // 8 bits a sample: 100 ms make 800 bytes
    ASSERT_TRUE(MakeWavFormat(6, kRate, 1, 8, aLaw));
    SaveWavFormat(aLaw);
    Open();
    Record();
    Pump(0.6);  // five buffers dropped at the start, one written
    dialog->Stop();
    EXPECT_FALSE(Exists(Take(0))) << "a file of less than 1024 bytes is deleted";
    EXPECT_TRUE(view.finished.empty());
    Record();
    Pump(0.8);
    dialog->Stop();
    EXPECT_EQ(Queued(), std::vector<std::string>{Take(1)});
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 1);
}

TEST_F(SessionTest, OpenSinkFailureIsRecordedAndNothingStarts) {
    Open();
    // A folder that does not exist.
    dialog->RecordToFile(folder.File("missing/x.wav"), CurrentRecordingSpec());
    ExpectSettings("UsageStats", "LastFailed=RcrdFile;LastFailedReason=OpenSinkFailed");
    EXPECT_EQ(dialog->RecorderState(), MainDialog::kRecorderStopped);
    EXPECT_TRUE(!view.messages.empty() &&
                view.messages.back().text.find("x.wav") != std::string::npos);
}

TEST_F(SessionTest, DeviceThatCannotOpenPutsTheNumberBackAndSaysWhy) {
    SetSettingInt("Settings", "AutoNumber", 7);
    deviceIndex = -1;
    Open();
    Record();
    EXPECT_FALSE(dialog->IsRecordingInProgress() || Exists(Take(7)));
    EXPECT_EQ(GetSettingInt("Settings", "AutoNumber", 0), 7);
    EXPECT_EQ(GetSettingString("UsageStats", "LastFailed"), "StrtRcrdng");
    EXPECT_FALSE(GetSettingString("UsageStats", "LastFailedReason").empty());
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].text.rfind("Vocarta cannot open the sound device for recording."
                                          "\r\n\r\nPlease check you have selected the correct "
                                          "Sound Record Device in Settings",
                                          0),
              0u);
    deviceIndex = 0;  // the number given back is taken
    Record();
    EXPECT_EQ(dialog->OutputPath(), Take(7));
    dialog->Stop();
}

TEST_F(SessionTest, IntervalToneRunsOnlyWhileRecording) {
    SetSettings("Settings", "IntervalTone=1;IntervalSecs=2");
    Open();
    Record();
    EXPECT_EQ(loop.timers[MainDialog::kTimerIntervalTone], 2000);
    loop.Fire(MainDialog::kTimerIntervalTone);
    EXPECT_EQ(tones.back(), LToneKind::Interval);
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
    EXPECT_TRUE(view.buttons.playbackPaused && view.buttons.play);
    dialog->Play();  // goes on from where it was held
    EXPECT_FALSE(view.buttons.playbackPaused);
    dialog->Stop();
    EXPECT_TRUE(view.buttons.play && !view.buttons.stop);
}

// A paused recording looked like a running one: status "Recording...", meters
// frozen at their last value.
TEST_F(SessionTest, PausedLooksPausedAndASilentTakeSaysWhyItLeftNothing) {
    Open();
    view.visible = true;
    Record();
    Pump(1.5);
    dialog->Pause();
    EXPECT_TRUE(view.levels.empty()) << "the meters drop";
    EXPECT_TRUE(view.buttons.recordingPaused) << "the pause button shows pressed";
    ASSERT_TRUE(loop.IsTimerRunning(SessionPresenter::kTimerPausedBlink));
    loop.Fire(SessionPresenter::kTimerPausedBlink);
    EXPECT_TRUE(view.timeDimmed) << "the time display blinks";
    Record();
    EXPECT_FALSE(loop.IsTimerRunning(SessionPresenter::kTimerPausedBlink) || view.timeDimmed ||
                 view.buttons.recordingPaused);
    dialog->Stop();

    // Voice activation never heard anything: no file, and the window says why
    // instead of showing a time that belongs to nothing.
    SetSettingBool("Settings", "VoiceActivate", true);
    sound->Set(0);
    Record();
    Pump(1.5);
    dialog->Stop();
    EXPECT_EQ(view.status, "Nothing was recorded: the input was silent");
    EXPECT_EQ(view.time, "0:00:00.000");
    EXPECT_FALSE(Exists(Take(1)));
    Record();  // the same from Paused, and neither take is counted
    Pump(1.5);
    dialog->Pause();
    const std::string paused = dialog->OutputPath();
    dialog->Stop();
    EXPECT_FALSE(Exists(paused));
    EXPECT_EQ(GetSettingInt("Settings", "FilesRecorded", 0), 1);
}

// "-recordfile" onto an existing 30-second recording overwrote it, and a short
// take then deleted it; a second day's "-scheduled_launch <time> News" overwrote
// the first day's News.
TEST_F(SessionTest, ExistingRecordingsAreNeverOverwrittenOrDeletedByATake) {
    Open();
    const std::string kept = folder.File("kept.wav");
    WriteFile(kept, std::string(4096, 'k'));
    view.answers = {1};  // "Record as kept 001.wav", the answer nobody at the keyboard gets
    Run({"-recordfile", kept});
    EXPECT_EQ(dialog->OutputPath(), folder.File("kept 001.wav"));
    dialog->Stop();  // an empty take: its own file goes, the old one stays
    EXPECT_EQ(ReadFile(kept), std::string(4096, 'k'));
    EXPECT_FALSE(Exists(folder.File("kept 001.wav")));

    WriteFile(folder.File("News.wav"), "yesterday");
    Run({"-scheduled_launch", ClockIn(60), "News"});
    EXPECT_EQ(dialog->OutputPath(), folder.File("News 001.wav"));
    EXPECT_EQ(ReadFile(folder.File("News.wav")), "yesterday");
    dialog->Stop();
}

}  // namespace
