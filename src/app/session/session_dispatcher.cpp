#include "app/session/session_dispatcher.h"

#include <algorithm>
#include <chrono>

#include "app/session/command_line.h"
#include "app/session/file_naming.h"
#include "app/session/main_dialog.h"
#include "app/session/scheduled_end.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::string Quoted(const std::vector<std::string>& args) {
    std::string out;
    for (std::size_t i = 1; i < args.size(); ++i) out += " \"" + args[i] + "\"";
    return out;
}

// The recording a command's format word and encoder options ask for. The format
// and the options are saved where the choice is kept; the value travels on.
std::optional<RecordingSpec> SpecOf(const SessionCommand& command) {
    if (!command.format) return std::nullopt;
    StoreOutputFormat(*command.format);
    RecordingSpec spec = LoadRecordingSpec(*command.format);
    if (command.encoderOptions && ApplyEncoderOptions(*command.encoderOptions, spec))
        SaveEncoderOptions(*command.encoderOptions, spec);
    return spec;
}

}  // namespace

SessionDispatcher::SessionDispatcher(MainDialog& dialog)
    : dialog_(dialog), nowMs_([] {
          return int64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::system_clock::now().time_since_epoch())
                             .count());
      }) {}

bool SessionDispatcher::HandleCommandLine(const std::vector<std::string>& all, int count) {
    count = std::clamp(count, 0, int(all.size()));
    const std::vector<std::string> args(all.begin(), all.begin() + count);
    LogEvent("Command line:%s", Quoted(args).c_str());
    const ParsedCommandLine parsed = ParseCommandLine(args);
    for (const std::string& error : parsed.errors) LogError("Command line: %s", error.c_str());
    for (const std::string& note : parsed.notes) LogEvent("Command line: %s", note.c_str());
    // Once the window has closed the program is ending: later switches have no target.
    bool askedToRecord = false;
    for (const SessionCommand& command : parsed.commands) {
        if (dialog_.IsClosed()) break;
        askedToRecord = askedToRecord || command.kind == SessionCommandKind::kRecord ||
                        command.kind == SessionCommandKind::kRecordToFile ||
                        command.kind == SessionCommandKind::kScheduledLaunch;
        Dispatch(command, CommandSource::kCommandLine);
    }
    return askedToRecord;
}

void SessionDispatcher::HandleForwardedCommandLine(const std::vector<std::string>& args) {
    if (dialog_.IsClosed()) return;
    if (args.size() == 1) {
        dialog_.BringToFront();
        return;
    }
    // The survey step of the product services has no counterpart here.
    if (args.size() == 2 && args[1] == "-surveysched") {
        LogEvent("Command line: -surveysched has no effect on this system");
        return;
    }
    HandleCommandLine(args, int(args.size()));
}

void SessionDispatcher::Dispatch(const SessionCommand& command, CommandSource source) {
    if (source != CommandSource::kCommandLine)
        LogEvent("Command from the %s: %s", CommandSourceName(source), command.Describe().c_str());
    switch (command.kind) {
        case SessionCommandKind::kRecord:
            return Record(command);
        case SessionCommandKind::kRecordToFile:
            return RecordToFile(command);
        case SessionCommandKind::kScheduledLaunch:
            return ScheduledLaunch(command);
        case SessionCommandKind::kPause:
            return dialog_.Pause();
        case SessionCommandKind::kRestart:
            return dialog_.Restart();
        case SessionCommandKind::kStop:
            return dialog_.Stop();
        case SessionCommandKind::kPlay:
            return dialog_.Play();
        case SessionCommandKind::kPlayFile:
            return dialog_.PlayFile(command.text);
        case SessionCommandKind::kDone:
            return dialog_.AfterStop(true);
        case SessionCommandKind::kExitIfStop:
            return dialog_.SetExitWhenStopped();
        case SessionCommandKind::kHide:
            return dialog_.HideWindow();
        case SessionCommandKind::kShow:
            return dialog_.ShowWindow();
        case SessionCommandKind::kBringToFront:
            return dialog_.BringToFront();
        case SessionCommandKind::kExit:
            return dialog_.Close();
        case SessionCommandKind::kSetRecordFolder:
            StoreRecordFolder(command.text);
            LogEvent("Record folder set to %s", command.text.c_str());
            return;
        case SessionCommandKind::kCloseAfter:
            return dialog_.CloseAfter(command.periodMs);
    }
}

void SessionDispatcher::Record(const SessionCommand& command) {
    dialog_.Record(MainDialog::kDefaultLimitMs, SpecOf(command));
}

// An extension that names no format keeps the stored one.
void SessionDispatcher::RecordToFile(const SessionCommand& command) {
    dialog_.RecordToFile(command.text, SpecOf(command).value_or(CurrentRecordingSpec()));
}

void SessionDispatcher::ScheduledLaunch(const SessionCommand& command) {
    const int64_t nowMs = nowMs_();
    const std::time_t now = std::time_t(nowMs / 1000);
    const std::string endText =
        StringPrintf("%d:%d:%d", command.end.hours, command.end.minutes, command.end.seconds);
    int64_t limit = 0;
    if (!ScheduledLimitMs(endText, now, limit)) {
        LogError("SessionDispatcher::ScheduledLaunch: end time %s cannot be placed on today",
                 endText.c_str());
        return;
    }
    // The part of this second already gone; an end in this very second keeps
    // the whole-second rule.
    if (limit >= nowMs % 1000) limit -= nowMs % 1000;
    LogEvent("Scheduled launch until %s: limit=%lld", endText.c_str(),
             static_cast<long long>(limit));
    dialog_.ScheduledLaunch(
        limit, command.hasTitle ? std::optional<std::string>(command.text) : std::nullopt,
        command.runInBackground);
}

}  // namespace vocarta
