#pragma once
// A schedule record and the list of them, "ScheduledRecordingList", kept by the
// file store list: one numbered .dat file per record in a folder of that name
// under the application's data folder, the schedule's name under "ID". A damaged
// or unreadable record file is skipped with a line in the error log and left as
// it is.
//
// Keys: RecordingType (0 one time, 1 daily, 2 weekly; -1 or missing: no type),
// StartDate/StartTime and EndDate/EndTime (local texts, see schedule_time.h),
// Weekdays (bit 0 Sunday .. bit 6 Saturday), Active and RunIfNotLoggedIn ("1"
// or "0"). Every setter marks the record modified; only modified records are
// written back by Save().
//
// Threading: a list and its records are used by one thread at a time.

#include <cstdint>
#include <string>
#include <string_view>

#include "toolkit/lfile_store_list.h"

namespace vocarta {

enum class ScheduleType : int { None = -1, OneTime = 0, Daily = 1, Weekly = 2 };

inline constexpr int kAllWeekdays = 0x7f;
inline constexpr int kSunday = 0;  // bit numbers of the weekday mask
inline constexpr int kSaturday = 6;

class ScheduledRecording final : public LFileStoreRecord {
  public:
    static constexpr const char* kRecordingTypeKey = "RecordingType";
    static constexpr const char* kStartDateKey = "StartDate";
    static constexpr const char* kStartTimeKey = "StartTime";
    static constexpr const char* kEndDateKey = "EndDate";
    static constexpr const char* kEndTimeKey = "EndTime";
    static constexpr const char* kWeekdaysKey = "Weekdays";
    static constexpr const char* kActiveKey = "Active";
    static constexpr const char* kRunIfNotLoggedInKey = "RunIfNotLoggedIn";

    std::string Name() const { return Id(); }
    // The stored number, default -1; values other than 0, 1, 2 count as no type.
    int RecordingType() const;
    ScheduleType Type() const;
    int64_t Start() const;
    int64_t End() const;
    int Weekdays() const;  // masked to 7 bits
    bool Active() const;
    bool RunIfNotLoggedIn() const;

    // Names are cut to 259 bytes, as the program's text buffers hold them.
    void SetOneTime(std::string_view name, int64_t start, int64_t end);
    void SetDaily(std::string_view name, int64_t start, int64_t end);
    void SetWeekly(std::string_view name, int weekdays, int64_t start, int64_t end);
    void SetActive(bool active);
    void SetRunIfNotLoggedIn(bool run);

  private:
    void SetSpan(std::string_view name, ScheduleType type, int64_t start, int64_t end);
};

class ScheduledRecordingList final : public LFileStoreListBase {
  public:
    static constexpr const char* kListName = "ScheduledRecordingList";

    ScheduledRecordingList() : LFileStoreListBase(kListName) {}

    // Reads every record as the file store list does, and names in the error log
    // each record file that gave no record (one that could not be read at all is
    // otherwise skipped without a word).
    bool Load();

    ScheduledRecording* At(std::size_t index) const;
    // Exact, case-sensitive, byte for byte.
    ScheduledRecording* FindByName(std::string_view name) const;
    // A new record at the end holding only its name; nullptr for an empty name.
    ScheduledRecording* AddNamed(std::string_view name);

  protected:
    std::unique_ptr<LFileStoreRecord> NewRecord() const override;
};

}  // namespace vocarta
