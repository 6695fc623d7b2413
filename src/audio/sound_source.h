#pragma once
// Anything that yields interleaved float frames: a decoder of a recording (for
// playback, trimming, the recordings browser) or a capture source.

#include <cstdint>
#include <memory>
#include <string>

#include "audio/sound_time.h"

namespace vocarta {

class LSoundSourceBase {
  public:
    virtual ~LSoundSourceBase() = default;

    // Reads up to `frames` frames into `samples` (frames × Channels() floats).
    // Returns the frames read, 0 at the end, or a negative value on an error
    // (LastError() says why).
    virtual int64_t Read(float* samples, uint64_t frames) = 0;
    // Moves to a frame; false when the source cannot.
    virtual bool Seek(uint64_t frame) = 0;

    uint32_t SampleRate() const { return sampleRate_; }
    uint8_t Channels() const { return channels_; }
    // Total frames as known from the file (an estimate for some MP3s).
    uint64_t TotalFrames() const { return totalFrames_; }
    LSoundTime Length() const { return LSoundTime::FromFrames(totalFrames_, sampleRate_); }
    // What the file holds, e.g. "Microsoft PCM Format, 16 bit, 44100 Hz, Stereo".
    const std::string& FormatDescription() const { return description_; }
    const std::string& LastError() const { return lastError_; }

  protected:
    uint32_t sampleRate_ = 0;
    uint8_t channels_ = 0;
    uint64_t totalFrames_ = 0;
    std::string description_;
    std::string lastError_;
};

class LSoundSource {
  public:
    LSoundSource() = default;
    explicit LSoundSource(std::shared_ptr<LSoundSourceBase> source) : source_(std::move(source)) {}

    bool IsOpen() const { return source_ != nullptr; }
    explicit operator bool() const { return IsOpen(); }
    void Release() { source_.reset(); }
    LSoundSourceBase* Get() const { return source_.get(); }
    LSoundSourceBase* operator->() const { return source_.get(); }

  private:
    std::shared_ptr<LSoundSourceBase> source_;
};

}  // namespace vocarta
