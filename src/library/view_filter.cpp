#include "library/view_filter.h"

#include <algorithm>
#include <cstdio>

#include "toolkit/text.h"

namespace vocarta {

namespace {
std::time_t LocalTime(const CalendarDay& day, int hour, int minute, int second) {
    std::tm t{};
    t.tm_year = day.year - 1900;
    t.tm_mon = day.month - 1;
    t.tm_mday = day.day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = -1;
    return std::mktime(&t);
}

// The duration text read back as whole seconds: what the user saw, without
// the milliseconds.
int64_t WholeSecondsShown(const RecordingRow& row) {
    const std::string text = ColumnText(row, RecordingColumn::kDuration);
    int h = 0, m = 0, s = 0;
    if (std::sscanf(text.c_str(), "%d:%d:%d", &h, &m, &s) != 3) return 0;
    return int64_t(h) * 3600 + int64_t(m) * 60 + s;
}

std::string AsciiUpper(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    return text;
}
}  // namespace

int ClampDurationField(int value, int max) {
    return std::clamp(value, 0, max);
}

ViewFilter ClampedFilter(ViewFilter f) {
    f.hours = ClampDurationField(f.hours, kMaxFilterHours);
    f.minutes = ClampDurationField(f.minutes, kMaxFilterMinutes);
    f.seconds = ClampDurationField(f.seconds, kMaxFilterSeconds);
    const int criterion = std::clamp(int(f.criterion), 0, 2);
    f.criterion = DurationCriterion(criterion);
    f.findIn = std::clamp(f.findIn, 0, kSearchableColumns - 1);
    return f;
}

int64_t DurationLimitSeconds(const ViewFilter& filter) {
    const ViewFilter f = ClampedFilter(filter);
    return int64_t(f.hours) * 3600 + int64_t(f.minutes) * 60 + f.seconds;
}

std::string FormatCalendarDay(const CalendarDay& day) {
    return StringPrintf("%.4d-%.2d-%.2d", day.year, day.month, day.day);
}

std::optional<CalendarDay> ParseCalendarDay(const std::string& text) {
    int y = 0, m = 0, d = 0;
    char tail = 0;
    if (text.size() != 10 || std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &y, &m, &d, &tail) != 3)
        return std::nullopt;
    if (y < 1 || m < 1 || m > 12 || d < 1 || d > 31) return std::nullopt;
    static constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    if (d > kDays[m - 1] || (m == 2 && d == 29 && !leap)) return std::nullopt;
    return CalendarDay{y, m, d};
}

CalendarDay Today() {
    const std::time_t now = std::time(nullptr);
    std::tm t{};
    localtime_r(&now, &t);
    return CalendarDay{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday};
}

std::optional<std::string> CheckFilterDates(const ViewFilter& filter) {
    if (!filter.dateOn) return std::nullopt;
    if (LocalTime(filter.to, 23, 59, 59) < LocalTime(filter.from, 0, 0, 0))
        return std::string(kToBeforeFromText);
    return std::nullopt;
}

bool PassesFilter(const ViewFilter& filter, const RecordingRow& row) {
    const ViewFilter f = ClampedFilter(filter);
    if (f.dateOn &&
        (row.modified < LocalTime(f.from, 0, 0, 0) || row.modified > LocalTime(f.to, 23, 59, 59)))
        return false;
    if (f.criterion != DurationCriterion::kAny) {
        const int64_t shown = WholeSecondsShown(row);
        const int64_t limit = DurationLimitSeconds(f);
        if (f.criterion == DurationCriterion::kAtMost && shown > limit) return false;
        if (f.criterion == DurationCriterion::kAtLeast && shown < limit) return false;
    }
    if (f.searchOn && !f.searchText.empty()) {
        const std::string text = AsciiUpper(ColumnText(row, RecordingColumn(f.findIn)));
        if (text.find(AsciiUpper(f.searchText)) == std::string::npos) return false;
    }
    return true;
}

std::string FoundCountText(int count) {
    return count == 1 ? StringPrintf("%d Recording was found", count)
                      : StringPrintf("%d Recordings were found", count);
}

}  // namespace vocarta
