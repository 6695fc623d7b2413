#include "audio/capture/capture_ring.h"

#include <algorithm>
#include <cstring>

#include "toolkit/log.h"

namespace vocarta {

uint32_t FramesPerBufferFor(uint32_t rate, uint32_t deviceMinFrames, uint32_t deviceMaxFrames) {
    uint32_t frames = std::clamp<uint32_t>(rate / 10, 512, 8192);
    if (deviceMaxFrames >= deviceMinFrames && deviceMinFrames > 0)
        frames = std::clamp(frames, deviceMinFrames, deviceMaxFrames);
    return frames;
}

uint32_t BufferCountFor(uint32_t framesPerBuffer, uint32_t rate) {
    if (framesPerBuffer == 0) return 0;
    // ceil(4 / (frames / rate)) in integers, so 4410 frames at 44100 Hz give 40.
    uint64_t fourSeconds = uint64_t(rate) * 4;
    return uint32_t((fourSeconds + framesPerBuffer - 1) / framesPerBuffer);
}

bool LCaptureRing::Allocate(uint32_t bufferCount, uint32_t framesPerBuffer, uint8_t channels) {
    Free();
    if (bufferCount == 0 || framesPerBuffer == 0 || channels == 0 || !ready_.IsValid())
        return false;
    uint64_t samples = uint64_t(framesPerBuffer) * channels;
    buffers_.reserve(bufferCount);
    for (uint32_t i = 0; i < bufferCount; ++i) {
        auto buffer = std::make_unique<Buffer>();
        buffer->storage.reset(new (std::nothrow) int32_t[samples]);
        if (!buffer->storage) {
            LogError("LCaptureRing::Allocate: no memory for %u buffers of %u frames", bufferCount,
                     framesPerBuffer);
            Free();
            return false;
        }
        buffers_.push_back(std::move(buffer));
    }
    framesPerBuffer_ = framesPerBuffer;
    channels_ = channels;
    return true;
}

void LCaptureRing::Free() {
    buffers_.clear();
    framesPerBuffer_ = 0;
    channels_ = 0;
    writeIndex_ = readIndex_ = fill_ = unsignalled_ = 0;
    dropping_ = false;
    failed_.store(false);
    ready_.Reset();
}

void LCaptureRing::SetHandOverBuffers(uint32_t buffers) {
    handOver_.store(std::max<uint32_t>(1, buffers));
}

uint32_t LCaptureRing::HandOverBuffers() const {
    // At most half the ring, so that the worker is woken well before it is full.
    uint32_t limit = std::max<uint32_t>(1, uint32_t(buffers_.size()) / 2);
    return std::min(handOver_.load(), limit);
}

void LCaptureRing::Commit(Buffer& buffer, uint32_t frames) {
    buffer.frames.store(frames, std::memory_order_release);
    writeIndex_ = (writeIndex_ + 1) % uint32_t(buffers_.size());
    fill_ = 0;
    ++unsignalled_;
}

void LCaptureRing::Flush() {
    if (unsignalled_ == 0) return;
    unsignalled_ = 0;
    ready_.Set();
}

void LCaptureRing::Publish() {
    if (unsignalled_ >= HandOverBuffers()) Flush();
}

bool LCaptureRing::Append(const int32_t* samples, uint64_t frames) {
    if (buffers_.empty()) return false;
    while (frames > 0) {
        Buffer& buffer = *buffers_[writeIndex_];
        if (fill_ == 0 && buffer.frames.load(std::memory_order_acquire) != 0) {
            // Full: the worker is 4 s behind. Waiting here would stall the sound
            // server's thread; the sound is dropped instead and the owner told.
            droppedFrames_.fetch_add(frames, std::memory_order_relaxed);
            Flush();
            if (!dropping_) {
                dropping_ = true;
                if (LSignalObject* signal = lossSignal_.load()) signal->Set();
            }
            return false;
        }
        dropping_ = false;
        uint32_t take = uint32_t(std::min<uint64_t>(frames, framesPerBuffer_ - fill_));
        int32_t* to = buffer.storage.get() + uint64_t(fill_) * channels_;
        size_t bytes = size_t(take) * channels_ * sizeof(int32_t);
        if (samples) {
            std::memcpy(to, samples, bytes);
            samples += uint64_t(take) * channels_;
        } else {
            std::memset(to, 0, bytes);
        }
        fill_ += take;
        frames -= take;
        if (fill_ == framesPerBuffer_) Commit(buffer, fill_);
    }
    return true;
}

void LCaptureRing::CommitPartial() {
    if (buffers_.empty()) return;
    if (fill_ != 0) Commit(*buffers_[writeIndex_], fill_);
    Flush();
}

void LCaptureRing::MarkFailed() {
    if (buffers_.empty()) return;
    failed_.store(true, std::memory_order_release);
    unsignalled_ = 0;
    ready_.Set();
}

uint64_t LCaptureRing::Room() const {
    const uint32_t count = uint32_t(buffers_.size());
    uint64_t room = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const Buffer& buffer = *buffers_[(writeIndex_ + i) % count];
        if (i == 0 && fill_ != 0) {
            room += framesPerBuffer_ - fill_;
            continue;
        }
        if (buffer.frames.load(std::memory_order_acquire) != 0) break;
        room += framesPerBuffer_;
    }
    return room;
}

