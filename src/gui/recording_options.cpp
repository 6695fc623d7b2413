#include "gui/recording_options.h"

#include <algorithm>

#include "app/session/file_naming.h"
#include "app/session/session_settings.h"
#include "audio/output_format.h"
#include "audio/recorder_settings.h"
#include "settings/settings.h"

namespace vocarta {

namespace ss = session_settings;

RecordingOptions ReadRecordingOptions() {
    RecordingOptions o;
    o.voiceActivate = VoiceActivateEnabled();
    o.voiceLevelDb =
        std::clamp<int32_t>(VoiceActivateLevelSetting(), kVoiceLevelMinDb, kVoiceLevelMaxDb);
    o.pauseWaitSeconds = std::clamp<int32_t>(PauseWaitSecondsSetting(), 0, kPauseWaitMaxSeconds);
    o.voiceTimeoutRestart = VoiceTimeoutRestartEnabled();

    o.checkMaxTime = ss::CheckMaxTime();
    // Shown as the time it means: 0:90:00 is 1:30:00.
    const int64_t maxSeconds = std::max<int64_t>(ss::MaxTimeMs(), 0) / 1000;
    o.maxHours = int(std::min<int64_t>(maxSeconds / 3600, kMaxTimeMaxHours));
    o.maxMinutes = int(maxSeconds / 60 % 60);
    o.maxSeconds = int(maxSeconds % 60);
    o.stopAtMaxTime = ss::StopReachMaxTime();

    o.recordTone = ss::RecordTone();
    o.stoppedTone = ss::StoppedTone();
    o.intervalTone = ss::IntervalTone();
    o.intervalSecs = std::clamp<int32_t>(ss::IntervalSecs(), 1, kIntervalMaxSecs);
    o.launchPlayWhenStop = ss::LaunchPlayWhenStop();
    o.autoEmpty = ss::AutoEmpty();

    o.folder = RecordFolder();
    o.pattern = FileNamePattern();
    o.promptForName = PromptForNameEnabled();
    o.format = ReadOutputFormat();
    return o;
}

bool StoreRecordingOptions(const RecordingOptions& o) {
    const char* s = ss::kSection;
    bool ok = SetSettingBool(kVoiceSection, kVoiceActivateKey, o.voiceActivate);
    ok &= SetSettingInt(kVoiceSection, kVoiceActivateLevelKey, o.voiceLevelDb);
    ok &= SetSettingInt(kVoiceSection, kPauseWaitSecondsKey, o.pauseWaitSeconds);
    ok &= SetSettingBool(kVoiceSection, kVoiceTimeoutRestartKey, o.voiceTimeoutRestart);

    ok &= SetSettingBool(s, ss::kCheckMaxTimeKey, o.checkMaxTime);
    ok &= SetSettingInt(s, ss::kMaxTimeHoursKey, o.maxHours);
    ok &= SetSettingInt(s, ss::kMaxTimeMinutesKey, o.maxMinutes);
    ok &= SetSettingInt(s, ss::kMaxTimeSecondsKey, o.maxSeconds);
    ok &= SetSettingBool(s, ss::kStopReachMaxTimeKey, o.stopAtMaxTime);

    ok &= SetSettingBool(s, ss::kRecordToneKey, o.recordTone);
    ok &= SetSettingBool(s, ss::kStoppedToneKey, o.stoppedTone);
    ok &= SetSettingBool(s, ss::kIntervalToneKey, o.intervalTone);
    ok &= SetSettingInt(s, ss::kIntervalSecsKey, o.intervalSecs);
    ok &= SetSettingBool(s, ss::kLaunchPlayWhenStopKey, o.launchPlayWhenStop);
    ok &= SetSettingBool(s, ss::kAutoEmptyKey, o.autoEmpty);

    ok &= StoreRecordFolder(o.folder);
    ok &= StoreFileNamePattern(o.pattern);
    ok &= StorePromptForName(o.promptForName);
    StoreOutputFormat(o.format);
    return ok;
}

}  // namespace vocarta
