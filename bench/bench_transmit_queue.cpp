// The cost of handing a finished recording to the send queue (what the
// after-recording step pays for each file), and the mirror copy for
// bench/mirror-copy.sh:
//   bench_transmit_queue                          the Google benchmarks
//   bench_transmit_queue --mirror-copy FILE DIR   copies FILE into DIR as the
//                                                 folder method does; prints
//                                                 the seconds it took
// Runs in a temporary XDG_CONFIG_HOME and XDG_DATA_HOME, never in the user's.

#include <benchmark/benchmark.h>
#include <ftw.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "toolkit/lfile.h"
#include "toolkit/paths.h"
#include "transmit/mirror_copy.h"
#include "transmit/send_queue_file.h"
#include "transmit/transmit_thread.h"

using namespace vocarta;

namespace {

std::string g_folder;

// One second of 8 kHz mono silence, as a WAV file.
std::string Recording() {
    const std::string path = JoinPath(g_folder, "take.wav");
    std::string wav(44 + 16000, '\0');
    const unsigned char header[44] = {'R', 'I', 'F',  'F',  0xa4, 0x3e, 0,    0,    'W',  'A', 'V',
                                      'E', 'f', 'm',  't',  ' ',  16,   0,    0,    0,    1,   0,
                                      1,   0,   0x40, 0x1f, 0,    0,    0x80, 0x3e, 0,    0,   2,
                                      0,   16,  0,    'd',  'a',  't',  'a',  0x80, 0x3e, 0,   0};
    std::copy(std::begin(header), std::end(header), wav.begin());
    if (!LFile::WriteAtomically(path, wav)) std::abort();
    return path;
}

class SilentUi final : public TransmitUi {
  public:
    bool AskYesNo(const std::string&, const std::string&) override { return true; }
    void ShowMessage(const std::string&, const std::string&) override {}
    void SetTitle(const std::string&) override {}
    void RestoreTitle() override {}
    void SetStatus(const std::string&) override {}
    void SetProgress(double) override {}
};

void ReportMedian(benchmark::State& state, std::vector<double>& micros) {
    std::sort(micros.begin(), micros.end());
    if (micros.empty()) return;
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}

// Enqueue as the session calls it: the file checks, the locked append, and
// starting the send thread when it is idle. The thread drains the queue on
// another core meanwhile (no method is enabled), as it would while recording.
void BM_Enqueue(benchmark::State& state) {
    const std::string recording = Recording();
    const std::string queue = JoinPath(g_folder, "bgsend.lst");
    SilentUi ui;
    TransmitThread thread(ui, TransmitDispatcher(std::vector<std::unique_ptr<TransmitMethod>>{}),
                          queue);
    std::vector<double> micros;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!thread.Enqueue(recording)) state.SkipWithError("Enqueue failed");
        micros.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    thread.WaitIdle(60000);
    ReportMedian(state, micros);
}

// The append alone, to a queue already holding range(0) records.
void BM_QueueAppend(benchmark::State& state) {
    const std::string queue = JoinPath(g_folder, "append.lst");
    SendQueueFile file(queue);
    file.Delete();
    const TransmitRecord record{Recording(), 1};
    for (int64_t i = 0; i < state.range(0); ++i)
        if (!file.Append(record)) std::abort();
    std::vector<double> micros;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!file.Append(record)) state.SkipWithError("Append failed");
        micros.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    file.Delete();
    ReportMedian(state, micros);
}

int MirrorCopy(const std::string& source, const std::string& folder) {
    const auto start = std::chrono::steady_clock::now();
    const LStatus copied = CopyIntoFolder(source, folder, BaseName(source));
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!copied) {
        std::fprintf(stderr, "%s\n", copied.Error().Message().c_str());
        return 1;
    }
    std::printf("%.3f\n", seconds);
    return 0;
}

}  // namespace

BENCHMARK(BM_Enqueue)->Unit(benchmark::kMicrosecond)->UseRealTime()->Iterations(2000);
BENCHMARK(BM_QueueAppend)
    ->Arg(0)
    ->Arg(100)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime()
    ->Iterations(2000);

int main(int argc, char** argv) {
    char folder[] = "/tmp/vocarta-bench-XXXXXX";
    if (!mkdtemp(folder)) {
        std::perror("mkdtemp");
        return 1;
    }
    g_folder = folder;
    setenv("XDG_CONFIG_HOME", folder, 1);
    setenv("XDG_DATA_HOME", folder, 1);
    setenv("XDG_STATE_HOME", folder, 1);
    int status = 0;
    if (argc == 4 && std::string(argv[1]) == "--mirror-copy") {
        status = MirrorCopy(argv[2], argv[3]);
    } else {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
    }
    nftw(
        folder, [](const char* p, const struct stat*, int, struct FTW*) { return std::remove(p); },
        16, FTW_DEPTH | FTW_PHYS);
    return status;
}
