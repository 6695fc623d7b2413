#pragma once
// Audio helpers for the tests of every audio folder: tones to write, the outside
// programs that check our files (sox, soxi, flac, mpg123) run with an argument
// vector, and measurements of what they decode. A missing program fails the test.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

namespace vocarta::test {

// Interleaved frames of a sine of `hz` at `amplitude`, the same on every channel;
// `startFrame` continues an earlier call without a jump.
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
// recorder does.
inline bool WriteTone(LSoundSinkBase& sink, double hz, double amplitude, double seconds) {
    const uint64_t total = uint64_t(seconds * sink.SampleRate());
    for (uint64_t at = 0; at < total; at += 4410) {
        uint64_t n = std::min<uint64_t>(4410, total - at);
        auto frames = Tone(hz, amplitude, sink.SampleRate(), sink.Channels(), n, at);
        if (sink.Write(frames.data(), n) != int64_t(n)) return false;
    }
    return true;
}

struct ToolResult {
    int status = -1;  // exit code; 127 when the program could not be started
    std::string out;  // standard output, and standard error when merged
};

// Runs a program (no shell) and collects its output. Without `mergeErrors` its
// standard error goes to the test's own.
inline ToolResult RunTool(const std::vector<std::string>& argv, bool mergeErrors = false) {
    ToolResult result;
    int out[2];
    if (pipe(out) != 0) return result;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        if (mergeErrors) dup2(out[1], 2);
        close(out[0]);
        close(out[1]);
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

// Runs a program the test needs and expects it to succeed; its output.
inline std::string Tool(const std::vector<std::string>& argv, bool mergeErrors = true) {
    ToolResult r = RunTool(argv, mergeErrors);
    EXPECT_NE(r.status, 127) << argv[0]
                             << " is not installed (scripts/install-deps.sh --with-tests)";
    EXPECT_EQ(r.status, 0) << argv[0] << " failed on " << argv.back() << ": " << r.out;
    return r.out;
}

// soxi's answer for one switch ("-r", "-c", "-s", "-b", "-e", "-B"), trimmed.
inline std::string Soxi(const std::string& sw, const std::string& path) {
    std::string out = Tool({"soxi", sw, path});
    while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
    return out;
}

// Interleaved floats as a player gets them: mpg123 for MP3 (gapless), sox for
// everything else.
inline std::vector<float> Decode(const std::string& path) {
    std::string raw = path.ends_with(".mp3")
                          ? Tool({"mpg123", "-q", "-e", "f32", "-s", path}, false)
                          : Tool({"sox", "-V1", path, "-t", "f32", "-"}, false);
    std::vector<float> out(raw.size() / sizeof(float));
    if (!out.empty()) std::memcpy(out.data(), raw.data(), out.size() * sizeof(float));
    return out;
}

// Reads a source to its end in reads of `block` frames; the frames read, or -1
// at an error. Bounded, so a decoder that never ends fails instead of hanging.
inline int64_t ReadToEnd(LSoundSourceBase& source, std::vector<float>* out = nullptr,
                         uint64_t block = 4096) {
    std::vector<float> buf(block * source.Channels());
    int64_t total = 0;
    for (int i = 0; i < 100000; ++i) {
        int64_t n = source.Read(buf.data(), block);
        if (n <= 0) return n < 0 ? -1 : total;
        total += n;
        if (out) out->insert(out->end(), buf.begin(), buf.begin() + n * source.Channels());
    }
    ADD_FAILURE() << "the source never reached an end";
    return total;
}

// Every sample of a source that must read without an error.
inline std::vector<float> ReadAll(LSoundSourceBase& source, uint64_t block = 4096) {
    std::vector<float> out;
    EXPECT_GE(ReadToEnd(source, &out, block), 0) << source.LastError();
    return out;
}

struct ToneMeasure {
    double hz = 0;
    double peak = 0;
    double rms = 0;
};

// Frequency (from rising zero crossings), peak and RMS level of one channel,
// leaving out the first and last tenth where encoders fade in and out.
inline ToneMeasure MeasureTone(const std::vector<float>& samples, unsigned channels, uint32_t rate,
                               unsigned channel = 0) {
    ToneMeasure m;
    const size_t frames = samples.size() / channels;
    const size_t from = frames / 10, to = frames - frames / 10;
    size_t first = 0, last = 0, crossings = 0;
    double sum = 0;
    for (size_t f = from + 1; f < to; ++f) {
        float a = samples[(f - 1) * channels + channel], b = samples[f * channels + channel];
        m.peak = std::max(m.peak, double(std::fabs(b)));
        sum += double(b) * b;
        if (a < 0 && b >= 0) {
            if (crossings++ == 0) first = f;
            last = f;
        }
    }
    if (crossings > 1) m.hz = double(crossings - 1) * rate / double(last - first);
    if (to > from + 1) m.rms = std::sqrt(sum / double(to - from - 1));
    return m;
}

}  // namespace vocarta::test
