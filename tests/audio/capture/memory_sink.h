#pragma once
// A sink that keeps every frame in memory, for checking exactly what the
// recorder wrote; it can refuse a new format (like a sink that already holds
// frames), fail after a number of frames, and save itself as a float WAV file
// for real decoders.

#include <cstdio>
#include <cstring>
#include <string>
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
        ++writes_;
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

    // 32-bit float WAV of what the sink holds.
    bool SaveWav(const std::string& path) const {
        FILE* f = std::fopen(path.c_str(), "wb");
        if (!f) return false;
        uint32_t data = uint32_t(samples_.size() * 4);
        uint16_t tag = 3, ch = channels_, bits = 32, align = uint16_t(channels_ * 4);
        uint32_t rate = sampleRate_, bps = sampleRate_ * align, fmtSize = 16, riff = 36 + data;
        std::fwrite("RIFF", 1, 4, f);
        std::fwrite(&riff, 4, 1, f);
        std::fwrite("WAVEfmt ", 1, 8, f);
        std::fwrite(&fmtSize, 4, 1, f);
        std::fwrite(&tag, 2, 1, f);
        std::fwrite(&ch, 2, 1, f);
        std::fwrite(&rate, 4, 1, f);
        std::fwrite(&bps, 4, 1, f);
        std::fwrite(&align, 2, 1, f);
        std::fwrite(&bits, 2, 1, f);
        std::fwrite("data", 1, 4, f);
        std::fwrite(&data, 4, 1, f);
        std::fwrite(samples_.data(), 4, samples_.size(), f);
        return std::fclose(f) == 0;
    }

  private:
    std::vector<float> samples_;
    bool fixedFormat_ = false;
    int64_t failAfter_ = -1;
    int writes_ = 0;
    int truncations_ = 0;
};

}  // namespace vocarta::test
