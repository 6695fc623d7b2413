#include "audio/playback/playback_wait.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <vector>

#include "toolkit/log.h"

namespace vocarta {

namespace {

int FirstSet(std::initializer_list<const LSignalObject*> signals) {
    int index = 0;
    for (const LSignalObject* signal : signals) {
        if (signal->IsSet()) return index;
        ++index;
    }
    return -1;
}

}  // namespace

int WaitForAnySignal(std::initializer_list<const LSignalObject*> signals, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::vector<pollfd> fds;
    for (const LSignalObject* signal : signals) fds.push_back({signal->Descriptor(), POLLIN, 0});
    while (true) {
        if (int set = FirstSet(signals); set >= 0) return set;
        int wait = -1;
        if (timeoutMs >= 0) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) return -1;
            wait = int(left.count());
        }
        if (poll(fds.data(), nfds_t(fds.size()), wait) < 0 && errno != EINTR) {
            LogSystemFailure("LSoundPlayer::WaitForAnySignal", "poll");
            poll(nullptr, 0, 10);  // never spin on a broken descriptor
            return FirstSet(signals);
        }
    }
}

}  // namespace vocarta
