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
//   bench_audio_capture --record SECONDS wav|mp3|drop PATH SOURCE
// records from the PulseAudio source SOURCE for SECONDS into a 48 kHz stereo
// file (WAV 16-bit, or MP3 at 192 kbps CBR; "drop" writes nothing and ignores
// PATH, to tell the sink's cost from the rest), polling whenever the recorder's
// wake-up signal says it has news (levels five times a second), so that its CPU
// time can be set beside parecord's. Before it stops it prints one line per
// thread of the process: "thread NAME CPU_MS WAKEUPS" (CPU time from the
// kernel's scheduler statistics, voluntary context switches).

#include <benchmark/benchmark.h>
#include <dirent.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
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
    DropSink() : LSoundSinkBase("drop", 48000, 2) {}
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
        recorder.Start({}, LSoundSink(sink), nullptr, 0, std::nullopt, LdBLevel(-127),
                       LSoundTime(0), LSoundTime(216000000), kRecorderKeepFirstBuffers);
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

// CPU time and voluntary context switches of every thread of this process.
void PrintThreads() {
    DIR* dir = opendir("/proc/self/task");
    if (!dir) return;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        std::string task = std::string("/proc/self/task/") + entry->d_name;
        std::ifstream commFile(task + "/comm"), schedFile(task + "/schedstat"),
            statusFile(task + "/status");
        std::string name, line;
        uint64_t cpuNs = 0, wakeups = 0;
        if (!std::getline(commFile, name) || !(schedFile >> cpuNs)) continue;
        while (std::getline(statusFile, line))
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0)
                wakeups = std::strtoull(line.c_str() + 24, nullptr, 10);
        for (char& c : name)
            if (c == ' ') c = '_';
        std::printf("thread %s %.1f %llu\n", name.c_str(), double(cpuNs) / 1e6,
                    (unsigned long long)wakeups);
    }
    closedir(dir);
}

int RecordTool(int seconds, const std::string& format, const std::string& path,
               const std::string& source) {
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
        sink = std::make_shared<DropSink>();
    else if (format == "mp3")
        sink = OpenMp3Sink(path, Mp3Settings{}, 48000, 2, &error);
    else
        sink = OpenWavSink(path, LSoundFormat(48000, 2, 16), &error);
    if (!sink) {
        std::fprintf(stderr, "cannot open %s: %s\n", path.c_str(), error.c_str());
        return 1;
    }
    auto recorder = CreateSoundRecorder();
    if (!recorder->Start({index, -1, 0}, LSoundSink(sink), nullptr, 0, std::nullopt, LdBLevel(-127),
                         LSoundTime(0), LSoundTime(216000000), kRecorderKeepFirstBuffers)) {
        std::fprintf(stderr, "cannot record: %s\n", recorder->LastErrorText().c_str());
        return 1;
    }
    using Clock = std::chrono::steady_clock;
    auto end = Clock::now() + std::chrono::seconds(seconds);
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
        recorder->WakeSignal().Wait(int(std::min<int64_t>(left, 1000)));
        recorder->Poll();
        if (recorder->State() == 0) {
            std::fprintf(stderr, "the recording ended early: %s\n",
                         recorder->LastErrorText().c_str());
            return 1;
        }
    }
    PrintThreads();
    recorder->Stop();
    return sink->Close() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--record") == 0) {
        if (argc != 6) {
            std::fprintf(stderr, "usage: %s --record SECONDS wav|mp3 PATH SOURCE\n", argv[0]);
            return 2;
        }
        return RecordTool(std::atoi(argv[2]), argv[3], argv[4], argv[5]);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
