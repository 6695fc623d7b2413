#include "app/main_dialog.h"

#include "app/lmain_loop.h"
#include "app/main_dialog_view.h"
#include "audio/output_format.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kProductName = "Vocarta Sound Recorder";
constexpr const char* kCloseQuestion =
    "%s is currently recording. Would you like to continue to record in the background?";
constexpr const char* kCloseTitle = "Close To Tray";
enum CloseChoice : int { kRecordInBackground = 0, kStopAndClose = 1, kCancelClose = 2 };
}  // namespace

MainDialog::MainDialog(MainDialogView& view, LMainLoop& loop) : view_(view), loop_(loop) {
    loop_.SetTimerHandler([this](int id) { OnTimer(id); });
    view_.SetStatusText(StatusText(0));
    view_.SetTimeText(TimeDisplayText(0));
    ShowFormatText();
}

MainDialog::~MainDialog() {
    loop_.SetTimerHandler(nullptr);
}

std::string MainDialog::StatusText(int status) {
    switch (status) {
        case 0:
            return "Ready";
        case 1:
            return "Recording...";
        case 2:
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
    if (IsRecordingInProgress()) {
        MessageBoxRequest question;
        question.text = StringPrintf(kCloseQuestion, kProductName);
        question.title = kCloseTitle;
        question.buttons = {"Record in Background", "Stop Recording and Close", "Cancel"};
        question.defaultButton = kRecordInBackground;
        question.safeButton = kCancelClose;
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
                   kTimerTimeDisplay, kTimerBlink})
        loop_.KillTimer(id);
    view_.CloseWindow();
    loop_.Quit(0);
}

void MainDialog::Record(int64_t limitMs) {
    LogEvent("Record limit=%lld", static_cast<long long>(limitMs));
    recorderState_ = kRecording;
    pausedByUser_ = false;
}

void MainDialog::RecordToFile(const std::string& path) {
    LogEvent("RecordToFile path=%s", path.c_str());
    outputPath_ = path;
    recorderState_ = kRecording;
    pausedByUser_ = false;
}

void MainDialog::Pause() {
    LogEvent("Pause");
    if (recorderState_ == kRecording) {
        recorderState_ = kPaused;
        pausedByUser_ = true;
    }
}

void MainDialog::Restart() {
    LogEvent("Restart");
}

void MainDialog::Stop() {
    LogEvent("Stop");
    recorderState_ = kStopped;
    pausedByUser_ = false;
}

void MainDialog::Play() {
    LogEvent("Play");
}

void MainDialog::AfterStop(bool done) {
    LogEvent("AfterStop done=%s", done ? "true" : "false");
    recorderState_ = kStopped;
    pausedByUser_ = false;
}

void MainDialog::ScheduledStart() {
    LogEvent("ScheduledStart");
}

void MainDialog::ShowFormatText() {
    view_.SetFormatText(OutputFormatWord(ReadOutputFormat()));
}

void MainDialog::OnTimer(int id) {
    switch (id) {
        case kTimerCloseAfterMs:
            loop_.KillTimer(id);
            AfterStop(true);
            if (view_.HasFrame()) Close();
            break;
        default:
            // The session's own timers are not armed by anything yet.
            loop_.KillTimer(id);
            break;
    }
}

}  // namespace vocarta
