#pragma once
// The launching process's reading of its command line: the options that belong
// to this process (-nogui, -devices, -findrecordings, --help, --version, and
// the schedule operations -schedules, -schedule-add, -schedule-remove) are
// taken out, every switch is checked, and what is left is what goes to the
// running copy. The folder of -outdir and the files of -recordfile and
// -playfile are made absolute here, because the running copy may have been
// started from another folder.
//
// Threading: pure apart from `cwd`; any thread.

#include <cstdio>
#include <string>
#include <vector>

#include "app/session/command_line.h"

namespace vocarta {

struct ProgramOptions {
    bool noGui = false;
    bool listDevices = false;
    bool findRecordings = false;  // open the record folder in the file manager
    bool help = false;
    bool version = false;
    ScheduleOperation scheduleOperation = ScheduleOperation::kNone;
    std::vector<std::string> scheduleArgs;  // as ParsedCommandLine holds them
    std::vector<std::string> args;          // for the running copy; args[0] is the program
    // One clear line each. With any error nothing is forwarded and the launch
    // ends with status 2; notes (arguments skipped) are only shown.
    std::vector<std::string> errors;
    std::vector<std::string> notes;
};

// `cwd` is the folder relative paths are taken from.
ProgramOptions ParseProgramOptions(int argc, const char* const* argv, const std::string& cwd);

// The current folder, or "" when it cannot be read.
std::string CurrentFolder();

void PrintUsage(std::FILE* out);
void PrintVersion(std::FILE* out);

}  // namespace vocarta
