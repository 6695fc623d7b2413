#include "app/instance/pipe_sender.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "toolkit/log.h"

namespace vocarta {

namespace {
// 1 writable, 0 timed out, -1 failed, 2 stop requested.
int WaitWritable(int fd, const LSignalObject& stop, int timeoutMs) {
    pollfd fds[2] = {{fd, POLLOUT, 0}, {stop.Descriptor(), POLLIN, 0}};
    while (true) {
        int r = poll(fds, 2, timeoutMs);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) {
            LogSystemFailure("LMainWindowSendThread::Send", "poll");
            return -1;
        }
        if (r == 0) return 0;
        if (fds[1].revents) return 2;
        if (fds[0].revents & POLLOUT) return 1;
        return -1;  // POLLERR / POLLHUP: the peer went away
    }
}
}  // namespace

SendResult SendWithBudget(int fd, const void* data, std::size_t size, int budget,
                          const LSignalObject& stop, int* waits) {
    const char* at = static_cast<const char*>(data);
    std::size_t left = size;
    if (waits) *waits = 0;
    while (true) {
        if (stop.IsSet()) return SendResult::Cancelled;
        ssize_t sent = send(fd, at, left, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            at += sent;
            left -= std::size_t(sent);
            if (left == 0) return SendResult::Sent;
        } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            LogSystemFailure("LMainWindowSendThread::Send", "send");
            return SendResult::Failed;
        }
        const int ready = WaitWritable(fd, stop, kSendWaitMs);
        if (ready == 2) return SendResult::Cancelled;
        if (ready < 0) return SendResult::Failed;
        if (ready == 0) {
            if (waits) ++*waits;
            if (budget <= 2) return SendResult::Failed;
            budget -= 2;
        }
    }
}

LMainWindowSendThread::LMainWindowSendThread(int fd, const std::vector<std::string>& args)
    : LThread("LMainWindowSendThread"), fd_(fd) {
    PackCommandLine(args, record_);
}

LMainWindowSendThread::~LMainWindowSendThread() {
    Stop();
    if (fd_ >= 0) close(fd_);
}

void LMainWindowSendThread::Run() {
    result_ = SendWithBudget(fd_, &record_, sizeof record_, kSendBudget, StopSignal());
}

bool SendCommandLineToRunningInstance(int fd, const std::vector<std::string>& args) {
    LMainWindowSendThread sender(fd, args);
    if (!sender.Start()) return false;
    if (!sender.Wait(kSendThreadWaitMs)) {
        LogError("SendCommandLineToRunningInstance: the running copy took nothing within %d ms",
                 kSendThreadWaitMs);
        sender.Stop();
        return false;
    }
    if (sender.Result() != SendResult::Sent)
        LogError("SendCommandLineToRunningInstance: the command line could not be sent");
    return sender.Result() == SendResult::Sent;
}

}  // namespace vocarta
