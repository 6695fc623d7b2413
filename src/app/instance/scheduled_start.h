#pragma once
// The launching process when a schedule's job started it (job_start.h): a late
// start, made when the machine comes back after the start was missed, goes on
// only while the occurrence it belongs to is still running, so it never
// records until the end time of the next day; and the copy that stays to
// record leaves the job's own process, so that the launcher can start the job
// again on the next day.
//
// Threading: the main thread at start-up, before any other thread runs.

#include <cstdint>
#include <optional>

#include "schedule/job_start.h"

namespace vocarta {

// What the job handed over, taken out of the environment; nothing when no job
// started this process.
std::optional<JobStart> TakeScheduledStart();

// False when the launch at `now` belongs to no running occurrence of its
// schedule: it is logged and the launch ends without recording. True for a
// launch no job made.
bool ScheduledStartMayRecord(const std::optional<JobStart>& job, int64_t now);

// For the copy that stays as the running copy: when a job started it, the
// job's process ends here and the program goes on in a child.
void LeaveJobProcess(const std::optional<JobStart>& job);

}  // namespace vocarta
