#include "net/wait.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace vocarta {

using Clock = std::chrono::steady_clock;

Deadline::Deadline(int timeoutMs)
    : end_(Clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs)),
      unlimited_(timeoutMs < 0) {}

int Deadline::RemainingMs() const {
    if (unlimited_) return INT_MAX;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return left > 0 ? int(std::min<long long>(left, INT_MAX)) : 0;
}

bool Deadline::Passed() const {
    return !unlimited_ && Clock::now() >= end_;
}

WaitOutcome WaitForDescriptor(int fd, short events, const Deadline& deadline,
                              const StopFlag& stop) {
    pollfd fds[2] = {{fd, events, 0}, {stop.Descriptor(), POLLIN, 0}};
    const nfds_t count = fds[1].fd >= 0 ? 2 : 1;
    while (true) {
        if (stop.Requested()) return WaitOutcome::kStopped;
        const int slice = std::min(kWaitSliceMs, deadline.RemainingMs());
        int ready = poll(fds, count, slice);
        if (ready < 0) {
            if (errno == EINTR) continue;
            return WaitOutcome::kFailed;
        }
        if (fds[0].revents != 0) return WaitOutcome::kReady;
        if (count == 2 && fds[1].revents != 0 && stop.Requested()) return WaitOutcome::kStopped;
        if (deadline.Passed() || (slice == 0 && !deadline.Unlimited()))
            return WaitOutcome::kTimedOut;
    }
}

long long MonotonicMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch())
        .count();
}

}  // namespace vocarta
