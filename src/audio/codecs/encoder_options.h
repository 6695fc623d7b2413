#pragma once
// Encoder options that may follow the format word of `-record` (or the path of
// `-recordfile`) on the command line, for all four formats.

#include <string>
#include <vector>

namespace vocarta {

// `index` is the position of the format word (or path) in `args` (args[0] is the
// program); it is advanced over what is consumed and left on the last consumed
// position. Returns true when options were taken and stored. A truncated WAV,
// MP3 or AIFF option list stores nothing and returns false.
//   WAV:  -s rate -m channels -b bits       (three fixed pairs)
//   MP3:  -cbr [-b kbps] [-h] [-m s|j|f|m] -p | -vbr [-b min] [-B max] [-q 0-9] [-m mode] -p
//   AIFF: -s rate -m channels
//   FLAC: -s rate, -m channels, -c level (0-8), any order
bool ParseEncoderOptions(int format, const std::vector<std::string>& args, int& index);

}  // namespace vocarta
