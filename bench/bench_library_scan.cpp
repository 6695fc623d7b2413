// The recordings list over a folder of 10,000 recordings (a quarter each WAV,
// MP3, AIFF and FLAC, 0.25 s of mono 44.1 kHz written by the program's own
// sinks, then copied under new names):
//   BM_ListWarmCache  a restart of the window: the cache file read, the folder
//                     listed, nothing decoded (target: under 100 ms);
//   BM_ScanCold       no cache: every file opened by its decoder for its length
//                     and format;
//   BM_SoxiCold       `soxi -D` over the same files in the same run, started
//                     with argument vectors of 1,000 paths, output discarded.
// The files sit in the page cache for all three (written just before).
// VOCARTA_BENCH_FILES changes the count (default 10000).

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/codecs/recording_spec.h"
#include "audio/codecs/sink_factory.h"
#include "library/recordings_scan.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

extern char** environ;

using namespace vocarta;

namespace {

int FileCount() {
    const char* text = std::getenv("VOCARTA_BENCH_FILES");
    const int n = text ? std::atoi(text) : 10000;
    return n > 0 ? n : 10000;
}

struct BenchFolder {
    std::string folder;
    std::string cacheFile;
    std::vector<std::string> paths;

    BenchFolder() {
        const char* tmp = std::getenv("TMPDIR");
        folder = JoinPath(tmp && *tmp ? tmp : "/tmp",
                          StringPrintf("vocarta-bench-library-%d", getpid()));
        std::filesystem::create_directories(folder);
        cacheFile = JoinPath(folder, "cache/durations.cache");
        std::vector<std::string> templates;
        for (const char* ext : kRecordingExtensions) {
            const std::string path = JoinPath(folder, std::string("template") + ext);
            auto sink =
                OpenRecordingSink(LoadRecordingSpec(OutputFormatFromPath(path).value()), path);
            if (!sink) std::abort();
            std::vector<float> samples(44100 / 4);
            for (size_t i = 0; i < samples.size(); ++i)
                samples[i] = 0.3f * std::sin(float(i) * 0.05f);
            sink.Value()->SetFormat(44100, 1);
            sink.Value()->Write(samples.data(), samples.size());
            sink.Value()->Close();
            templates.push_back(path);
        }
        const std::string sub = JoinPath(folder, "list");
        std::filesystem::create_directories(sub);
        for (int i = 0; i < FileCount(); ++i) {
            const std::string& from = templates[size_t(i) % templates.size()];
            const std::string to =
                JoinPath(sub, StringPrintf("take%05d%s", i, Extension(from).c_str()));
            std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
            paths.push_back(to);
        }
        folder = sub;
        // The warm cache a previous run of the window left.
        DurationCache cache(cacheFile);
        SentIndex sent;
        ScanFolder(folder, ViewFilter{}, RowOrder{}, cache, sent);
        if (!cache.Save()) std::abort();
    }
    ~BenchFolder() { std::filesystem::remove_all(DirName(folder)); }
};

BenchFolder& Folder() {
    static BenchFolder folder;
    return folder;
}

void BM_ListWarmCache(benchmark::State& state) {
    BenchFolder& f = Folder();
    SentIndex sent;
    size_t rows = 0, decoded = 0;
    for (auto _ : state) {
        DurationCache cache(f.cacheFile);
        cache.Load();
        sent.Load(JoinPath(f.folder, "no-send-log"));
        rows = ScanFolder(f.folder, ViewFilter{}, RowOrder{}, cache, sent).rows.size();
        decoded = cache.Decoded();
    }
    state.counters["rows"] = double(rows);
    state.counters["decoded"] = double(decoded);
}

void BM_ScanCold(benchmark::State& state) {
    BenchFolder& f = Folder();
    SentIndex sent;
    size_t rows = 0;
    for (auto _ : state) {
        DurationCache cache(JoinPath(f.folder, "unused.cache"));
        rows = ScanFolder(f.folder, ViewFilter{}, RowOrder{}, cache, sent).rows.size();
    }
    state.counters["rows"] = double(rows);
}

void BM_SoxiCold(benchmark::State& state) {
    BenchFolder& f = Folder();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (auto _ : state) {
        for (size_t start = 0; start < f.paths.size(); start += 1000) {
            std::vector<char*> argv = {const_cast<char*>("soxi"), const_cast<char*>("-D")};
            for (size_t i = start; i < std::min(f.paths.size(), start + 1000); ++i)
                argv.push_back(f.paths[i].data());
            argv.push_back(nullptr);
            pid_t pid = 0;
            if (posix_spawnp(&pid, "soxi", &actions, nullptr, argv.data(), environ) != 0) {
                state.SkipWithError("soxi cannot be started (Debian: sox, libsox-fmt-mp3)");
                return;
            }
            int status = 0;
            waitpid(pid, &status, 0);
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                state.SkipWithError("soxi failed");
                return;
            }
        }
    }
    posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

BENCHMARK(BM_ListWarmCache)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_ScanCold)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_SoxiCold)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

BENCHMARK_MAIN();
