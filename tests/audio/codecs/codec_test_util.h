#pragma once
// Helpers shared by the codec tests: tones to write, outside tools to check the
// files with (sox, soxi, flac, mpg123), and measurements of decoded audio.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "audio/sound_sink.h"

namespace vocarta::test {

// Interleaved frames of a sine of `hz` at `amplitude` on every channel.
inline std::vector<float> Tone(double hz, double amplitude, uint32_t rate, unsigned channels,
                               uint64_t frames, uint64_t startFrame = 0) {
    std::vector<float> out(frames * channels);
    for (uint64_t f = 0; f < frames; ++f) {
        float v = float(amplitude * std::sin(2 * M_PI * hz * double(f + startFrame) / rate));
        for (unsigned c = 0; c < channels; ++c) out[f * channels + c] = v;
    }
    return out;
}

// Writes `seconds` of a tone through `sink` in buffers of 4410 frames, as the
// recorder would.
inline bool WriteTone(LSoundSinkBase& sink, double hz, double amplitude, double seconds) {
    const uint64_t total = uint64_t(seconds * sink.SampleRate());
    const uint64_t chunk = 4410;
    for (uint64_t at = 0; at < total; at += chunk) {
        uint64_t n = std::min(chunk, total - at);
        auto frames = Tone(hz, amplitude, sink.SampleRate(), sink.Channels(), n, at);
        if (sink.Write(frames.data(), n) != int64_t(n)) return false;
    }
    return true;
}

struct ToolResult {
    int status = -1;  // exit code; 127 when the program could not be started
    std::string out;  // standard output, and standard error when merged
};

// Runs a program with an argument vector (no shell) and collects its output.
// Without `mergeErrors` its standard error goes to the test's own.
inline ToolResult RunTool(const std::vector<std::string>& argv, bool mergeErrors = false) {
    ToolResult result;
    int out[2];
    if (pipe(out) != 0) return result;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        if (mergeErrors) dup2(out[1], 2);
        close(out[0]);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    close(out[1]);
    char buf[65536];
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) result.out.append(buf, size_t(n));
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// soxi's answer for one switch ("-r", "-c", "-s", "-b", "-e", "-B"), trimmed.
inline std::string Soxi(const std::string& sw, const std::string& path) {
    ToolResult r = RunTool({"soxi", sw, path}, true);
    while (!r.out.empty() && (r.out.back() == '\n' || r.out.back() == ' ')) r.out.pop_back();
    return r.status == 0 ? r.out : "soxi failed (" + std::to_string(r.status) + "): " + r.out;
}

// Decodes any file sox reads to interleaved floats (channels as in the file).
inline std::vector<float> DecodeWithSox(const std::string& path) {
    ToolResult r =
        RunTool({"sox", "-V1", path, "-t", "raw", "-e", "floating-point", "-b", "32", "-"});
    std::vector<float> out(r.out.size() / sizeof(float));
    if (!out.empty()) std::memcpy(out.data(), r.out.data(), out.size() * sizeof(float));
    return out;
}

// mpg123's decoding (gapless, as a player gives it) as 16-bit frames turned to floats.
inline std::vector<float> DecodeWithMpg123(const std::string& path, int* status = nullptr) {
    ToolResult r = RunTool({"mpg123", "-q", "-s", path});
    if (status) *status = r.status;
    std::vector<float> out(r.out.size() / 2);
    for (size_t i = 0; i < out.size(); ++i) {
        int16_t v;
        std::memcpy(&v, r.out.data() + 2 * i, 2);
        out[i] = float(v) / 32768.0f;
    }
    return out;
}

struct ToneMeasure {
    double hz = 0;
    double peak = 0;
};

// Frequency (from rising zero crossings) and peak level of channel `channel`,
// ignoring the first and last tenth where encoders fade in and out.
inline ToneMeasure MeasureTone(const std::vector<float>& samples, unsigned channels, uint32_t rate,
                               unsigned channel = 0) {
    ToneMeasure m;
    const size_t frames = samples.size() / channels;
    const size_t from = frames / 10, to = frames - frames / 10;
    size_t first = 0, last = 0, crossings = 0;
    for (size_t f = from + 1; f < to; ++f) {
        float a = samples[(f - 1) * channels + channel], b = samples[f * channels + channel];
        m.peak = std::max(m.peak, double(std::fabs(b)));
        if (a < 0 && b >= 0) {
            if (crossings == 0) first = f;
            last = f;
            ++crossings;
        }
    }
    if (crossings > 1) m.hz = double(crossings - 1) * rate / double(last - first);
    return m;
}

}  // namespace vocarta::test
