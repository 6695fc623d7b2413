#pragma once
// Display names of the registered WAVE format tags, used to name a file's encoding.

#include <cstddef>
#include <cstdint>

namespace vocarta {

inline constexpr const char* kUnregisteredTagName = "In Development / Unregistered";

// e.g. 1 "Microsoft PCM Format"; "In Development / Unregistered" for an unknown tag.
const char* WaveFormatTagName(uint16_t tag);
// Rows in the table.
std::size_t WaveFormatTagCount();

}  // namespace vocarta
