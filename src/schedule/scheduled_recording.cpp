#include "schedule/scheduled_recording.h"

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "schedule/schedule_time.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

int ScheduledRecording::RecordingType() const {
    return GetInt(kRecordingTypeKey, -1);
}

ScheduleType ScheduledRecording::Type() const {
    const int type = RecordingType();
    return type >= 0 && type <= 2 ? ScheduleType(type) : ScheduleType::None;
}

int64_t ScheduledRecording::Start() const {
    return InstantFromTexts(GetValue(kStartDateKey), GetValue(kStartTimeKey));
}

int64_t ScheduledRecording::End() const {
    return InstantFromTexts(GetValue(kEndDateKey), GetValue(kEndTimeKey));
}

int ScheduledRecording::Weekdays() const {
    return GetInt(kWeekdaysKey, 0) & kAllWeekdays;
}

bool ScheduledRecording::Active() const {
    return GetBool(kActiveKey, false);
}

bool ScheduledRecording::RunIfNotLoggedIn() const {
    return GetBool(kRunIfNotLoggedInKey, false);
}

void ScheduledRecording::SetSpan(std::string_view name, ScheduleType type, int64_t start,
                                 int64_t end) {
    SetInt(kRecordingTypeKey, int(type));
    SetValue(kIdKey, CutText(name));
    SetValue(kStartTimeKey, ScheduleTimeText(start));
    SetValue(kStartDateKey, ScheduleDateText(start));
    SetValue(kEndTimeKey, ScheduleTimeText(end));
    SetValue(kEndDateKey, ScheduleDateText(end));
}

void ScheduledRecording::SetOneTime(std::string_view name, int64_t start, int64_t end) {
    SetSpan(name, ScheduleType::OneTime, start, end);
}

void ScheduledRecording::SetDaily(std::string_view name, int64_t start, int64_t end) {
    SetSpan(name, ScheduleType::Daily, start, end);
}

void ScheduledRecording::SetWeekly(std::string_view name, int weekdays, int64_t start,
                                   int64_t end) {
    SetSpan(name, ScheduleType::Weekly, start, end);
    SetInt(kWeekdaysKey, weekdays & kAllWeekdays);
}

void ScheduledRecording::SetActive(bool active) {
    SetBool(kActiveKey, active);
}

void ScheduledRecording::SetRunIfNotLoggedIn(bool run) {
    SetBool(kRunIfNotLoggedInKey, run);
}

bool ScheduledRecordingList::Load() {
    const bool listed = LFileStoreListBase::Load();
    std::set<int> loaded;
    for (std::size_t i = 0; i < Count(); ++i) loaded.insert(RecordAt(i)->Number());
    const std::string folder = Folder();
    DIR* dir = opendir(folder.c_str());
    if (!dir) return listed;
    while (const dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        const std::size_t length = std::strlen(name);
        if (length < 5 || length > 13 || std::strcmp(name + length - 4, ".dat") != 0) continue;
        if (std::strspn(name, "0123456789") != length - 4) continue;
        if (loaded.count(std::atoi(name))) continue;
        LogError(
            "ScheduledRecordingList::Load: %s gave no schedule (unreadable or damaged); "
            "skipped",
            JoinPath(folder, name).c_str());
    }
    closedir(dir);
    return listed;
}

ScheduledRecording* ScheduledRecordingList::At(std::size_t index) const {
    return static_cast<ScheduledRecording*>(RecordAt(index));
}

ScheduledRecording* ScheduledRecordingList::FindByName(std::string_view name) const {
    return static_cast<ScheduledRecording*>(Find(name));
}

ScheduledRecording* ScheduledRecordingList::AddNamed(std::string_view name) {
    return static_cast<ScheduledRecording*>(Add(CutText(name)));
}

std::unique_ptr<LFileStoreRecord> ScheduledRecordingList::NewRecord() const {
    return std::make_unique<ScheduledRecording>();
}

}  // namespace vocarta
