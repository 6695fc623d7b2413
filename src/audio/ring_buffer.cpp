#include "audio/ring_buffer.h"

#include <algorithm>
#include <cstring>

namespace vocarta {

// ---- LRingBufferThreadUnsafe ----

template <typename T>
LRingBufferThreadUnsafe<T>::LRingBufferThreadUnsafe(uint64_t capacity)
    : capacity_(capacity), data_(new T[capacity == 0 ? 1 : capacity]()) {}

template <typename T>
LRingBufferThreadUnsafe<T>::~LRingBufferThreadUnsafe() {
    delete[] data_;
}

template <typename T>
uint64_t LRingBufferThreadUnsafe<T>::Write(const T* items, uint64_t count) {
    count = std::min(count, Free());
    uint64_t at = capacity_ == 0 ? 0 : write_ % capacity_;
    uint64_t first = std::min(count, capacity_ - at);
    std::copy(items, items + first, data_ + at);
    std::copy(items + first, items + count, data_);
    write_ += count;
    return count;
}

template <typename T>
void LRingBufferThreadUnsafe<T>::CopyOut(uint64_t from, T* out, uint64_t count) const {
    uint64_t at = capacity_ == 0 ? 0 : from % capacity_;
    uint64_t first = std::min(count, capacity_ - at);
    std::copy(data_ + at, data_ + at + first, out);
    std::copy(data_, data_ + (count - first), out + first);
}

template <typename T>
uint64_t LRingBufferThreadUnsafe<T>::Peek(T* out, uint64_t count) const {
    count = std::min(count, Filled());
    CopyOut(read_, out, count);
    return count;
}

template <typename T>
uint64_t LRingBufferThreadUnsafe<T>::Read(T* out, uint64_t count) {
    count = Peek(out, count);
    read_ += count;
    return count;
}

template <typename T>
uint64_t LRingBufferThreadUnsafe<T>::Skip(uint64_t count) {
    count = std::min(count, Filled());
    read_ += count;
    return count;
}

template class LRingBufferThreadUnsafe<float>;

// ---- LCARingBuffer ----

namespace {
constexpr uint64_t kScratchFrames = 4096;
}

LCARingBuffer::LCARingBuffer(uint64_t capacityFrames, uint8_t channels)
    : capacity_(std::max<uint64_t>(capacityFrames, 1)),
      data_(new float[capacity_ * std::max<uint8_t>(channels, 1)]()),
      writeScratch_(kScratchFrames * std::max<uint8_t>(channels, 1)),
      readScratch_(kScratchFrames * std::max<uint8_t>(channels, 1)),
      channels_(std::max<uint8_t>(channels, 1)) {}

LCARingBuffer::~LCARingBuffer() {
    delete[] data_;
}

uint64_t LCARingBuffer::FilledFrames() const {
    return write_.load(std::memory_order_acquire) - read_.load(std::memory_order_acquire);
}

uint64_t LCARingBuffer::Write(const float* samples, uint64_t frames) {
    const uint64_t write = write_.load(std::memory_order_relaxed);
    const uint64_t read = read_.load(std::memory_order_acquire);
    frames = std::min(frames, capacity_ - (write - read));
    if (frames == 0) return 0;
    uint64_t at = write % capacity_;
    uint64_t first = std::min(frames, capacity_ - at);
    std::memcpy(data_ + at * channels_, samples, first * channels_ * sizeof(float));
    std::memcpy(data_, samples + first * channels_, (frames - first) * channels_ * sizeof(float));
    write_.store(write + frames, std::memory_order_release);
    framesQueued_.fetch_add(frames, std::memory_order_release);
    dataAvailable_.Set();
    return frames;
}

void LCARingBuffer::MapChannels(const float* in, uint8_t inChannels, float* out,
                                uint8_t outChannels, uint64_t frames) {
    for (uint64_t f = 0; f < frames; ++f) {
        const float* src = in + f * inChannels;
        float* dst = out + f * outChannels;
        for (uint8_t c = 0; c < outChannels; ++c)
            dst[c] = inChannels == 1 ? src[0] : (c < inChannels ? src[c] : 0.0f);
    }
}

uint64_t LCARingBuffer::WriteFromChannels(const float* samples, uint64_t frames,
                                          uint8_t sourceChannels) {
    if (sourceChannels == channels_) return Write(samples, frames);
    if (sourceChannels == 0) return 0;
    uint64_t done = 0;
    while (done < frames) {
        uint64_t n = std::min({kScratchFrames, frames - done, FreeFrames()});
        if (n == 0) break;
        MapChannels(samples + done * sourceChannels, sourceChannels, writeScratch_.data(),
                    channels_, n);
        done += Write(writeScratch_.data(), n);
    }
    return done;
}

uint64_t LCARingBuffer::Read(float* out, uint64_t frames) {
    const uint64_t read = read_.load(std::memory_order_relaxed);
    const uint64_t write = write_.load(std::memory_order_acquire);
    frames = std::min(frames, write - read);
    if (frames == 0) return 0;
    uint64_t at = read % capacity_;
    uint64_t first = std::min(frames, capacity_ - at);
    std::memcpy(out, data_ + at * channels_, first * channels_ * sizeof(float));
    std::memcpy(out + first * channels_, data_, (frames - first) * channels_ * sizeof(float));
    read_.store(read + frames, std::memory_order_release);
    framesPlayed_.fetch_add(frames, std::memory_order_release);
    spaceAvailable_.Set();
    return frames;
}

uint64_t LCARingBuffer::ReadInto(float* out, uint64_t frames, uint8_t outChannels) {
    if (outChannels == 0) return 0;
    uint64_t got = 0;
    if (outChannels == channels_) {
        got = Read(out, frames);
    } else {
        while (got < frames) {
            uint64_t n = Read(readScratch_.data(), std::min(kScratchFrames, frames - got));
            if (n == 0) break;
            MapChannels(readScratch_.data(), channels_, out + got * outChannels, outChannels, n);
            got += n;
        }
    }
    std::fill(out + got * outChannels, out + frames * outChannels, 0.0f);
    return got;
}

template <typename Ready>
bool LCARingBuffer::WaitUntil(LSignalObject& signal, Ready ready, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
    while (true) {
        // Reset before checking, so that a change made between the check and the
        // wait leaves the signal set and the wait returns at once.
        signal.Reset();
        if (ready()) return true;
        int wait = -1;
        if (timeoutMs >= 0) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) return false;
            wait = int(left.count());
        }
        if (!signal.Wait(wait)) return ready();
    }
}

bool LCARingBuffer::WaitForSpace(uint64_t frames, int timeoutMs) {
    frames = std::min(frames, capacity_);
    return WaitUntil(
        spaceAvailable_, [&] { return FreeFrames() >= frames; }, timeoutMs);
}

bool LCARingBuffer::WaitForData(uint64_t frames, int timeoutMs) {
    frames = std::min(frames, capacity_);
    return WaitUntil(
        dataAvailable_, [&] { return FilledFrames() >= frames; }, timeoutMs);
}

void LCARingBuffer::Reset(int64_t startFrame) {
    read_.store(write_.load(std::memory_order_acquire), std::memory_order_release);
    queuedStart_ = playedStart_ = startFrame;
    framesQueued_.store(0, std::memory_order_release);
    framesPlayed_.store(0, std::memory_order_release);
    dataAvailable_.Reset();
    spaceAvailable_.Set();
}

int64_t LCARingBuffer::QueuedPosition() const {
    return queuedStart_ + int64_t(FramesQueued());
}

int64_t LCARingBuffer::PlayedPosition() const {
    return playedStart_ + int64_t(FramesPlayed());
}

}  // namespace vocarta
