#include "schedule/schedule_time.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "toolkit/text.h"

namespace vocarta {

namespace {

std::tm LocalFields(int64_t instant) {
    std::tm tm{};
    const std::time_t t = std::time_t(instant);
    localtime_r(&t, &tm);
    return tm;
}

}  // namespace

std::string ScheduleDateText(int64_t instant) {
    if (instant == 0) return {};
    const std::tm tm = LocalFields(instant);
    return StringPrintf("%.4d-%.2d-%.2d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
}

std::string ScheduleTimeText(int64_t instant) {
    if (instant == 0) return {};
    const std::tm tm = LocalFields(instant);
    return StringPrintf("%.2d:%.2d:%.2d", tm.tm_hour, tm.tm_min, tm.tm_sec);
}

int64_t LocalInstant(int year, int month, int day, int hours, int minutes, int seconds) {
    std::tm tm{};
    if (year < 70)
        tm.tm_year = year + 100;
    else if (year >= 1900)
        tm.tm_year = year - 1900;
    else
        tm.tm_year = year;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hours;
    tm.tm_min = minutes;
    tm.tm_sec = seconds;
    tm.tm_isdst = -1;
    return int64_t(std::mktime(&tm));
}

int64_t InstantFromTexts(std::string_view date, std::string_view time) {
    if (date.empty()) return 0;
    int year = 0, month = 0, day = 0, hours = 0, minutes = 0, seconds = 0;
    const std::string dateText(date), timeText(time);
    std::sscanf(dateText.c_str(), "%d-%d-%d", &year, &month, &day);
    std::sscanf(timeText.c_str(), "%d:%d:%d", &hours, &minutes, &seconds);
    return LocalInstant(year, month, day, hours, minutes, seconds);
}

int64_t ReferenceDayInstant(int hours, int minutes, int seconds) {
    return LocalInstant(0, 0, 0, hours, minutes, seconds);
}

void ReferenceDaySpan(int startSeconds, int endSeconds, int64_t& start, int64_t& end) {
    start = ReferenceDayInstant(startSeconds / 3600, startSeconds % 3600 / 60, startSeconds % 60);
    end = ReferenceDayInstant(endSeconds / 3600, endSeconds % 3600 / 60, endSeconds % 60);
    if (start > end) end += kSecondsPerDay;
}

int SecondsOfDay(int64_t instant) {
    const std::tm tm = LocalFields(instant);
    return tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec;
}

int WeekdayOf(int64_t instant) {
    return LocalFields(instant).tm_wday;
}

std::string DurationText(int64_t seconds) {
    return StringPrintf("%.2d-%.2d-%.2d", int(seconds / 3600), int(seconds % 3600 / 60),
                        int(seconds % 60));
}

std::string ClockText(int secondsOfDay) {
    return StringPrintf("%.2d:%.2d:%.2d", secondsOfDay / 3600, secondsOfDay % 3600 / 60,
                        secondsOfDay % 60);
}

std::string LocalStampText(int64_t instant) {
    const std::tm tm = LocalFields(instant);
    return StringPrintf("%.4d-%.2d-%.2d %.2d:%.2d:%.2d", tm.tm_year + 1900, tm.tm_mon + 1,
                        tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
}

}  // namespace vocarta
