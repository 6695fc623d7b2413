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

// No defaults here: ReadRecordingOptions takes each from the key's owner.
struct RecordingOptions {
    bool voiceActivate{};
    int voiceLevelDb{};  // on the level scale: -127 silence, +12 full scale
    int pauseWaitSeconds{};
    bool voiceTimeoutRestart{};

    bool checkMaxTime{};
    int maxHours{};
    int maxMinutes{};
    int maxSeconds{};
    bool stopAtMaxTime{};  // false: go on in a new file

    bool recordTone{};
    bool stoppedTone{};
    bool intervalTone{};
    int intervalSecs{};
    bool launchPlayWhenStop{};
    bool autoEmpty{};

    std::string folder;
    std::string pattern;
    bool promptForName{};
    OutputFormat format{};

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
