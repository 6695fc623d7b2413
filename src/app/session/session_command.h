#pragma once
// One command to the recording session, whoever gives it: the command line
// (first launch or forwarded), the window's buttons and menus, the tray, and
// hot-keys, schedules and the recordings browser. They all build this value;
// SessionDispatcher carries it out, so the session learns nothing new when a
// new way of giving commands is added.
//
// Threading: a plain value.

#include <optional>
#include <string>

#include "audio/codecs/encoder_options.h"
#include "audio/output_format.h"

namespace vocarta {

enum class SessionCommandKind {
    kRecord,           // -record [format [options]], -resume, Start Recording: start or resume
    kRecordToFile,     // -recordfile path [options]
    kScheduledLaunch,  // -scheduled_launch end [title [-RunInBackground]]
    kPause,
    kRestart,  // retake
    kStop,
    kPlay,
    kPlayFile,    // -playfile path: a file opened from the file manager
    kDone,        // the after-stop step with "done"
    kExitIfStop,  // -exitifstop, -RunInBackground: end when the recording stops
    kHide,
    kShow,
    kBringToFront,
    kExit,             // close as the user would (asks while recording)
    kSetRecordFolder,  // -outdir folder
    kCloseAfter,       // -ms period: finish and close after the period
};

// Where a command came from, for the log.
enum class CommandSource { kCommandLine, kWindow, kTray, kHotKey, kSchedule, kBrowser };

// A local clock time of day.
struct ClockTime {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
};

struct SessionCommand {
    SessionCommandKind kind = SessionCommandKind::kRecord;
    // kRecord: the format word given; kRecordToFile: the format of the file's
    // extension. Empty: the stored format.
    std::optional<OutputFormat> format;
    // The encoder options read after the format word or the path.
    std::optional<EncoderOptions> encoderOptions;
    // kRecordToFile, kPlayFile: the file; kSetRecordFolder: the folder; kScheduledLaunch:
    // the file title, when one was given.
    std::string text;
    bool hasTitle = false;
    int periodMs = 0;  // kCloseAfter
    ClockTime end;     // kScheduledLaunch
    // kScheduledLaunch: "-RunInBackground" followed the title.
    bool runInBackground = false;

    static SessionCommand Of(SessionCommandKind kind) {
        SessionCommand command;
        command.kind = kind;
        return command;
    }

    // For the log, e.g. "record wav", "recordfile /x/a.flac", "ms 5000".
    std::string Describe() const;
};

const char* CommandSourceName(CommandSource source);

}  // namespace vocarta