bool LCaptureRing::WaitForRoom(uint64_t frames, const LSignalObject& stop, int timeoutMs) {
    if (buffers_.empty()) return false;
    // A simulated device pacing itself on the worker: polling is good enough.
    for (int waited = 0; Room() < frames; ++waited) {
        Flush();
        if ((timeoutMs >= 0 && waited >= timeoutMs) || stop.Wait(1)) return false;
    }
    return true;
}

bool LCaptureRing::HasQueued() const {
    if (buffers_.empty()) return false;
    return buffers_[readIndex_]->frames.load(std::memory_order_acquire) != 0;
}

int64_t LCaptureRing::Wait(const LSignalObject& stop, int timeoutMs) {
    if (buffers_.empty()) return kReadFailed;
    Buffer& buffer = *buffers_[readIndex_];
    uint32_t frames = buffer.frames.load(std::memory_order_acquire);
    while (frames == 0) {
        // The signal is reset only here, and the frame count looked at again
        // after the reset, so a hand-over between the two is never missed.
        ready_.Reset();
        frames = buffer.frames.load(std::memory_order_acquire);
        if (frames != 0) break;
        if (failed_.load(std::memory_order_acquire)) return kReadFailed;
        int which = ready_.WaitEither(stop, timeoutMs);
        frames = buffer.frames.load(std::memory_order_acquire);
        if (frames != 0) break;
        if (which == 1) return kReadStopped;
        if (which == -1) return kReadTimedOut;
        if (failed_.load(std::memory_order_acquire)) return kReadFailed;
    }
    return frames;
}

void LCaptureRing::Take(float* out, float gain, bool duplicateLeft) {
    Buffer& buffer = *buffers_[readIndex_];
    uint32_t frames = buffer.frames.load(std::memory_order_acquire);
    ConvertS32ToFloat(buffer.storage.get(), out, uint64_t(frames) * channels_, gain);
    if (duplicateLeft) DuplicateLeftChannel(out, frames, channels_);
    buffer.frames.store(0, std::memory_order_release);
    readIndex_ = (readIndex_ + 1) % uint32_t(buffers_.size());
}

int64_t LCaptureRing::Read(float* out, const LSignalObject& stop, float gain, bool duplicateLeft,
                           int timeoutMs) {
    int64_t frames = Wait(stop, timeoutMs);
    if (frames > 0) Take(out, gain, duplicateLeft);
    return frames;
}

void ConvertS32ToFloat(const int32_t* in, float* out, uint64_t samples, float gain) {
    const float scale = float(double(gain) / 2147483647.0);
    uint64_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        out[i] = float(in[i]) * scale;
        out[i + 1] = float(in[i + 1]) * scale;
        out[i + 2] = float(in[i + 2]) * scale;
        out[i + 3] = float(in[i + 3]) * scale;
        out[i + 4] = float(in[i + 4]) * scale;
        out[i + 5] = float(in[i + 5]) * scale;
        out[i + 6] = float(in[i + 6]) * scale;
        out[i + 7] = float(in[i + 7]) * scale;
    }
    for (; i < samples; ++i) out[i] = float(in[i]) * scale;
}

void DuplicateLeftChannel(float* samples, uint64_t frames, uint8_t channels) {
    if (channels < 2) return;
    for (uint64_t f = 0; f < frames; ++f) samples[f * channels + 1] = samples[f * channels];
}

}  // namespace vocarta
