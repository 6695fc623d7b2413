#pragma once
// Our WAV reader: reads every file the WAV sinks write, including the layout
// with several data chunks beyond 4 GB and a file left by a crash whose sizes
// still hold the provisional values; also ordinary WAV files from elsewhere.

#include <memory>
#include <string>

#include "audio/sound_source.h"

namespace vocarta {

// nullptr with `error` set for a file that is missing, damaged or of a codec the
// reader does not decode.
std::shared_ptr<LSoundSourceBase> OpenWavSource(const std::string& path, std::string* error);

}  // namespace vocarta
