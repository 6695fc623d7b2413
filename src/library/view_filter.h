#pragma once
// The view filter of the recordings window: by date, by duration and by text
// in one column. Pure functions over rows, so the window and the tests share
// exactly one rule set.
//
// Threading contract: plain values; any thread.

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "library/recording_row.h"

namespace vocarta {

enum class DurationCriterion : int {
    kAny = 0,      // "Any Duration"
    kAtMost = 1,   // "A Duration less than or equal to:"
    kAtLeast = 2,  // "A Duration greater than or equal to:"
};

// A calendar day, local time.
struct CalendarDay {
    int year = 1970;
    int month = 1;
    int day = 1;
    bool operator==(const CalendarDay&) const = default;
};

struct ViewFilter {
    bool dateOn = false;
    CalendarDay from{};
    CalendarDay to{};
    DurationCriterion criterion = DurationCriterion::kAny;
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    bool searchOn = false;
    std::string searchText{};
    int findIn = int(RecordingColumn::kName);

    bool operator==(const ViewFilter&) const = default;
};

inline constexpr int kMaxFilterHours = 999;
inline constexpr int kMaxFilterMinutes = 59;
inline constexpr int kMaxFilterSeconds = 59;

inline constexpr const char* kDurationCriterionTexts[] = {
    "Any Duration", "A Duration less than or equal to:", "A Duration greater than or equal to:"};
inline constexpr const char* kToBeforeFromText = "'To Date' must come after 'From Date'";

// A typed duration field held to its range: negative reads 0, above `max`
// reads `max`. The window writes the result back into the field.
int ClampDurationField(int value, int max);
// The filter with every field held to its range (hours, minutes, seconds,
// criterion, column).
ViewFilter ClampedFilter(ViewFilter filter);
// hours × 3600 + minutes × 60 + seconds of a clamped filter.
int64_t DurationLimitSeconds(const ViewFilter& filter);

// "yyyy-MM-dd" and back; nullopt for anything else or a day that does not exist.
std::string FormatCalendarDay(const CalendarDay& day);
std::optional<CalendarDay> ParseCalendarDay(const std::string& text);
CalendarDay Today();

// The message to show on the to date, or nullopt when the filter can be used.
std::optional<std::string> CheckFilterDates(const ViewFilter& filter);

// Whether a row passes every test of the filter.
bool PassesFilter(const ViewFilter& filter, const RecordingRow& row);

// "%d Recording was found" for one, "%d Recordings were found" otherwise.
std::string FoundCountText(int count);

}  // namespace vocarta
