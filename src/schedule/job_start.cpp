#include "schedule/job_start.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "schedule/schedule_time.h"
#include "schedule/scheduled_recording.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::mutex flagMutex;
std::string startedByJob;  // guarded by flagMutex
pid_t jobProcess = 0;      // guarded by flagMutex

struct Window {
    int type = -1;
    int weekdays = 0;
    int64_t start = 0;
    int64_t end = 0;
};

bool ParseWindow(std::string_view text, Window& w) {
    char startDate[16], startTime[16], endDate[16], endTime[16];
    const std::string copy(text);
    if (std::sscanf(copy.c_str(), "%d %d %15s %15s %15s %15s", &w.type, &w.weekdays, startDate,
                    startTime, endDate, endTime) != 6)
        return false;
    w.start = InstantFromTexts(startDate, startTime);
    w.end = InstantFromTexts(endDate, endTime);
    return w.type >= 0 && w.type <= 2 && w.start != 0 && w.end > w.start;
}

// The local day `daysBack` days before `now`, at the time of day of `instant`.
int64_t SameTimeOnDay(int64_t instant, int64_t now, int daysBack) {
    const std::time_t t = std::time_t(now);
    std::tm day{};
    localtime_r(&t, &day);
    const int s = SecondsOfDay(instant);
    return LocalInstant(day.tm_year + 1900, day.tm_mon + 1, day.tm_mday - daysBack, s / 3600,
                        s % 3600 / 60, s % 60);
}

bool Inside(int64_t start, int64_t end, int64_t now) {
    return now >= start - kLaunchEarlySlack && now < end;
}

}  // namespace

std::optional<JobStart> TakeJobStartFromEnvironment() {
    const char* id = std::getenv(kJobIdVariable);
    if (!id || !*id) return std::nullopt;
    JobStart start;
    start.jobId = id;
    if (const char* window = std::getenv(kJobWindowVariable)) start.window = window;
    unsetenv(kJobIdVariable);
    unsetenv(kJobWindowVariable);
    SetStartedByJob(start.jobId, getpid());
    LogEvent("Started by the schedule job %s", start.jobId.c_str());
    return start;
}

void SetStartedByJob(const std::string& jobId, pid_t pid) {
    std::lock_guard<std::mutex> lock(flagMutex);
    startedByJob = jobId;
    jobProcess = pid;
}

void ClearStartedByJob() {
    SetStartedByJob({}, 0);
}

bool StartedByJob(std::string_view jobId, pid_t* pid) {
    std::lock_guard<std::mutex> lock(flagMutex);
    if (startedByJob.empty() || startedByJob != jobId) return false;
    if (pid) *pid = jobProcess;
    return true;
}

LStatus DetachFromJob() {
    const pid_t child = fork();
    if (child < 0) {
        LogSystemFailure("DetachFromJob", "fork");
        return MakeError(LErrorCode::kFailed, "fork: %s", std::strerror(errno));
    }
    if (child > 0) _exit(0);
    if (setsid() < 0) LogSystemFailure("DetachFromJob", "setsid");
    {
        std::lock_guard<std::mutex> lock(flagMutex);
        if (!startedByJob.empty()) jobProcess = getpid();
    }
    return LStatus::Success();
}

LaunchVerdict CheckLaunchWindow(std::string_view text, int64_t now) {
    LaunchVerdict verdict;
    Window w;
    if (!ParseWindow(text, w)) {
        LogError("CheckLaunchWindow: the schedule window \"%.*s\" cannot be read; recording",
                 int(text.size()), text.data());
        return verdict;
    }
    const int64_t length = w.end - w.start;
    if (ScheduleType(w.type) == ScheduleType::OneTime) {
        verdict.occurrenceStart = w.start;
        verdict.occurrenceEnd = w.end;
        if (Inside(w.start, w.end, now)) return verdict;
    } else {
        // An occurrence lasts at most 10 hours: the one running began today or
        // yesterday.
        for (int daysBack = 0; daysBack <= 1; ++daysBack) {
            const int64_t start = SameTimeOnDay(w.start, now, daysBack);
            if (ScheduleType(w.type) == ScheduleType::Weekly &&
                !(w.weekdays & (1 << WeekdayOf(start))))
                continue;
            if (!Inside(start, start + length, now)) continue;
            verdict.occurrenceStart = start;
            verdict.occurrenceEnd = start + length;
            return verdict;
        }
    }
    verdict.record = false;
    verdict.reason = verdict.occurrenceStart != 0
                         ? StringPrintf("the occurrence %s to %s is not running now",
                                        LocalStampText(verdict.occurrenceStart).c_str(),
                                        LocalStampText(verdict.occurrenceEnd).c_str())
                         : std::string("no occurrence of the schedule is running now");
    return verdict;
}

}  // namespace vocarta
