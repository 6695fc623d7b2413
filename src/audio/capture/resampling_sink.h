#pragma once
// A sink that takes frames at one rate and writes them, converted by libsoxr, to
// another sink at that sink's rate. The recorder puts one in front of the
// caller's sink when the device cannot deliver the sink's rate.
//
// Positions and cuts are in the input's frames; a cut first flushes the
// converter so that everything before the cut reaches the inner sink. Close()
// flushes but leaves the inner sink open: it belongs to whoever opened it.
// Threading: one writer at a time, like every sink.

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/sound_sink.h"

struct soxr;

namespace vocarta {

class LResamplingSink : public LSoundSinkBase {
  public:
    LResamplingSink(LSoundSink inner, uint32_t inputRate);
    ~LResamplingSink() override;

    bool IsValid() const { return resampler_ != nullptr; }
    int64_t Write(const float* samples, uint64_t frames) override;
    bool TruncateToFrame(uint64_t frame) override;
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;
    // Pushes out what the converter still holds (its filter delay).
    bool Flush();

  private:
    bool WriteConverted(size_t frames);

    LSoundSink inner_;
    soxr* resampler_ = nullptr;
    std::vector<float> out_;
    size_t outFrames_ = 0;  // capacity of out_ in frames
};

}  // namespace vocarta
