#pragma once
// What the "Wave Encoder Options" dialog shows and stores, without the window:
// the presets, the encoding list, the channel, rate and sample-size choices, the
// preset derived from the controls, and loading and saving of the choice.
//
// Called from the GUI thread.

#include <cstdint>
#include <string>
#include <vector>

#include "audio/sound_format.h"

namespace vocarta {

// In the order of the preset list.
enum class WavPreset : int { Auto = 0, Custom = 1, High = 2, Medium = 3, Low = 4 };
inline constexpr int kWavPresetCount = 5;
// "Auto (Preserves Original Format)", "Custom", "High Quality (CD/DVD Quality)", ...
const char* WavPresetName(WavPreset preset);

// The encoding list, in order: PCM, GSM 6.10, A-LAW, MU-LAW.
struct WavEncoding {
    uint16_t tag;
    const char* name;
};
inline constexpr int kWavEncodingCount = 4;
inline constexpr int kWavEncodingPcm = 0;
const WavEncoding& WavEncodingAt(int index);
// Index of a format tag in the list; IEEE float and unknown tags show as PCM.
int WavEncodingIndexOfTag(uint16_t tag);

// The dialog's controls. The numbers under a "Match Source" choice are kept, so
// that choosing a fixed value again offers the last one.
struct WavEncoderChoice {
    int codecIndex = kWavEncodingPcm;
    bool matchChannels = true;
    uint16_t channels = 2;  // 1 or 2
    bool matchRate = true;
    uint32_t sampleRate = 44100;
    uint16_t bits = 16;  // 0 for GSM 6.10, which has no sample size
    bool operator==(const WavEncoderChoice&) const = default;
};

// The preset the controls amount to: PCM, both "Match Source", 16 bits is Auto;
// PCM stereo 44100 Hz 16 bits High; PCM stereo 22050 Hz 16 bits Medium; PCM mono
// 8000 Hz 8 bits Low; anything else Custom.
WavPreset DeriveWavPreset(const WavEncoderChoice& choice);
// The controls for a preset chosen from the list (Custom leaves them as they are).
WavEncoderChoice ApplyWavPreset(WavPreset preset, const WavEncoderChoice& current);
// Brings the controls in line with the encoding: only PCM follows the source
// (the others get fixed values), GSM 6.10 is mono without a sample size, A-law
// and µ-law are 8 bits.
WavEncoderChoice ConformWavChoice(WavEncoderChoice choice);

bool WavEncodingFollowsSource(int codecIndex);
std::vector<uint16_t> WavSampleSizes(int codecIndex);
// The rates offered, plus `current` in order when it is not among them.
std::vector<uint32_t> WavSampleRates(uint32_t current);
inline constexpr const char* kWavMatchSourceText = "Match Source";
// The channel list: "Match Source" (0), "Mono" (1), "Stereo" (2).
const char* WavChannelsText(uint16_t channels);
std::string WavSampleRateText(uint32_t rate);  // "44100 Hz"
std::string WavSampleSizeText(uint16_t bits);  // "16 bits Integer"

// The controls as the stored format and keys describe them.
WavEncoderChoice LoadWavEncoderChoice();
// What OK stores: "Preset" and "CodecIndex", the automatic keys for the preset,
// and the format record (WavCodec.wff). False when the record cannot be written.
bool SaveWavEncoderChoice(WavPreset preset, const WavEncoderChoice& choice);
// The record for a choice: the chosen tag, rate, channels and bits, or PCM 16
// bits with the Auto preset.
LSoundFormat WavFormatForChoice(WavPreset preset, const WavEncoderChoice& choice);

}  // namespace vocarta
