#pragma once
// The end time of a scheduled launch: "hours:minutes:seconds" of the local
// clock, on today's date, or on tomorrow's when that time has already passed.

#include <cstdint>
#include <ctime>
#include <string>

namespace vocarta {

// Reads "%d:%d:%d" from the front of `text` (anything after it is ignored);
// false when the three numbers are not there or not a time of day.
bool ParseClockTime(const std::string& text, int& hours, int& minutes, int& seconds);

// The year of a "%d-%d-%d" date text: below 70 is 20xx, 1900 or more is a full
// year, anything between counts from 1900.
int FullYear(int year);

// "year-month-day" of the local date at `now`.
std::string LocalDateText(std::time_t now);

// The end as a time: `dateText` ("%d-%d-%d") at the clock time of `endText` in
// local time (daylight saving left to the system), plus one day when earlier
// than `now`. False when either text cannot be read.
bool ScheduledEndTime(const std::string& endText, const std::string& dateText, std::time_t now,
                      std::time_t& end);

// The recording limit in ms of a scheduled launch ending at `endText`, seen at `now`.
bool ScheduledLimitMs(const std::string& endText, std::time_t now, int64_t& limitMs);

}  // namespace vocarta
