// LChildProgram over posix_spawnp and waitpid.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include "toolkit/log.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/text.h"
#include "transmit/child_program.h"

extern char** environ;

namespace vocarta {

namespace {

class PosixChildProgram final : public LChildProgram {
  public:
    Wait WaitForEnd(int timeoutMs, const LSignalObject* stop) override {
        if (stop) {
            const int which = ended_.WaitEither(*stop, timeoutMs);
            return which == 0 ? Wait::Ended : which == 1 ? Wait::Stopped : Wait::TimedOut;
        }
        return ended_.Wait(timeoutMs) ? Wait::Ended : Wait::TimedOut;
    }
    bool Succeeded() const override {
        std::lock_guard<std::mutex> lock(mutex_);
        return WIFEXITED(status_) && WEXITSTATUS(status_) == 0;
    }
    std::string EndDescription() const override {
        std::lock_guard<std::mutex> lock(mutex_);
        if (WIFEXITED(status_)) return StringPrintf("exited with status %d", WEXITSTATUS(status_));
        if (WIFSIGNALED(status_))
            return StringPrintf("was ended by signal %d (%s)", WTERMSIG(status_),
                                strsignal(WTERMSIG(status_)));
        return "ended";
    }

    // On the worker thread: starts the program, tells the starter, waits for it.
    void Launch(std::vector<std::string> args) {
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawnattr_t attr;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawnattr_init(&attr);
        // The program gets a clean signal state whatever this process blocks or
        // ignores, and a session of its own, so it outlives a terminal hang-up.
        sigset_t none, defaults;
        sigemptyset(&none);
        sigemptyset(&defaults);
        for (int sig : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGQUIT})
            sigaddset(&defaults, sig);
        posix_spawnattr_setsigmask(&attr, &none);
        posix_spawnattr_setsigdefault(&attr, &defaults);
        posix_spawnattr_setflags(
            &attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
        pid_t pid = -1;
        const int error = posix_spawnp(&pid, argv[0], &actions, &attr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attr);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            startError_ = error;
        }
        started_.Set();
        if (error != 0) return;
        int status = 0;
        while (waitpid(pid, &status, 0) < 0) {
            if (errno != EINTR) {
                LogSystemFailure("LChildProgram::Launch", "waitpid");
                break;
            }
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            status_ = status;
        }
        ended_.Set();
    }

    int StartError() {
        started_.Wait(-1);
        std::lock_guard<std::mutex> lock(mutex_);
        return startError_;
    }

  private:
    mutable std::mutex mutex_;
    int startError_ = 0;  // guarded by mutex_
    int status_ = 0;      // guarded by mutex_
    LSignalObject started_;
    LSignalObject ended_;
};

}  // namespace

LResult<std::shared_ptr<LChildProgram>> LChildProgram::Start(const std::vector<std::string>& args) {
    if (args.empty() || args.front().empty())
        return MakeError(LErrorCode::kInvalid, "no program to start");
    auto child = std::make_shared<PosixChildProgram>();
    try {
        std::thread([child, args] { child->Launch(args); }).detach();
    } catch (const std::system_error& e) {
        return MakeError(LErrorCode::kFailed, "no thread to start %s from: %s", args[0].c_str(),
                         e.what());
    }
    if (const int error = child->StartError())
        return MakeError(error == ENOENT ? LErrorCode::kNotFound : LErrorCode::kFailed, "%s",
                         std::strerror(error));
    return std::shared_ptr<LChildProgram>(child);
}

}  // namespace vocarta
