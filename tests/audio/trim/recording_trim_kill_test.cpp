// A trim killed with SIGKILL at any moment leaves either the original recording
// or the complete trimmed one, never anything in between; the next trim of the
// folder removes what the killed one left behind.

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>

#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/trim/recording_trim.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

using test::Ms;
using test::Signal;

constexpr int kRounds = 30;

int CountTempFiles(const std::string& folder) {
    int count = 0;
    DIR* dir = opendir(folder.c_str());
    while (dirent* e = readdir(dir)) count += std::string(e->d_name).rfind(".vctrim-", 0) == 0;
    closedir(dir);
    return count;
}

bool IsRaw(const std::string& path) {
    return path.size() > 4 && path.substr(path.size() - 4) == ".raw";
}

// Starts a trim of `path` in a child process; kills it after `delay` (unless it
// finished first). Returns the time it ran.
std::chrono::microseconds TrimInChild(const std::string& path, std::chrono::microseconds delay,
                                      bool kill) {
    const auto start = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child == 0) {
        const TrimFileIo io = IsRaw(path) ? test::RawFileIo() : RealTrimFileIo();
        TrimOutcome outcome = TrimRecording(path, TrimSettings{}, io, {});
        _exit(outcome.status == TrimStatus::Ok ? 0 : 1);
    }
    EXPECT_GT(child, 0);
    if (kill) {
        std::this_thread::sleep_for(delay);
        ::kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!kill) {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

bool WriteRecording(const std::string& path, const Signal& s) {
    if (IsRaw(path)) return test::WriteRawFile(path, s);
    std::string error;
    auto sink = OpenRecordingSink(OutputFormatFromPath(path), path, &error);
    EXPECT_TRUE(sink) << error;
    return sink && sink->SetFormat(test::kRate, uint8_t(s.channels)) &&
           sink->Write(s.samples.data(), s.Frames()) == int64_t(s.Frames()) && sink->Close();
}

class RecordingTrimKill : public ::testing::TestWithParam<const char*> {};

TEST_P(RecordingTrimKill, KilledAtRandomMomentsTheRecordingSurvives) {
    test::TempDir dir;
    const std::string path = dir.File(std::string("interview") + GetParam());
    Signal s;
    s.channels = 2;
    for (int i = 0; i < 30; ++i) s.Loud(Ms(1500)).Silent(Ms(900));
    ASSERT_TRUE(WriteRecording(path, s));
    const std::string original = test::ReadFile(path);

    // What a trim that is left alone makes of it, and how long it takes.
    const std::string reference = dir.File(std::string("reference") + GetParam());
    ASSERT_TRUE(test::WriteFile(reference, original));
    std::chrono::microseconds full{0};
    for (int i = 0; i < 3; ++i) {  // the slowest of a few runs: fsync times vary
        ASSERT_TRUE(test::WriteFile(reference, original));
        full = std::max(full, TrimInChild(reference, {}, false));
    }
    const std::string trimmed = test::ReadFile(reference);
    ASSERT_LT(trimmed.size(), original.size());
    ASSERT_EQ(unlink(reference.c_str()), 0);

    std::mt19937 random(12345);
    int sawOriginal = 0, sawTrimmed = 0, killedWhileWriting = 0;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(test::WriteFile(path, original));
        // Random moments spread evenly over the run and a little beyond it.
        std::uniform_real_distribution<double> jitter(0.0, 1.0);
        const double at = (round + jitter(random)) / kRounds * 2.0 * double(full.count());
        TrimInChild(path, std::chrono::microseconds(long(at)), true);
        const std::string now = test::ReadFile(path);
        ASSERT_TRUE(now == original || now == trimmed)
            << "round " << round << ": the recording is neither the original nor the trimmed file ("
            << now.size() << " bytes)";
        (now == original ? sawOriginal : sawTrimmed)++;
        killedWhileWriting += CountTempFiles(dir.Path()) > 0;
    }
    // Kills landed before, during and after the writing of the new file.
    EXPECT_GT(sawOriginal, 0);
    EXPECT_GT(sawTrimmed, 0);
    EXPECT_GT(killedWhileWriting, 0);
    std::printf("original %d, trimmed %d, killed while writing %d\n", sawOriginal, sawTrimmed,
                killedWhileWriting);

    // Whatever the killed trims left is gone after the next one.
    ASSERT_TRUE(test::WriteFile(path, original));
    TrimInChild(path, {}, false);
    EXPECT_EQ(test::ReadFile(path), trimmed);
    EXPECT_EQ(CountTempFiles(dir.Path()), 0);
}

// Raw float files test the replacement alone; WAV and FLAC add the real sinks.
INSTANTIATE_TEST_SUITE_P(Trim, RecordingTrimKill, ::testing::Values(".raw", ".wav", ".flac"),
                         [](const auto& info) { return std::string(info.param + 1); });

}  // namespace
}  // namespace vocarta
