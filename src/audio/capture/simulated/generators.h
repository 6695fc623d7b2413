#pragma once
// Sound for the simulated capture layer: generators that fill 32-bit integer
// frames the way a device's callback delivers them.
//
// Threading: a generator is used by one capture callback at a time.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

class LCaptureGenerator {
  public:
    virtual ~LCaptureGenerator() = default;
    // Fills `frames` interleaved frames of `channels` samples at `rate`. Returns
    // the frames made; fewer than asked means the sound has ended.
    virtual uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) = 0;
    // Called when the device opens, so that Generate never allocates.
    virtual void Prepare(uint64_t maxFrames) {}
};

// A float sample in ±1 as the device's full-scale 32-bit integer.
int32_t FloatToS32(float sample);

// The same sine on every channel; `amplitude` is linear (1.0 = full scale).
class LSineGenerator : public LCaptureGenerator {
  public:
    LSineGenerator(double hz, double amplitude) : hz_(hz), amplitude_(amplitude) {}
    uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) override;

  private:
    double hz_, amplitude_;
    uint64_t frame_ = 0;
};

// A list of steady stretches, each a sine of its own amplitude (0: silence),
// then the end of the sound.
class LSegmentGenerator : public LCaptureGenerator {
  public:
    struct Segment {
        uint64_t frames;
        double amplitude;
        double hz = 440.0;
    };
    explicit LSegmentGenerator(std::vector<Segment> segments) : segments_(std::move(segments)) {}
    uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) override;

  private:
    std::vector<Segment> segments_;
    size_t segment_ = 0;
    uint64_t inSegment_ = 0;
    uint64_t frame_ = 0;
};

// Fixed interleaved float samples of `channels` channels, then the end.
class LSamplesGenerator : public LCaptureGenerator {
  public:
    LSamplesGenerator(std::vector<float> samples, uint8_t channels)
        : samples_(std::move(samples)), channels_(channels) {}
    uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) override;

  private:
    std::vector<float> samples_;
    uint8_t channels_;
    uint64_t frame_ = 0;
};

// A sound file (anything libsndfile reads), played once, channels mapped in order
// (the last channel repeated when the file has fewer).
class LFileGenerator : public LCaptureGenerator {
  public:
    explicit LFileGenerator(const std::string& path);
    ~LFileGenerator() override;
    bool IsOpen() const { return file_ != nullptr; }
    const std::string& Error() const { return error_; }
    uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) override;
    void Prepare(uint64_t maxFrames) override;

  private:
    void* file_ = nullptr;  // SNDFILE*
    int fileChannels_ = 0;
    std::vector<float> scratch_;
    std::string error_;
};

// "silence", "sine:<Hz>:<amplitude>" or "file:<path>"; null with `error` set when
// the text names none of them.
std::shared_ptr<LCaptureGenerator> GeneratorFromSpec(std::string_view spec, std::string& error);

}  // namespace vocarta
