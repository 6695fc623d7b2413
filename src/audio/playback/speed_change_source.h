#pragma once
// Playing a recording faster or slower with its pitch kept (the recordings
// window's slow and fast speeds). A source wraps the decoder: a stream above
// 22050 Hz is first converted down to 22050 Hz (libsoxr; speech loses nothing
// that matters and the stretch costs half as much), then time-stretched by
// speed / 100 (SoundTouch; bench/stretch-compare.sh and docs/performance.md
// say why it was chosen over Rubber Band).
//
// Streaming: the decoder is read a block at a time as the player asks, so a
// four-hour recording starts at once and memory stays a few blocks whatever
// the file's length.
//
// Speeds, in percent of normal: 0 and below are refused; others are clamped
// to 10..400. 93..110 play the file unchanged (a deliberate dead band: a
// change that small is heard as a fault, not as a speed).

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/sound_source.h"
#include "audio/sound_time.h"
#include "toolkit/result.h"

typedef struct soxr* soxr_t;
namespace soundtouch {
class SoundTouch;
}

namespace vocarta {

inline constexpr int kPlaySpeedMinPercent = 10;
inline constexpr int kPlaySpeedMaxPercent = 400;
inline constexpr int kPlaySpeedUnchangedFromPercent = 93;
inline constexpr int kPlaySpeedUnchangedToPercent = 110;
// The rate a stream is brought down to before its speed is changed.
inline constexpr uint32_t kSpeedChangeRate = 22050;
// The most channels the stretch takes.
inline constexpr uint8_t kSpeedChangeMaxChannels = 16;

// The speed to play at: an error for 0 and below, else clamped to 10..400.
LResult<int> CheckPlaySpeed(int speedPercent);
// True when `speedPercent` (checked) plays the file as it is.
bool SpeedPlaysUnchanged(int speedPercent);
// A time in the recording to the matching time of what is played at
// `speedPercent` (checked), and back. Identity in the dead band.
LSoundTime RecordingToPlayedTime(LSoundTime recording, int speedPercent);
LSoundTime PlayedToRecordingTime(LSoundTime played, int speedPercent);

// The wrapped source. Its frames are the played stream: SampleRate() is
// min(inner rate, 22050), TotalFrames() the inner length scaled by 100 / speed,
// and Seek() takes a frame of the played stream (the inner source is moved to
// the matching point of the recording).
//
// Threading: like any source, one reader at a time (the player's feeder
// thread, or Play before it starts the feeder); construct on any thread.
class LSpeedChangeSource : public LSoundSourceBase {
  public:
    // `inner` open; `speedPercent` checked and outside the dead band. On a
    // failure to set up, the first Read returns -1 with LastError() saying why.
    LSpeedChangeSource(LSoundSource inner, int speedPercent);
    ~LSpeedChangeSource() override;
    LSpeedChangeSource(const LSpeedChangeSource&) = delete;
    LSpeedChangeSource& operator=(const LSpeedChangeSource&) = delete;

    int64_t Read(float* samples, uint64_t frames) override;
    bool Seek(uint64_t frame) override;

    // The decoded stream's own rate, before any conversion.
    uint32_t InnerSampleRate() const { return inner_->SampleRate(); }
    bool Converts() const { return resampler_ != nullptr; }
    int SpeedPercent() const { return speedPercent_; }

  private:
    // Reads one block of the inner source through the converter into the
    // stretcher; at the inner end flushes both. False on an error.
    bool Feed();
    bool Convert(const float* in, size_t frames);

    LSoundSource inner_;
    const int speedPercent_;
    soxr_t resampler_ = nullptr;
    std::unique_ptr<soundtouch::SoundTouch> stretch_;
    std::vector<float> block_;      // inner frames read at once
    std::vector<float> converted_;  // the converter's output of one block
    bool innerDone_ = false;
    bool failed_ = false;
};

// `source` to play at `speedPercent` (checked): the source itself in the dead
// band, else wrapped. An error for a bad speed or a stream the stretch cannot
// take.
LResult<LSoundSource> MakeSpeedChangeSource(LSoundSource source, int speedPercent);

}  // namespace vocarta
