// Settings store throughput: writes per second (each one rewrites the
// preferences file and fsyncs it before returning) and reads per second, with
// preferences files of a few sizes. Runs in a temporary XDG_CONFIG_HOME, never
// in the user's own.

#include <benchmark/benchmark.h>
#include <ftw.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "settings/file_preferences_store.h"
#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/paths.h"

using namespace vocarta;

namespace {

// Gives the domain exactly `keys` settings of typical length, as a long-used
// installation has them, written in one go rather than key by key.
void Populate(int keys) {
    std::map<std::string, std::string> values;
    for (int i = 0; i < keys; ++i)
        values["Section" + std::to_string(i % 9) + "/Key" + std::to_string(i)] =
            "/home/user/Music/Recordings/value-" + std::to_string(i);
    std::string path = JoinPath(AppConfigDir(), std::string(kAppDomain) + ".conf");
    MakeDirs(AppConfigDir());
    if (!LFile::WriteAtomically(path, FilePreferencesStore::Serialize(values, "bench"), 0600))
        std::abort();
}

void BM_SetSettingString(benchmark::State& state) {
    Populate(int(state.range(0)));
    int n = 0;
    for (auto _ : state) {
        // A new value each time: writing the stored value again is skipped.
        bool ok = SetSettingString("Bench", "Counter", std::to_string(++n));
        if (!ok) state.SkipWithError("SetSettingString failed");
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_GetSettingString(benchmark::State& state) {
    Populate(int(state.range(0)));
    SetSettingString("Bench", "Counter", "1");
    std::string out;
    for (auto _ : state) {
        GetSettingString("Bench", "Counter", "", out);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
}

// A read right after a write: the file has changed, so the read parses it again.
void BM_WriteThenRead(benchmark::State& state) {
    Populate(int(state.range(0)));
    int n = 0;
    std::string out;
    for (auto _ : state) {
        SetSettingInt("Bench", "Counter", ++n);
        benchmark::DoNotOptimize(GetSettingInt("Bench", "Counter", 0));
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_SetSettingString)
    ->Arg(10)
    ->Arg(200)
    ->Arg(2000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_GetSettingString)
    ->Arg(10)
    ->Arg(200)
    ->Arg(2000)
    ->Unit(benchmark::kNanosecond)
    ->UseRealTime();
BENCHMARK(BM_WriteThenRead)->Arg(200)->Unit(benchmark::kMicrosecond)->UseRealTime();

int main(int argc, char** argv) {
    char folder[] = "/tmp/vocarta-bench-XXXXXX";
    if (!mkdtemp(folder)) {
        std::perror("mkdtemp");
        return 1;
    }
    setenv("XDG_CONFIG_HOME", folder, 1);
    setenv("XDG_DATA_HOME", folder, 1);  // the error log, if anything fails
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    nftw(
        folder, [](const char* p, const struct stat*, int, struct FTW*) { return std::remove(p); },
        16, FTW_DEPTH | FTW_PHYS);
    return 0;
}
