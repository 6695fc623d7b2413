#include "schedule/schedule_form.h"

#include <ctime>

#include "schedule/schedule_overlap.h"
#include "schedule/schedule_time.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

const char* const kScheduleNotStoredText =
    "The schedule could not be saved. Check that the data folder can be written to.";
const char* const kScheduleWindowTitle = "Schedule Recording";

namespace {

ScheduleDate LocalDate(int64_t instant) {
    const std::time_t t = std::time_t(instant);
    std::tm tm{};
    localtime_r(&t, &tm);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday};
}

int64_t CombineDateTime(const ScheduleDate& date, int seconds) {
    return LocalInstant(date.year, date.month, date.day, seconds / 3600, seconds % 3600 / 60,
                        seconds % 60);
}

ScheduleMessage Refuse(const char* text, const char* title, ScheduleField field) {
    return {text, title, field};
}

}  // namespace

std::string NewScheduleName(int64_t now) {
    std::string name =
        StringPrintf("%s_%s", ScheduleDateText(now).c_str(), ScheduleTimeText(now).c_str());
    for (char& c : name)
        if (c == ':') c = '-';
    return name;
}

ScheduleForm NewScheduleForm(int64_t now) {
    ScheduleForm form;
    form.name = NewScheduleName(now);
    form.active = true;
    form.runIfNotLoggedIn = false;
    const int stored =
        GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, kScheduleTypeDefault);
    form.type = stored == 0   ? ScheduleType::OneTime
                : stored == 1 ? ScheduleType::Daily
                              : ScheduleType::Weekly;
    const int64_t start = (now / 60 + 2) * 60;
    const int64_t end = start + 3600;
    form.startDate = LocalDate(start);
    form.endDate = LocalDate(end);
    form.startSeconds = SecondsOfDay(start);
    form.endSeconds = SecondsOfDay(end);
    form.weekdays = 1 << WeekdayOf(start);
    return form;
}

ScheduleForm FormOfRecord(const ScheduledRecording& record) {
    ScheduleForm form;
    form.name = record.Name();
    form.active = record.Active();
    form.runIfNotLoggedIn = record.RunIfNotLoggedIn();
    form.type = record.Type() == ScheduleType::None ? ScheduleType::OneTime : record.Type();
    const int64_t start = record.Start(), end = record.End();
    if (start != 0) {
        form.startDate = LocalDate(start);
        form.startSeconds = SecondsOfDay(start);
    }
    if (end != 0) {
        form.endDate = LocalDate(end);
        form.endSeconds = SecondsOfDay(end);
    }
    form.weekdays = record.Weekdays();
    return form;
}

void FormSpan(const ScheduleForm& form, int64_t& start, int64_t& end) {
    if (form.type == ScheduleType::OneTime) {
        start = CombineDateTime(form.startDate, form.startSeconds);
        end = CombineDateTime(form.endDate, form.endSeconds);
        return;
    }
    ReferenceDaySpan(form.startSeconds, form.endSeconds, start, end);
}

std::optional<ScheduleMessage> CheckScheduleForm(const ScheduleForm& form,
                                                 const ScheduledRecordingList& list,
                                                 const std::string* editedName, int64_t now) {
    if (form.name.empty())
        return Refuse("Schedule name cannot be empty. Please enter a valid name.",
                      "Invalid Schedule Name", ScheduleField::Name);
    // Renaming while editing is not checked for duplicates: intended.
    if (!editedName && list.FindByName(CutText(form.name)))
        return Refuse("Schedule name cannot be duplicate. Please enter a new name.",
                      "Duplicate Schedule Name", ScheduleField::Name);
    SetSettingInt(kScheduleDialogSection, kScheduleTypeKey, int(form.type));

    int64_t start = 0, end = 0;
    FormSpan(form, start, end);
    if (end - start > kMaxScheduleSeconds || end == start)
        return Refuse(
            "Please make sure that the start and end time values are not equal, and the "
            "recording length is less than or equal to 10 hours.",
            "Invalid start or end time.", ScheduleField::End);
    if (form.type == ScheduleType::Weekly && (form.weekdays & kAllWeekdays) == 0)
        return Refuse("Please select at least one week day to proceed.", "No weekdays selected.",
                      ScheduleField::Weekdays);
    if (form.active) {
        const ScheduledRecording* other =
            FindOverlap(list, form.type, start, end, form.weekdays & kAllWeekdays);
        // Only the first overlap found is looked at, even when it is the edited
        // schedule itself and a later one would overlap too.
        if (other && !(editedName && other->Name() == form.name)) {
            ScheduleMessage message;
            message.text = StringPrintf("An overlap detected between this schedule and %s.",
                                        other->Name().c_str());
            message.title = "Overlap Detected";
            message.field = ScheduleField::Start;
            return message;
        }
    }
    if (form.type == ScheduleType::OneTime) {
        if (now >= start)
            return Refuse("Please make sure that the start time is greater than the current time.",
                          "Invalid start time.", ScheduleField::Start);
        if (start >= end || end - start > kMaxScheduleSeconds)
            return Refuse(
                "Please make sure that the start and end time values are not equal, and the "
                "recording length is less than 10 hours.",
                "Invalid start and end time.", ScheduleField::End);
    }
    return std::nullopt;
}

ScheduleSaved SaveScheduleForm(const ScheduleForm& form, ScheduledRecordingList& list,
                               const std::string* editedName, LJobLauncher& launcher) {
    if (editedName) {
        RemoveScheduleJob(launcher, *editedName);
        if (ScheduledRecording* old = list.FindByName(*editedName)) list.Remove(old);
    }
    int64_t start = 0, end = 0;
    FormSpan(form, start, end);
    ScheduledRecording* record = list.AddNamed(form.name);
    record->SetActive(form.active);
    record->SetRunIfNotLoggedIn(form.runIfNotLoggedIn);
    switch (form.type) {
        case ScheduleType::Daily:
            record->SetDaily(form.name, start, end);
            break;
        case ScheduleType::Weekly:
            record->SetWeekly(form.name, form.weekdays, start, end);
            break;
        default:
            record->SetOneTime(form.name, start, end);
    }
    if (!list.Save().Ok()) {
        LogError("SaveScheduleForm: schedule \"%s\" could not be written", form.name.c_str());
        list.Load();
        return ScheduleSaved::NotStored;
    }
    LogEvent("Schedule \"%s\" saved (%s)", form.name.c_str(), form.active ? "active" : "inactive");
    if (!form.active) return ScheduleSaved::Done;
    if (CreateScheduleJob(launcher, *record)) return ScheduleSaved::Done;
    list.Remove(record);
    list.Save();
    return ScheduleSaved::JobFailed;
}

bool DeleteSchedule(ScheduledRecordingList& list, const std::string& name, LJobLauncher& launcher) {
    ScheduledRecording* record = list.FindByName(name);
    if (!record) return false;
    RemoveScheduleJob(launcher, name);
    list.Remove(record);
    if (!list.Save().Ok()) {
        LogError("DeleteSchedule: the removal of \"%s\" could not be written", name.c_str());
        list.Load();
        return false;
    }
    LogEvent("Schedule \"%s\" deleted", name.c_str());
    return true;
}

}  // namespace vocarta
