#include "app/session/session_presenter.h"

#include "app/lmain_loop.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kProductName = "Vocarta Sound Recorder";
constexpr const char* kRecordingToolTip = "Vocarta - Recording";
constexpr int kBlinkLitMs = 800;
constexpr int kBlinkDarkMs = 400;
constexpr int kTimeDisplayMs = 13;
constexpr int kPausedBlinkMs = 500;
}  // namespace

SessionPresenter::SessionPresenter(MainDialogView& view, LMainLoop& loop,
                                   std::function<int64_t()> position)
    : view_(view), loop_(loop), position_(std::move(position)) {}

std::string SessionPresenter::StatusText(int status) {
    switch (status) {
        case kStatusReady:
            return "Ready";
        case kStatusRecording:
            return "Recording...";
        case kStatusWaiting:
            return "Waiting for voice input...";
        default:
            return "";
    }
}

std::string SessionPresenter::TimeDisplayText(int64_t positionMs) {
    if (positionMs < 0) positionMs = 0;
    const int64_t hours = positionMs / 3600000;
    const int minutes = int(positionMs / 60000 % 60);
    const int seconds = int(positionMs / 1000 % 60);
    const int millis = int(positionMs % 1000);
    return StringPrintf("%lld:%.2d:%.2d.%.3d", static_cast<long long>(hours), minutes, seconds,
                        millis);
}

void SessionPresenter::ShowStatus(int status) {
    status_ = status;
    if (status != kStatusReady) idleNotice_.clear();
    if (status == kStatusReady && !queueStatus_.empty())
        view_.SetStatusText(queueStatus_);
    else if (status == kStatusReady && !idleNotice_.empty())
        view_.SetStatusText(idleNotice_);
    else
        view_.SetStatusText(StatusText(status));
}

void SessionPresenter::ShowIdleNotice(const std::string& text) {
    idleNotice_ = text;
    ShowStatus(kStatusReady);
}

void SessionPresenter::ShowQueueStatus(const std::string& text) {
    queueStatus_ = text;
    // A recording's own status wins; the queue's shows while the session is idle.
    ShowStatus(status_);
}

void SessionPresenter::ShowLook(SessionLook look, const SessionButtons& buttons) {
    view_.SetSessionLook(look);
    // Paused, the frozen meters would look like sound: they drop, and the time
    // blinks, so a paused recording is never taken for a running one.
    if (look == SessionLook::Paused && buttons.recordingPaused) {
        view_.SetLevels({});
        if (!loop_.IsTimerRunning(kTimerPausedBlink))
            loop_.StartTimer(kTimerPausedBlink, kPausedBlinkMs);
    } else if (loop_.IsTimerRunning(kTimerPausedBlink)) {
        loop_.KillTimer(kTimerPausedBlink);
    }
    if (look != SessionLook::Paused && timeDimmed_) {
        timeDimmed_ = false;
        view_.SetTimeDimmed(false);
    }
    if (look == SessionLook::Recording) idleNotice_.clear();
    const bool recording = look == SessionLook::Recording;
    if (recording && !loop_.IsTimerRunning(kTimerBlink)) {
        blinkLit_ = true;
        view_.SetRecordingIndicator(true);
        loop_.StartTimer(kTimerBlink, kBlinkLitMs);
    } else if (!recording) {
        loop_.KillTimer(kTimerBlink);
        blinkLit_ = false;
        view_.SetRecordingIndicator(false);
    }
    view_.SetTrayToolTip(look == SessionLook::Idle ? kProductName : kRecordingToolTip);
    ShowButtons(buttons);
}

void SessionPresenter::ShowButtons(const SessionButtons& buttons) {
    view_.SetButtons(buttons);
}

void SessionPresenter::ShowFormat(const std::string& text) {
    view_.SetFormatText(text);
}

void SessionPresenter::ShowLevels(const std::vector<int>& levelsDb) {
    view_.SetLevels(levelsDb);
}

void SessionPresenter::Blink() {
    blinkLit_ = !blinkLit_;
    view_.SetRecordingIndicator(blinkLit_);
    loop_.StartTimer(kTimerBlink, blinkLit_ ? kBlinkLitMs : kBlinkDarkMs);
}

void SessionPresenter::StartTimeDisplay() {
    timeDisplayWanted_ = true;
    KeepTimeDisplayTimer();
}

void SessionPresenter::RefreshTimeDisplay() {
    view_.SetTimeText(TimeDisplayText(position_()));
}

void SessionPresenter::EndTimeDisplay(int64_t finalMs) {
    timeDisplayWanted_ = false;
    loop_.KillTimer(kTimerTimeDisplay);
    view_.SetTimeText(TimeDisplayText(finalMs));
}

// Hidden in the tray or without a terminal the time cannot be seen, and the
// 13 ms timer would wake the program 77 times a second for nothing.
void SessionPresenter::KeepTimeDisplayTimer() {
    const bool armed = timeDisplayWanted_ && view_.ShowsTime();
    if (armed == loop_.IsTimerRunning(kTimerTimeDisplay)) return;
    if (!armed) {
        loop_.KillTimer(kTimerTimeDisplay);
        return;
    }
    loop_.StartTimer(kTimerTimeDisplay, kTimeDisplayMs);
    RefreshTimeDisplay();  // shown again: the time it hid is caught up at once
}

bool SessionPresenter::OnTimer(int id) {
    if (id == kTimerTimeDisplay) {
        RefreshTimeDisplay();
        return true;
    }
    if (id == kTimerBlink) {
        Blink();
        return true;
    }
    if (id == kTimerPausedBlink) {
        timeDimmed_ = !timeDimmed_;
        view_.SetTimeDimmed(timeDimmed_);
        return true;
    }
    return false;
}

void SessionPresenter::Stop() {
    loop_.KillTimer(kTimerTimeDisplay);
    loop_.KillTimer(kTimerBlink);
    loop_.KillTimer(kTimerPausedBlink);
}

}  // namespace vocarta
