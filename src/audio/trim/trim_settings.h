#pragma once
// The silence-trimming options, kept in section "Settings", and the threshold
// rule of the trim that runs right after a recording.
//
// Every value is read from the settings store when a trim starts and clamped to
// its range there, so a hand-edited or damaged value never reaches the passes.

#include <cstdint>

namespace vocarta {

struct TrimSettings {
    // Silence threshold on the level scale (0 reads 0.25118864, full scale +12).
    int thresholdDb = -20;
    // False: the threshold is relative to the file's peak sample.
    bool thresholdIsAbsolute = false;
    // An interior silence shorter than this is left alone.
    int shortestSilenceMs = 200;
    // A silence is shortened to fixed length + fraction × its length.
    int newFixedLengthMs = 400;
    // Proportional part of the new length, in thousandths (500 keeps half).
    int newLengthFractionThousandths = 0;
    // Only the leading and trailing silence is cut.
    bool startAndEndOnly = false;

    double NewLengthFraction() const { return newLengthFractionThousandths / 1000.0; }
};

// The ranges the options are clamped to when read.
inline constexpr int kTrimThresholdMinDb = -127;
inline constexpr int kTrimThresholdMaxDb = 127;
inline constexpr int kTrimShortestSilenceMinMs = 25;
inline constexpr int kTrimShortestSilenceMaxMs = 10000;
inline constexpr int kTrimNewFixedLengthMinMs = 0;
inline constexpr int kTrimNewFixedLengthMaxMs = 10000;
inline constexpr int kTrimFractionMinThousandths = 0;
inline constexpr int kTrimFractionMaxThousandths = 10000;

// The options as the user set them (the trim started from the recordings
// browser or the options window).
TrimSettings ReadTrimSettings();
// Stores the options, clamped to their ranges (the options window).
void StoreTrimSettings(const TrimSettings& settings);

// The options of the trim that runs right after a recording: the user's options,
// except that the threshold value is 1 dB below the level at which voice
// activation counts sound ("VoiceActivateLevel" - 1, clamped). Relative to the
// peak or absolute is still the user's "AutoTrimThresholdIsAbsolute".
TrimSettings ReadAfterRecordingTrimSettings();
int AfterRecordingThresholdDb();

// ("Recorder", "Autotrim"): whether finished recordings are trimmed at all.
bool AfterRecordingTrimEnabled();
void StoreAfterRecordingTrimEnabled(bool enabled);

}  // namespace vocarta
