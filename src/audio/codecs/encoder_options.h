#pragma once
// Encoder options that may follow the format word of `-record` (or the path of
// `-recordfile`) on the command line, for all four formats. Reading them touches
// nothing: the launching process checks a command line before it forwards it,
// and the running copy applies what was read to the recording's spec and saves
// the choice where it is kept.
//
//   WAV:  -s rate -m channels -b bits       (three fixed pairs)
//   MP3:  -cbr [-b kbps] [-h] [-m s|j|f|m] -p | -vbr [-b min] [-B max] [-q 0-9] [-m mode] -p
//   AIFF: -s rate -m channels
//   FLAC: -s rate, -m channels, -c level (0-8), any order

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "audio/codecs/recording_spec.h"

namespace vocarta {

// Three fixed pairs; a position without its switch word gives 0.
struct WavOptions {
    long rate = 0;
    long channels = 0;
    long bits = 0;
};

// Only what the options named; the rest of the stored record is kept.
struct Mp3Options {
    std::optional<bool> constantBitRate;
    std::optional<uint16_t> cbrBitRate;
    bool highQuality = false;  // set by "-h"; never cleared by its absence
    std::optional<uint16_t> vbrMinBitRate;
    std::optional<uint16_t> vbrMaxBitRate;
    std::optional<uint8_t> vbrQuality;
    std::optional<uint8_t> channelMode;
    std::optional<bool> errorProtection;
};

struct AiffOptions {
    long rate = 0;
    long channels = 0;
};

struct FlacOptions {
    std::optional<int> rate;
    std::optional<int> channels;     // low 8 bits of what was given
    std::optional<int> compression;  // only a level of 8 or less
};

using EncoderOptions = std::variant<WavOptions, Mp3Options, AiffOptions, FlacOptions>;

// True for a word that is one of the program's own switches: such a word ends
// the options (as the end of the command line would) and is left for the switch
// loop, so "-record wav -ms 5000" still stops after five seconds.
using OwnSwitchTest = std::function<bool(std::string_view word)>;

// `index` is the position of the format word (or path) in `args`; it is moved
// over what is consumed and left on the last consumed position. A truncated WAV,
// MP3 or AIFF list gives nullopt (nothing is to be stored); FLAC always gives
// options, possibly none.
std::optional<EncoderOptions> ParseEncoderOptions(OutputFormat format,
                                                  const std::vector<std::string>& args, int& index,
                                                  const OwnSwitchTest& isOwnSwitch);

// Puts the options into `spec` (whose format they must be for). False, with a
// line in the error log and `spec` unchanged, for WAV options that name no format
// the WAV writer can use.
bool ApplyEncoderOptions(const EncoderOptions& options, RecordingSpec& spec);

// Saves what the options chose, where that choice is kept: the WAV format record,
// the whole MP3 record, the AIFF rate and channels, the FLAC keys given. The
// WAV override keys ("Auto") are left as the user set them.
void SaveEncoderOptions(const EncoderOptions& options, const RecordingSpec& spec);

}  // namespace vocarta
