#pragma once
// The ring of fixed buffers between a capture callback and the recorder's worker.
//
// Each buffer belongs to one side at a time and is handed over through its frame
// count and its empty/full signals; no lock is taken. The callback side fills the
// buffer at the write index (frames arrive in pieces of any size and are gathered
// into whole buffers) and hands it over when full; the worker converts the buffer
// at the read index to float and hands it back.
//
// Threading: Allocate/Free on the worker before the device starts and after it has
// stopped. Append/Publish/CommitPartial/MarkFailed on the capture callback thread
// only (or on the worker while the device is stopped). Read/HasQueued on the
// worker only.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/lsignal_object.h"

namespace vocarta {

// Frames per buffer: rate / 10 (100 ms), clamped to 512..8192, then to the range
// the device allows (the device's answer wins).
uint32_t FramesPerBufferFor(uint32_t rate, uint32_t deviceMinFrames, uint32_t deviceMaxFrames);
// Enough buffers to hold 4 seconds: ceil(4 / (frames / rate)).
uint32_t BufferCountFor(uint32_t framesPerBuffer, uint32_t rate);

// Longest wait of either side for the other, in milliseconds.
inline constexpr int kRingWaitMs = 3000;

class LCaptureRing {
  public:
    // Result of Read besides a frame count.
    static constexpr int64_t kReadStopped = 0;
    static constexpr int64_t kReadTimedOut = -1;
    static constexpr int64_t kReadFailed = -2;

    LCaptureRing() = default;
    LCaptureRing(const LCaptureRing&) = delete;
    LCaptureRing& operator=(const LCaptureRing&) = delete;

    bool Allocate(uint32_t bufferCount, uint32_t framesPerBuffer, uint8_t channels);
    void Free();

    uint32_t BufferCount() const { return uint32_t(buffers_.size()); }
    uint32_t FramesPerBuffer() const { return framesPerBuffer_; }
    uint8_t Channels() const { return channels_; }
    uint64_t SamplesPerBuffer() const { return uint64_t(framesPerBuffer_) * channels_; }

    // Callback side. Copies `frames` interleaved frames (nullptr: a hole, taken as
    // silence). Returns false on an overrun: the next buffer was not emptied within
    // 3000 ms and the rest of the data was dropped. Buffers filled are handed over
    // at once, or with `hold` only at the next Publish(), so that everything one
    // callback brings wakes the worker once, after the last copy.
    bool Append(const int32_t* samples, uint64_t frames, bool hold = false);
    // Hands over the buffers filled by held Appends.
    void Publish();
    // Hands over a part-filled buffer (at stop and on device loss).
    void CommitPartial();
    // The device is gone: the reader gets what was handed over, then kReadFailed.
    void MarkFailed();
    uint64_t OverrunFrames() const { return overrunFrames_.load(std::memory_order_relaxed); }

    // Worker side. Waits for the buffer at the read index (up to `timeoutMs`,
    // together with `stop`), converts value / 2147483647.0 × gain into `out`
    // (SamplesPerBuffer() floats), copies channel 0 into channel 1 when
    // `duplicateLeft`, and hands the buffer back. Returns the frame count, or
    // kReadStopped / kReadTimedOut / kReadFailed. A buffer already full is taken
    // without looking at `stop`, so what was captured before a stop is never lost.
    int64_t Read(float* out, const LSignalObject& stop, float gain, bool duplicateLeft,
                 int timeoutMs = kRingWaitMs);
    // Read in two steps, for a gain looked up once the buffer is there: Wait
    // returns what Read would, and after a frame count Take(...) must follow.
    int64_t Wait(const LSignalObject& stop, int timeoutMs = kRingWaitMs);
    void Take(float* out, float gain, bool duplicateLeft);
    // True when a full buffer waits at the read index.
    bool HasQueued() const;

  private:
    struct Buffer {
        std::unique_ptr<int32_t[]> storage;
        std::atomic<uint32_t> frames{0};  // 0: empty (callback's); else full (worker's)
        LSignalObject empty;
        LSignalObject full;
    };

    bool WaitWritable(Buffer& buffer);
    void Commit(Buffer& buffer, uint32_t frames);

    std::vector<std::unique_ptr<Buffer>> buffers_;
    uint32_t framesPerBuffer_ = 0;
    uint8_t channels_ = 0;
    // Callback side only.
    uint32_t writeIndex_ = 0;
    uint32_t fill_ = 0;         // frames gathered in the buffer at writeIndex_
    uint32_t unsignalled_ = 0;  // full buffers before writeIndex_ not yet signalled
    // Worker side only.
    uint32_t readIndex_ = 0;
    std::atomic<bool> failed_{false};
    std::atomic<uint64_t> overrunFrames_{0};
};

// value / 2147483647.0 × gain for `samples` values, unrolled by 8.
void ConvertS32ToFloat(const int32_t* in, float* out, uint64_t samples, float gain);
// Copies channel 0 into channel 1 of every frame (channels >= 2).
void DuplicateLeftChannel(float* samples, uint64_t frames, uint8_t channels);

}  // namespace vocarta
