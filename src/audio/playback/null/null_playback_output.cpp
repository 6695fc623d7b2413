#include "audio/playback/null/null_playback_output.h"

#include <algorithm>
#include <chrono>

namespace vocarta {

namespace {
constexpr int kTickMs = 5;
}

LSoundPlayerLLNull::LSoundPlayerLLNull() : clock_(*this) {}

bool LSoundPlayerLLNull::Open(const LPlaybackRequest& request, LCARingBuffer& ring,
                              std::string* error) {
    Close();
    *error = CheckPlaybackFormat(request);
    if (!error->empty()) return false;
    ring_ = &ring;
    rate_ = request.sampleRate;
    scratch_.assign(size_t(rate_ / 10 + 1) * request.channels, 0.0f);
    paused_.store(false);
    endMarked_.store(false);
    played_.store(0);
    ended_.Reset();
    if (!clock_.Start()) {
        *error = "Cannot start the playback thread.";
        return false;
    }
    return true;
}

bool LSoundPlayerLLNull::SetPaused(bool paused) {
    paused_.store(paused, std::memory_order_release);
    return clock_.IsRunning();
}

void LSoundPlayerLLNull::Close() {
    clock_.Stop();
    ring_ = nullptr;
}

void LSoundPlayerLLNull::RunClock() {
    using Clock = std::chrono::steady_clock;
    auto last = Clock::now();
    uint64_t dueMicroFrames = 0;  // frames due × 1e6, so no fraction is lost
    const uint64_t maxFrames = scratch_.size() / std::max<uint8_t>(ring_->Channels(), 1);
    while (!clock_.StopSignal().Wait(kTickMs)) {
        auto now = Clock::now();
        auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(now - last);
        last = now;
        if (paused_.load(std::memory_order_acquire)) continue;
        dueMicroFrames += uint64_t(elapsed.count()) * rate_;
        uint64_t due = std::min<uint64_t>(dueMicroFrames / 1000000, maxFrames);
        uint64_t taken = ring_->Read(scratch_.data(), due);
        // A ring that ran dry plays silence, as a device would: that time is lost.
        dueMicroFrames = taken < due ? 0 : dueMicroFrames - taken * 1000000;
        played_.fetch_add(taken, std::memory_order_acq_rel);
        if (endMarked_.load(std::memory_order_acquire) && ring_->FilledFrames() == 0) {
            ended_.Set();
            return;
        }
    }
}

}  // namespace vocarta
