#pragma once
// Sinks take interleaved 32-bit float frames (channel 0 first, samples within ±1)
// and write them to a file. LSoundSink is the handle the session and the recorder
// pass around; whoever opened the sink holds one and the recorder borrows one
// while it runs, so the object lives until the last handle lets go.
//
// Threading: a sink is written by one thread at a time (the recorder's worker
// while it runs, the owner before and after).

#include <cstdint>
#include <memory>
#include <string>

#include "audio/sound_time.h"

namespace vocarta {

class LSoundSinkBase {
  public:
    virtual ~LSoundSinkBase() = default;

    // Writes `frames` frames; returns the count written, or a negative value when
    // the file could not take them (LastError() says why). Frames that reached the
    // file before a failure stay in it.
    virtual int64_t Write(const float* samples, uint64_t frames) = 0;
    // Cuts the output back to `frame` frames (only when frame <= frames written).
    // Sinks whose format cannot shorten may ignore it and return false.
    virtual bool TruncateToFrame(uint64_t frame) { return false; }
    // Changes the rate and channel count before the first frame is written, when
    // the device delivers something other than what was asked for.
    virtual bool SetFormat(uint32_t sampleRate, uint8_t channels);
    // Finishes the file (headers with their true sizes, encoder flushed). Idempotent.
    virtual bool Close() = 0;
    // Closes without finishing; the owner deletes the file.
    virtual void Abort() { Close(); }

    uint64_t FramesWritten() const { return framesWritten_; }
    uint32_t SampleRate() const { return sampleRate_; }
    uint8_t Channels() const { return channels_; }
    LSoundTime Position() const { return LSoundTime::FromFrames(framesWritten_, sampleRate_); }
    // Cuts back to a time, turned into frames at the sink's rate; a time beyond
    // what was written changes nothing.
    bool TruncateTo(LSoundTime time);

    const std::string& Path() const { return path_; }
    const std::string& LastError() const { return lastError_; }
    bool Failed() const { return !lastError_.empty(); }

  protected:
    LSoundSinkBase(std::string path, uint32_t sampleRate, uint8_t channels)
        : sampleRate_(sampleRate), channels_(channels), path_(std::move(path)) {}
    void SetError(std::string text) { lastError_ = std::move(text); }

    uint64_t framesWritten_ = 0;
    uint32_t sampleRate_ = 0;
    uint8_t channels_ = 0;
    std::string path_;
    std::string lastError_;
};

class LSoundSink {
  public:
    LSoundSink() = default;
    explicit LSoundSink(std::shared_ptr<LSoundSinkBase> sink) : sink_(std::move(sink)) {}

    bool IsOpen() const { return sink_ != nullptr; }
    explicit operator bool() const { return IsOpen(); }
    void Release() { sink_.reset(); }
    LSoundSinkBase* Get() const { return sink_.get(); }
    LSoundSinkBase* operator->() const { return sink_.get(); }

    int64_t Write(const float* samples, uint64_t frames) { return sink_->Write(samples, frames); }
    uint32_t SampleRate() const { return sink_->SampleRate(); }
    uint8_t Channels() const { return sink_->Channels(); }
    LSoundTime Position() const { return sink_->Position(); }
    bool TruncateTo(LSoundTime time) { return sink_->TruncateTo(time); }

  private:
    std::shared_ptr<LSoundSinkBase> sink_;
};

}  // namespace vocarta
