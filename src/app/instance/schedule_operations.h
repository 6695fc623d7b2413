#pragma once
// The schedule operations of the launching process: -schedules, -schedule-add
// and -schedule-remove, carried out on the schedule list and the system's job
// launcher without a running copy or a session, so that a server without a
// desktop manages its schedules from a shell. They use the checks, texts and
// saving of the "Schedule Recording" window (schedule_command_line.h).
//
// Exit status: 0 done; 2 refused (words that cannot be read, a check of the
// window, no schedule of that name); 1 when the list could not be read or
// written.
//
// Threading: the launching process's main thread, before any session exists.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "app/instance/program_options.h"
#include "schedule/job_launcher.h"
#include "schedule/scheduled_recording.h"

namespace vocarta {

inline constexpr int kScheduleOperationDone = 0;
inline constexpr int kScheduleOperationFailed = 1;
inline constexpr int kScheduleOperationRefused = 2;

// Carries out `operation` with `args` (ProgramOptions::scheduleArgs) on `list`,
// which is read here, and `launcher`. What was done or listed goes to `out`,
// refusals and failures to `err`. `now` is the time a one-time start must lie
// after.
int RunScheduleOperation(ScheduleOperation operation, const std::vector<std::string>& args,
                         ScheduledRecordingList& list, LJobLauncher& launcher, int64_t now,
                         std::FILE* out, std::FILE* err);

// The same on the user's list, with the job launcher this system offers.
int RunScheduleOperation(const ProgramOptions& options, std::FILE* out, std::FILE* err);

}  // namespace vocarta
