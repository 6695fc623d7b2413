#pragma once
// Schedules in the user's crontab, where no systemd user manager answers. Each
// active schedule is one line ending in its tag " # vocarta-schedule:<job id>";
// the line is also kept in "<job id>.cron" in the application data folder's
// "cron" folder, which is the job's file (Unload needs it, as a timer file).
//
//   <minute> <hour> <day> <month> <weekday>   (local time of the cron daemon)
//   one time: the start's minute, hour, day and month, any weekday (no year);
//   daily: "M H * * *"; weekly: "M H * * 1,5" with the days Sunday (0) first.
//
// The command sets VOCARTA_SCHEDULE_JOB and VOCARTA_SCHEDULE_WINDOW and runs
// '<program>' '-scheduled_launch' '<argument>', every word single-quoted for
// cron's /bin/sh and every "%" written "\%" (cron turns a bare "%" into a line
// break). A word holding a control byte (a newline, say) cannot stand in a
// crontab line: it is made by printf from octal escapes, with a sentinel so
// that a trailing newline survives the command substitution.
//
// The crontab is read with `crontab -l` and written whole with `crontab -`,
// never by touching the spool; only lines carrying a Vocarta tag are changed,
// every other line is written back byte for byte, and nothing is written when
// the crontab cannot be read. Changes are serialised between Vocarta processes
// by a lock file. Removing a line never ends a running program, so an unload
// from inside the job's own process is made at once.
//
// Threading: as LJobLauncher.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "schedule/job_launcher.h"

namespace vocarta {

class CrontabJobLauncher final : public LJobLauncher {
  public:
    // cron refuses longer commands ("command too long").
    static constexpr std::size_t kMaxCommandLength = 999;

    const char* Kind() const override { return "crontab"; }

    LStatus Load(const std::string& label) override;
    LStatus Unload(const std::string& label) override;
    LResult<JobListing> List(const std::string& label) override;
    bool HasJobFile(const std::string& label) const override;

    static std::string JobFolder();
    static std::string JobFilePath(const std::string& label);
    static std::string Tag(const std::string& label);
    // The whole tagged line, without its line end; an error when the command
    // would be longer than cron takes.
    static LResult<std::string> CronLine(const ScheduleJob& job);
    // The command part: assignments, then the words, quoted as above.
    static std::string CronCommand(const std::vector<std::pair<std::string, std::string>>& env,
                                   const std::vector<std::string>& words);
    // The next minute after `now` that the five time fields of `line` name; 0
    // when they name none within four years or cannot be read.
    static int64_t NextStartOfLine(std::string_view line, int64_t now);

  protected:
    LStatus WriteJobFiles(const ScheduleJob& job) override;
    void DeleteJobFiles(const std::string& label) override;

  private:
    // Replaces the tagged lines of `label` by `line` (none when empty).
    LStatus ChangeCrontab(const char* operation, const std::string& label, const std::string& line,
                          bool& found);
};

}  // namespace vocarta
