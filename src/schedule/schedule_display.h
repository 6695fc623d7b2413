#pragma once
// The texts of one row of the schedule list: name, start, end, "Active" or
// "Inactive", and the duration as "%.2d-%.2d-%.2d".
//
// Threading: any thread.

#include <string>

#include "schedule/scheduled_recording.h"

namespace vocarta {

struct ScheduleRow {
    std::string name;
    std::string start;
    std::string end;
    std::string state;
    std::string duration;
};

ScheduleRow ScheduleDisplayRow(const ScheduledRecording& record);

// The days of a weekday mask from Saturday down to Sunday, joined by ", ".
std::string WeekdayListText(int weekdays);

// "Sunday" .. "Saturday" for bit 0 .. 6.
const char* WeekdayName(int bit);

}  // namespace vocarta
