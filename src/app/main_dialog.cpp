#include "app/main_dialog.h"

#include "app/after_recording_queue.h"
#include "app/lmain_loop.h"
#include "app/main_dialog_view.h"
#include "app/session_events.h"
#include "audio/codecs/sink_factory.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kProductName = "Vocarta Sound Recorder";
constexpr const char* kCloseQuestion =
    "%s is currently recording. Would you like to continue to record in the background?";
constexpr const char* kCloseTitle = "Close To Tray";
enum CloseChoice : int { kRecordInBackground = 0, kStopAndClose = 1, kCancelClose = 2 };

constexpr const char* kRecordingToolTip = "Vocarta - Recording";
constexpr int kUpkeepMs = 3000;
constexpr int kBlinkLitMs = 800;
constexpr int kBlinkDarkMs = 400;
}  // namespace

MainDialog::MainDialog(MainDialogView& view, LMainLoop& loop)
    : MainDialog(view, loop, DefaultSessionServices()) {}

MainDialog::MainDialog(MainDialogView& view, LMainLoop& loop, SessionServices services)
    : view_(view),
      loop_(loop),
      services_(std::move(services)),
      events_(std::make_unique<RecorderEvents>(*this, loop)) {
    // The queue's thread hands its status to the main thread.
    queue_ = std::make_unique<LAfterRecordingQueue>(
        services_.afterRecordingSteps,
        [this](const std::string& text) { loop_.Post([this, text] { ShowQueueStatus(text); }); });
    loop_.SetTimerHandler([this](int id) { OnTimer(id); });
    ShowStatus(kStatusReady);
    view_.SetTimeText(TimeDisplayText(0));
    view_.SetRecordingIndicator(false);
    view_.SetTrayToolTip(kProductName);
    ShowFormatText();
    RefreshButtons();
    loop_.StartTimer(kTimerUpkeep, kUpkeepMs);
}

MainDialog::~MainDialog() {
    queue_->Shutdown(0);
    if (player_) player_->Stop();
    // The recorder must not report to a controller that is going away.
    loop_.UnwatchReadable(kTimerRecorderPoll);  // the recorder's signal goes with it
    if (services_.recorder) services_.recorder.reset();
    loop_.SetTimerHandler(nullptr);
}

