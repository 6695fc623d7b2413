#pragma once
// In-process peers for socket tests: a loopback listener whose connections the
// test answers (or never answers) itself, and the error log's text.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "net/socket_address.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"

namespace vocarta::test {

class LoopbackListener {
  public:
    // Listens on `host` ("127.0.0.1" or "::1") at a free port. A backlog of 0
    // with its queue filled (FillQueue) makes a listener that never completes
    // another connection.
    explicit LoopbackListener(const std::string& host = "127.0.0.1", int backlog = 16) {
        auto address = SocketAddress::FromNumeric(host, 0);
        if (!address) return;
        fd_ = socket(address.Value().Family(), SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd_ < 0 || bind(fd_, address.Value().Raw(), address.Value().Length()) != 0 ||
            listen(fd_, backlog) != 0) {
            Close();
            return;
        }
        sockaddr_storage bound{};
        socklen_t length = sizeof bound;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &length);
        address_ = SocketAddress(reinterpret_cast<sockaddr*>(&bound), length);
    }
    ~LoopbackListener() {
        for (int fd : queued_) close(fd);
        Close();
    }

    bool IsValid() const { return fd_ >= 0; }
    const SocketAddress& Address() const { return address_; }
    uint16_t Port() const { return address_.Port(); }

    // The next connection's descriptor, or -1 after `timeoutMs`.
    int Accept(int timeoutMs = 5000) {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, timeoutMs) != 1) return -1;
        return accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    }

    // Connects until the accept queue is full and a connection stays pending.
    void FillQueue() {
        for (int i = 0; i < 8; ++i) {
            int fd = socket(address_.Family(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            queued_.push_back(fd);
            connect(fd, address_.Raw(), address_.Length());
            pollfd p{fd, POLLOUT, 0};
            if (poll(&p, 1, 200) == 0) return;
        }
    }

    void Close() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }

  private:
    int fd_ = -1;
    SocketAddress address_;
    std::vector<int> queued_;
};

inline long long ElapsedMs(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 since)
        .count();
}

inline std::string ErrorLogText() {
    return ReadFile(ErrorLogPath());
}

inline bool WriteAll(int fd, const std::string& text) {
    return write(fd, text.data(), text.size()) == ssize_t(text.size());
}

// Runs `stop` on a thread after `ms`, noting when; joined on destruction.
class StopLater {
  public:
    StopLater(int ms, std::function<void()> stop)
        : thread_([this, ms, stop = std::move(stop)] {
              std::this_thread::sleep_for(std::chrono::milliseconds(ms));
              at = std::chrono::steady_clock::now();
              stop();
          }) {}
    ~StopLater() { Join(); }
    // Milliseconds from the stop to now, after the stop ran.
    long long MsSinceStop() {
        Join();
        return ElapsedMs(at);
    }

  private:
    void Join() {
        if (thread_.joinable()) thread_.join();
    }
    std::chrono::steady_clock::time_point at;
    std::thread thread_;
};

}  // namespace vocarta::test
