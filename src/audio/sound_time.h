#pragma once
// A duration or a position in milliseconds (signed 64 bits).

#include <cstdint>

namespace vocarta {

class LSoundTime {
  public:
    constexpr LSoundTime() = default;
    constexpr explicit LSoundTime(int64_t ms) : ms_(ms) {}

    // Seconds × 1000, truncated toward zero (0.4509 s is 450 ms).
    static constexpr LSoundTime FromSeconds(double seconds) {
        return LSoundTime(int64_t(seconds * 1000.0));
    }
    static constexpr LSoundTime FromWholeSeconds(int64_t seconds) {
        return LSoundTime(seconds * 1000);
    }
    static constexpr LSoundTime FromMilliseconds(int64_t ms) { return LSoundTime(ms); }
    // Position of `frames` at `rate` without overflow:
    // (f / r) × 1000 + ((f mod r) × 1000) / r; a rate of 0 or less gives 0.
    static constexpr LSoundTime FromFrames(uint64_t frames, int64_t rate) {
        if (rate <= 0) return LSoundTime(0);
        uint64_t r = uint64_t(rate);
        return LSoundTime(int64_t((frames / r) * 1000 + ((frames % r) * 1000) / r));
    }
    // Frames at `rate` for this time (truncating); negative times give 0.
    constexpr uint64_t ToFrames(int64_t rate) const {
        if (ms_ <= 0 || rate <= 0) return 0;
        uint64_t ms = uint64_t(ms_), r = uint64_t(rate);
        return (ms / 1000) * r + ((ms % 1000) * r) / 1000;
    }

    constexpr int64_t Milliseconds() const { return ms_; }
    constexpr bool IsZero() const { return ms_ == 0; }

    constexpr LSoundTime operator+(LSoundTime o) const { return LSoundTime(ms_ + o.ms_); }
    constexpr LSoundTime operator-(LSoundTime o) const { return LSoundTime(ms_ - o.ms_); }
    constexpr LSoundTime& operator+=(LSoundTime o) {
        ms_ += o.ms_;
        return *this;
    }
    constexpr auto operator<=>(const LSoundTime&) const = default;

  private:
    int64_t ms_ = 0;
};

}  // namespace vocarta
