#include "app/session/scheduled_end.h"

#include <cstdio>

#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr std::time_t kSecondsPerDay = 86400;
}

bool ParseClockTime(const std::string& text, int& hours, int& minutes, int& seconds) {
    if (std::sscanf(text.c_str(), "%d:%d:%d", &hours, &minutes, &seconds) != 3) return false;
    return hours >= 0 && hours <= 23 && minutes >= 0 && minutes <= 59 && seconds >= 0 &&
           seconds <= 59;
}

int FullYear(int year) {
    if (year < 70) return 2000 + year;
    if (year >= 1900) return year;
    return 1900 + year;
}

std::string LocalDateText(std::time_t now) {
    std::tm tm{};
    localtime_r(&now, &tm);
    return StringPrintf("%d-%d-%d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
}

bool ScheduledEndTime(const std::string& endText, const std::string& dateText, std::time_t now,
                      std::time_t& end) {
    int hours = 0, minutes = 0, seconds = 0;
    if (!ParseClockTime(endText, hours, minutes, seconds)) return false;
    int year = 0, month = 0, day = 0;
    if (std::sscanf(dateText.c_str(), "%d-%d-%d", &year, &month, &day) != 3) return false;
    std::tm tm{};
    tm.tm_year = FullYear(year) - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hours;
    tm.tm_min = minutes;
    tm.tm_sec = seconds;
    tm.tm_isdst = -1;
    end = std::mktime(&tm);
    if (end == std::time_t(-1)) return false;
    if (end < now) end += kSecondsPerDay;
    return true;
}

bool ScheduledLimitMs(const std::string& endText, std::time_t now, int64_t& limitMs) {
    std::time_t end = 0;
    if (!ScheduledEndTime(endText, LocalDateText(now), now, end)) return false;
    limitMs = int64_t(end - now) * 1000;
    return true;
}

}  // namespace vocarta
