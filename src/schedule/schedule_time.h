#pragma once
// Instants, texts and days of schedule records. An instant is a signed count of
// seconds (calendar time); records keep it as a local date text and a local time
// text, and read it back by letting the C library's local-time conversion
// normalise the fields (daylight saving left for it to decide).
//
// Daily and weekly schedules hold only times of day. They live on one fixed
// reference day, 30 November 1999 local time (what year 0, month 0, day 0
// normalise to under the year rule below); an end before its start is kept one
// day later, on 1 December 1999. Every comparison of such schedules rests on it.
//
// Threading: any thread (localtime_r / mktime).

#include <cstdint>
#include <string>
#include <string_view>

namespace vocarta {

inline constexpr int64_t kSecondsPerDay = 86400;
// The longest recording a schedule may ask for: exactly 10 hours passes.
inline constexpr int64_t kMaxScheduleSeconds = 36000;

// "%.4d-%.2d-%.2d" and "%.2d:%.2d:%.2d" of an instant in local time; the
// instant 0 is written as two empty texts.
std::string ScheduleDateText(int64_t instant);
std::string ScheduleTimeText(int64_t instant);

// The local instant of the given fields: a year below 70 is 2000 + year, one of
// 1900 or more is taken as is (others count from 1900); `month` is 1-based and
// any field may be out of range (the conversion normalises it).
int64_t LocalInstant(int year, int month, int day, int hours, int minutes, int seconds);

// Back from the two record texts ("%d-%d-%d", "%d:%d:%d"): an empty date gives 0;
// numbers that are not there count as 0.
int64_t InstantFromTexts(std::string_view date, std::string_view time);

// The reference day at the given time of day.
int64_t ReferenceDayInstant(int hours, int minutes, int seconds);

// Daily and weekly start and end from the seconds of the day of two time fields:
// both on the reference day, the end one day later when the start is later.
void ReferenceDaySpan(int startSeconds, int endSeconds, int64_t& start, int64_t& end);

// Seconds since local midnight of an instant (0 .. 86399).
int SecondsOfDay(int64_t instant);

// Local weekday of an instant: 0 Sunday .. 6 Saturday.
int WeekdayOf(int64_t instant);

// "%.2d-%.2d-%.2d": hours, minutes, seconds with hyphens (deliberately so).
std::string DurationText(int64_t seconds);

// "%.2d:%.2d:%.2d" of a count of seconds of the day.
std::string ClockText(int secondsOfDay);

// "YYYY-MM-DD HH:MM:SS" local, for logs and listings.
std::string LocalStampText(int64_t instant);

}  // namespace vocarta
