// The session's construction, the window operations, the buttons and the timers.
#include "app/session/main_dialog.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "app/lmain_loop.h"
#include "app/session/after_recording_queue.h"
#include "app/session/file_naming.h"
#include "app/session/main_dialog_view.h"
#include "app/session/output_folder.h"
#include "app/session/recorder_events.h"
#include "app/session/session_settings.h"
#include "audio/codecs/sink_factory.h"
#include "audio/recorder_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kMessageTitle = "Vocarta Sound Recorder";
constexpr const char* kCloseQuestion =
    "%s is currently recording. Would you like to continue to record in the background?";
constexpr const char* kCloseTitle = "Close To Tray";
enum CloseChoice : int { kRecordInBackground = 0, kStopAndClose = 1, kCancelClose = 2 };
constexpr int kUpkeepMs = 3000;
}  // namespace

MainDialog::MainDialog(MainDialogView& view, LMainLoop& loop)
    : MainDialog(view, loop, DefaultSessionServices()) {}

MainDialog::MainDialog(MainDialogView& view, LMainLoop& loop, SessionServices services)
    : view_(view),
      loop_(loop),
      services_(std::move(services)),
      presenter_(view, loop,
                 [this] {
                     return services_.recorder ? services_.recorder->Position().Milliseconds() : 0;
                 }),
      guard_(services_),
      playback_(view, loop, services_.makePlayer, [this] { RefreshButtons(); }),
      events_(std::make_unique<RecorderEvents>(*this, loop)) {
    // The queue's thread hands its status to the main thread.
    queue_ = std::make_unique<LAfterRecordingQueue>(services_.afterRecordingSteps,
                                                    [this](const std::string& text) {
                                                        loop_.Post([this, text] {
                                                            if (!closed_)
                                                                presenter_.ShowQueueStatus(text);
                                                        });
                                                    });
    loop_.SetTimerHandler([this](int id) { OnTimer(id); });
    presenter_.ShowStatus(SessionPresenter::kStatusReady);
    presenter_.EndTimeDisplay(0);
    presenter_.ShowFormat(CurrentFormatDisplayText());
    presenter_.ShowLook(SessionLook::Idle, Buttons());
    loop_.StartTimer(kTimerUpkeep, kUpkeepMs);
}

MainDialog::~MainDialog() {
    queue_->Shutdown(0);
    playback_.Stop();
    // The recorder must not report to a session that is going away.
    loop_.UnwatchReadable(kTimerRecorderPoll);  // the recorder's signal goes with it
    if (services_.recorder) services_.recorder.reset();
    loop_.SetTimerHandler(nullptr);
}

int MainDialog::RecorderState() const {
    return services_.recorder ? int(services_.recorder->State()) : kRecorderStopped;
}

void MainDialog::ShowWindow() {
    LogEvent("ShowWindow");
    view_.ShowWindow();
    KeepDisplayPace();
}

void MainDialog::HideWindow() {
    LogEvent("HideWindow");
    view_.HideWindow();
    KeepDisplayPace();
}

void MainDialog::BringToFront() {
    LogEvent("BringToFront");
    view_.BringToFront();
    KeepDisplayPace();
}

// Nothing on screen to show the time and the levels: the clock timer stops and
// the recorder hands its sound over once a second instead of five times, unless
// a limit is near that must be met closely.
void MainDialog::KeepDisplayPace() {
    presenter_.KeepTimeDisplayTimer();
    if (services_.recorder) services_.recorder->SetLevelsWanted(view_.ShowsTime() || limitNear_);
}

void MainDialog::Close() {
    if (closed_) return;
    if (IsRecordingInProgress() || pausedByUser_) {
        MessageBoxRequest question;
        question.text = StringPrintf(kCloseQuestion, kMessageTitle);
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
                   kTimerRecorderPoll})
        loop_.KillTimer(id);
    presenter_.Stop();
    loop_.UnwatchReadable(kTimerRecorderPoll);
    playback_.Stop();
    queue_->Shutdown(kQueueGraceAtExitMs);
    view_.CloseWindow();
    loop_.Quit(exitStatus_);
}

void MainDialog::ShowNotice(const std::string& text) {
    LogEvent("Notice: %s", text.c_str());
    loop_.Post([this, text] {
        if (!closed_) ShowMessage(view_, text, kMessageTitle, MessageBoxRequest::Icon::Warning);
    });
}

void MainDialog::DelayedRecord(int delayMs) {
    LogEvent("Recording starts in %d ms", delayMs);
    loop_.StartTimer(kTimerDelayedStart, delayMs < 0 ? 0 : delayMs);
}

void MainDialog::CloseAfter(int periodMs) {
    LogEvent("Timer %d started: %d ms", int(kTimerCloseAfterMs), periodMs);
    loop_.StartTimer(kTimerCloseAfterMs, periodMs);
}

void MainDialog::SetExitWhenStopped() {
    exitWhenStopped_ = true;
}

SessionButtons MainDialog::Buttons() const {
    SessionButtons buttons;
    const int state = RecorderState();
    const bool active = state != kRecorderStopped || pausedByUser_;
    const bool playing = playback_.IsPlaying();
    const bool held = playback_.IsPaused();
    buttons.record = state != kRecorderRecording || pausedByUser_;
    buttons.pause = (state == kRecorderRecording && !pausedByUser_) || (!active && playing);
    buttons.stop = active || playing || held;
    buttons.restart = active || playing || held;
    buttons.play = !active && !playing && !lastRecordingPath_.empty();
    buttons.playbackPaused = !active && held;
    buttons.recordingPaused = pausedByUser_;
    return buttons;
}

void MainDialog::RefreshButtons() {
    presenter_.ShowButtons(Buttons());
}

void MainDialog::ShowLook(SessionLook look) {
    presenter_.ShowLook(look, Buttons());
}

void MainDialog::ShowIdle() {
    ShowLook(SessionLook::Idle);
    presenter_.ShowStatus(SessionPresenter::kStatusReady);
}

void MainDialog::OnTimer(int id) {
    if (presenter_.OnTimer(id)) return;
    switch (id) {
        case kTimerCloseAfterMs:
            loop_.KillTimer(id);
            AfterStop(true);
            if (view_.HasFrame()) Close();
            break;
        case kTimerIntervalTone:
            if (RecorderState() == kRecorderRecording && !pausedByUser_)
                services_.playTone(LToneKind::Interval);
            break;
        case kTimerUpkeep:
            // Another process (vocarta-defaults, the options of a second copy) may
            // have changed the format; a played recording may have ended.
            if (!sink_) presenter_.ShowFormat(CurrentFormatDisplayText());
            RefreshButtons();
            break;
        case kTimerDelayedStart:
            loop_.KillTimer(id);
            Record(kDefaultLimitMs);
            break;
        case kTimerRecorderPoll:
            if (services_.recorder) services_.recorder->Poll();
            KeepDisplayPace();  // the window may have been shown or hidden
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
