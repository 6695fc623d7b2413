#pragma once
// The FLAC sink: float frames encoded by the libFLAC stream encoder and written
// frame by frame as the encoder finishes them (constant memory).
//
// Every moment on disk is a valid FLAC stream: the STREAMINFO block written at
// the start says "length unknown" (0 samples, no MD5), and each encoded frame is
// handed to the file at once, so a recording killed mid-way decodes up to the last
// complete frame (about 0.1 s before the kill). Close fills in the length, the
// frame sizes and the MD5 signature.
//
// Samples are scaled to the bit depth by 2^(bits-1) - 1, rounded, and clipped to
// that range. Bit depths: 8, 16 or 24 (others are taken to the next of these);
// compression 0 (fastest) to 8 (smallest), others clamped.
//
// Truncation is not supported: FLAC frames hold a fixed block of samples and
// cannot be cut back to an exact frame without re-encoding, so TruncateToFrame
// returns false and the file keeps what was written.

#include <memory>
#include <string>

#include "audio/codecs/encoder_settings.h"
#include "audio/sound_sink.h"

namespace vocarta {

// Opens a FLAC sink with the record's bit depth and compression at `rate` Hz
// and `channels` channels (1 to 8). Fails with `error` and no file left behind.
std::shared_ptr<LSoundSinkBase> OpenFlacSink(const std::string& path, const FlacSettings& settings,
                                             uint32_t rate, uint8_t channels, std::string* error);

// The bit depth a FLAC file gets for a stored value (8, 16 or 24).
int FlacBitDepthFor(int stored);

}  // namespace vocarta
