// What the recorder reports while it runs: the start of sound, progress (free
// space, maximum time, scheduled end), levels, voice-activation time-outs,
// stops and failures.
#include "app/lmain_loop.h"
#include "app/session/main_dialog.h"
#include "app/session/main_dialog_view.h"
#include "app/session/session_settings.h"
#include "audio/recorder_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
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
constexpr const char* kAudioLostText = "%lld ms of audio lost: the disk could not keep up";
}  // namespace

void MainDialog::OnAudioLost(int64_t lostTotalMs) {
    const std::string text = StringPrintf(kAudioLostText, static_cast<long long>(lostTotalMs));
    LogError("%s (%s)", text.c_str(), outputPath_.c_str());
    if (audioLossShown_) return;
    audioLossShown_ = true;
    ShowNotice(text + ".");
}

void MainDialog::OnRecordingStarted() {
    if (RecorderState() == kRecorderRecording) presenter_.StartTimeDisplay();
    if (session_settings::RecordTone()) services_.playTone(LToneKind::Start);
    presenter_.ShowStatus(SessionPresenter::kStatusRecording);
    ShowLook(SessionLook::Recording);
}

void MainDialog::OnRecorderProgress(int64_t positionMs) {
    if (!sink_) return;
    const RecordingGuard::Verdict verdict =
        guard_.Check(positionMs, DirName(outputPath_), sink_.SampleRate(), sink_.Channels());
    if (verdict != RecordingGuard::Verdict::kGoOn) {
        EndAtLimit(positionMs, verdict);
        return;
    }
    if (!limitNear_ && guard_.NearLimit(positionMs)) {
        limitNear_ = true;
        KeepDisplayPace();
    }
    soundCaptured_ = soundCaptured_ || services_.recorder->SoundCaptured();
}

void MainDialog::EndAtLimit(int64_t positionMs, RecordingGuard::Verdict verdict) {
    if (verdict == RecordingGuard::Verdict::kLowDiskSpace) {
        AfterStop(true);
        RecordFailure("StrtRcrdng", "LowDiskSpace");
        ShowMessage(view_,
                    std::string(kLowDiskStoppedText) + "\r\n\r\nThe recording " +
                        guard_.LastShortage() + ".",
                    kMessageTitle, MessageBoxRequest::Icon::Warning);
        return;
    }
    const bool scheduled = verdict == RecordingGuard::Verdict::kScheduledEnd;
    const bool done = scheduled || session_settings::StopReachMaxTime();
    LogEvent("%s reached at %s", scheduled ? "Scheduled end" : "Maximum recording time",
             SessionPresenter::TimeDisplayText(positionMs).c_str());
    guard_.ClearScheduledLimit();
    AfterStop(done);
    if (!done) {
        // Message 1116: recording goes on in a new file once this step is over.
        continuationPending_ = true;
        loop_.Post([this] { OnMessage(kMessageContinueRecording); });
    }
}

void MainDialog::OnLevels(const std::vector<int>& levelsDb) {
    presenter_.ShowLevels(levelsDb);
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
        ShowLook(state == kRecorderStopped                       ? SessionLook::Idle
                 : state == kRecorderRecording && !pausedByUser_ ? SessionLook::Recording
                                                                 : SessionLook::Paused);
        return;
    }
    presenter_.ShowStatus(SessionPresenter::kStatusWaiting);
    ShowLook(SessionLook::Paused);
}

// Called from within the recorder's Stop or Poll: what may end the program or
// start a new recording is posted, so it runs after the operation that stopped
// the recorder has finished.
void MainDialog::OnRecorderStopped() {
    if (!stoppingRecorder_) loop_.Post([this] { FinishStoppedItself(); });
    loop_.Post([this] { AfterRecorderStopped(); });
}

void MainDialog::AfterRecorderStopped() {
    if (closed_) return;
    // A recording started since the stop was reported owns the window now.
    if (IsRecordingInProgress() || sink_) return;
    presenter_.ShowLevels({});
    presenter_.EndTimeDisplay(finalTimeMs_);
    ShowLook(SessionLook::Idle);
    if (exitWhenStopped_ && !continuationPending_ && view_.HasFrame()) {
        LogEvent("Recording stopped: ending as asked (-exitifstop)");
        Close();
    }
}

// The recorder stopped at the time limit it was started with: the file is
// finished as at any other end the user asked for.
void MainDialog::FinishStoppedItself() {
    if (closed_ || !sink_ || IsRecordingInProgress()) return;
    LogEvent("Recorder reached its time limit");
    guard_.ClearScheduledLimit();
    FinishRecording(true);
}

void MainDialog::OnRecorderFailed(int32_t error) {
    const std::string text = services_.recorder->LastErrorText();
    LogError("MainDialog::OnRecorderFailed capture FAILED: %s (%d)", text.c_str(), int(error));
    if (sink_) {
        // A script or a scheduled launch waiting for the end learns it failed.
        exitStatus_ = 1;
        RecordFailure("StrtRcrdng", text.empty() ? CaptureErrorText(error) : text);
        FinishRecording(true);
        ShowMessage(view_, StringPrintf(kDeviceLostText, text.c_str()), kMessageTitle,
                    MessageBoxRequest::Icon::Warning);
    }
    AfterRecorderStopped();
}

}  // namespace vocarta
