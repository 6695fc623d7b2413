#pragma once
// What the "Schedule Recording" window holds, and everything it does with it
// that is not drawing: the name and fields of a new schedule, the fields of an
// existing one, the checks made when it is confirmed (in this order, the first
// failure wins), and saving. The window shows the returned message with its
// title and puts the focus on its field.
//
// Checks on confirming:
//   1 an empty name; 2 (new schedules only) a name already in the list;
//   3 the type is stored as (VCScheduleRecordingDlg, ScheduleType) at once,
//     before the remaining checks, whether they pass or not;
//   4 start and end are formed (daily and weekly on the reference day);
//   5 more than 10 hours, or start equal to end;
//   6 weekly without a day; 7 (active only) an overlap with another schedule;
//   8 one time: a start not after now, then the 10-hour rule again with its
//     own text. The texts of 5 and 8 differ ("less than or equal to" and "less
//     than") although both let exactly 10 hours pass; both are kept as written.
//
// Threading: the thread that owns the list (the GUI thread, or the command
// line's).

#include <cstdint>
#include <optional>
#include <string>

#include "schedule/job_launcher.h"
#include "schedule/scheduled_recording.h"

namespace vocarta {

inline constexpr const char* kScheduleDialogSection = "VCScheduleRecordingDlg";
inline constexpr const char* kScheduleTypeKey = "ScheduleType";
inline constexpr int kScheduleTypeDefault = 0;

struct ScheduleDate {
    int year = 1999;
    int month = 11;  // 1-based
    int day = 30;
    bool operator==(const ScheduleDate&) const = default;
};

struct ScheduleForm {
    std::string name;
    bool active = true;
    bool runIfNotLoggedIn = false;
    ScheduleType type = ScheduleType::OneTime;
    // The date fields count for one-time schedules only.
    ScheduleDate startDate, endDate;
    int startSeconds = 0;  // seconds of the day of the two time fields
    int endSeconds = 0;
    int weekdays = 0;  // bit 0 Sunday .. bit 6 Saturday
};

enum class ScheduleField { Name, Start, End, Weekdays };

struct ScheduleMessage {
    std::string text;
    std::string title;
    ScheduleField field = ScheduleField::Name;
};

// "<date>_<time>" of `now` in the record formats, every ':' made '-'.
std::string NewScheduleName(int64_t now);

// A new schedule at `now`: its name, active, not run-if-not-logged-in, the type
// last confirmed (0 one time, 1 daily, anything else weekly), starting at the
// second whole minute from now and lasting an hour, on today's weekday.
ScheduleForm NewScheduleForm(int64_t now);

// The fields of a stored schedule.
ScheduleForm FormOfRecord(const ScheduledRecording& record);

// Step 4: the instants the record will hold.
void FormSpan(const ScheduleForm& form, int64_t& start, int64_t& end);

// Steps 1 to 8. `editedName` names the schedule being edited (nullptr for a new
// one). Nothing when the form may be saved.
std::optional<ScheduleMessage> CheckScheduleForm(const ScheduleForm& form,
                                                 const ScheduledRecordingList& list,
                                                 const std::string* editedName, int64_t now);

enum class ScheduleSaved {
    Done,       // stored, and its job made when active
    JobFailed,  // the job could not be made: the schedule was dropped again
    NotStored,  // the list could not be written; nothing changed on disk
};

// Steps 9 and 10, after CheckScheduleForm passed: an edited schedule's job is
// removed and its record taken out; the form's record is added, written, and
// its job made when active.
ScheduleSaved SaveScheduleForm(const ScheduleForm& form, ScheduledRecordingList& list,
                               const std::string* editedName, LJobLauncher& launcher);

// Deletes the named schedule: its job, then its record.
bool DeleteSchedule(ScheduledRecordingList& list, const std::string& name, LJobLauncher& launcher);

// The message of a failed save, for the window and the command line.
extern const char* const kScheduleNotStoredText;
extern const char* const kScheduleWindowTitle;

}  // namespace vocarta
