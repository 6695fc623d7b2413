#include "app/instance/pipe_listener.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "app/instance/command_record.h"

namespace vocarta {

bool PeerIsSameUser(int fd, unsigned* peerUid) {
    ucred cred{};
    socklen_t length = sizeof cred;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) != 0) {
        LogSystemFailure("LPipeListener::PeerIsSameUser", "getsockopt");
        return false;
    }
    if (peerUid) *peerUid = unsigned(cred.uid);
    return cred.uid == geteuid();
}

LPipeListener::LPipeListener() : LThread("LPipeListener") {}

LPipeListener::~LPipeListener() {
    Stop();
    if (listenFd_ >= 0) close(listenFd_);
}

void LPipeListener::Adopt(int listenFd) {
    if (listenFd_ >= 0) close(listenFd_);
    listenFd_ = listenFd;
}

void LPipeListener::Run() {
    pollfd fds[2] = {{listenFd_, POLLIN, 0}, {StopSignal().Descriptor(), POLLIN, 0}};
    while (true) {
        int r = poll(fds, 2, -1);
        if (r < 0) {
            if (errno == EINTR) continue;
            LogSystemFailure("LPipeListener::Run", "poll");
            return;
        }
        if (fds[1].revents) return;
        if (fds[0].revents & POLLIN) {
            if (!AcceptOne()) return;
        } else if (fds[0].revents) {
            LogError("LPipeListener::Run: the listening socket failed (poll events 0x%x)",
                     unsigned(fds[0].revents));
            return;
        }
    }
}

// False when the listener cannot go on.
bool LPipeListener::AcceptOne() {
    int fd = accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return true;
        LogSystemFailure("LPipeListener::Run", "accept");
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            // Out of descriptors: give the others time to close theirs.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return true;
        }
        return false;
    }
    unsigned uid = 0;
    if (!PeerIsSameUser(fd, &uid)) {
        LogError(
            "LPipeListener::Run: connection from user %u refused: only this user may "
            "send commands",
            uid);
        close(fd);
        return true;
    }
    OnConnection(fd);
    return true;
}

std::size_t ReadRecordBytes(int fd, void* buffer, std::size_t size, int limitMs,
                            const LSignalObject& stop) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(limitMs);
    char* at = static_cast<char*>(buffer);
    std::size_t got = 0;
    while (got < size) {
        ssize_t n = read(fd, at + got, size - got);
        if (n > 0) {
            got += std::size_t(n);
            continue;
        }
        if (n == 0) break;  // the sender closed early
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            LogSystemFailure("LMainWindowPipeListenerThread::Run", "read");
            break;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) break;
        pollfd fds[2] = {{fd, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}};
        if (poll(fds, 2, int(left.count())) < 0 && errno != EINTR) {
            LogSystemFailure("LMainWindowPipeListenerThread::Run", "poll");
            break;
        }
        if (fds[1].revents) break;
    }
    return got;
}

LMainWindowPipeListenerThread::LMainWindowPipeListenerThread(int fd, const Context& deliver)
    : LThread("LMainWindowPipeListenerThread"), fd_(fd), deliver_(deliver) {}

LMainWindowPipeListenerThread::~LMainWindowPipeListenerThread() {
    Stop();
    if (fd_ >= 0) close(fd_);
}

void LMainWindowPipeListenerThread::Run() {
    auto record = std::make_unique<CommandLineRecord>();
    const std::size_t got =
        ReadRecordBytes(fd_, record.get(), sizeof *record, kRecordReadLimitMs, StopSignal());
    if (StopRequested()) return;
    auto args = std::make_shared<std::vector<std::string>>();
    std::string why;
    if (!UnpackCommandLine(record.get(), got, *args, why)) {
        LogError("LMainWindowPipeListenerThread::Run: forwarded command line refused: %s",
                 why.c_str());
        return;
    }
    deliver_(std::move(args));
}

}  // namespace vocarta
