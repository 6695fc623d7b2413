#pragma once
// The start, stop and interval tones: short beeps made on the fly, so the
// program ships no sound files and the tones sound the same on every machine.
//
// Start: a rising two-note beep (880 Hz then 1320 Hz, 60 ms each); stop: the
// same notes falling; interval: one 50 ms blip at 1000 Hz. Every note fades in
// and out over 5 ms so that it does not click.

#include <cstdint>
#include <vector>

namespace vocarta {

enum class LToneKind { Start, Stop, Interval };

// Rate the tones are made at; the sound server converts if its device differs.
inline constexpr uint32_t kToneSampleRate = 48000;
// Peak amplitude: about -10 dB of full scale, audible without startling.
inline constexpr float kToneAmplitude = 0.3f;

struct LToneNote {
    double frequencyHz;
    uint32_t durationMs;
};

// The notes of a tone, in order.
std::vector<LToneNote> ToneNotes(LToneKind kind);

// Mono float samples of the tone at `sampleRate` (a rate of 0 gives nothing).
std::vector<float> GenerateTone(LToneKind kind, uint32_t sampleRate = kToneSampleRate);

const char* ToneName(LToneKind kind);

}  // namespace vocarta
