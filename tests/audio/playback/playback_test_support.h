#pragma once
// Shared by the playback tests: one private PulseAudio daemon for the whole test
// program with a null sink "out" as its default device, a recorder of that
// sink's monitor (parecord), and the analysis that finds where a frequency was
// heard.

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "audio/playback/memory_source.h"
#include "support/pulse_daemon.h"
#include "support/temp_dir.h"

namespace vocarta::test {

inline constexpr uint32_t kTestRate = 48000;

// Half-scale mono sine at 48 kHz.
inline LSoundSource SineSource(double frequency, double seconds) {
    std::vector<float> out(size_t(seconds * kTestRate));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = float(0.5 * std::sin(2.0 * std::numbers::pi * frequency * double(i) / kTestRate));
    return LSoundSource(MakeMemorySource(std::move(out), kTestRate, 1));
}

// Starts a program in the background (argument vector, no shell); -1 on failure.
inline pid_t Spawn(std::vector<std::string> argv) {
    std::vector<char*> args;
    for (auto& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    pid_t pid = -1;
    return posix_spawnp(&pid, args[0], nullptr, nullptr, args.data(), environ) == 0 ? pid : -1;
}

// The daemon every Pulse test of this program shares, with the null sink "out"
// as default device. A silent low-latency stream keeps the sink running as a
// sound card does: an idle null sink renders two seconds ahead, and a new
// stream would only start after that block.
struct SharedPulseRig {
    TempDir folder{"vocarta-pulse"};
    PulseDaemon daemon;
    pid_t keeper = -1;
    std::string error;

    SharedPulseRig() {
        if (!daemon.Start(folder.Path(), &error)) return;
        if (daemon.LoadModule("module-null-sink",
                              "sink_name=out rate=48000 channels=1 format=float32le") < 0 ||
            PulseDaemon::Run({"pactl", "set-default-sink", "out"}, nullptr) != 0) {
            error = "cannot set up the null sink";
            daemon.Stop();
            return;
        }
        keeper = Spawn({"pacat", "--latency-msec=10", "--rate=48000", "--channels=1",
                        "--format=float32le", "/dev/zero"});
        if (keeper < 0) {
            error = "cannot start pacat";
            daemon.Stop();
            return;
        }
        // The block the sink rendered before the keeper came runs out first.
        std::this_thread::sleep_for(std::chrono::milliseconds(2200));
    }
    ~SharedPulseRig() {
        if (keeper > 0) {
            kill(keeper, SIGTERM);
            waitpid(keeper, nullptr, 0);
        }
        daemon.Stop();
    }
};

// Started on first use; fails the calling test loudly when pulseaudio cannot
// be started.
inline PulseDaemon* SharedPulse() {
    static SharedPulseRig rig;
    EXPECT_TRUE(rig.daemon.IsRunning()) << "private pulseaudio daemon: " << rig.error;
    return rig.daemon.IsRunning() ? &rig.daemon : nullptr;
}

// The process id of the daemon listening on `socket` (from /proc), or -1.
inline pid_t DaemonPid(const std::string& socket) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string cmdline = ReadFile(entry.path().string() + "/cmdline");
        std::replace(cmdline.begin(), cmdline.end(), '\0', ' ');
        if (cmdline.rfind("pulseaudio ", 0) == 0 &&
            cmdline.find("socket=" + socket) != std::string::npos)
            return pid_t(std::atoi(entry.path().filename().c_str()));
    }
    return -1;
}

// Records what the monitor of a sink hears, as 48 kHz mono float WAV.
class MonitorRecorder {
  public:
    MonitorRecorder(const std::string& sink, const std::string& file)
        : file_(file),
          pid_(Spawn({"parecord", "--device=" + sink + ".monitor", "--rate=48000", "--channels=1",
                      "--format=float32le", "--file-format=wav", "--latency-msec=20", file})) {
        // Let the recording stream settle before anything is played.
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
    }
    ~MonitorRecorder() { Finish(); }

    bool Started() const { return pid_ > 0; }
    // Ends the recording (parecord closes the file on SIGINT) and reads it back
    // with sox as 48 kHz mono floats.
    std::vector<float> Finish() {
        if (pid_ > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            kill(pid_, SIGINT);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
        std::string raw;
        PulseDaemon::Run({"sox", file_, "-t", "f32", "-r", "48000", "-c", "1", "-"}, &raw);
        std::vector<float> samples(raw.size() / sizeof(float));
        std::memcpy(samples.data(), raw.data(), samples.size() * sizeof(float));
        return samples;
    }

  private:
    std::string file_;
    pid_t pid_ = -1;
};

// Amplitude of the `frequency` component in samples[from, from + count).
inline double AmplitudeAt(const std::vector<float>& s, size_t from, size_t count, double frequency,
                          uint32_t rate = kTestRate) {
    double re = 0, im = 0;
    for (size_t i = 0; i < count && from + i < s.size(); ++i) {
        double phase = 2.0 * std::numbers::pi * frequency * double(i) / rate;
        re += s[from + i] * std::cos(phase);
        im -= s[from + i] * std::sin(phase);
    }
    return 2.0 * std::hypot(re, im) / double(count);
}

// Where `frequency` is heard at more than `minAmplitude`, in 10 ms steps (20 ms
// windows): the times in milliseconds of each step it is heard.
inline std::vector<int> HeardAt(const std::vector<float>& s, double frequency, double minAmplitude,
                                uint32_t rate = kTestRate) {
    std::vector<int> times;
    const size_t window = rate / 50, hop = rate / 100;
    for (size_t at = 0; at + window <= s.size(); at += hop)
        if (AmplitudeAt(s, at, window, frequency, rate) > minAmplitude)
            times.push_back(int(at * 1000 / rate));
    return times;
}

// Total time heard, in ms (steps × 10 ms).
inline int HeardMs(const std::vector<int>& steps) {
    return int(steps.size()) * 10;
}

// Waits until `done()` or `timeoutMs`; true when done.
template <typename F>
bool WaitFor(F done, int timeoutMs) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

inline int64_t MsSince(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 t)
        .count();
}

}  // namespace vocarta::test
