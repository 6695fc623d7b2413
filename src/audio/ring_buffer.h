#pragma once
// Float ring buffers.
//
// Cursors: both buffers count samples (or frames) ever written and ever read as
// 64-bit totals that only grow; the storage index is the total modulo the
// capacity. Filled = write − read, free = capacity − filled. A 64-bit total does
// not wrap within any recording's lifetime, so there is no full/empty ambiguity.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/lsignal_object.h"

namespace vocarta {

// A plain ring with no locking of its own: its owner guards it (e.g. with an
// LLockObject) or uses it from one thread.
template <typename T>
class LRingBufferThreadUnsafe {
  public:
    explicit LRingBufferThreadUnsafe(uint64_t capacity);
    LRingBufferThreadUnsafe(const LRingBufferThreadUnsafe&) = delete;
    LRingBufferThreadUnsafe& operator=(const LRingBufferThreadUnsafe&) = delete;
    ~LRingBufferThreadUnsafe();

    uint64_t Capacity() const { return capacity_; }
    uint64_t Filled() const { return write_ - read_; }
    uint64_t Free() const { return capacity_ - Filled(); }
    uint64_t ReadCursor() const { return read_; }
    uint64_t WriteCursor() const { return write_; }

    // Appends up to `count` items, as many as fit; returns how many were taken.
    uint64_t Write(const T* items, uint64_t count);
    // Takes up to `count` items in order; returns how many were read.
    uint64_t Read(T* out, uint64_t count);
    // Copies up to `count` items without taking them.
    uint64_t Peek(T* out, uint64_t count) const;
    // Drops up to `count` items from the read side.
    uint64_t Skip(uint64_t count);
    // Empties the buffer (read cursor moves to the write cursor).
    void Clear() { read_ = write_; }

  private:
    void CopyOut(uint64_t from, T* out, uint64_t count) const;

    uint64_t capacity_;
    T* data_;
    uint64_t read_ = 0;
    uint64_t write_ = 0;
};

extern template class LRingBufferThreadUnsafe<float>;

// The ring between a producer thread (the decoder that feeds playback) and a
// consumer thread (the sound server's playback callback), in frames of
// `channels` floats. One producer and one consumer; neither blocks the other.
// The two signals let the side that waits sleep: dataAvailable_ is set after
// every write, spaceAvailable_ after every read.
class LCARingBuffer {
  public:
    LCARingBuffer(uint64_t capacityFrames, uint8_t channels);
    LCARingBuffer(const LCARingBuffer&) = delete;
    LCARingBuffer& operator=(const LCARingBuffer&) = delete;
    ~LCARingBuffer();

    uint8_t Channels() const { return channels_; }
    uint64_t CapacityFrames() const { return capacity_; }
    uint64_t FilledFrames() const;
    uint64_t FreeFrames() const { return capacity_ - FilledFrames(); }

    // Producer thread. Appends up to `frames` frames; returns how many fit.
    uint64_t Write(const float* samples, uint64_t frames);
    // Producer thread. The same from frames of `sourceChannels` floats: mono is
    // copied to every channel, other layouts map channel by channel (missing
    // channels are silent, extra ones dropped). Uses the write scratch buffer.
    uint64_t WriteFromChannels(const float* samples, uint64_t frames, uint8_t sourceChannels);
    // Producer thread. Waits until `frames` frames fit (a count above the
    // capacity waits for an empty ring); false on time-out (-1: no time-out).
    bool WaitForSpace(uint64_t frames, int timeoutMs);

    // Consumer thread. Takes up to `frames` frames; returns how many were read.
    uint64_t Read(float* out, uint64_t frames);
    // Consumer thread. Fills exactly `frames` frames of `outChannels` floats,
    // silence after what the ring held (an underrun never leaves stale data in
    // the device buffer). Returns the frames that came from the ring. Uses the
    // read scratch buffer when the channel counts differ.
    uint64_t ReadInto(float* out, uint64_t frames, uint8_t outChannels);
    // Consumer thread. Waits until at least `frames` frames are queued (a count
    // above the capacity waits for a full ring); false on time-out.
    bool WaitForData(uint64_t frames, int timeoutMs);

    // Either thread, while the other is stopped (e.g. on a seek with the stream
    // paused): empties the ring and makes `startFrame` the source position of the
    // next frame queued and played.
    void Reset(int64_t startFrame);

    // Source position of the next frame to be written / played.
    int64_t QueuedPosition() const;
    int64_t PlayedPosition() const;
    uint64_t FramesQueued() const { return framesQueued_.load(std::memory_order_acquire); }
    uint64_t FramesPlayed() const { return framesPlayed_.load(std::memory_order_acquire); }

  private:
    template <typename Ready>
    static bool WaitUntil(LSignalObject& signal, Ready ready, int timeoutMs);
    static void MapChannels(const float* in, uint8_t inChannels, float* out, uint8_t outChannels,
                            uint64_t frames);

    const uint64_t capacity_;         // frames
    float* const data_;               // capacity_ × channels_ floats
    std::atomic<uint64_t> read_{0};   // written by the consumer only
    std::atomic<uint64_t> write_{0};  // written by the producer only
    LSignalObject dataAvailable_;
    LSignalObject spaceAvailable_;
    std::vector<float> writeScratch_;  // producer thread only
    std::vector<float> readScratch_;   // consumer thread only
    const uint8_t channels_;
    int64_t queuedStart_ = 0;                // set by Reset only
    std::atomic<uint64_t> framesQueued_{0};  // producer
    int64_t playedStart_ = 0;                // set by Reset only
    std::atomic<uint64_t> framesPlayed_{0};  // consumer
};

}  // namespace vocarta
