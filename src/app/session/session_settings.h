#pragma once
// The settings of the recording session (section "Settings"), each read at the
// point of use through these functions, with its default here. The voice
// activation keys live in audio/recorder_settings.h (the trim reads them too),
// the device and volume keys in audio/capture/device_choice.h, the naming keys
// in file_naming.cpp.
//
// Threading: any thread.

#include <cstdint>

#include "settings/settings.h"

namespace vocarta::session_settings {

inline constexpr const char* kSection = "Settings";
// Keys, also stored by the options window.
inline constexpr const char* kCheckMaxTimeKey = "CheckMaxTime";
inline constexpr const char* kMaxTimeHoursKey = "MaxTimeHours";
inline constexpr const char* kMaxTimeMinutesKey = "MaxTimeMinutes";
inline constexpr const char* kMaxTimeSecondsKey = "MaxTimeSeconds";
inline constexpr const char* kStopReachMaxTimeKey = "StopReachMaxTime";
inline constexpr const char* kIntervalToneKey = "IntervalTone";
inline constexpr const char* kIntervalSecsKey = "IntervalSecs";
inline constexpr const char* kRecordToneKey = "RecordTone";
inline constexpr const char* kStoppedToneKey = "StoppedTone";
inline constexpr const char* kAutoEmptyKey = "AutoEmpty";
inline constexpr const char* kLaunchPlayWhenStopKey = "LaunchPlayWhenStop";

inline bool CheckMaxTime() {
    return GetSettingBool(kSection, kCheckMaxTimeKey, true);
}
// MaxTimeHours h + MaxTimeMinutes min + MaxTimeSeconds s, default 9:59:59.
inline int64_t MaxTimeMs() {
    return int64_t(GetSettingInt(kSection, kMaxTimeHoursKey, 9)) * 3600000 +
           int64_t(GetSettingInt(kSection, kMaxTimeMinutesKey, 59)) * 60000 +
           int64_t(GetSettingInt(kSection, kMaxTimeSecondsKey, 59)) * 1000;
}
inline bool StopReachMaxTime() {
    return GetSettingBool(kSection, kStopReachMaxTimeKey, true);
}
inline bool IntervalTone() {
    return GetSettingBool(kSection, kIntervalToneKey, false);
}
inline int32_t IntervalSecs() {
    return GetSettingInt(kSection, kIntervalSecsKey, 30);
}
inline bool RecordTone() {
    return GetSettingBool(kSection, kRecordToneKey, true);
}
inline bool StoppedTone() {
    return GetSettingBool(kSection, kStoppedToneKey, true);
}
inline bool AutoEmpty() {
    return GetSettingBool(kSection, kAutoEmptyKey, true);
}
inline bool LaunchPlayWhenStop() {
    return GetSettingBool(kSection, kLaunchPlayWhenStopKey, false);
}

// Finished recordings, counted up to 5 and then left.
inline constexpr const char* kFilesRecordedKey = "FilesRecorded";
inline constexpr int32_t kFilesRecordedCap = 5;
inline int32_t FilesRecorded() {
    return GetSettingInt(kSection, kFilesRecordedKey, 0);
}
inline void CountFileRecorded() {
    const int32_t count = FilesRecorded();
    if (count < kFilesRecordedCap) SetSettingInt(kSection, kFilesRecordedKey, count + 1);
}

}  // namespace vocarta::session_settings
