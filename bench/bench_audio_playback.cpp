// Playback's cost. Two uses:
//   bench_audio_playback                 Google Benchmark: the player (feeder
//                                        thread, ring, null output clock) playing
//                                        10 s of 44.1 kHz stereo in real time;
//                                        reports process CPU per minute of sound.
//   bench_audio_playback --play FILE     plays FILE on the sound server and ends
//                                        (for bench/playback-cpu.sh, which times it
//                                        against paplay).

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

#include "audio/playback/memory_source.h"
#include "audio/playback/recording_playback.h"
#include "audio/playback/sound_player.h"

namespace vocarta {
namespace {

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void WaitForEnd(LSoundPlayer& player) {
    while (!player.HasEnded()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

void BM_PlayNull(benchmark::State& state) {
    constexpr uint32_t kRate = 44100;
    const double seconds = double(state.range(0));
    std::vector<float> samples(size_t(seconds * kRate) * 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            0.3f * float(std::sin(2.0 * 3.141592653589793 * 440.0 * double(i / 2) / kRate));
    auto player = CreateNullSoundPlayer(LPlaybackRole::Media);
    double cpu = 0;
    for (auto _ : state) {
        LSoundSource source(MakeMemorySource(samples, kRate, 2));
        double before = ProcessCpuSeconds();
        if (!player->Play(source)) state.SkipWithError(player->LastErrorText().c_str());
        WaitForEnd(*player);
        cpu += ProcessCpuSeconds() - before;
    }
    state.counters["cpu_ms_per_min"] =
        benchmark::Counter(cpu * 1000.0 * 60.0 / (seconds * double(state.iterations())));
}
BENCHMARK(BM_PlayNull)->Arg(10)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

int PlayFile(const char* path) {
    auto player = CreateSoundPlayer();
    std::string error;
    if (!PlayRecordingFile(*player, path, &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    WaitForEnd(*player);
    if (player->HasFailed()) {
        std::fprintf(stderr, "%s\n", player->LastErrorText().c_str());
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace vocarta

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--play") == 0) return vocarta::PlayFile(argv[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
