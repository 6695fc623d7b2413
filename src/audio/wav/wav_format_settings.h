#pragma once
// The WAV format the user chose: the 1028-byte format record kept in
// "WavCodec.wff" in the settings folder, then the "WavSettings" override keys.

#include <string>

#include "audio/sound_format.h"

namespace vocarta {

// The "WavSettings" section and the keys that override the stored record, each
// false by default: FormatAuto makes the tag PCM, SampleRateAuto the rate 44100,
// BPSAuto the bits 32, ChansAuto the channels 2.
inline constexpr const char* kWavSettingsSection = "WavSettings";
inline constexpr const char* kWavFormatAutoKey = "FormatAuto";
inline constexpr const char* kWavSampleRateAutoKey = "SampleRateAuto";
inline constexpr const char* kWavBpsAutoKey = "BPSAuto";
inline constexpr const char* kWavChansAutoKey = "ChansAuto";

// The format used when none has been chosen or the stored one is unusable:
// PCM, 44100 Hz, 32 bits, stereo (what the override keys all set give too).
LSoundFormat AutomaticWavFormat();

// A consistent record for one of the encodings the WAV sinks write: PCM (tag 1,
// 8/16/24/32 bits), IEEE float (tag 3, 32 or 64 bits), A-law (6) and µ-law (7) at 8 bits,
// GSM 6.10 (49). False (and `out` untouched) for anything else.
bool MakeWavFormat(uint16_t tag, uint32_t rate, uint16_t channels, uint16_t bits,
                   LSoundFormat& out);
bool IsUsableWavFormat(const LSoundFormat& format);

std::string WavCodecPath();
// Reads WavCodec.wff and applies "FormatAuto", "SampleRateAuto", "BPSAuto" and
// "ChansAuto". A missing, short or unusable file gives the automatic format (a
// damaged one with a log line).
LSoundFormat LoadWavFormat();
// Writes WavCodec.wff so that a crash leaves either the old or the new record.
bool SaveWavFormat(const LSoundFormat& format);

}  // namespace vocarta
