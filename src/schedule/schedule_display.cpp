#include "schedule/schedule_display.h"

#include "schedule/schedule_time.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kWeekdayNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};

// Daily and weekly: end - start when the end is later, else around midnight in
// seconds of the day.
int64_t TimeOfDayDuration(int64_t start, int64_t end) {
    if (end > start) return end - start;
    return kSecondsPerDay - SecondsOfDay(start) + SecondsOfDay(end);
}

}  // namespace

const char* WeekdayName(int bit) {
    return bit >= 0 && bit < 7 ? kWeekdayNames[bit] : "";
}

std::string WeekdayListText(int weekdays) {
    std::string text;
    for (int bit = kSaturday; bit >= kSunday; --bit) {
        if (!(weekdays & (1 << bit))) continue;
        if (!text.empty()) text += ", ";
        text += kWeekdayNames[bit];
    }
    return text;
}

ScheduleRow ScheduleDisplayRow(const ScheduledRecording& record) {
    ScheduleRow row;
    row.name = record.Name();
    row.state = record.Active() ? "Active" : "Inactive";
    const int64_t start = record.Start(), end = record.End();
    const std::string startTime = record.GetValue(ScheduledRecording::kStartTimeKey);
    const std::string endTime = record.GetValue(ScheduledRecording::kEndTimeKey);
    switch (record.Type()) {
        case ScheduleType::OneTime:
            row.start =
                StringPrintf("%s %s", record.GetValue(ScheduledRecording::kStartDateKey).c_str(),
                             startTime.c_str());
            row.end = StringPrintf(
                "%s %s", record.GetValue(ScheduledRecording::kEndDateKey).c_str(), endTime.c_str());
            row.duration = DurationText(end - start);
            break;
        case ScheduleType::Daily:
            row.start = StringPrintf("Everyday %s", startTime.c_str());
            row.end = endTime;
            row.duration = DurationText(TimeOfDayDuration(start, end));
            break;
        case ScheduleType::Weekly:
            row.start = StringPrintf("%s (%s)", startTime.c_str(),
                                     WeekdayListText(record.Weekdays()).c_str());
            row.end = StringPrintf("%s (%s)", endTime.c_str(),
                                   startTime < endTime ? "Same day" : "Next day");
            row.duration = DurationText(TimeOfDayDuration(start, end));
            break;
        case ScheduleType::None:
            break;
    }
    return row;
}

}  // namespace vocarta
