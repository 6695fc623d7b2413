#pragma once
// Display names of the registered WAVE format tags, used to name a file's encoding.

#include <cstdint>

namespace vocarta {

// e.g. 1 "Microsoft PCM Format"; "In Development / Unregistered" for an unknown tag.
const char* WaveFormatTagName(uint16_t tag);

}  // namespace vocarta
