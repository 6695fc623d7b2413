#pragma once
// WAV sinks: integer PCM (8, 16, 24, 32 bits), 32- and 64-bit float, A-law, µ-law and
// GSM 6.10, each with its exact header, provisional sizes while writing (so a
// file left by a crash plays to its end), data chunks beyond 4 GB, the pad byte,
// and truncation to a frame.

#include <memory>
#include <string>

#include "audio/sound_format.h"
#include "audio/sound_sink.h"

namespace vocarta {

// Creates (or replaces) `path` and writes the header at once. The sink is chosen
// by the format tag, and for PCM by bits per sample (up to 8, 9-16, 17-24, above
// 24). Returns nullptr with `error` set when the file cannot be created or the
// format is not one the sinks write.
std::shared_ptr<LSoundSinkBase> OpenWavSink(const std::string& path, const LSoundFormat& format,
                                            std::string* error);

}  // namespace vocarta