std::string MainDialog::StatusText(int status) {
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

std::string MainDialog::TimeDisplayText(int64_t positionMs) {
    if (positionMs < 0) positionMs = 0;
    const int64_t hours = positionMs / 3600000;
    const int minutes = int(positionMs / 60000 % 60);
    const int seconds = int(positionMs / 1000 % 60);
    const int millis = int(positionMs % 1000);
    return StringPrintf("%lld:%.2d:%.2d.%.3d", static_cast<long long>(hours), minutes, seconds,
                        millis);
}

int MainDialog::RecorderState() const {
    return services_.recorder ? int(services_.recorder->State()) : kStopped;
}

void MainDialog::HandleForwardedCommandLine(const std::vector<std::string>& args) {
    if (closed_) return;
    if (args.size() == 1) {
        BringToFront();
        return;
    }
    // The survey step of the product services has no counterpart here.
    if (args.size() == 2 && args[1] == "-surveysched") {
        LogEvent("Command line: -surveysched has no effect on this system");
        return;
    }
    HandleCommandLine(args, int(args.size()));
}

void MainDialog::ShowWindow() {
    LogEvent("ShowWindow");
    view_.ShowWindow();
}

void MainDialog::HideWindow() {
    LogEvent("HideWindow");
    view_.HideWindow();
}

void MainDialog::BringToFront() {
    LogEvent("BringToFront");
    view_.BringToFront();
}

void MainDialog::Close() {
    if (closed_) return;
    if (IsRecordingInProgress() || pausedByUser_) {
        MessageBoxRequest question;
        question.text = StringPrintf(kCloseQuestion, kProductName);
        question.title = kCloseTitle;
        question.buttons = {"Record in Background", "Stop Recording and Close", "Cancel"};
        question.defaultButton = kRecordInBackground;
        question.safeButton = kCancelClose;
        // Without a window, -exit can only mean: finish the file and end.
        question.unattendedButton = kStopAndClose;
        question.icon = MessageBoxRequest::Icon::Question;
        const int choice = view_.MessageBox(question);
        if (choice == kRecordInBackground) {
            HideWindow();
            return;
        }
        if (choice != kStopAndClose) return;
        AfterStop(true);
    }
    LogEvent("Close");
    closed_ = true;
    for (int id : {kTimerCloseAfterMs, kTimerIntervalTone, kTimerUpkeep, kTimerDelayedStart,
                   kTimerTimeDisplay, kTimerBlink, kTimerRecorderPoll})
        loop_.KillTimer(id);
    loop_.UnwatchReadable(kTimerRecorderPoll);
    StopPlayback();
    queue_->Shutdown(kQueueGraceAtExitMs);
    view_.CloseWindow();
    loop_.Quit(0);
}

void MainDialog::ScheduledStart() {
    LogEvent("ScheduledStart");
    // The recorder's view is the main window itself: bring it forward if shown.
    if (view_.IsWindowVisible()) view_.BringToFront();
}

void MainDialog::DelayedRecord(int delayMs) {
    LogEvent("Recording starts in %d ms", delayMs);
    loop_.StartTimer(kTimerDelayedStart, delayMs < 0 ? 0 : delayMs);
}

void MainDialog::ShowFormatText() {
    view_.SetFormatText(CurrentFormatDisplayText());
}

void MainDialog::ShowStatus(int status) {
    status_ = status;
    if (status == kStatusReady && !queueStatus_.empty())
        view_.SetStatusText(queueStatus_);
    else
        view_.SetStatusText(StatusText(status));
}

void MainDialog::ShowQueueStatus(const std::string& text) {
    if (closed_) return;
    queueStatus_ = text;
    // A recording's own status wins; the queue's shows while the session is idle.
    ShowStatus(status_);
}

void MainDialog::ShowLook(SessionLook look) {
    view_.SetSessionLook(look);
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
    RefreshButtons();
}

void MainDialog::Blink() {
    blinkLit_ = !blinkLit_;
    view_.SetRecordingIndicator(blinkLit_);
    loop_.StartTimer(kTimerBlink, blinkLit_ ? kBlinkLitMs : kBlinkDarkMs);
}

void MainDialog::RefreshButtons() {
    SessionButtons buttons;
    const bool active = IsRecordingInProgress() || pausedByUser_;
    const bool playing = player_ && player_->IsPlaying();
    const bool playbackPaused = player_ && player_->IsPaused();
    buttons.record = RecorderState() != kRecording || pausedByUser_;
    buttons.pause = (RecorderState() == kRecording && !pausedByUser_) || (!active && playing);
    buttons.stop = active || playing || playbackPaused;
    buttons.restart = active || playing || playbackPaused;
    buttons.play = !active && !playing && !lastRecordingPath_.empty();
    buttons.playbackPaused = !active && playbackPaused;
    view_.SetButtons(buttons);
}

void MainDialog::RefreshTimeDisplay() {
    if (!services_.recorder) return;
    view_.SetTimeText(TimeDisplayText(services_.recorder->Position().Milliseconds()));
}

void MainDialog::OnTimer(int id) {
    switch (id) {
        case kTimerCloseAfterMs:
            loop_.KillTimer(id);
            AfterStop(true);
            if (view_.HasFrame()) Close();
            break;
        case kTimerIntervalTone:
            if (RecorderState() == kRecording && !pausedByUser_)
                services_.playTone(LToneKind::Interval);
            break;
        case kTimerUpkeep:
            // Another process (vocarta-defaults, the options of a second copy) may
            // have changed the format; a played recording may have ended.
            ShowFormatText();
            RefreshButtons();
            break;
        case kTimerDelayedStart:
            loop_.KillTimer(id);
            Record(kDefaultLimitMs);
            break;
        case kTimerTimeDisplay:
            RefreshTimeDisplay();
            break;
        case kTimerBlink:
            Blink();
            break;
        case kTimerRecorderPoll:
            if (services_.recorder) services_.recorder->Poll();
            KeepTimeDisplayTimer();  // the window may have been shown or hidden
            break;
        default:
            loop_.KillTimer(id);
            break;
    }
}

void MainDialog::OnMessage(int id) {
    if (closed_) return;
    if (id == kMessageContinueRecording) {
        continuationPending_ = false;
        Record(kDefaultLimitMs);
    }
}

}  // namespace vocarta
