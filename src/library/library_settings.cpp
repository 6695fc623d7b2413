#include "library/library_settings.h"

#include "settings/settings.h"

namespace vocarta {

namespace {
constexpr const char* kFilterSection = "ViewFilterDlg";
constexpr const char* kDurationKey = "Duration";
constexpr const char* kHoursKey = "Hours";
constexpr const char* kMinsKey = "Mins";
constexpr const char* kSecsKey = "Secs";
constexpr const char* kDateKey = "Date";
constexpr const char* kFromKey = "From";
constexpr const char* kToKey = "To";
constexpr const char* kSearchKey = "Search";
constexpr const char* kFindInKey = "FindIn";
constexpr const char* kFindWhatKey = "FindWhat";

CalendarDay StoredDay(const char* key) {
    const std::string text = GetSettingString(kFilterSection, key, "");
    return ParseCalendarDay(text).value_or(Today());
}
}  // namespace

namespace find_play {
using namespace vocarta;

bool UseRecordFolder() {
    return GetSettingBool(kSection, kUseRecordFolderKey, kUseRecordFolderDefault);
}
void StoreUseRecordFolder(bool use) {
    SetSettingBool(kSection, kUseRecordFolderKey, use);
}
// Folders are read whole: a path cut at the short value limit names another folder.
std::string LongValue(const char* key) {
    std::string value;
    GetSettingStringLong(kSection, key, "", value);
    return value;
}
std::string AlternativeFolder() {
    return LongValue(kRecordFolderKey);
}
void StoreAlternativeFolder(const std::string& folder) {
    SetSettingString(kSection, kRecordFolderKey, folder);
}
std::string SaveFolder() {
    return LongValue(kSaveFolderKey);
}
void StoreSaveFolder(const std::string& folder) {
    SetSettingString(kSection, kSaveFolderKey, folder);
}
int CurrentSpeed() {
    return GetSettingInt(kSection, kCurrentSpeedKey, kCurrentSpeedDefault);
}
void StoreCurrentSpeed(int percent) {
    SetSettingInt(kSection, kCurrentSpeedKey, percent);
}
int PlayOffset() {
    return GetSettingInt(kSection, kPlayOffsetKey, kPlayOffsetDefault);
}
int SlowSpeed() {
    return GetSettingInt(kSection, kSlowSpeedKey, kSlowSpeedDefault);
}
int FastSpeed() {
    return GetSettingInt(kSection, kFastSpeedKey, kFastSpeedDefault);
}
void StoreSlowSpeed(int percent) {
    SetSettingInt(kSection, kSlowSpeedKey, percent);
}
void StoreFastSpeed(int percent) {
    SetSettingInt(kSection, kFastSpeedKey, percent);
}

std::string ListedFolder(const std::string& recordFolder) {
    const std::string alternative = AlternativeFolder();
    if (UseRecordFolder() || alternative.empty()) return recordFolder;
    return alternative;
}
}  // namespace find_play

ViewFilter ReadViewFilter() {
    ViewFilter f;
    f.criterion = DurationCriterion(GetSettingInt(kFilterSection, kDurationKey, 0));
    f.hours = GetSettingInt(kFilterSection, kHoursKey, 0);
    f.minutes = GetSettingInt(kFilterSection, kMinsKey, 0);
    f.seconds = GetSettingInt(kFilterSection, kSecsKey, 0);
    f.dateOn = GetSettingBool(kFilterSection, kDateKey, false);
    f.from = StoredDay(kFromKey);
    f.to = StoredDay(kToKey);
    f.searchOn = GetSettingBool(kFilterSection, kSearchKey, false);
    f.findIn = GetSettingInt(kFilterSection, kFindInKey, int(RecordingColumn::kName));
    f.searchText = GetSettingString(kFilterSection, kFindWhatKey, "");
    return ClampedFilter(f);
}

void StoreViewFilter(const ViewFilter& filter) {
    const ViewFilter f = ClampedFilter(filter);
    SetSettingInt(kFilterSection, kDurationKey, int(f.criterion));
    SetSettingInt(kFilterSection, kHoursKey, f.hours);
    SetSettingInt(kFilterSection, kMinsKey, f.minutes);
    SetSettingInt(kFilterSection, kSecsKey, f.seconds);
    SetSettingBool(kFilterSection, kDateKey, f.dateOn);
    SetSettingString(kFilterSection, kFromKey, FormatCalendarDay(f.from));
    SetSettingString(kFilterSection, kToKey, FormatCalendarDay(f.to));
    SetSettingBool(kFilterSection, kSearchKey, f.searchOn);
    SetSettingInt(kFilterSection, kFindInKey, f.findIn);
    SetSettingString(kFilterSection, kFindWhatKey, f.searchText);
}

}  // namespace vocarta
