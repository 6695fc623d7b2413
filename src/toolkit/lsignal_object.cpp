#include "toolkit/lsignal_object.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "toolkit/log.h"

namespace vocarta {

LSignalObject::LSignalObject() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        LogSystemFailure("LSignalObject::LSignalObject", "pipe2");
        return;
    }
    readFd_ = fds[0];
    writeFd_ = fds[1];
}

LSignalObject::~LSignalObject() {
    if (readFd_ >= 0) close(readFd_);
    if (writeFd_ >= 0) close(writeFd_);
}

void LSignalObject::Set() {
    // Only the caller that turns the flag on writes the byte, so the pipe never
    // holds more than one.
    if (!set_.exchange(true, std::memory_order_acq_rel)) {
        char b = 1;
        while (write(writeFd_, &b, 1) < 0 && errno == EINTR) {
        }
    }
}

void LSignalObject::Reset() {
    // The caller that turns the flag off owns the byte; if the setter has not
    // written it yet, the blocking read waits the instant until it has.
    if (set_.exchange(false, std::memory_order_acq_rel)) {
        char b;
        while (read(readFd_, &b, 1) < 0 && errno == EINTR) {
        }
    }
}

static int PollFor(pollfd* fds, int count, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
    while (true) {
        int wait = timeoutMs;
        if (timeoutMs >= 0) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            wait = left.count() < 0 ? 0 : int(left.count());
        }
        int r = poll(fds, nfds_t(count), wait);
        if (r >= 0 || errno != EINTR) return r;
    }
}

bool LSignalObject::Wait(int timeoutMs) const {
    if (IsSet()) return true;
    pollfd fd{readFd_, POLLIN, 0};
    return PollFor(&fd, 1, timeoutMs) > 0 || IsSet();
}

int LSignalObject::WaitEither(const LSignalObject& other, int timeoutMs) const {
    if (IsSet()) return 0;
    if (other.IsSet()) return 1;
    pollfd fds[2] = {{readFd_, POLLIN, 0}, {other.readFd_, POLLIN, 0}};
    int r = PollFor(fds, 2, timeoutMs);
    if (r > 0) {
        if (fds[0].revents) return 0;
        if (fds[1].revents) return 1;
    }
    if (IsSet()) return 0;
    if (other.IsSet()) return 1;
    return -1;
}

}  // namespace vocarta
