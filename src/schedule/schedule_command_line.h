#pragma once
// The schedules from a command line, for servers without a desktop:
//
//   -schedules                     one line per schedule with its next start,
//                                  as the job launcher itself reports it
//   -schedule-add NAME once  YYYY-MM-DD HH:MM[:SS] END
//   -schedule-add NAME daily HH:MM[:SS] END
//   -schedule-add NAME weekly DAY[,DAY...] HH:MM[:SS] END
//                  followed by any of -inactive, -runifnotloggedin
//   -schedule-remove NAME
//
// END is the end time HH:MM[:SS] (for a one-time schedule optionally preceded
// by its date YYYY-MM-DD; without one it is on the start's date), or a length:
// +H:MM[:SS], or +N followed by s, m or h ("+90m"), less than a day. DAY is an
// English day name or its first three letters, in any letter case.
// -schedule-add runs the window's checks with the window's texts and saves as
// the window does.
//
// Threading: the command line's thread.

#include <cstdint>
#include <string>
#include <vector>

#include "schedule/job_launcher.h"
#include "schedule/schedule_form.h"
#include "schedule/scheduled_recording.h"

namespace vocarta {

struct ScheduleCommandResult {
    bool ok = false;
    std::string message;  // what to print: the failure, or what was done
    std::string title;    // the window's title of a refusal, else empty
    // Refused for what was given (unreadable, a check of the window, no such
    // schedule), as opposed to a failure to store or to make the job.
    bool badInput = false;
};

// Reads NAME and what follows from args[index]; `index` is left on the last
// argument taken. An error names what could not be read.
LResult<ScheduleForm> ParseScheduleAdd(const std::vector<std::string>& args, std::size_t& index);

ScheduleCommandResult AddScheduleFromCommandLine(const std::vector<std::string>& args,
                                                 std::size_t& index, ScheduledRecordingList& list,
                                                 LJobLauncher& launcher, int64_t now);
ScheduleCommandResult RemoveScheduleFromCommandLine(const std::string& name,
                                                    ScheduledRecordingList& list,
                                                    LJobLauncher& launcher);

// A header line and one line per schedule: the five list columns and the next
// start ("-" for an inactive schedule, "not loaded" when the launcher does not
// hold its job), separated by tabs, each name made printable.
std::vector<std::string> ScheduleListingLines(const ScheduledRecordingList& list,
                                              LJobLauncher& launcher);

}  // namespace vocarta
