// What the recorder reports while it runs: the start of sound, progress (free
// space, maximum time, scheduled end), voice-activation time-outs and stops.
#include "app/lmain_loop.h"
#include "app/main_dialog.h"
#include "app/main_dialog_view.h"
#include "app/session_events.h"
#include "app/session_settings.h"
#include "audio/recorder_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kMessageTitle = "Vocarta Sound Recorder";
constexpr const char* kLowDiskStoppedText =
    "Recording has been stopped due to low disk space. Please free up some space and start "
    "recording again.";
constexpr const char* kDeviceLostText =
    "Recording has been stopped because the sound device stopped delivering sound (%s). What "
    "was recorded until then has been kept.";
constexpr int kTimeDisplayMs = 13;
constexpr int64_t kDiskCheckSeconds = 60;
}  // namespace

void MainDialog::OnRecordingStarted() {
    if (RecorderState() == kRecording) {
        timeDisplayWanted_ = true;
        KeepTimeDisplayTimer();
    }
    if (session_settings::RecordTone()) services_.playTone(LToneKind::Start);
    ShowStatus(kStatusRecording);
    ShowLook(SessionLook::Recording);
}

void MainDialog::OnRecorderProgress(int64_t positionMs) {
    if (!sink_) return;
    if (DiskSpaceRunsOut(positionMs)) return;
    bool over = false;
    const bool scheduled = scheduledLimit_ != kNoLimit;
    // With CheckMaxTime off neither limit is looked at, the scheduled one
    // included: deliberate, and kept.
    if (checkMaxTime_) over = positionMs >= (scheduled ? scheduledLimit_ : maxTimeMs_);
    if (over) {
        EndAtLimit(positionMs, scheduled);
        return;
    }
    soundCaptured_ = soundCaptured_ || services_.recorder->SoundCaptured();
}

void MainDialog::KeepTimeDisplayTimer() {
    const bool armed = timeDisplayWanted_ && view_.ShowsTime();
    if (armed == loop_.IsTimerRunning(kTimerTimeDisplay)) return;
    if (!armed) {
        loop_.KillTimer(kTimerTimeDisplay);
        return;
    }
    loop_.StartTimer(kTimerTimeDisplay, kTimeDisplayMs);
    RefreshTimeDisplay();  // shown again: the time it hid is caught up at once
}

void MainDialog::EndTimeDisplay() {
    timeDisplayWanted_ = false;
    loop_.KillTimer(kTimerTimeDisplay);
}

// Every 60 s of recording the free-space rule of the start is checked again.
bool MainDialog::DiskSpaceRunsOut(int64_t positionMs) {
    if ((positionMs - lastDiskCheckMs_) / 1000 < kDiskCheckSeconds) return false;
    lastDiskCheckMs_ = positionMs;
    if (EnoughFreeSpace()) return false;
    AfterStop(true);
    RecordFailure("StrtRcrdng", "LowDiskSpace");
    ShowMessage(view_, kLowDiskStoppedText, kMessageTitle, MessageBoxRequest::Icon::Warning);
    return true;
}

void MainDialog::EndAtLimit(int64_t positionMs, bool scheduled) {
    view_.SetTimeText(TimeDisplayText(positionMs));
    const bool done = scheduled || session_settings::StopReachMaxTime();
    LogEvent("%s reached at %s", scheduled ? "Scheduled end" : "Maximum recording time",
             TimeDisplayText(positionMs).c_str());
    scheduledLimit_ = kNoLimit;
    AfterStop(done);
    if (!done) {
        // Message 1116: recording goes on in a new file once this step is over.
        continuationPending_ = true;
        loop_.Post([this] { OnMessage(kMessageContinueRecording); });
    }
}

void MainDialog::OnVoiceTimeout(bool voiceActivated) {
    const bool restart = voiceActivated && VoiceTimeoutRestartEnabled();
    soundCaptured_ = soundCaptured_ || services_.recorder->SoundCaptured();
    if (soundCaptured_ && sink_ && sink_->FramesWritten() > 0 && restart) {
        LogEvent("Voice time-out: %s finished, recording goes on in a new file",
                 outputPath_.c_str());
        AfterStop(true);
        Record(kDefaultLimitMs);
        const int state = RecorderState();
        ShowLook(state == kStopped                       ? SessionLook::Idle
                 : state == kRecording && !pausedByUser_ ? SessionLook::Recording
                                                         : SessionLook::Paused);
        return;
    }
    ShowStatus(kStatusWaiting);
    ShowLook(SessionLook::Paused);
}

void MainDialog::OnRecorderStopped() {
    if (closed_) return;
    // A recording started since the stop was reported owns the window now.
    if (IsRecordingInProgress() || sink_) return;
    view_.SetLevels({});
    view_.SetTimeText(TimeDisplayText(finalTimeMs_));
    ShowLook(SessionLook::Idle);
    if (exitWhenStopped_ && !continuationPending_ && view_.HasFrame()) {
        LogEvent("Recording stopped: ending as asked (-exitifstop)");
        Close();
    }
}

// The recorder stopped at the time limit it was started with: the file is
// finished as at any other end the user asked for.
void MainDialog::OnRecorderStoppedItself() {
    if (!sink_ || IsRecordingInProgress()) return;
    LogEvent("Recorder reached its time limit");
    scheduledLimit_ = kNoLimit;
    FinishRecording(true);
}

void MainDialog::OnRecorderFailed(int32_t error) {
    const std::string text = services_.recorder->LastErrorText();
    LogError("MainDialog::OnRecorderFailed capture FAILED: %s (%d)", text.c_str(), int(error));
    if (sink_) {
        RecordFailure("StrtRcrdng", text.empty() ? CaptureErrorText(error) : text);
        FinishRecording(true);
        ShowMessage(view_, StringPrintf(kDeviceLostText, text.c_str()), kMessageTitle,
                    MessageBoxRequest::Icon::Warning);
    }
    OnRecorderStopped();
}

}  // namespace vocarta
