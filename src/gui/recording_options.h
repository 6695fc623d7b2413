#pragma once
// What the recording page of the options window shows, as plain values read
// from and stored to the settings through the keys and defaults of the parts
// that use them (the session, voice activation, file naming, output format).
// Qt-free.
//
// Threading contract: any thread (the settings store is).

#include <cstdint>
#include <string>

#include "audio/output_format.h"

namespace vocarta {

struct RecordingOptions {
    bool voiceActivate = false;
    int voiceLevelDb = -18;  // on the level scale: -127 silence, +12 full scale
    int pauseWaitSeconds = 5;
    bool voiceTimeoutRestart = false;

    bool checkMaxTime = true;
    int maxHours = 9;
    int maxMinutes = 59;
    int maxSeconds = 59;
    bool stopAtMaxTime = true;  // false: go on in a new file

    bool recordTone = true;
    bool stoppedTone = true;
    bool intervalTone = false;
    int intervalSecs = 30;
    bool launchPlayWhenStop = false;
    bool autoEmpty = true;

    std::string folder;
    std::string pattern;
    bool promptForName = false;
    OutputFormat format = kDefaultOutputFormat;

    int64_t MaxTimeMs() const {
        return int64_t(maxHours) * 3600000 + int64_t(maxMinutes) * 60000 +
               int64_t(maxSeconds) * 1000;
    }
};

// The ranges the page offers.
inline constexpr int kVoiceLevelMinDb = -127;
inline constexpr int kVoiceLevelMaxDb = 12;
inline constexpr int kPauseWaitMaxSeconds = 3600;
inline constexpr int kMaxTimeMaxHours = 999;
inline constexpr int kIntervalMaxSecs = 3600;

// The stored options, each clamped to the range the page offers.
RecordingOptions ReadRecordingOptions();
// Stores every option; false when the settings could not be written. The
// folder and pattern are stored as given: check them first.
bool StoreRecordingOptions(const RecordingOptions& options);

}  // namespace vocarta
