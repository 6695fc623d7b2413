#include "transmit/mail/mail_child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "net/wait.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
bool IsExecutable(const std::string& path) {
    return !path.empty() && access(path.c_str(), X_OK) == 0;
}

// In the child, between fork and exec: only async-signal-safe calls.
[[noreturn]] void RunChild(const char* program, char* const* argv, int input, int report) {
    const int null = open("/dev/null", O_RDWR);
    dup2(input >= 0 ? input : null, 0);
    dup2(null, 1);
    dup2(null, 2);
    setsid();
    execv(program, argv);
    const int error = errno;
    (void)!write(report, &error, sizeof error);
    _exit(127);
}
}  // namespace

std::string FindProgram(const std::string& name, const std::vector<std::string>& fallbacks) {
    const char* path = std::getenv("PATH");
    std::string_view folders = path ? path : "";
    while (!folders.empty()) {
        const std::size_t colon = folders.find(':');
        const std::string folder(folders.substr(0, colon));
        folders = colon == std::string_view::npos ? std::string_view() : folders.substr(colon + 1);
        if (folder.empty() || folder[0] != '/') continue;  // never the working folder
        if (IsExecutable(folder + "/" + name)) return folder + "/" + name;
    }
    for (const std::string& candidate : fallbacks)
        if (IsExecutable(candidate)) return candidate;
    return {};
}

LResult<MailChildProcess> MailChildProcess::Start(const std::string& program,
                                                  const std::vector<std::string>& args,
                                                  bool withInput) {
    int pair[2] = {-1, -1};
    if (withInput && socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        LogSystemFailure("MailChildProcess::Start", "socketpair");
        return MakeError(LErrorCode::kFailed, "cannot connect to %s: %s", program.c_str(),
                         std::strerror(errno));
    }
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        LogSystemFailure("MailChildProcess::Start", "pipe2");
        if (withInput) close(pair[0]), close(pair[1]);
        return MakeError(LErrorCode::kFailed, "cannot start %s", program.c_str());
    }
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) RunChild(program.c_str(), argv.data(), pair[1], report[1]);
    const int forkError = errno;
    close(report[1]);
    if (withInput) close(pair[1]);
    if (pid < 0) {
        LogSystemFailure("MailChildProcess::Start", "fork", forkError);
        close(report[0]);
        if (withInput) close(pair[0]);
        return MakeError(LErrorCode::kFailed, "cannot start %s: %s", program.c_str(),
                         std::strerror(forkError));
    }
    int execError = 0;
    ssize_t got;
    do {
        got = read(report[0], &execError, sizeof execError);
    } while (got < 0 && errno == EINTR);
    close(report[0]);
    MailChildProcess child;
    child.pid_ = pid;
    child.input_ = withInput ? pair[0] : -1;
    if (got == sizeof execError) {
        waitpid(pid, nullptr, 0);
        child.pid_ = -1;
        return MakeError(LErrorCode::kNotFound, "cannot run %s: %s", program.c_str(),
                         std::strerror(execError));
    }
    if (child.input_ >= 0) fcntl(child.input_, F_SETFL, O_NONBLOCK);
    return child;
}

MailChildProcess::MailChildProcess(MailChildProcess&& other) noexcept
    : pid_(other.pid_), input_(other.input_) {
    other.pid_ = -1;
    other.input_ = -1;
}

MailChildProcess::~MailChildProcess() {
    CloseInput();
    if (pid_ > 0) {
        const pid_t pid = pid_;
        std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
    }
}

LStatus MailChildProcess::Write(std::string_view bytes, int timeoutMs, const StopFlag& stop) {
    const Deadline deadline(timeoutMs);
    while (!bytes.empty()) {
        if (input_ < 0) return LError(LErrorCode::kIo, "the program's input is closed");
        const ssize_t sent = send(input_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0) {
            bytes.remove_prefix(std::size_t(sent));
            continue;
        }
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            const int error = errno;
            LogSystemFailure("MailChildProcess::Write", "send", error);
            return MakeError(LErrorCode::kIo, "writing to the program failed: %s",
                             std::strerror(error));
        }
        switch (WaitForDescriptor(input_, POLLOUT, deadline, stop)) {
            case WaitOutcome::kReady:
                break;
            case WaitOutcome::kStopped:
                return StoppedError();
            case WaitOutcome::kTimedOut:
                return LError(LErrorCode::kTimedOut, "the program stopped reading its input");
            case WaitOutcome::kFailed:
                return MakeError(LErrorCode::kIo, "waiting for the program failed: %s",
                                 std::strerror(errno));
        }
    }
    return {};
}

void MailChildProcess::CloseInput() {
    if (input_ >= 0) close(input_);
    input_ = -1;
}

LResult<int> MailChildProcess::Wait(int timeoutMs, const StopFlag& stop) {
    if (pid_ <= 0) return LError(LErrorCode::kInvalid, "no program is running");
    const Deadline deadline(timeoutMs);
    while (true) {
        int status = 0;
        const pid_t ended = waitpid(pid_, &status, WNOHANG);
        if (ended == pid_) {
            pid_ = -1;
            return status;
        }
        if (ended < 0 && errno != EINTR) {
            LogSystemFailure("MailChildProcess::Wait", "waitpid");
            pid_ = -1;
            return MakeError(LErrorCode::kFailed, "the program was lost: %s", std::strerror(errno));
        }
        if (stop.Requested()) return StoppedError();
        if (deadline.Passed()) return LError(LErrorCode::kTimedOut, "the program is still running");
        pollfd p{stop.Descriptor(), POLLIN, 0};
        poll(&p, p.fd >= 0 ? 1 : 0, std::min(20, deadline.RemainingMs()));
    }
}

void MailChildProcess::Terminate() {
    CloseInput();
    if (pid_ <= 0) return;
    kill(-pid_, SIGTERM);  // its whole session: sendmail hands mail to helpers of its own
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::string MailChildProcess::DescribeStatus(int status) {
    if (WIFEXITED(status)) return StringPrintf("exited with status %d", WEXITSTATUS(status));
    if (WIFSIGNALED(status)) return StringPrintf("was ended by signal %d", WTERMSIG(status));
    return "ended";
}

}  // namespace vocarta
