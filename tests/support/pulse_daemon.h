#pragma once
// A private PulseAudio daemon for end-to-end tests: its own runtime folder and
// socket, no default modules, nothing shared with a server the machine may run.
// Start() points this process (PULSE_SERVER) and every program started through
// Run() at it. Header-only so that any test program can use it.
//
//   vocarta::test::PulseDaemon pulse;
//   ASSERT_TRUE(pulse.Start(dir.Path(), &error)) << error;
//   int sine = pulse.LoadModule("module-sine-source", "source_name=sine frequency=440");
//
// Programs are run with an argument vector, never through a shell.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

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
        socket_ = folder + "/pulse-native";
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        setenv("PULSE_SERVER", ("unix:" + socket_).c_str(), 1);
        setenv("PULSE_RUNTIME_PATH", runtime.c_str(), 1);
        std::vector<std::string> argv = {
            "pulseaudio",
            "-n",
            "--daemonize=no",
            "--exit-idle-time=-1",
            "--use-pid-file=no",
            "--high-priority=no",
            "--realtime=no",
            "--no-cpu-limit=yes",
            "--disallow-module-loading=no",
            "--log-target=file:" + folder + "/pulse.log",
            "-L",
            "module-native-protocol-unix auth-anonymous=1 socket=" + socket_};
        pid_ = Spawn(argv, nullptr, false, true);
        if (pid_ <= 0) {
            if (error) *error = "cannot start pulseaudio (is the pulseaudio package installed?)";
            return false;
        }
        for (int i = 0; i < 100; ++i) {
            std::string info;
            if (Run({"pactl", "info"}, &info, true) == 0) return true;
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                if (error) *error = "pulseaudio ended at start; see " + folder + "/pulse.log";
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        if (error) *error = "pulseaudio did not answer within 10 s";
        return false;
    }

    void Stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGTERM);
        for (int i = 0; i < 50; ++i) {
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    bool IsRunning() const { return pid_ > 0; }
    // False once the daemon has ended by itself (crashed or was killed).
    bool IsAlive() {
        if (pid_ <= 0) return false;
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) != pid_) return true;
        pid_ = -1;
        return false;
    }
    std::string LogPath() const { return folder_ + "/pulse.log"; }
    const std::string& Socket() const { return socket_; }

    // `pactl load-module`: the module's index, or -1.
    int LoadModule(const std::string& name, const std::string& arguments) {
        std::string out;
        std::vector<std::string> argv = {"pactl", "load-module", name};
        if (!arguments.empty()) argv.push_back(arguments);
        if (Run(argv, &out) != 0) return -1;
        return std::atoi(out.c_str());
    }
    bool UnloadModule(int index) {
        return Run({"pactl", "unload-module", std::to_string(index)}, nullptr) == 0;
    }
    // Plays a file into a sink with paplay and waits for the end. The low
    // latency keeps the sink (and so its monitor) working in small blocks, so a
    // recorder of the monitor gets the sound promptly rather than 2 s at a time.
    bool Play(const std::string& file, const std::string& sink) {
        return Run({"paplay", "--latency-msec=40", "--device=" + sink, file}, nullptr) == 0;
    }
    // Starts paplay and returns at once; WaitFor(pid) collects it.
    pid_t PlayInBackground(const std::string& file, const std::string& sink) {
        return Spawn({"paplay", "--latency-msec=40", "--device=" + sink, file}, nullptr);
    }

    // Runs a program (found on PATH) with this process's environment; returns its
    // exit status (-1 when it could not run), its standard output (and with
    // `withStderr` its standard error too) in `out`.
    static int Run(const std::vector<std::string>& argv, std::string* out,
                   bool withStderr = false) {
        int fds[2] = {-1, -1};
        if (out && pipe(fds) != 0) return -1;
        pid_t pid = Spawn(argv, out ? fds : nullptr, withStderr);
        if (out) {
            close(fds[1]);
            char buffer[4096];
            ssize_t n;
            while ((n = read(fds[0], buffer, sizeof buffer)) > 0) out->append(buffer, size_t(n));
            close(fds[0]);
        }
        return pid > 0 ? WaitFor(pid) : -1;
    }
    static int WaitFor(pid_t pid) {
        int status = 0;
        if (waitpid(pid, &status, 0) != pid) return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    // fork + exec, so that a daemon can be tied to this process: with
    // `dieWithParent` it gets SIGTERM when the test process ends, however it ends.
    static pid_t Spawn(const std::vector<std::string>& argv, int* stdoutPipe,
                       bool withStderr = false, bool dieWithParent = false) {
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        pid_t parent = getpid();
        pid_t pid = fork();
        if (pid != 0) return pid;
        if (dieWithParent) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (getppid() != parent) _exit(127);
        }
        if (stdoutPipe) {
            dup2(stdoutPipe[1], 1);
            if (withStderr) dup2(stdoutPipe[1], 2);
            close(stdoutPipe[0]);
            close(stdoutPipe[1]);
        }
        execvp(args[0], args.data());
        _exit(127);
    }

    std::string folder_;
    std::string socket_;
    pid_t pid_ = -1;
};

}  // namespace vocarta::test
