#include "app/instance/scheduled_start.h"

#include "schedule/schedule_time.h"
#include "toolkit/log.h"

namespace vocarta {

std::optional<JobStart> TakeScheduledStart() {
    return TakeJobStartFromEnvironment();
}

bool ScheduledStartMayRecord(const std::optional<JobStart>& job, int64_t now) {
    if (!job || job->window.empty()) return true;
    const LaunchVerdict verdict = CheckLaunchWindow(job->window, now);
    if (verdict.record) {
        if (verdict.occurrenceEnd != 0)
            LogEvent("Scheduled start at %s for the occurrence ending %s",
                     LocalStampText(now).c_str(), LocalStampText(verdict.occurrenceEnd).c_str());
        return true;
    }
    LogEvent("Scheduled start at %s not carried out: %s", LocalStampText(now).c_str(),
             verdict.reason.c_str());
    return false;
}

void LeaveJobProcess(const std::optional<JobStart>& job) {
    if (!job) return;
    LStatus detached = DetachFromJob();
    if (!detached)
        LogError("Scheduled start: the job's process is kept (%s)",
                 detached.Error().Message().c_str());
}

}  // namespace vocarta
