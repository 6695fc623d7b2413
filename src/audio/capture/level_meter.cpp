#include "audio/capture/level_meter.h"

#include <algorithm>
#include <cstring>

namespace vocarta {

namespace {
// Highest and lowest sample of one channel, four frames a step.
void ChannelExtremes(const float* samples, uint64_t frames, uint8_t channels, float& high,
                     float& low) {
    float h0 = 0, h1 = 0, h2 = 0, h3 = 0, l0 = 0, l1 = 0, l2 = 0, l3 = 0;
    const uint64_t step = channels;
    uint64_t f = 0;
    for (; f + 4 <= frames; f += 4) {
        const float* p = samples + f * step;
        h0 = std::max(h0, p[0]);
        l0 = std::min(l0, p[0]);
        h1 = std::max(h1, p[step]);
        l1 = std::min(l1, p[step]);
        h2 = std::max(h2, p[2 * step]);
        l2 = std::min(l2, p[2 * step]);
        h3 = std::max(h3, p[3 * step]);
        l3 = std::min(l3, p[3 * step]);
    }
    for (; f < frames; ++f) {
        h0 = std::max(h0, samples[f * step]);
        l0 = std::min(l0, samples[f * step]);
    }
    high = std::max(std::max(h0, h1), std::max(h2, h3));
    low = std::min(std::min(l0, l1), std::min(l2, l3));
}

// Four floats as one value of the compiler's vector extension: the comparisons
// below become single max/min instructions over four samples, with the same
// result as std::max/std::min (a NaN never replaces the running value).
typedef float Float4 __attribute__((vector_size(16)));

inline Float4 Load4(const float* p) {
    Float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Channel counts that divide 8 are metered over the interleaved samples as they
// lie, eight lanes at a time, lane k belonging to channel k % channels: one
// contiguous pass over the buffer.
bool MeasureContiguous(const float* samples, uint64_t frames, uint8_t channels, LLevels& levels) {
    if (8 % channels != 0) return false;
    Float4 high0 = {}, high1 = {}, low0 = {}, low1 = {};
    const uint64_t total = frames * channels;
    uint64_t i = 0;
    for (; i + 8 <= total; i += 8) {
        const Float4 a = Load4(samples + i);
        const Float4 b = Load4(samples + i + 4);
        high0 = high0 < a ? a : high0;
        high1 = high1 < b ? b : high1;
        low0 = a < low0 ? a : low0;
        low1 = b < low1 ? b : low1;
    }
    float high[8], low[8];
    for (int k = 0; k < 4; ++k) {
        high[k] = high0[k];
        high[k + 4] = high1[k];
        low[k] = low0[k];
        low[k + 4] = low1[k];
    }
    for (int k = 0; i < total; ++i, ++k) {
        high[k] = std::max(high[k], samples[i]);
        low[k] = std::min(low[k], samples[i]);
    }
    for (uint8_t c = 0; c < channels; ++c) {
        float h = 0, l = 0;
        for (int k = c; k < 8; k += channels) {
            h = std::max(h, high[k]);
            l = std::min(l, low[k]);
        }
        levels[c] = LdBLevel::FromPeak(std::max(double(h), -double(l)));
    }
    return true;
}
}  // namespace

void MeasureLevels(const float* samples, uint64_t frames, uint8_t channels, LLevels& levels) {
    levels.SetCount(channels);
    if (channels == 0 || MeasureContiguous(samples, frames, channels, levels)) return;
    for (uint8_t c = 0; c < channels; ++c) {
        float high = 0, low = 0;
        ChannelExtremes(samples + c, frames, channels, high, low);
        double peak = std::max(double(high), -double(low));
        levels[c] = LdBLevel::FromPeak(peak);
    }
}

}  // namespace vocarta
