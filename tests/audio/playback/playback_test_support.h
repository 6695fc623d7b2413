#pragma once
// Shared by the playback tests: one private PulseAudio daemon for the whole test
// program with a null sink "out" as its default device, a recorder of that
// sink's monitor (parecord), and the analysis that finds where a frequency was
// heard.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <numbers>
#include <thread>

#include "audio/playback/memory_source.h"
#include "support/audio_test_util.h"
#include "support/pulse_daemon.h"
#include "support/temp_dir.h"

namespace vocarta::test {

inline constexpr uint32_t kTestRate = 48000;

// Half-scale mono sine at 48 kHz.
inline LSoundSource SineSource(double frequency, double seconds) {
    auto samples = Tone(frequency, 0.5, kTestRate, 1, uint64_t(seconds * kTestRate));
    return LSoundSource(MakeMemorySource(std::move(samples), kTestRate, 1));
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
            RunTool({"pactl", "set-default-sink", "out"}).status != 0 ||
            (keeper = PulseDaemon::Spawn({"pacat", "--latency-msec=10", "--rate=48000",
                                          "--channels=1", "--format=float32le", "/dev/zero"})) <
                0) {
            error = "cannot set up the null sink and its keeper";
            daemon.Stop();
            return;
        }
        // The block the sink rendered before the keeper came runs out first.
        std::this_thread::sleep_for(std::chrono::milliseconds(2200));
        if (waitpid(keeper, nullptr, WNOHANG) == keeper) {
            error = "pacat (the keeper stream) ended; is pulseaudio-utils installed?";
            keeper = -1;
            daemon.Stop();
        }
    }
    ~SharedPulseRig() {
        if (keeper > 0) kill(keeper, SIGTERM);
        PulseDaemon::WaitFor(keeper);
    }
};

// Started on first use; fails the calling test loudly when pulseaudio cannot
// be started.
inline PulseDaemon* SharedPulse() {
    static SharedPulseRig rig;
    EXPECT_TRUE(rig.daemon.IsRunning()) << "private pulseaudio daemon: " << rig.error;
    return rig.daemon.IsRunning() ? &rig.daemon : nullptr;
}

// Records what the monitor of a sink hears, as 48 kHz mono float WAV.
class MonitorRecorder {
  public:
    MonitorRecorder(const std::string& sink, const std::string& file)
        : file_(file),
          pid_(PulseDaemon::Spawn({"parecord", "--device=" + sink + ".monitor", "--rate=48000",
                                   "--channels=1", "--format=float32le", "--file-format=wav",
                                   "--latency-msec=20", file})) {
        // Let the recording stream settle before anything is played.
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
    }
    ~MonitorRecorder() { Finish(); }

    bool Started() const { return pid_ > 0; }
    // Ends the recording (parecord closes the file on SIGINT) and decodes it.
    std::vector<float> Finish() {
        if (pid_ > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            kill(pid_, SIGINT);
            PulseDaemon::WaitFor(pid_);
            pid_ = -1;
        }
        return Decode(file_);
    }

  private:
    std::string file_;
    pid_t pid_ = -1;
};

// Amplitude of the `frequency` component in samples[from, from + count).
inline double AmplitudeAt(const std::vector<float>& s, size_t from, size_t count,
                          double frequency) {
    double re = 0, im = 0;
    for (size_t i = 0; i < count && from + i < s.size(); ++i) {
        double phase = 2.0 * std::numbers::pi * frequency * double(i) / kTestRate;
        re += s[from + i] * std::cos(phase);
        im -= s[from + i] * std::sin(phase);
    }
    return 2.0 * std::hypot(re, im) / double(count);
}

// Where `frequency` is heard at more than `minAmplitude`, in 10 ms steps (20 ms
// windows): the times in milliseconds of each step it is heard.
inline std::vector<int> HeardAt(const std::vector<float>& s, double frequency,
                                double minAmplitude) {
    std::vector<int> times;
    for (size_t at = 0; at + kTestRate / 50 <= s.size(); at += kTestRate / 100)
        if (AmplitudeAt(s, at, kTestRate / 50, frequency) > minAmplitude)
            times.push_back(int(at * 1000 / kTestRate));
    return times;
}

// Total time heard, in ms (steps × 10 ms).
inline int HeardMs(const std::vector<int>& steps) {
    return int(steps.size()) * 10;
}

// `seconds` of each frequency in turn (half scale), as a 16-bit WAV made by sox.
inline std::string ToneFile(const TempDir& dir, const std::string& name, uint32_t rate,
                            int channels, std::vector<int> frequencies, double seconds) {
    std::vector<std::string> argv = {
        "sox", "-n", "-r",          std::to_string(rate), "-c", std::to_string(channels),
        "-b",  "16", dir.File(name)};
    for (int f : frequencies) {
        if (argv.size() > 9) argv.push_back(":");  // the next part of the same file
        argv.insert(argv.end(),
                    {"synth", std::to_string(seconds), "sine", std::to_string(f), "vol", "0.5"});
    }
    Tool(argv);
    return dir.File(name);
}

// A decoder that breaks after `goodFrames` frames of 0.25, as a damaged file does.
struct BrokenSource : LSoundSourceBase {
    uint64_t good, at = 0;
    BrokenSource(uint64_t goodFrames, uint64_t totalFrames) : good(goodFrames) {
        sampleRate_ = kTestRate;
        channels_ = 1;
        totalFrames_ = totalFrames;
    }
    int64_t Read(float* out, uint64_t frames) override {
        if (at >= good) return lastError_ = "bad block at byte 4711", -1;
        uint64_t n = std::min(frames, good - at);
        std::fill(out, out + n, 0.25f);
        return at += n, int64_t(n);
    }
    bool Seek(uint64_t frame) override { return (at = frame) <= totalFrames_; }
};

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
