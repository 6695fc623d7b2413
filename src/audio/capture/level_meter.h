#pragma once
// Per-channel peak levels of a block of interleaved float frames.

#include <cstdint>

#include "audio/level.h"

namespace vocarta {

// For each channel the peak (the larger of the highest sample and the magnitude
// of the lowest) as a level in whole decibels; `levels` gets `channels` entries.
void MeasureLevels(const float* samples, uint64_t frames, uint8_t channels, LLevels& levels);

}  // namespace vocarta
