#include "app/session/session_command.h"

#include "toolkit/text.h"

namespace vocarta {

namespace {
const char* KindName(SessionCommandKind kind) {
    switch (kind) {
        case SessionCommandKind::kRecord:
            return "record";
        case SessionCommandKind::kRecordToFile:
            return "recordfile";
        case SessionCommandKind::kScheduledLaunch:
            return "scheduled_launch";
        case SessionCommandKind::kPause:
            return "pause";
        case SessionCommandKind::kRestart:
            return "restart";
        case SessionCommandKind::kStop:
            return "stop";
        case SessionCommandKind::kPlay:
            return "play";
        case SessionCommandKind::kPlayFile:
            return "playfile";
        case SessionCommandKind::kDone:
            return "done";
        case SessionCommandKind::kExitIfStop:
            return "exitifstop";
        case SessionCommandKind::kHide:
            return "hide";
        case SessionCommandKind::kShow:
            return "show";
        case SessionCommandKind::kBringToFront:
            return "bring to front";
        case SessionCommandKind::kExit:
            return "exit";
        case SessionCommandKind::kSetRecordFolder:
            return "outdir";
        case SessionCommandKind::kCloseAfter:
            return "ms";
    }
    return "?";
}
}  // namespace

std::string SessionCommand::Describe() const {
    std::string out = KindName(kind);
    if (format && kind == SessionCommandKind::kRecord)
        out += std::string(" ") + ToLowerAscii(OutputFormatWord(*format));
    switch (kind) {
        case SessionCommandKind::kRecordToFile:
        case SessionCommandKind::kPlayFile:
        case SessionCommandKind::kSetRecordFolder:
            out += " " + text;
            break;
        case SessionCommandKind::kCloseAfter:
            out += StringPrintf(" %d", periodMs);
            break;
        case SessionCommandKind::kScheduledLaunch:
            out += StringPrintf(" %d:%.2d:%.2d", end.hours, end.minutes, end.seconds);
            if (hasTitle) out += " \"" + text + "\"";
            if (runInBackground) out += " -RunInBackground";
            break;
        default:
            break;
    }
    if (encoderOptions) out += " (encoder options)";
    return out;
}

const char* CommandSourceName(CommandSource source) {
    switch (source) {
        case CommandSource::kCommandLine:
            return "command line";
        case CommandSource::kWindow:
            return "window";
        case CommandSource::kTray:
            return "tray";
        case CommandSource::kHotKey:
            return "hot-key";
        case CommandSource::kSchedule:
            return "schedule";
        case CommandSource::kBrowser:
            return "recordings browser";
    }
    return "?";
}

}  // namespace vocarta
