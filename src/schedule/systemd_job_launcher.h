#pragma once
// Schedules as systemd user units: per active schedule "<job id>.timer" and
// "<job id>.service" in $XDG_CONFIG_HOME/systemd/user/ (mode 0644).
//
// The timer holds one OnCalendar= per start, in local time, at the start
// minute: one time "*-MM-DD HH:MM:00" (no year), daily "*-*-* HH:MM:00",
// weekly one line per selected day, Sunday to Saturday ("Mon *-*-* HH:MM:00").
// AccuracySec=1s, so the recording starts on the minute, and Persistent=true,
// so a start missed while the machine was off or asleep is made when it comes
// back; the program checks such a start against the window the service hands
// it (job_start.h), so it never records past the occurrence's end.
//
// The service runs ExecStart="<program>" "-scheduled_launch" "<argument>",
// each word quoted by systemd's rules so that every byte arrives as it was
// ("\\", "\"", "$$", "%%", \n and \xNN escapes), and hands the job id and the
// window in Environment=. KillMode=process: the script that unloads the job
// after the program's exit (unload_script.h) must outlive the program.
//
// systemctl --user commands:
//   Load     (Unload), daemon-reload, enable --now <id>.timer
//   Unload   disable --now <id>.timer, stop <id>.service; from inside the
//            job's own process the stop is left to the unload script
//   List     show <id>.timer --property=ActiveState,UnitFileState; when
//            active, list-timers --no-pager --output=json <id>.timer
//   Remove   (List, Unload, clean --what=state <id>.timer when listed), then
//            both files are deleted
//
// Threading: as LJobLauncher.

#include <string>
#include <vector>

#include "schedule/job_launcher.h"

namespace vocarta {

class SystemdJobLauncher final : public LJobLauncher {
  public:
    const char* Kind() const override { return "systemd"; }

    LStatus Load(const std::string& label) override;
    LStatus Unload(const std::string& label) override;
    LResult<JobListing> List(const std::string& label) override;
    bool HasJobFile(const std::string& label) const override;

    static std::string UnitFolder();
    static std::string TimerPath(const std::string& label);
    static std::string ServicePath(const std::string& label);

    static std::vector<std::string> CalendarLines(const ScheduleJob& job);
    static std::string TimerText(const ScheduleJob& job);
    static LResult<std::string> ServiceText(const ScheduleJob& job);
    enum class Word { Executable, Argument, Environment };
    // One word of an ExecStart= line or of an Environment= line. An executable
    // gets no "$$" (systemd expands no variable in it).
    static std::string QuoteWord(std::string_view word, Word kind);
    // The words of ExecStart=. systemd refuses an executable path holding a
    // quote, a backslash or a control byte; such a path is handed to
    // /usr/bin/env as its first argument instead. An error when even that
    // cannot carry it (such a path with a "=" in it, which env would take for
    // a variable).
    static LResult<std::string> ExecStartLine(const ScheduleJob& job);

  protected:
    LStatus WriteJobFiles(const ScheduleJob& job) override;
    void ForgetJob(const std::string& label) override;
    void DeleteJobFiles(const std::string& label) override;
};

}  // namespace vocarta
