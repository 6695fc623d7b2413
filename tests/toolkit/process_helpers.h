#pragma once
// Forked helper processes for tests of what several processes do to one file.
// Fork only from a test's own thread while no other test thread runs.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace vocarta::test {

// Runs `body` in a child process; its return value becomes the exit status.
inline pid_t ForkChild(const std::function<int()>& body) {
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

// The child's exit status, or 128 + signal number when a signal ended it.
inline int WaitChild(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
}

// Runs `argv` (no shell, found on PATH) with `input` on its standard input;
// its exit status as WaitChild gives it.
inline int RunProgram(const std::vector<std::string>& argv, const std::string& input = "") {
    int in[2];
    if (pipe(in) != 0) return -1;
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        close(in[0]);
        close(in[1]);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    close(in[0]);
    if (!input.empty()) (void)!write(in[1], input.data(), input.size());
    close(in[1]);
    return WaitChild(pid);
}

// A pipe for telling the other process where we are.
class TestPipe {
  public:
    TestPipe() {
        if (pipe(fds_) != 0) fds_[0] = fds_[1] = -1;
    }
    ~TestPipe() {
        CloseRead();
        CloseWrite();
    }
    bool Send(const std::string& text) {
        return write(fds_[1], text.data(), text.size()) == ssize_t(text.size());
    }
    // One byte; -1 at end of file (the writer closed its end or died).
    int ReceiveByte() {
        unsigned char c;
        ssize_t n;
        while ((n = read(fds_[0], &c, 1)) < 0 && errno == EINTR) {
        }
        return n == 1 ? c : -1;
    }
    void CloseRead() { Close(0); }
    void CloseWrite() { Close(1); }

  private:
    void Close(int end) {
        if (fds_[end] >= 0) close(fds_[end]);
        fds_[end] = -1;
    }
    int fds_[2];
};

}  // namespace vocarta::test
