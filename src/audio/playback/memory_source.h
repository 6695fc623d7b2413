#pragma once
// A sound source over samples held in memory: the generated tones, and sounds a
// test makes up. Threading: one reader at a time (the player's feeder thread).

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/sound_source.h"

namespace vocarta {

class LMemorySoundSource : public LSoundSourceBase {
  public:
    // `samples` interleaved, frames × channels long (a partial last frame is
    // dropped).
    LMemorySoundSource(std::vector<float> samples, uint32_t sampleRate, uint8_t channels);

    int64_t Read(float* samples, uint64_t frames) override;
    bool Seek(uint64_t frame) override;

  private:
    std::vector<float> samples_;
    uint64_t nextFrame_ = 0;
};

std::shared_ptr<LSoundSourceBase> MakeMemorySource(std::vector<float> samples, uint32_t sampleRate,
                                                   uint8_t channels);

}  // namespace vocarta
