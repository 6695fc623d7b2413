#pragma once
// The system's per-user job launcher, which starts the program at a schedule's
// start minute with -scheduled_launch and the schedule's argument. Two kinds:
// systemd user timers (systemd_job_launcher.h) where a user manager answers
// `systemctl --user`, else the user's crontab (crontab_job_launcher.h).
//
// Operations, each on the job of a label (schedule_job.h):
//   Create   writes the job's files, then loads it. It reports success always,
//            whatever the tools said: what failed is only in the error log, and
//            the schedule stays in the list.
//   Load     unloads first; then, when the job's file exists, loads it.
//   Unload   fails when the job's file does not exist. When this process was
//            itself started by the job, the step that would end it is left to
//            a script that waits for this process to exit (unload_script.h).
//   List     whether the launcher holds the job, and its next start.
//   Remove   unloads when listed, then deletes the job's files in any case.
// Every tool runs from an argument vector (process_run.h), never a shell; each
// failure is logged as "<Kind>JobLauncher::<Operation>" with the command.
//
// Threading: one thread at a time per launcher; the tools are waited for, so
// call from a thread that may block for a moment (they take milliseconds).

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/schedule_job.h"
#include "toolkit/result.h"

namespace vocarta {

struct JobListing {
    bool listed = false;
    int64_t nextStart = 0;  // 0 when the launcher names none
};

class LJobLauncher {
  public:
    virtual ~LJobLauncher() = default;

    // "systemd" or "crontab".
    virtual const char* Kind() const = 0;

    bool CreateScheduleJob(const ScheduleJob& job);
    void RemoveScheduleJob(std::string_view name);

    virtual LStatus Load(const std::string& label) = 0;
    virtual LStatus Unload(const std::string& label) = 0;
    virtual LResult<JobListing> List(const std::string& label) = 0;
    // True when the job's own file is there (the one Unload requires).
    virtual bool HasJobFile(const std::string& label) const = 0;

  protected:
    virtual LStatus WriteJobFiles(const ScheduleJob& job) = 0;
    // After an unload on removal: forget what the launcher keeps about the job.
    virtual void ForgetJob(const std::string& label) {}
    virtual void DeleteJobFiles(const std::string& label) = 0;
};

// VOCARTA_JOB_LAUNCHER ("systemd" or "crontab") when set; else systemd when a
// user manager answers `systemctl --user`, else crontab.
std::unique_ptr<LJobLauncher> ChooseJobLauncher();
bool UserManagerAnswers();

// The dialog's and the command line's entry points. Creating uses the chosen
// launcher; removing also clears the job the other kind holds for the name, if
// its file is there (a schedule made while the other kind was in use).
bool CreateScheduleJob(LJobLauncher& launcher, const ScheduledRecording& record);
void RemoveScheduleJob(LJobLauncher& launcher, std::string_view name);

// The launcher of the other kind than `launcher`, for the clean-up above.
std::unique_ptr<LJobLauncher> OtherJobLauncher(const LJobLauncher& launcher);

}  // namespace vocarta
