#include "audio/trim/trim_settings.h"

#include <algorithm>

#include "audio/recorder_settings.h"
#include "settings/settings.h"

namespace vocarta {

namespace {
constexpr const char* kSection = "Settings";
constexpr const char* kThresholdKey = "AutoTrimThreshold";
constexpr const char* kIsAbsoluteKey = "AutoTrimThresholdIsAbsolute";
constexpr const char* kShortestSilenceKey = "AutoTrimShortestSilence";
constexpr const char* kNewFixedLengthKey = "AutoTrimNewFixedLength";
constexpr const char* kNewLengthFractionKey = "AutoTrimNewLengthFraction";
constexpr const char* kStartAndEndOnlyKey = "AutoTrimStartAndEndOnly";

constexpr TrimSettings kDefaults{};

TrimSettings Clamped(TrimSettings s) {
    s.thresholdDb = std::clamp(s.thresholdDb, kTrimThresholdMinDb, kTrimThresholdMaxDb);
    s.shortestSilenceMs =
        std::clamp(s.shortestSilenceMs, kTrimShortestSilenceMinMs, kTrimShortestSilenceMaxMs);
    s.newFixedLengthMs =
        std::clamp(s.newFixedLengthMs, kTrimNewFixedLengthMinMs, kTrimNewFixedLengthMaxMs);
    s.newLengthFractionThousandths = std::clamp(
        s.newLengthFractionThousandths, kTrimFractionMinThousandths, kTrimFractionMaxThousandths);
    return s;
}
}  // namespace

TrimSettings ReadTrimSettings() {
    TrimSettings s;
    s.thresholdDb = GetSettingInt(kSection, kThresholdKey, kDefaults.thresholdDb);
    s.thresholdIsAbsolute = GetSettingBool(kSection, kIsAbsoluteKey, kDefaults.thresholdIsAbsolute);
    s.shortestSilenceMs = GetSettingInt(kSection, kShortestSilenceKey, kDefaults.shortestSilenceMs);
    s.newFixedLengthMs = GetSettingInt(kSection, kNewFixedLengthKey, kDefaults.newFixedLengthMs);
    s.newLengthFractionThousandths =
        GetSettingInt(kSection, kNewLengthFractionKey, kDefaults.newLengthFractionThousandths);
    s.startAndEndOnly = GetSettingBool(kSection, kStartAndEndOnlyKey, kDefaults.startAndEndOnly);
    return Clamped(s);
}

void StoreTrimSettings(const TrimSettings& settings) {
    TrimSettings s = Clamped(settings);
    SetSettingInt(kSection, kThresholdKey, s.thresholdDb);
    SetSettingBool(kSection, kIsAbsoluteKey, s.thresholdIsAbsolute);
    SetSettingInt(kSection, kShortestSilenceKey, s.shortestSilenceMs);
    SetSettingInt(kSection, kNewFixedLengthKey, s.newFixedLengthMs);
    SetSettingInt(kSection, kNewLengthFractionKey, s.newLengthFractionThousandths);
    SetSettingBool(kSection, kStartAndEndOnlyKey, s.startAndEndOnly);
}

int AfterRecordingThresholdDb() {
    // Computed in 64 bits: a stored level of INT32_MIN must clamp, not wrap.
    int64_t level = VoiceActivateLevelSetting();
    return int(std::clamp<int64_t>(level - 1, kTrimThresholdMinDb, kTrimThresholdMaxDb));
}

TrimSettings ReadAfterRecordingTrimSettings() {
    TrimSettings s = ReadTrimSettings();
    // Only the value changes; whether it is relative to the peak or absolute
    // stays the user's choice ("AutoTrimThresholdIsAbsolute").
    s.thresholdDb = AfterRecordingThresholdDb();
    return s;
}

bool AfterRecordingTrimEnabled() {
    return AutotrimEnabled();
}

void StoreAfterRecordingTrimEnabled(bool enabled) {
    SetSettingBool(kRecorderSection, kAutotrimKey, enabled);
}

}  // namespace vocarta
