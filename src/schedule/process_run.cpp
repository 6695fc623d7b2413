#include "schedule/process_run.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "toolkit/log.h"

extern char** environ;

namespace vocarta {

namespace {

// Closes what it holds when it goes away.
struct Fd {
    int fd = -1;
    ~Fd() { Reset(); }
    void Reset() {
        if (fd >= 0) close(fd);
        fd = -1;
    }
};

bool MakePipe(Fd& readEnd, Fd& writeEnd) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return false;
    readEnd.fd = fds[0];
    writeEnd.fd = fds[1];
    return true;
}

std::vector<char*> ArgvPointers(const std::vector<std::string>& argv) {
    std::vector<char*> pointers;
    for (const std::string& arg : argv) pointers.push_back(const_cast<char*>(arg.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// Children start with no signal blocked and the usual signals at their default,
// whatever the calling thread (a GUI thread, say) has set for itself.
void InitChildSignals(posix_spawnattr_t& attributes, short extraFlags) {
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (int sig : {SIGPIPE, SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&defaults, sig);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes,
                             short(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | extraFlags));
}

int StatusCode(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
}

bool WaitFor(pid_t pid, int& status) {
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return false;
    return true;
}

// Feeds the input and drains both outputs until the child closes them or the
// time limit passes; false on time-out.
bool Exchange(Fd& in, Fd& out, Fd& err, const std::string& input, ProcessOutput& result,
              int limitMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    std::size_t written = 0;
    if (input.empty()) in.Reset();
    char buffer[8192];
    while (in.fd >= 0 || out.fd >= 0 || err.fd >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        pollfd fds[3] = {{in.fd, POLLOUT, 0}, {out.fd, POLLIN, 0}, {err.fd, POLLIN, 0}};
        const int ready = poll(fds, 3, int(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return false;
        if (in.fd >= 0 && fds[0].revents) {
            const ssize_t n = write(in.fd, input.data() + written, input.size() - written);
            if (n > 0) written += std::size_t(n);
            if (n < 0 || written == input.size()) in.Reset();
        }
        Fd* sources[2] = {&out, &err};
        std::string* sinks[2] = {&result.out, &result.err};
        for (int i = 0; i < 2; ++i) {
            if (sources[i]->fd < 0 || !fds[i + 1].revents) continue;
            const ssize_t n = read(sources[i]->fd, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                sources[i]->Reset();
                continue;
            }
            if (sinks[i]->size() < kMaxProcessOutput)
                sinks[i]->append(buffer,
                                 std::min(std::size_t(n), kMaxProcessOutput - sinks[i]->size()));
        }
    }
    return true;
}

}  // namespace

std::string CommandText(const std::vector<std::string>& argv) {
    std::string text;
    for (const std::string& arg : argv) {
        if (!text.empty()) text += ' ';
        const bool plain = !arg.empty() && arg.find_first_of(" \t\n'\"\\$`") == std::string::npos;
        text += plain ? arg : "'" + arg + "'";
    }
    return text;
}

LResult<ProcessOutput> RunProcess(const std::vector<std::string>& argv, const std::string& input,
                                  int limitMs) {
    if (argv.empty()) return MakeError(LErrorCode::kInvalid, "no program to run");
    Fd inRead, inWrite, outRead, outWrite, errRead, errWrite;
    if (!MakePipe(inRead, inWrite) || !MakePipe(outRead, outWrite) ||
        !MakePipe(errRead, errWrite)) {
        LogSystemFailure("RunProcess", "pipe2");
        return MakeError(LErrorCode::kFailed, "pipe2: %s", std::strerror(errno));
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inRead.fd, 0);
    posix_spawn_file_actions_adddup2(&actions, outWrite.fd, 1);
    posix_spawn_file_actions_adddup2(&actions, errWrite.fd, 2);
    posix_spawnattr_t attributes;
    InitChildSignals(attributes, 0);
    std::vector<char*> args = ArgvPointers(argv);
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, args[0], &actions, &attributes, args.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        LogError("RunProcess posix_spawnp FAILED: %s: %s", argv[0].c_str(), std::strerror(spawned));
        return MakeError(spawned == ENOENT ? LErrorCode::kNotFound : LErrorCode::kFailed,
                         "%s cannot be started: %s", argv[0].c_str(), std::strerror(spawned));
    }
    inRead.Reset();
    outWrite.Reset();
    errWrite.Reset();
    // A tool that stops reading its input must not end us: SIGPIPE is held back
    // in this thread only, and one raised by our writes is taken before release.
    sigset_t pipeSignal, oldMask;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &oldMask);
    ProcessOutput result;
    const bool finished = Exchange(inWrite, outRead, errRead, input, result, limitMs);
    inWrite.Reset();
    const timespec noWait{};
    while (sigtimedwait(&pipeSignal, nullptr, &noWait) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &oldMask, nullptr);
    if (!finished) kill(pid, SIGKILL);
    int status = 0;
    if (!WaitFor(pid, status)) {
        LogSystemFailure("RunProcess", "waitpid");
        return MakeError(LErrorCode::kFailed, "%s could not be waited for", argv[0].c_str());
    }
    if (!finished) {
        LogError("RunProcess: %s did not finish within %d ms; killed", CommandText(argv).c_str(),
                 limitMs);
        return MakeError(LErrorCode::kTimedOut, "%s did not finish within %d ms", argv[0].c_str(),
                         limitMs);
    }
    result.exitCode = StatusCode(status);
    return result;
}

LStatus StartDetachedProcess(const std::vector<std::string>& argv) {
    if (argv.empty()) return MakeError(LErrorCode::kInvalid, "no program to run");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd = 0; fd < 3; ++fd)
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY,
                                         0);
    posix_spawnattr_t attributes;
    InitChildSignals(attributes, POSIX_SPAWN_SETSID);
    std::vector<char*> args = ArgvPointers(argv);
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, args[0], &actions, &attributes, args.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        LogError("StartDetachedProcess posix_spawnp FAILED: %s: %s", argv[0].c_str(),
                 std::strerror(spawned));
        return MakeError(LErrorCode::kFailed, "%s cannot be started: %s", argv[0].c_str(),
                         std::strerror(spawned));
    }
    return LStatus::Success();
}

}  // namespace vocarta
