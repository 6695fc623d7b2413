#include "hotkeys/hotkey_worker.h"

#include <poll.h>

#include <cerrno>
#include <chrono>

#include "toolkit/log.h"

namespace vocarta {

namespace {
thread_local const HotkeyWorker* tCurrentWorker = nullptr;
}

bool HotkeyWorker::Call(std::function<void()> request, int timeoutMs) {
    if (tCurrentWorker == this) {
        request();
        return true;
    }
    if (!IsRunning()) return false;
    auto item = std::make_shared<Request>();
    item->run = std::move(request);
    std::unique_lock lock(mutex_);
    requests_.push_back(item);
    wake_.Set();
    return done_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        return item->done || stopped_;
    }) && item->done;
}

void HotkeyWorker::RunRequests() {
    for (;;) {
        std::shared_ptr<Request> item;
        {
            std::lock_guard lock(mutex_);
            if (requests_.empty()) {
                wake_.Reset();
                return;
            }
            item = requests_.front();
            requests_.pop_front();
        }
        item->run();
        {
            std::lock_guard lock(mutex_);
            item->done = true;
        }
        done_.notify_all();
    }
}

void HotkeyWorker::Run() {
    tCurrentWorker = this;
    {
        std::lock_guard lock(mutex_);
        stopped_ = false;
    }
    while (!StopRequested()) {
        pollfd fds[3] = {{StopSignal().Descriptor(), POLLIN, 0},
                         {wake_.Descriptor(), POLLIN, 0},
                         {EventDescriptor(), POLLIN, 0}};
        const int count = fds[2].fd >= 0 ? 3 : 2;
        int ready = poll(fds, count, PollTimeoutMs());
        if (ready < 0 && errno != EINTR) {
            LogSystemFailure("HotkeyWorker::Run", "poll");
            break;
        }
        if (StopRequested()) break;
        RunRequests();
        HandleEvents();
    }
    // Whoever still waits for a request must not wait for its time-out.
    {
        std::lock_guard lock(mutex_);
        requests_.clear();
        stopped_ = true;
    }
    done_.notify_all();
    tCurrentWorker = nullptr;
}

}  // namespace vocarta
