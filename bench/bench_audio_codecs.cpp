// Throughput of the MP3, FLAC and AIFF sinks on 44.1 kHz stereo float frames,
// side by side with the lame and flac command-line encoders at the same
// settings on the same audio, in the same run.
//
// Each run encodes VOCARTA_BENCH_MINUTES (default 10) minutes of audio: a
// 10-second deterministic signal (three tones and noise) repeated. The counter
// x_realtime is seconds of audio encoded per second of wall time; one hour takes
// 3600 / x_realtime seconds. The CLI encoders read the same signal from a WAV
// file (32-bit float for lame, 16-bit for flac, which takes no float input).
//
//   MP3:  the default record (CBR 192 kbps, high quality = LAME -q 2, stereo)
//         vs `lame --silent -b 192 -q 2 -m s in.wav out.mp3`
//   FLAC: 16 bits, level 5 vs `flac -s -f -5 -o out.flac in16.wav`

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/wav/wav_sink.h"

using namespace vocarta;

namespace {

constexpr uint32_t kRate = 44100;
constexpr uint64_t kBlockFrames = 10 * kRate;  // the repeated 10-second signal
constexpr uint64_t kChunkFrames = 4410;        // what the recorder hands a sink

uint64_t TotalFrames() {
    const char* minutes = std::getenv("VOCARTA_BENCH_MINUTES");
    int m = minutes ? std::atoi(minutes) : 10;
    return uint64_t(m > 0 ? m : 10) * 60 * kRate;
}

const std::vector<float>& Signal() {
    static const std::vector<float> signal = [] {
        std::vector<float> s(kBlockFrames * 2);
        std::mt19937 random(1);
        std::normal_distribution<float> noise(0, 0.02f);
        for (uint64_t f = 0; f < kBlockFrames; ++f) {
            double t = double(f) / kRate;
            double v = 0.3 * std::sin(2 * M_PI * 220 * t) + 0.2 * std::sin(2 * M_PI * 1375 * t) +
                       0.1 * std::sin(2 * M_PI * 5012 * t * (1 + 0.1 * std::sin(t)));
            s[2 * f] = float(v) + noise(random);
            s[2 * f + 1] = float(0.8 * v) + noise(random);
        }
        return s;
    }();
    return signal;
}

std::string BenchDir() {
    static const std::string dir = [] {
        char tmpl[] = "/tmp/vocarta-bench-codecs-XXXXXX";
        return std::string(mkdtemp(tmpl) ? tmpl : "/tmp");
    }();
    return dir;
}

bool Feed(LSoundSinkBase& sink) {
    const std::vector<float>& s = Signal();
    const uint64_t total = TotalFrames();
    for (uint64_t at = 0; at < total;) {
        uint64_t offset = at % kBlockFrames;
        uint64_t n = std::min({kChunkFrames, total - at, kBlockFrames - offset});
        if (sink.Write(s.data() + offset * 2, n) != int64_t(n)) return false;
        at += n;
    }
    return sink.Close();
}

// The same audio as a WAV file for the command-line encoders (written once).
std::string InputWav(uint16_t tag, uint16_t bits) {
    std::string path = BenchDir() + "/in" + std::to_string(bits) + ".wav";
    if (access(path.c_str(), F_OK) == 0) return path;
    LSoundFormat format(kRate, 2, bits);
    format.formatTag = tag;
    format.blockAlign = uint16_t(2 * bits / 8);
    format.avgBytesPerSec = kRate * format.blockAlign;
    std::string error;
    auto sink = OpenWavSink(path, format, &error);
    if (!sink || !Feed(*sink))
        std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), error.c_str());
    return path;
}

// Runs a program and adds the processor time it used to `cpuSeconds`.
int Run(const std::vector<std::string>& argv, double& cpuSeconds) {
    pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    cpuSeconds += double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                  double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

double ProcessCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// x_realtime: audio seconds per wall second; x_cpu: audio seconds per second of
// processor time (ours, or the command-line encoder's), which a busy machine
// disturbs less.
void Report(benchmark::State& state, double cpuSeconds) {
    double audio = double(TotalFrames()) / kRate * double(state.iterations());
    state.counters["x_realtime"] = benchmark::Counter(audio, benchmark::Counter::kIsRate);
    state.counters["x_cpu"] = cpuSeconds > 0 ? audio / cpuSeconds : 0;
}

void BM_Mp3Sink(benchmark::State& state) {
    Mp3Settings settings;  // CBR 192, high quality, stereo
    double start = ProcessCpuSeconds();
    for (auto _ : state) {
        std::string error;
        auto sink = OpenMp3Sink(BenchDir() + "/sink.mp3", settings, kRate, 2, &error);
        if (!sink || !Feed(*sink))
            state.SkipWithError(error.empty() ? "write failed" : error.c_str());
    }
    Report(state, ProcessCpuSeconds() - start);
}

void BM_LameCli(benchmark::State& state) {
    std::string in = InputWav(kWaveFormatIeeeFloat, 32);
    double cpu = 0;
    for (auto _ : state)
        if (Run({"lame", "--silent", "-b", "192", "-q", "2", "-m", "s", in,
                 BenchDir() + "/cli.mp3"},
                cpu) != 0)
            state.SkipWithError("lame failed (is the lame package installed?)");
    Report(state, cpu);
}

void BM_FlacSink(benchmark::State& state) {
    FlacSettings settings;  // 16 bits, level 5
    double start = ProcessCpuSeconds();
    for (auto _ : state) {
        std::string error;
        auto sink = OpenFlacSink(BenchDir() + "/sink.flac", settings, kRate, 2, &error);
        if (!sink || !Feed(*sink))
            state.SkipWithError(error.empty() ? "write failed" : error.c_str());
    }
    Report(state, ProcessCpuSeconds() - start);
}

void BM_FlacCli(benchmark::State& state) {
    std::string in = InputWav(kWaveFormatPcm, 16);
    double cpu = 0;
    for (auto _ : state)
        if (Run({"flac", "-s", "-f", "-5", "-o", BenchDir() + "/cli.flac", in}, cpu) != 0)
            state.SkipWithError("flac failed (is the flac package installed?)");
    Report(state, cpu);
}

void BM_AiffSink16(benchmark::State& state) {
    double start = ProcessCpuSeconds();
    for (auto _ : state) {
        std::string error;
        auto sink = OpenAiffSink(BenchDir() + "/sink.aiff", AiffEncoding::Pcm16, kRate, 2, &error);
        if (!sink || !Feed(*sink))
            state.SkipWithError(error.empty() ? "write failed" : error.c_str());
    }
    Report(state, ProcessCpuSeconds() - start);
}

// Run with --benchmark_enable_random_interleaving=true so that a load change on
// a shared machine hits both sides alike.
BENCHMARK(BM_Mp3Sink)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(5);
BENCHMARK(BM_LameCli)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(5);
BENCHMARK(BM_FlacSink)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(5);
BENCHMARK(BM_FlacCli)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(5);
BENCHMARK(BM_AiffSink16)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1)->Repetitions(5);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (const char* name :
         {"sink.mp3", "cli.mp3", "sink.flac", "cli.flac", "sink.aiff", "in32.wav", "in16.wav"})
        unlink((BenchDir() + "/" + name).c_str());
    rmdir(BenchDir().c_str());
    return 0;
}
