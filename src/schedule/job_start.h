#pragma once
// A program started by a schedule's job. The job hands the program two
// variables besides its arguments: VOCARTA_SCHEDULE_JOB, the job id, and
// VOCARTA_SCHEDULE_WINDOW, the schedule's stored span (schedule_job.h).
//
// The job id sets the "started by the job" flag: unloading that job from inside
// this process must wait until the process has gone (job_launcher.h).
//
// The window lets a late start be checked. A job missed while the machine was
// off or asleep is started when it comes back; such a start records only while
// the occurrence it belongs to has not ended, so it never runs on into the next
// day (the end time alone, read from the argument, would be taken as tomorrow's).
//
// Threading: TakeJobStartFromEnvironment at start-up before other threads run;
// the rest from any thread.

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "toolkit/result.h"

namespace vocarta {

inline constexpr const char* kJobIdVariable = "VOCARTA_SCHEDULE_JOB";
inline constexpr const char* kJobWindowVariable = "VOCARTA_SCHEDULE_WINDOW";

// A job fires at the start minute: up to this much before a start with seconds.
inline constexpr int64_t kLaunchEarlySlack = 60;

struct JobStart {
    std::string jobId;
    std::string window;  // empty when the job gave none
};

// Reads both variables, removes them from the environment (so that nothing this
// process starts inherits them) and sets the flag for this process. Nothing
// when the process was not started by a job.
std::optional<JobStart> TakeJobStartFromEnvironment();

// The flag: this process (`pid`, normally getpid()) was started by the job
// `jobId`. For the program's start-up and for tests.
void SetStartedByJob(const std::string& jobId, pid_t pid);
void ClearStartedByJob();
// True when the flag names `jobId`; `pid` receives the process to wait for.
bool StartedByJob(std::string_view jobId, pid_t* pid = nullptr);

// For the program a job started, at start-up before any thread runs, when it is
// going to stay (as the running copy): the job's own process ends here, with
// status 0, and the program goes on in a child in a session of its own. systemd
// does not start a service that is still running, so without this a daily or
// weekly schedule could not start its job again while the copy it started
// lives; the service's KillMode=process leaves the child alone. Returns in the
// child; an error (logged) when no child could be made, and the caller goes on
// as it was.
LStatus DetachFromJob();

struct LaunchVerdict {
    bool record = true;
    int64_t occurrenceStart = 0;  // 0 when not known
    int64_t occurrenceEnd = 0;
    std::string reason;  // why not, for the log
};

// Whether a launch at `now` belongs to an occurrence of `window` that has begun
// (less kLaunchEarlySlack) and not yet ended. A window that cannot be read lets
// the launch record (the argument's end time then rules, as without a window).
LaunchVerdict CheckLaunchWindow(std::string_view window, int64_t now);

}  // namespace vocarta
