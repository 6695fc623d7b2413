#pragma once
// What the stored encoder records ask a new recording to be, and what an
// existing file holds (for rewriting it in the same encoding).
//
// "Match source" rate or channels open the sink in the default recording format
// (44100 Hz, stereo); the recorder then tells the sink, through SetFormat, what
// the device delivers. A stored rate or channel count that no file can hold (0
// from a command line without "-s", or garbage) also gives the default, with a
// line in the error log.

#include <cstdint>
#include <string>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/encoder_settings.h"

namespace vocarta {

inline constexpr uint32_t kMinRecordingRate = 1000;
inline constexpr uint32_t kMaxRecordingRate = 768000;

struct AiffRecordingFormat {
    AiffEncoding encoding = AiffEncoding::Pcm16;
    uint32_t rate = kDefaultRecordingRate;
    uint8_t channels = kDefaultRecordingChannels;
};
// What the sink opens with for an AIFF record.
AiffRecordingFormat ResolveAiffFormat(const AiffSettings& record);
AiffRecordingFormat CurrentAiffFormat();

struct FlacRecordingFormat {
    FlacSettings settings;
    uint32_t rate = kDefaultRecordingRate;
    uint8_t channels = kDefaultRecordingChannels;
};
// What the sink opens with for a FLAC record.
FlacRecordingFormat ResolveFlacFormat(const FlacSettings& record);
FlacRecordingFormat CurrentFlacFormat();

// The format tag and bits per sample of a WAV file's "fmt " chunk; false (and
// the arguments untouched) when the file has none that can be read.
bool ReadWavFileEncoding(const std::string& path, uint16_t& tag, uint16_t& bits);
// The encoding of an AIFF/AIFC file; false when it is not one the sink writes.
bool AiffEncodingOfFile(const std::string& path, AiffEncoding& encoding);
// The bit depth of a FLAC file, or 0 when it cannot be read.
int FlacBitsOfFile(const std::string& path);

}  // namespace vocarta
