#include "audio/capture/level_meter.h"

#include <algorithm>

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
}  // namespace

void MeasureLevels(const float* samples, uint64_t frames, uint8_t channels, LLevels& levels) {
    levels.SetCount(channels);
    for (uint8_t c = 0; c < channels; ++c) {
        float high = 0, low = 0;
        ChannelExtremes(samples + c, frames, channels, high, low);
        double peak = std::max(double(high), -double(low));
        levels[c] = LdBLevel::FromPeak(peak);
    }
}

}  // namespace vocarta
