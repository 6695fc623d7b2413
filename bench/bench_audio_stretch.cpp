// Time-stretching for playback at a speed: SoundTouch against Rubber Band (its
// faster and finer engines) on the same sound, and the player's own path
// (decoded 44.1 kHz recording -> 22.05 kHz -> stretched).
//
// Cost: CPU time of the stretch alone, scaled to one hour of input, at 50% and
// 150%. Quality: a 440 Hz tone is stretched and the output fitted to the best
// sine at the frequency found by zero crossings; "pitch_hz" is that frequency
// (440 when the pitch is kept) and "residual_db" the power left after taking
// the sine away, against the sine's own (lower is cleaner).
//
//   bench_audio_stretch [--benchmark_filter=...]      (bench/stretch-compare.sh)
//   VOCARTA_STRETCH_SECONDS=N sets the length of the costed sound (default 600).

#include <benchmark/benchmark.h>
#include <rubberband/RubberBandStretcher.h>
#include <soundtouch/SoundTouch.h>
#include <sys/resource.h>

#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "audio/playback/memory_source.h"
#include "audio/playback/speed_change_source.h"

namespace vocarta {
namespace {

constexpr uint32_t kRate = 22050;
constexpr size_t kBlock = 4096;

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double CostedSeconds() {
    const char* text = std::getenv("VOCARTA_STRETCH_SECONDS");
    return text ? std::max(1.0, std::atof(text)) : 600.0;
}

// Voice-like test sound: harmonics of a gliding 120-180 Hz fundamental, its
// loudness rising and falling about four times a second.
std::vector<float> VoiceLike(double seconds, uint32_t rate) {
    std::vector<float> out(size_t(seconds * rate));
    double phase = 0;
    for (size_t i = 0; i < out.size(); ++i) {
        double t = double(i) / rate;
        double f0 = 150 + 30 * std::sin(2 * std::numbers::pi * 0.7 * t);
        phase += 2 * std::numbers::pi * f0 / rate;
        double v = 0;
        for (int h = 1; h <= 12; ++h) v += std::sin(h * phase) / h;
        out[i] = float(0.2 * v * (0.55 + 0.45 * std::sin(2 * std::numbers::pi * 4.1 * t)));
    }
    return out;
}

std::vector<float> Sine(double frequency, double seconds) {
    std::vector<float> out(size_t(seconds * kRate));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = float(0.5 * std::sin(2 * std::numbers::pi * frequency * double(i) / kRate));
    return out;
}

// Mono stretchers behind one shape: Put a block, Take what is ready, Finish.
struct Stretcher {
    virtual ~Stretcher() = default;
    virtual void Put(const float* in, size_t frames) = 0;
    virtual void Finish() = 0;
    virtual size_t Take(float* out, size_t frames) = 0;
};

struct TouchStretcher : Stretcher {
    soundtouch::SoundTouch touch;
    explicit TouchStretcher(double speed) {
        touch.setSampleRate(kRate);
        touch.setChannels(1);
        touch.setTempo(speed);
    }
    void Put(const float* in, size_t frames) override { touch.putSamples(in, uint32_t(frames)); }
    void Finish() override { touch.flush(); }
    size_t Take(float* out, size_t frames) override {
        return touch.receiveSamples(out, uint32_t(frames));
    }
};

struct BandStretcher : Stretcher {
    RubberBand::RubberBandStretcher band;
    size_t skip;
    BandStretcher(double speed, bool finer)
        : band(kRate, 1,
               RubberBand::RubberBandStretcher::OptionProcessRealTime |
                   (finer ? RubberBand::RubberBandStretcher::OptionEngineFiner
                          : RubberBand::RubberBandStretcher::OptionEngineFaster),
               1.0 / speed) {
        // Real-time mode takes at most the declared block per call, wants its
        // start pad fed and its start delay dropped.
        band.setMaxProcessSize(kBlock);
        std::vector<float> pad(band.getPreferredStartPad(), 0.0f);
        const float* channels[1] = {pad.data()};
        if (!pad.empty()) band.process(channels, pad.size(), false);
        skip = band.getStartDelay();
    }
    void Put(const float* in, size_t frames) override {
        for (size_t done = 0; done < frames;) {
            size_t n = std::min(frames - done, kBlock);
            const float* channels[1] = {in + done};
            band.process(channels, n, false);
            done += n;
        }
    }
    void Finish() override {
        const float* channels[1] = {nullptr};
        band.process(channels, 0, true);
    }
    size_t Take(float* out, size_t frames) override {
        int ready = band.available();
        if (ready <= 0) return 0;
        float* channels[1] = {out};
        size_t got = band.retrieve(channels, std::min(frames, size_t(ready)));
        size_t drop = std::min(got, skip);
        skip -= drop;
        std::copy(out + drop, out + got, out);
        return got - drop;
    }
};

std::unique_ptr<Stretcher> Make(int kind, double speed) {
    if (kind == 0) return std::make_unique<TouchStretcher>(speed);
    return std::make_unique<BandStretcher>(speed, kind == 2);
}

std::vector<float> Stretch(int kind, double speed, const std::vector<float>& in) {
    auto s = Make(kind, speed);
    std::vector<float> out, block(kBlock);
    for (size_t at = 0; at < in.size(); at += kBlock) {
        s->Put(in.data() + at, std::min(kBlock, in.size() - at));
        while (size_t got = s->Take(block.data(), kBlock))
            out.insert(out.end(), block.begin(), block.begin() + got);
    }
    s->Finish();
    while (size_t got = s->Take(block.data(), kBlock))
        out.insert(out.end(), block.begin(), block.begin() + got);
    return out;
}

// Frequency by zero crossings over the steady middle, and the power left in
// 50 ms windows after the best 440 Hz sine of each window is taken away
// (phase jumps, smearing and other tones all count), against the sine's own.
void ToneQuality(const std::vector<float>& s, double* pitch, double* residualDb) {
    size_t from = s.size() / 5, to = s.size() - s.size() / 5;
    int crossings = 0;
    for (size_t i = from + 1; i < to; ++i) crossings += (s[i - 1] < 0) != (s[i] < 0);
    *pitch = crossings / 2.0 / (double(to - from) / kRate);
    const size_t window = kRate / 20;
    double left = 0, kept = 0;
    for (size_t at = from; at + window <= to; at += window) {
        double re = 0, im = 0, total = 0;
        for (size_t i = at; i < at + window; ++i) {
            double ph = 2 * std::numbers::pi * 440.0 * double(i) / kRate;
            re += s[i] * std::cos(ph);
            im += s[i] * std::sin(ph);
            total += double(s[i]) * s[i];
        }
        double sine = 2 * (re * re + im * im) / double(window);
        kept += sine;
        left += std::max(total - sine, 0.0);
    }
    *residualDb = 10 * std::log10(std::max(left, 1e-12) / kept);
}

// kind: 0 SoundTouch, 1 Rubber Band faster engine, 2 Rubber Band finer engine.
void BM_Stretch(benchmark::State& state) {
    const int kind = int(state.range(0));
    const double speed = double(state.range(1)) / 100.0;
    const double seconds = CostedSeconds();
    static const std::vector<float> voice = VoiceLike(CostedSeconds(), kRate);
    double cpu = 0;
    size_t outFrames = 0;
    for (auto _ : state) {
        double before = CpuSeconds();
        std::vector<float> out = Stretch(kind, speed, voice);
        cpu += CpuSeconds() - before;
        outFrames = out.size();
    }
    double pitch = 0, residual = 0;
    ToneQuality(Stretch(kind, speed, Sine(440, 10)), &pitch, &residual);
    state.SetLabel(kind == 0 ? "SoundTouch" : kind == 1 ? "RubberBand faster" : "RubberBand finer");
    state.counters["cpu_s_per_hour"] = cpu * 3600.0 / (seconds * double(state.iterations()));
    state.counters["length_ratio"] = double(outFrames) / double(voice.size());
    state.counters["pitch_hz"] = pitch;
    state.counters["residual_db"] = residual;
}
BENCHMARK(BM_Stretch)
    ->ArgsProduct({{0, 1, 2}, {50, 150}})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

// The player's path: a 44.1 kHz mono recording converted to 22.05 kHz and
// stretched, read the way the feeder reads it.
void BM_SpeedChangeSource(benchmark::State& state) {
    const int speed = int(state.range(0));
    const double seconds = CostedSeconds();
    static const std::vector<float> voice = VoiceLike(CostedSeconds(), 44100);
    std::vector<float> block(kBlock);
    double cpu = 0;
    for (auto _ : state) {
        double before = CpuSeconds();
        LSoundSource source =
            MakeSpeedChangeSource(LSoundSource(MakeMemorySource(voice, 44100, 1)), speed).Value();
        while (source->Read(block.data(), kBlock) > 0) {
        }
        cpu += CpuSeconds() - before;
    }
    state.counters["cpu_s_per_hour"] = cpu * 3600.0 / (seconds * double(state.iterations()));
}
BENCHMARK(BM_SpeedChangeSource)
    ->Arg(50)
    ->Arg(150)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

}  // namespace
}  // namespace vocarta

BENCHMARK_MAIN();
