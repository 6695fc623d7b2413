// The recorder's own cost.
//
// As a benchmark: BM_RecorderPipeline runs the whole worker (ring hand-over,
// conversion, gain, metering, sink write) on 60 s of 48 kHz stereo from the
// simulated layer as fast as it goes, into a sink that drops the frames; the
// counter x_realtime is seconds of sound per second of wall time.
//
// BM_BufferWork is the worker's per-sample work on one 100 ms buffer of 48 kHz
// stereo: the callback's copy into the ring, the conversion with gain and the
// peak metering (the ring's 40 buffers in turn, as in a recording).
//
// As a tool for bench/capture-recorder.sh:
//   bench_audio_capture --record wav|mp3|drop PATH SOURCE [--rate HZ] [--quiet]
// records from the PulseAudio source SOURCE into a stereo file at HZ (default
// 48000; WAV 16-bit, or MP3 at 192 kbps CBR; "drop" writes nothing and ignores
// PATH, to tell the sink's cost from the rest) until SIGINT or SIGTERM, polling
// whenever the recorder's wake-up signal says it has news, as the program's main
// loop does: levels five times a second, or with --quiet (nothing shows the
// levels) the time once a second.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "audio/capture/capture_ring.h"
#include "audio/capture/device_list.h"
#include "audio/capture/level_meter.h"
#include "audio/capture/simulated/simulated_recorder.h"
#include "audio/capture/sound_recorder.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/sound_format.h"
#include "audio/wav/wav_sink.h"

using namespace vocarta;

namespace {

class DropSink : public LSoundSinkBase {
  public:
    explicit DropSink(uint32_t rate = 48000) : LSoundSinkBase("drop", rate, 2) {}
    int64_t Write(const float*, uint64_t frames) override {
        framesWritten_ += frames;
        return int64_t(frames);
    }
    bool Close() override { return true; }
};

void BM_RecorderPipeline(benchmark::State& state) {
    const uint64_t seconds = 60;
    for (auto _ : state) {
        LSimulatedSoundRecorder recorder;
        LSimulationConfig config;
        config.mode = LSimulationMode::Free;
        config.generator = std::make_shared<LSineGenerator>(440.0, 0.5);
        recorder.Capture().Configure(config);
        auto sink = std::make_shared<DropSink>();
        recorder.Start({.options = kRecorderKeepFirstBuffers}, LSoundSink(sink), nullptr);
        while (recorder.Position().Milliseconds() < int64_t(seconds * 1000)) {
            recorder.Poll();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        recorder.Stop();
    }
    state.counters["x_realtime"] = benchmark::Counter(double(seconds) * double(state.iterations()),
                                                      benchmark::Counter::kIsRate);
}
BENCHMARK(BM_RecorderPipeline)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void BM_BufferWork(benchmark::State& state) {
    constexpr uint32_t kRate = 48000;
    constexpr uint32_t kFrames = kRate / 10;
    LCaptureRing ring;
    if (!ring.Allocate(BufferCountFor(kFrames, kRate), kFrames, 2)) {
        state.SkipWithError("no memory for the ring");
        return;
    }
    std::vector<int32_t> captured(kFrames * 2);
    for (uint32_t f = 0; f < kFrames; ++f)
        captured[2 * f] = captured[2 * f + 1] =
            int32_t(1e9 * std::sin(2 * 3.14159265358979 * 440.0 * f / kRate));
    std::vector<float> work(kFrames * 2);
    LSignalObject stop;
    LLevels levels;
    for (auto _ : state) {
        ring.Append(captured.data(), kFrames);
        ring.Read(work.data(), stop, 0.8f, false);
        MeasureLevels(work.data(), kFrames, 2, levels);
        benchmark::DoNotOptimize(levels);
    }
}
BENCHMARK(BM_BufferWork)->Unit(benchmark::kMicrosecond);

LSignalObject* g_interrupted = nullptr;

void OnInterrupt(int) {
    g_interrupted->Set();  // a lock-free flag and a write(): safe in a handler
}

int RecordTool(const std::string& format, const std::string& path, const std::string& source,
               uint32_t rate, bool quiet) {
    auto list = LSoundDeviceList::QueryInputs();
    int index = list.IndexOfName(source);
    if (index < 0) {
        std::fprintf(stderr, "no input device named %s (%s)\n", source.c_str(),
                     list.Error().c_str());
        return 1;
    }
    std::string error;
    std::shared_ptr<LSoundSinkBase> sink;
    if (format == "drop")
        sink = std::make_shared<DropSink>(rate);
    else if (format == "mp3")
        sink = OpenMp3Sink(path, Mp3Settings{}, rate, 2, &error);
    else
        sink = OpenWavSink(path, LSoundFormat(rate, 2, 16), &error);
    if (!sink) {
        std::fprintf(stderr, "cannot open %s: %s\n", path.c_str(), error.c_str());
        return 1;
    }
    static LSignalObject interrupted;
    g_interrupted = &interrupted;
    std::signal(SIGINT, &OnInterrupt);
    std::signal(SIGTERM, &OnInterrupt);
    auto recorder = CreateSoundRecorder();
    recorder->SetLevelsWanted(!quiet);
    if (!recorder->Start({.device = {index, -1, 0}, .options = kRecorderKeepFirstBuffers},
                         LSoundSink(sink), nullptr)) {
        std::fprintf(stderr, "cannot record: %s\n", recorder->LastErrorText().c_str());
        return 1;
    }
    while (recorder->WakeSignal().WaitEither(interrupted, -1) == 0) {
        recorder->Poll();
        if (recorder->State() == LRecorderState::kStopped) {
            std::fprintf(stderr, "the recording ended early: %s\n",
                         recorder->LastErrorText().c_str());
            return 1;
        }
    }
    recorder->Stop();
    return sink->Close() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--record") == 0) {
        uint32_t rate = 48000;
        bool quiet = false;
        std::vector<std::string> words;
        for (int i = 2; i < argc; ++i) {
            if (std::strcmp(argv[i], "--quiet") == 0)
                quiet = true;
            else if (std::strcmp(argv[i], "--rate") == 0 && i + 1 < argc)
                rate = uint32_t(std::strtoul(argv[++i], nullptr, 10));
            else
                words.push_back(argv[i]);
        }
        if (words.size() != 3 || rate < 8000 || rate > 192000) {
            std::fprintf(stderr,
                         "usage: %s --record wav|mp3|drop PATH SOURCE [--rate HZ] [--quiet]\n",
                         argv[0]);
            return 2;
        }
        return RecordTool(words[0], words[1], words[2], rate, quiet);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
