#pragma once
// The command line read into session commands, with no session behind it: the
// launching process checks a line with it before it forwards it, and the
// running copy turns what it receives into commands with it.
//
// Rules: switch names are compared without regard to case, except
// "-RunInBackground", which must match exactly (deliberately). An unknown
// argument is skipped (a note). A word that is one of the program's own
// switches is never taken as another switch's argument or as an encoder option.
// A switch without its value, or with a value it cannot use ("-ms 1e3",
// "-scheduled_launch 25:00:00"), is an error, and that switch is dropped.
//
// Threading: pure; any thread.

#include <string>
#include <string_view>
#include <vector>

#include "app/session/session_command.h"

namespace vocarta {

// The schedule operations of the launching process (-schedules, -schedule-add,
// -schedule-remove): carried out by that process without a session, and never
// combined with switches for a session.
enum class ScheduleOperation { kNone, kList, kAdd, kRemove };

struct ParsedCommandLine {
    std::vector<SessionCommand> commands;
    // One clear line each. Errors: switches without their value or with a value
    // they cannot use; the launching process refuses the line. Notes: unknown
    // arguments, skipped.
    std::vector<std::string> errors;
    std::vector<std::string> notes;

    // Options for the launching process itself, taken out of `forward`.
    bool noGui = false;           // -nogui
    bool listDevices = false;     // -devices
    bool findRecordings = false;  // -findrecordings
    bool help = false;            // -h, --help, -help (at a switch position)
    bool version = false;         // -V, --version
    ScheduleOperation scheduleOperation = ScheduleOperation::kNone;
    // -schedule-add: NAME and the words that describe the schedule (checked as
    // far as they can be without the list); -schedule-remove: NAME.
    std::vector<std::string> scheduleArgs;
    // The arguments to hand to the running copy (args[0] first), and the
    // positions in it of the paths of -outdir, -recordfile and -playfile, which the
    // launching process makes absolute.
    std::vector<std::string> forward;
    std::vector<size_t> pathPositions;
};

// `args[0]` is the program.
ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args);

// True for the program's own switch words (in any case; "-RunInBackground"
// exactly), the launching process's options included. "-h" is left out: it is
// also an MP3 encoder word, and means help only where a switch stands.
bool IsProgramSwitch(std::string_view word);

// "-ms" values: a whole decimal number of milliseconds, 0 to 2147483647.
bool ParseMilliseconds(const std::string& text, int& value);

}  // namespace vocarta
