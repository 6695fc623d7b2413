#include "schedule/job_launcher.h"

#include <cstdlib>
#include <cstring>

#include "schedule/crontab_job_launcher.h"
#include "schedule/process_run.h"
#include "schedule/systemd_job_launcher.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {

constexpr int kManagerProbeLimitMs = 5000;

bool JobIsComplete(const ScheduleJob& job) {
    if (job.type == ScheduleType::None) return false;
    if (job.type == ScheduleType::Weekly && job.weekdays == 0) return false;
    return !job.name.empty() && !job.programPath.empty() && job.start != 0;
}

}  // namespace

bool LJobLauncher::CreateScheduleJob(const ScheduleJob& job) {
    if (!JobIsComplete(job)) {
        LogError(
            "%sJobLauncher::CreateScheduleJob: schedule \"%s\" has no type, start or day; "
            "no job made",
            Kind(), job.name.c_str());
        return true;
    }
    const std::string label = job.Label();
    LStatus written = WriteJobFiles(job);
    if (!written) {
        LogError("%sJobLauncher::CreateScheduleJob: %s: %s", Kind(), label.c_str(),
                 written.Error().Message().c_str());
        return true;
    }
    LStatus loaded = Load(label);
    if (!loaded)
        LogError("%sJobLauncher::CreateScheduleJob: %s not loaded: %s", Kind(), label.c_str(),
                 loaded.Error().Message().c_str());
    else
        LogEvent("Schedule \"%s\": %s job loaded", job.name.c_str(), Kind());
    return true;
}

void LJobLauncher::RemoveScheduleJob(std::string_view name) {
    const std::string label = JobLabel(name);
    LResult<JobListing> listing = List(label);
    if (listing && listing.Value().listed) {
        LStatus unloaded = Unload(label);
        if (!unloaded)
            LogError("%sJobLauncher::RemoveScheduleJob: %s not unloaded: %s", Kind(), label.c_str(),
                     unloaded.Error().Message().c_str());
        ForgetJob(label);
    }
    DeleteJobFiles(label);
}

bool UserManagerAnswers() {
    LResult<ProcessOutput> run =
        RunProcess({"systemctl", "--user", "show", "--property=Version"}, {}, kManagerProbeLimitMs);
    return run && run.Value().Succeeded() && run.Value().out.rfind("Version=", 0) == 0;
}

std::unique_ptr<LJobLauncher> ChooseJobLauncher() {
    const char* forced = std::getenv("VOCARTA_JOB_LAUNCHER");
    if (forced && std::strcmp(forced, "systemd") == 0)
        return std::make_unique<SystemdJobLauncher>();
    if (forced && std::strcmp(forced, "crontab") == 0)
        return std::make_unique<CrontabJobLauncher>();
    if (UserManagerAnswers()) return std::make_unique<SystemdJobLauncher>();
    return std::make_unique<CrontabJobLauncher>();
}

std::unique_ptr<LJobLauncher> OtherJobLauncher(const LJobLauncher& launcher) {
    if (std::strcmp(launcher.Kind(), "systemd") == 0) return std::make_unique<CrontabJobLauncher>();
    return std::make_unique<SystemdJobLauncher>();
}

bool CreateScheduleJob(LJobLauncher& launcher, const ScheduledRecording& record) {
    return launcher.CreateScheduleJob(JobForRecord(record, ScheduleProgramPath()));
}

void RemoveScheduleJob(LJobLauncher& launcher, std::string_view name) {
    launcher.RemoveScheduleJob(name);
    std::unique_ptr<LJobLauncher> other = OtherJobLauncher(launcher);
    if (other->HasJobFile(JobLabel(name))) other->RemoveScheduleJob(name);
}

}  // namespace vocarta
