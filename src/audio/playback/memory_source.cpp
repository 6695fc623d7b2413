#include "audio/playback/memory_source.h"

#include <algorithm>
#include <cstring>

namespace vocarta {

LMemorySoundSource::LMemorySoundSource(std::vector<float> samples, uint32_t sampleRate,
                                       uint8_t channels)
    : samples_(std::move(samples)) {
    sampleRate_ = sampleRate;
    channels_ = channels;
    totalFrames_ = channels == 0 ? 0 : samples_.size() / channels;
    samples_.resize(totalFrames_ * channels);
    description_ = "Generated sound";
}

int64_t LMemorySoundSource::Read(float* samples, uint64_t frames) {
    const uint64_t count = std::min(frames, totalFrames_ - nextFrame_);
    if (count == 0) return 0;
    std::memcpy(samples, samples_.data() + nextFrame_ * channels_,
                count * channels_ * sizeof(float));
    nextFrame_ += count;
    return int64_t(count);
}

bool LMemorySoundSource::Seek(uint64_t frame) {
    if (frame > totalFrames_) return false;
    nextFrame_ = frame;
    return true;
}

std::shared_ptr<LSoundSourceBase> MakeMemorySource(std::vector<float> samples, uint32_t sampleRate,
                                                   uint8_t channels) {
    return std::make_shared<LMemorySoundSource>(std::move(samples), sampleRate, channels);
}

}  // namespace vocarta
