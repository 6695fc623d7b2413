#pragma once
// The ring of fixed buffers between a capture callback and the recorder's worker.
//
// Each buffer belongs to one side at a time and is handed over through its frame
// count; no lock is taken. The callback side fills the buffer at the write index
// (frames arrive in pieces of any size and are gathered into whole buffers); the
// worker converts the buffer at the read index to float and hands it back.
//
// The callback never waits: a piece that finds the ring full (the worker, that
// is the sink, is 4 s behind) is dropped and counted. The worker is woken once
// per hand-over (a number of full buffers, set at run time), through one signal
// for the whole ring, so that its wake-ups follow the hand-over size and not the
// device's delivery size.
//
// Threading: Allocate/Free on the worker before the device starts and after it
// has stopped. Append/Publish/Flush/CommitPartial/MarkFailed/WaitForRoom on the
// capture callback thread only (or on the worker while the device is stopped).
// Wait/Take/Read/HasQueued on the worker only. SetHandOverBuffers, SetLossSignal,
// DroppedFrames and ResetDropped on any thread.

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

// Longest wait of the worker for sound before it counts the device as stalled.
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

    // Full buffers that make one hand-over (at least 1, at most half the ring;
    // 1 until set).
    void SetHandOverBuffers(uint32_t buffers);
    uint32_t HandOverBuffers() const;
    // Set (from the callback) when sound starts being dropped, so that the
    // owner hears of it while the worker is stuck. May be null.
    void SetLossSignal(LSignalObject* signal) { lossSignal_.store(signal); }

    // Callback side. Copies `frames` interleaved frames (nullptr: a hole, taken as
    // silence) and never waits: what does not fit because the worker has not
    // emptied the next buffer is dropped and counted (false). Full buffers reach
    // the worker at the next Publish.
    bool Append(const int32_t* samples, uint64_t frames);
    // At the end of a callback: wakes the worker when a hand-over's worth of full
    // buffers waits for it.
    void Publish();
    // Wakes the worker for whatever full buffers wait, however few.
    void Flush();
    // Hands over a part-filled buffer and wakes the worker (at stop and on
    // device loss).
    void CommitPartial();
    // The device is gone: the reader gets what was handed over, then kReadFailed.
    void MarkFailed();
    // For a producer that may wait (a simulated device, never a real device's
    // callback): hands over what waits and waits until `frames` frames fit, up
    // to `timeoutMs` (-1: no limit), or until `stop` is set. True when they fit.
    bool WaitForRoom(uint64_t frames, const LSignalObject& stop, int timeoutMs);
    // Frames dropped since ResetDropped().
    uint64_t DroppedFrames() const { return droppedFrames_.load(std::memory_order_relaxed); }
    // Only while no callback runs.
    void ResetDropped() { droppedFrames_.store(0); }

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
    // Whether the worker has been woken for buffers since it last waited (for
    // tests and diagnostics). Any thread.
    bool WorkerSignalled() const { return ready_.IsSet(); }

  private:
    struct Buffer {
        std::unique_ptr<int32_t[]> storage;
        std::atomic<uint32_t> frames{0};  // 0: empty (callback's); else full (worker's)
    };

    void Commit(Buffer& buffer, uint32_t frames);
    uint64_t Room() const;

    std::vector<std::unique_ptr<Buffer>> buffers_;
    uint32_t framesPerBuffer_ = 0;
    uint8_t channels_ = 0;
    LSignalObject ready_;  // set by the callback side, reset by the worker before it waits
    std::atomic<uint32_t> handOver_{1};
    std::atomic<LSignalObject*> lossSignal_{nullptr};
    // Callback side only.
    uint32_t writeIndex_ = 0;
    uint32_t fill_ = 0;         // frames gathered in the buffer at writeIndex_
    uint32_t unsignalled_ = 0;  // full buffers handed over since the worker was last woken
    bool dropping_ = false;
    // Worker side only.
    uint32_t readIndex_ = 0;
    std::atomic<bool> failed_{false};
    std::atomic<uint64_t> droppedFrames_{0};
};

// value / 2147483647.0 × gain for `samples` values, unrolled by 8.
void ConvertS32ToFloat(const int32_t* in, float* out, uint64_t samples, float gain);
// Copies channel 0 into channel 1 of every frame (channels >= 2).
void DuplicateLeftChannel(float* samples, uint64_t frames, uint8_t channels);

}  // namespace vocarta
