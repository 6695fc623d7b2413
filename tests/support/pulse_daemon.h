#pragma once
// A private PulseAudio daemon for end-to-end tests: its own runtime folder and
// socket, no default modules, nothing shared with a server the machine may run.
// Start() points this process (PULSE_SERVER) and every program it starts at it.
//
//   vocarta::test::PulseDaemon pulse;
//   ASSERT_TRUE(pulse.Start(dir.Path(), &error)) << error;
//   int sine = pulse.LoadModule("module-sine-source", "source_name=sine frequency=440");

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "support/audio_test_util.h"

namespace vocarta::test {

class PulseDaemon {
  public:
    PulseDaemon() = default;
    ~PulseDaemon() { Stop(); }
    PulseDaemon(const PulseDaemon&) = delete;
    PulseDaemon& operator=(const PulseDaemon&) = delete;

    // Starts `pulseaudio` in `folder` and waits until it answers (10 s at most).
    bool Start(const std::string& folder, std::string* error) {
        folder_ = folder;
        std::string runtime = folder + "/pulse-runtime";
        ::mkdir(runtime.c_str(), 0700);
        std::string socket = folder + "/pulse-native";
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        setenv("PULSE_SERVER", ("unix:" + socket).c_str(), 1);
        setenv("PULSE_RUNTIME_PATH", runtime.c_str(), 1);
        pid_ =
            Spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                   "--high-priority=no", "--realtime=no", "--no-cpu-limit=yes",
                   "--disallow-module-loading=no", "--log-target=file:" + LogPath(), "-L",
                   "module-native-protocol-unix auth-anonymous=1 socket=" + socket},
                  true);
        for (int i = 0; i < 100 && pid_ > 0; ++i) {
            if (RunTool({"pactl", "info"}, true).status == 0) return true;
            if (!IsAlive()) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        if (error)
            *error = pid_ > 0 ? "pulseaudio did not answer within 10 s"
                              : "pulseaudio did not start (is the pulseaudio package installed?) "
                                "or ended at once; see " +
                                    LogPath();
        Stop();
        return false;
    }

    void Stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        for (int i = 0; i < 50 && IsAlive(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

    bool IsRunning() const { return pid_ > 0; }
    // False once the daemon has ended by itself (crashed or was killed).
    bool IsAlive() {
        if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == pid_) pid_ = -1;
        return pid_ > 0;
    }
    pid_t Pid() const { return pid_; }
    std::string LogPath() const { return folder_ + "/pulse.log"; }

    // `pactl load-module`: the module's index, or -1.
    int LoadModule(const std::string& name, const std::string& arguments) {
        std::vector<std::string> argv = {"pactl", "load-module", name};
        if (!arguments.empty()) argv.push_back(arguments);
        ToolResult r = RunTool(argv);
        return r.status == 0 ? std::atoi(r.out.c_str()) : -1;
    }
    bool UnloadModule(int index) {
        return RunTool({"pactl", "unload-module", std::to_string(index)}).status == 0;
    }
    // paplay into a sink, to its end. The low latency keeps the sink (and so its
    // monitor) working in small blocks, so a recorder of the monitor gets the
    // sound promptly rather than 2 s at a time.
    bool Play(const std::string& file, const std::string& sink) {
        return WaitFor(PlayInBackground(file, sink)) == 0;
    }
    // Starts paplay and returns at once; WaitFor(pid) collects it.
    pid_t PlayInBackground(const std::string& file, const std::string& sink) {
        return Spawn({"paplay", "--latency-msec=40", "--device=" + sink, file});
    }

    // Starts a program in the background (fork + exec, no shell); -1 on failure.
    // With `dieWithParent` it gets SIGTERM when the test process ends, however
    // it ends.
    static pid_t Spawn(const std::vector<std::string>& argv, bool dieWithParent = false) {
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        pid_t parent = getpid(), pid = fork();
        if (pid != 0) return pid;
        if (dieWithParent && (prctl(PR_SET_PDEATHSIG, SIGTERM) != 0 || getppid() != parent))
            _exit(127);
        execvp(args[0], args.data());
        _exit(127);
    }
    static int WaitFor(pid_t pid) {
        int status = 0;
        if (pid <= 0 || waitpid(pid, &status, 0) != pid) return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    std::string folder_;
    pid_t pid_ = -1;
};

}  // namespace vocarta::test
