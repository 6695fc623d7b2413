#pragma once
// Deadlines and the sliced wait that every blocking network call is built on: a
// poll of at most 200 ms at a time, with the owner's stop request tested before
// each slice, so that nothing blocks beyond a deadline or a stop request.
//
// Threading: plain functions and values, used on the socket owner's thread.

#include <chrono>

#include "net/stop_flag.h"

namespace vocarta {

inline constexpr int kWaitSliceMs = 200;
// A time-out that never ends; only a stop request ends the wait.
inline constexpr int kNoTimeLimit = -1;

class Deadline {
  public:
    // A negative time-out means no limit.
    explicit Deadline(int timeoutMs);

    bool Unlimited() const { return unlimited_; }
    // Milliseconds left (never negative); a large number when unlimited.
    int RemainingMs() const;
    bool Passed() const;

  private:
    std::chrono::steady_clock::time_point end_;
    bool unlimited_;
};

enum class WaitOutcome { kReady, kTimedOut, kStopped, kFailed };

// Waits until `fd` reports one of `events` (POLLIN, POLLOUT) or an error or
// hang-up (the next call on the descriptor then tells which), the deadline
// passes, or a stop is requested. kFailed leaves errno set by poll.
WaitOutcome WaitForDescriptor(int fd, short events, const Deadline& deadline, const StopFlag& stop);

// Milliseconds on the monotonic clock, for measuring.
long long MonotonicMs();

}  // namespace vocarta
