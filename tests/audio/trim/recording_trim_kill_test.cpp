// A trim killed with SIGKILL at any moment leaves either the original recording
// or the complete trimmed one, never anything in between; the next trim of the
// folder removes what the killed one left behind.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <random>
#include <thread>

#include "audio/trim/recording_trim.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

constexpr int kRounds = 30;

int CountTempFiles(const std::string& folder) {
    auto names = test::FilesIn(folder);
    return int(std::count_if(names.begin(), names.end(),
                             [](const std::string& n) { return n.starts_with(".vctrim-"); }));
}

// Trims `path` in a child process, killed after `killAfter` unless it is zero.
// Returns the time it ran.
std::chrono::microseconds TrimInChild(const std::string& path,
                                      std::chrono::microseconds killAfter) {
    const auto start = std::chrono::steady_clock::now();
    pid_t child = fork();
    if (child == 0) {
        TrimOutcome outcome = TrimRecording(path, TrimSettings{}, RealTrimFileIo(), {});
        _exit(outcome.status == TrimStatus::Ok ? 0 : 1);
    }
    EXPECT_GT(child, 0);
    if (killAfter.count() > 0) {
        std::this_thread::sleep_for(killAfter);
        kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(killAfter.count() > 0 || (WIFEXITED(status) && WEXITSTATUS(status) == 0));
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

class RecordingTrimKill : public ::testing::TestWithParam<const char*> {};

TEST_P(RecordingTrimKill, KilledAtRandomMomentsTheRecordingSurvives) {
    test::TempDir dir;
    const std::string path = dir.File(std::string("interview") + GetParam());
    test::Signal s{2, {}};
    for (int i = 0; i < 30; ++i) s.Loud(test::Ms(1500)).Silent(test::Ms(900));
    ASSERT_TRUE(test::WriteRecording(path, s));
    const std::string original = test::ReadFile(path);

    // What a trim left alone makes of it, and the slowest of a few runs (fsync
    // times vary).
    std::chrono::microseconds full{0};
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(test::WriteFile(path, original));
        full = std::max(full, TrimInChild(path, {}));
    }
    const std::string trimmed = test::ReadFile(path);
    ASSERT_LT(trimmed.size(), original.size());

    std::mt19937 random(12345);
    std::uniform_real_distribution<double> jitter(0.0, 1.0);
    int sawOriginal = 0, sawTrimmed = 0, killedWhileWriting = 0;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(test::WriteFile(path, original));
        // Moments spread evenly over the run and a little beyond it.
        const double at = (round + jitter(random)) / kRounds * 2.0 * double(full.count());
        TrimInChild(path, std::chrono::microseconds(long(at) + 1));
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

    // Whatever the killed trims left is gone after the next one.
    ASSERT_TRUE(test::WriteFile(path, original));
    TrimInChild(path, {});
    EXPECT_EQ(test::ReadFile(path), trimmed);
    EXPECT_EQ(CountTempFiles(dir.Path()), 0);
}

INSTANTIATE_TEST_SUITE_P(Trim, RecordingTrimKill, ::testing::Values(".wav", ".flac"),
                         [](const auto& info) { return std::string(info.param + 1); });

}  // namespace
}  // namespace vocarta
