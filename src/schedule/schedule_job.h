#pragma once
// What the system's job launcher is given for one active schedule, and the names
// it is known by.
//
//   label     the bundle identifier, ".schedule." and the schedule's name;
//   job id    the label escaped by systemd's unit-name rules ("/" becomes "-";
//             "-", "\" and every byte other than letters, digits, ":", "_" and
//             "." become \xNN, a leading "." too), so it is a valid unit name, a
//             safe file name and a tag that holds no shell or cron character.
//             Too long a label is cut at an escape and ends in "_" and a hash of
//             the whole label, so that "<id>.service" stays within 255 bytes.
//   argument  "<end HH:MM:SS> <name>[ -RunInBackground]", handed to the program
//             as ONE argument after -scheduled_launch.
//   window    "<type> <weekdays> <start date> <start time> <end date> <end
//             time>" as the record stores them: what a late start is checked
//             against (job_start.h).
//
// Threading: any thread.

#include <cstdint>
#include <string>
#include <string_view>

#include "schedule/scheduled_recording.h"

namespace vocarta {

inline constexpr const char* kScheduledLaunchSwitch = "-scheduled_launch";
inline constexpr const char* kRunInBackgroundSwitch = "-RunInBackground";

struct ScheduleJob {
    ScheduleType type = ScheduleType::None;
    std::string name;
    std::string programPath;
    std::string argument;
    int64_t start = 0;  // as stored (daily and weekly: on the reference day)
    int64_t end = 0;
    int weekdays = 0;
    bool runIfNotLoggedIn = false;
    std::string window;

    std::string Label() const;
};

// The job of an active record, started as `programPath`.
ScheduleJob JobForRecord(const ScheduledRecording& record, const std::string& programPath);

std::string JobLabel(std::string_view name);
std::string JobId(std::string_view label);
// Each byte as systemd-escape escapes it, without any cut.
std::string SystemdEscape(std::string_view text);

std::string ScheduleArgumentText(int64_t end, std::string_view name, bool runIfNotLoggedIn);
std::string LaunchWindowText(const ScheduledRecording& record);

// The program the jobs start: set once at start-up from how the program was
// started (made absolute); until then the running executable itself.
void SetScheduleProgramPath(const std::string& path);
std::string ScheduleProgramPath();
// `argv0` as the program was started, made absolute: against `cwd` when it has
// a "/", else looked up on PATH; the running executable when neither works.
std::string AbsoluteProgramPath(const std::string& argv0, const std::string& cwd);

}  // namespace vocarta
