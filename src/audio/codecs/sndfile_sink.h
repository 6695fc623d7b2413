#pragma once
// Sinks written through libsndfile: the AIFF/AIFC recordings, and WAV files
// rewritten in an encoding the program's own WAV writer lacks (IMA and MS ADPCM,
// 64-bit float, the extensible header) so a trimmed file keeps its format.
//
// The header is brought up to date after every Write, so a file killed mid-way
// is complete up to the last buffer written. Truncation is supported where the
// format allows it. Integer output is clipped at full scale instead of wrapping.

#include <memory>
#include <string>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

namespace vocarta {

// Opens a sink writing `path` in `sndfileFormat` (an SF_FORMAT_* container and
// encoding) at `rate` Hz with `channels` channels, never more than `maxChannels`
// (at open and in SetFormat); `channelMap`, when given, holds the
// SF_CHANNEL_MAP_* position of each channel. `formatName` ("AIFF", "WAV") words
// the errors. Fails with `error` and no file left behind.
std::shared_ptr<LSoundSinkBase> OpenSndfileSink(const std::string& path, int sndfileFormat,
                                                const std::string& formatName, uint32_t rate,
                                                uint8_t channels, uint8_t maxChannels,
                                                std::string* error,
                                                const std::vector<int>& channelMap = {});

// Opens `newPath` as a sink in the container, encoding and channel positions
// libsndfile finds in the existing file `likePath`, at `like`'s rate and
// channels. Fails with a clear `error` (naming the encoding) when libsndfile
// cannot read that file or cannot write its encoding.
std::shared_ptr<LSoundSinkBase> OpenSndfileSinkLike(const std::string& likePath,
                                                    const LSoundSourceBase& like,
                                                    const std::string& newPath, std::string* error);

}  // namespace vocarta
