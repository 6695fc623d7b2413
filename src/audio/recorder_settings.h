#pragma once
// The recorder's settings that more than one part reads: voice activation (the
// recording session starts the recorder with them; the trim after a recording
// keeps what voice activation took for sound) and ("Recorder", "Autotrim"),
// which cuts the recorder's trailing silence at the end and has the finished
// file trimmed. Each is read at the point of use through these functions.
//
// Threading: any thread.

#include <cstdint>

#include "settings/settings.h"

namespace vocarta {

inline constexpr const char* kVoiceSection = "Settings";
inline constexpr const char* kVoiceActivateKey = "VoiceActivate";
inline constexpr bool kVoiceActivateDefault = false;
inline constexpr const char* kVoiceActivateLevelKey = "VoiceActivateLevel";
inline constexpr int kVoiceActivateLevelDefault = -18;
inline constexpr const char* kPauseWaitSecondsKey = "PauseWaitSeconds";
inline constexpr int kPauseWaitSecondsDefault = 5;
inline constexpr const char* kVoiceTimeoutRestartKey = "VoiceActivateTimeoutRestart";
inline constexpr bool kVoiceTimeoutRestartDefault = false;

inline constexpr const char* kRecorderSection = "Recorder";
inline constexpr const char* kAutotrimKey = "Autotrim";
inline constexpr bool kAutotrimDefault = false;

inline bool VoiceActivateEnabled() {
    return GetSettingBool(kVoiceSection, kVoiceActivateKey, kVoiceActivateDefault);
}
// As stored; callers clamp to the range they need (a stored text may hold anything).
inline int32_t VoiceActivateLevelSetting() {
    return GetSettingInt(kVoiceSection, kVoiceActivateLevelKey, kVoiceActivateLevelDefault);
}
inline int32_t PauseWaitSecondsSetting() {
    return GetSettingInt(kVoiceSection, kPauseWaitSecondsKey, kPauseWaitSecondsDefault);
}
inline bool VoiceTimeoutRestartEnabled() {
    return GetSettingBool(kVoiceSection, kVoiceTimeoutRestartKey, kVoiceTimeoutRestartDefault);
}
inline bool AutotrimEnabled() {
    return GetSettingBool(kRecorderSection, kAutotrimKey, kAutotrimDefault);
}

}  // namespace vocarta
