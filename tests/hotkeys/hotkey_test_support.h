#pragma once
// For the registrar tests: a private Xvfb (or dbus-daemon) started by the test,
// programs run with an argument vector, and a handler that records what the
// registrar delivers so the test can wait for it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "hotkeys/hotkey_registrar.h"

// After our own headers: Xlib's macros (Success, None) would clash with them.
#include <X11/Xlib.h>

extern char** environ;

namespace vocarta::test {

// Runs a program to its end; its exit status, or -1 when it could not start.
inline int RunProgram(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A program that runs beside the test and writes its first line (a display
// number, a bus address) to a pipe; ended when the object goes.
class Helper {
  public:
    // An argument may hold "{fd}", replaced by the pipe's write descriptor.
    explicit Helper(std::vector<std::string> args) {
        int fds[2];
        if (pipe(fds) != 0) return;
        for (auto& a : args)
            if (auto at = a.find("{fd}"); at != std::string::npos)
                a.replace(at, 4, std::to_string(fds[1]));
        std::vector<char*> argv;
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        const bool started =
            posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), environ) == 0;
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        if (!started) {
            pid_ = 0;
            close(fds[0]);
            return;
        }
        char c;
        while (read(fds[0], &c, 1) == 1 && c != '\n') line_ += c;
        close(fds[0]);
    }
    ~Helper() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    const std::string& Line() const { return line_; }

  private:
    pid_t pid_ = 0;
    std::string line_;
};

// Xvfb on a free display, named by DISPLAY for the rest of the test program.
class Xvfb {
  public:
    Xvfb()
        : server_({"Xvfb", "-displayfd", "{fd}", "-nolisten", "tcp", "-noreset", "-screen", "0",
                   "640x480x24"}) {
        if (server_.Line().empty()) return;
        setenv("DISPLAY", (":" + server_.Line()).c_str(), 1);
        // The number comes a moment before the server takes connections.
        for (int i = 0; i < 100 && !ready_; ++i) {
            if (Display* d = XOpenDisplay(nullptr)) {
                XCloseDisplay(d);
                ready_ = true;
            } else {
                usleep(50000);
            }
        }
    }
    bool Ok() const { return ready_; }

  private:
    Helper server_;
    bool ready_ = false;
};

struct Delivery {
    bool pressed;
    HotkeyCommand command;
    int id;
    bool operator==(const Delivery&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, const Delivery& d) {
    return os << (d.pressed ? "press " : "release ") << int(d.command) << " #" << d.id;
}

class RecordingHandler : public LHotKeyHandler {
  public:
    void HotKeyPressed(HotkeyCommand command, int id) override { Add({true, command, id}); }
    void HotKeyReleased(HotkeyCommand command, int id) override { Add({false, command, id}); }

    // Waits until `count` deliveries have come (10 s at most) and returns them all.
    std::vector<Delivery> WaitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [&] { return got_.size() >= count; });
        return got_;
    }
    bool OnRegistrarThread() const { return notOnTestThread_; }

  private:
    void Add(Delivery d) {
        std::lock_guard lock(mutex_);
        got_.push_back(d);
        notOnTestThread_ = notOnTestThread_ && pthread_self() != testThread_;
        changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Delivery> got_;
    pthread_t testThread_ = pthread_self();
    bool notOnTestThread_ = true;
};

}  // namespace vocarta::test
