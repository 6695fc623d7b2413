#pragma once
// A sink that keeps every frame in memory, for checking exactly what the
// recorder wrote; it can refuse a new format (like a sink that already holds
// frames) and fail after a number of frames.

#include <vector>

#include "audio/sound_sink.h"

namespace vocarta::test {

class MemorySink : public LSoundSinkBase {
  public:
    MemorySink(uint32_t rate, uint8_t channels) : LSoundSinkBase("memory", rate, channels) {}

    int64_t Write(const float* samples, uint64_t frames) override {
        if (failAfter_ >= 0 && framesWritten_ + frames > uint64_t(failAfter_)) {
            SetError("disk full");
            return -1;
        }
        samples_.insert(samples_.end(), samples, samples + frames * channels_);
        framesWritten_ += frames;
        return int64_t(frames);
    }
    bool TruncateToFrame(uint64_t frame) override {
        if (frame > framesWritten_) return false;
        samples_.resize(frame * channels_);
        framesWritten_ = frame;
        ++truncations_;
        return true;
    }
    bool SetFormat(uint32_t rate, uint8_t channels) override {
        return !fixedFormat_ && LSoundSinkBase::SetFormat(rate, channels);
    }
    bool Close() override { return true; }

    void SetFixedFormat(bool fixed) { fixedFormat_ = fixed; }
    void SetFailAfter(int64_t frames) { failAfter_ = frames; }
    const std::vector<float>& Samples() const { return samples_; }
    float At(uint64_t frame, uint8_t channel) const {
        return samples_[frame * channels_ + channel];
    }
    int Truncations() const { return truncations_; }

  private:
    std::vector<float> samples_;
    bool fixedFormat_ = false;
    int64_t failAfter_ = -1;
    int truncations_ = 0;
};

}  // namespace vocarta::test
