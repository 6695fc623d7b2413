// Silence trimming: the search and removal passes on in-memory audio, and (with
// --trim-file PATH) one after-recording trim of a real file, which
// bench/trim-wav-hour.sh times against SoX.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "audio/trim/edit_list.h"
#include "audio/trim/recording_trim.h"
#include "audio/trim/silence_search.h"

namespace vocarta {
namespace {

constexpr uint32_t kRate = 44100;

// Stereo speech-like audio: 2.6 s of tone, then a pause of 0.15, 0.6 or 1.4 s
// with a faint noise floor.
class PatternSource : public LSoundSourceBase {
  public:
    explicit PatternSource(uint64_t seconds) {
        sampleRate_ = kRate;
        channels_ = 2;
        totalFrames_ = seconds * kRate;
        const double pauses[] = {0.15, 0.6, 1.4};
        for (int i = 0; samples_.size() / 2 < totalFrames_; ++i) {
            for (uint64_t f = 0; f < uint64_t(2.6 * kRate); ++f) Push(0.5f * std::sin(f * 0.06));
            for (uint64_t f = 0; f < uint64_t(pauses[i % 3] * kRate); ++f)
                Push(0.001f * float((f * 7919) % 200 - 100) / 100.0f);
        }
        samples_.resize(totalFrames_ * 2);
    }
    int64_t Read(float* out, uint64_t frames) override {
        const uint64_t n = std::min(frames, totalFrames_ - position_);
        std::memcpy(out, samples_.data() + position_ * 2, n * 2 * sizeof(float));
        position_ += n;
        return int64_t(n);
    }
    bool Seek(uint64_t frame) override {
        position_ = std::min(frame, totalFrames_);
        return true;
    }

  private:
    void Push(float s) {
        samples_.push_back(s);
        samples_.push_back(s);
    }
    std::vector<float> samples_;
    uint64_t position_ = 0;
};

void BM_SearchForSilence(benchmark::State& state) {
    PatternSource source(60);
    TrimSettings settings;
    for (auto _ : state) {
        CutList cuts;
        std::string error;
        BuildCutList(source, settings, {}, cuts, error);
        benchmark::DoNotOptimize(cuts.regions.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(source.TotalFrames()) * 8);
    state.counters["audio_s_per_s"] =
        benchmark::Counter(double(state.iterations()) * 60.0, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_SearchForSilence)->Unit(benchmark::kMillisecond);

// The removal pass and the reading of the kept audio, for a long recording's
// number of pauses.
void BM_RemoveSilence(benchmark::State& state) {
    auto source = std::make_shared<PatternSource>(1);
    const uint64_t regions = uint64_t(state.range(0));
    CutList cuts;
    cuts.totalFrames = regions * kRate;
    for (uint64_t i = 0; i < regions; ++i)
        cuts.regions.push_back({i * kRate + 1000, i * kRate + 40000, 17640});
    for (auto _ : state) {
        LEditList edit(LSoundSource(source), cuts.totalFrames);
        std::string error;
        RemoveSilence(cuts, edit, {}, error);
        benchmark::DoNotOptimize(edit.Length());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(regions));
}
BENCHMARK(BM_RemoveSilence)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

int TrimOneFile(const char* path) {
    TrimOutcome outcome = TrimAfterRecording(path, {});
    if (outcome.status != TrimStatus::Ok) {
        std::fprintf(stderr, "%s %s: %s\n", outcome.section.c_str(), outcome.tag.c_str(),
                     outcome.error.c_str());
        return 1;
    }
    std::printf("frames before %llu, after %llu\n", (unsigned long long)outcome.framesBefore,
                (unsigned long long)outcome.framesAfter);
    return 0;
}

}  // namespace
}  // namespace vocarta

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--trim-file") == 0) return vocarta::TrimOneFile(argv[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
