// Throughput of each WAV sink on one hour of 44.1 kHz stereo float frames,
// written to a file under /tmp, as the recorder hands them over (4410 frames a
// Write). The counter x_realtime is seconds of audio written per second of wall
// time; the target for 16-bit PCM is 300.
//
// VOCARTA_BENCH_MINUTES changes the length (default 60). The signal is a
// 10-second block of two tones and noise, repeated. Each run ends with Close
// (the header rewritten); the "_fsync" run also waits for the data to reach the
// disk, the others leave it in the page cache as a recording does.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "audio/wav/wav_sink.h"

using namespace vocarta;

namespace {

constexpr uint32_t kRate = 44100;
constexpr uint64_t kBlockFrames = 10 * kRate;
constexpr uint64_t kChunkFrames = 4410;

uint64_t TotalFrames() {
    const char* minutes = std::getenv("VOCARTA_BENCH_MINUTES");
    int m = minutes ? std::atoi(minutes) : 60;
    return uint64_t(m > 0 ? m : 60) * 60 * kRate;
}

const std::vector<float>& Signal() {
    static const std::vector<float> signal = [] {
        std::vector<float> s(kBlockFrames * 2);
        std::mt19937 random(7);
        std::normal_distribution<float> noise(0, 0.01f);
        for (uint64_t f = 0; f < kBlockFrames; ++f) {
            double t = double(f) / kRate;
            double v = 0.4 * std::sin(2 * M_PI * 440 * t) + 0.2 * std::sin(2 * M_PI * 3150 * t);
            s[2 * f] = float(v) + noise(random);
            s[2 * f + 1] = float(-0.7 * v) + noise(random);
        }
        return s;
    }();
    return signal;
}

std::string BenchPath() {
    static const std::string dir = [] {
        char tmpl[] = "/tmp/vocarta-bench-wav-XXXXXX";
        return std::string(mkdtemp(tmpl) ? tmpl : "/tmp");
    }();
    return dir + "/bench.wav";
}

void BM_WavSink(benchmark::State& state, uint16_t tag, uint16_t bits, bool sync) {
    const std::vector<float>& s = Signal();
    const uint64_t total = TotalFrames();
    LSoundFormat format(kRate, 2, bits);
    format.formatTag = tag;
    double seconds = 0;
    double bytes = 0;
    for (auto _ : state) {
        const std::string path = BenchPath();
        auto start = std::chrono::steady_clock::now();
        std::string error;
        auto sink = OpenWavSink(path, format, &error);
        if (!sink) {
            state.SkipWithError(error.c_str());
            return;
        }
        for (uint64_t at = 0; at < total;) {
            uint64_t offset = at % kBlockFrames;
            uint64_t n = std::min({kChunkFrames, total - at, kBlockFrames - offset});
            if (sink->Write(s.data() + offset * 2, n) != int64_t(n)) {
                state.SkipWithError(sink->LastError().c_str());
                return;
            }
            at += n;
        }
        sink->Close();
        if (sync) {
            int fd = open(path.c_str(), O_RDONLY);
            if (fd >= 0) {
                fsync(fd);
                close(fd);
            }
        }
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        struct stat st {};
        if (stat(path.c_str(), &st) == 0) bytes = double(st.st_size);
        unlink(path.c_str());
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["x_realtime"] = double(total) / kRate / seconds;
    state.counters["file_MB"] = bytes / 1e6;
    state.counters["MB_per_s"] = bytes / 1e6 / seconds;
    state.counters["maxrss_MB"] = double(usage.ru_maxrss) / 1024;
}

}  // namespace

#define WAV_BENCH(name, tag, bits, sync)                 \
    BENCHMARK_CAPTURE(BM_WavSink, name, tag, bits, sync) \
        ->Iterations(1)                                  \
        ->UseManualTime()                                \
        ->Unit(benchmark::kSecond)

WAV_BENCH(pcm8, 1, 8, false);
WAV_BENCH(pcm16, 1, 16, false);
WAV_BENCH(pcm16_fsync, 1, 16, true);
WAV_BENCH(pcm24, 1, 24, false);
WAV_BENCH(pcm32, 1, 32, false);
WAV_BENCH(float32, 3, 32, false);
WAV_BENCH(alaw, 6, 8, false);
WAV_BENCH(mulaw, 7, 8, false);
WAV_BENCH(gsm610, 49, 0, false);

BENCHMARK_MAIN();
