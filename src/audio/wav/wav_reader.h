#pragma once
// Our WAV reader: reads every file the WAV sinks write, including the layout
// with several data chunks beyond 4 GB and a file left by a crash whose sizes
// still hold the provisional values; also ordinary WAV files from elsewhere
// (WAVE_FORMAT_EXTENSIBLE PCM and float, other chunks before the data).
//
// Streaming: a source holds one 64 KB buffer however long the file. GSM 6.10
// carries decoder state from block to block, so a seek decodes every block
// before the target (forward from where it is, from the start after a jump
// back): exact, and about a second for a jump back across an hour.
// A source is used by one thread at a time.

#include <memory>
#include <string>

#include "audio/sound_source.h"

namespace vocarta {

// nullptr with `error` set for a file that is missing, damaged or of a codec the
// reader does not decode; in that last case only, `otherEncoding` (when given)
// is set, so the caller may try a general decoder (libsndfile) instead.
std::shared_ptr<LSoundSourceBase> OpenWavSource(const std::string& path, std::string* error,
                                                bool* otherEncoding = nullptr);

}  // namespace vocarta
