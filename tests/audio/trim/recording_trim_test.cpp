// Trimming a recording on disk: the file is replaced only by a complete trimmed
// file, and every failure or cancellation leaves the recording byte for byte as
// it was, records its (section, tag) and leaves no temporary file behind.

#include "audio/trim/recording_trim.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/trim/trim_temp_file.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

using test::Ms;
using test::Runs;
using test::Signal;

class RecordingTrimTest : public ::testing::Test {
  protected:
    void SetUp() override {
        path_ = dir_.File("take 1.wav");
        ASSERT_TRUE(test::WriteRecording(path_, test::SignalOf("L1000 S1000 L1000 S2000 L300", 2)));
        original_ = test::ReadFile(path_);
    }
    // The recording must be exactly what it was, and alone in its folder.
    void ExpectUntouched(const TrimOutcome& outcome) {
        EXPECT_FALSE(outcome.replaced);
        EXPECT_EQ(test::ReadFile(path_), original_);
        EXPECT_EQ(test::FilesIn(dir_.Path()), std::vector<std::string>{"take 1.wav"});
    }
    void ExpectFailure(const TrimOutcome& outcome, const char* section, const char* tag) {
        EXPECT_EQ(std::make_tuple(outcome.status, outcome.section, outcome.tag,
                                  GetSettingString("UsageStats", "LastFailed"),
                                  GetSettingString("UsageStats", "LastFailedReason")),
                  std::make_tuple(TrimStatus::Failed, section, tag, section, tag));
        ExpectUntouched(outcome);
    }
    TrimOutcome Trim(const TrimProgress& progress = {}, const TrimFileIo& io = RealTrimFileIo()) {
        return TrimRecording(path_, settings_, io, progress);
    }
    // Progress that calls `f` with the name of each pass as it starts.
    static TrimProgress OnPass(std::function<void(const std::string&)> f) {
        TrimProgress progress;
        progress.passStarted = [f](const char* text) { f(text); };
        return progress;
    }

    test::TempDir dir_;
    std::string path_;
    std::string original_;
    TrimSettings settings_;
};

TEST_F(RecordingTrimTest, ReplacesTheRecordingOnlyWhenSomethingIsCut) {
    ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
    struct timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path_.c_str(), old, 0), 0);

    std::vector<std::string> passes;
    TrimOutcome outcome = Trim(OnPass([&](const std::string& text) { passes.push_back(text); }));
    EXPECT_EQ(std::make_tuple(outcome.status, outcome.replaced, outcome.framesBefore,
                              outcome.framesAfter),
              std::make_tuple(TrimStatus::Ok, true, Ms(5300), Ms(3100)));
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimPeakText, kTrimSearchText, kTrimRemoveText}));
    Signal trimmed = test::ReadRecording(path_);
    EXPECT_EQ(test::RunsOf(trimmed.samples, trimmed.channels, 0.001f),
              test::StretchRuns("L1000 S400 L1000 S400 L300"));

    struct stat st {};
    ASSERT_EQ(stat(path_.c_str(), &st), 0);
    // Still dated when it was recorded.
    EXPECT_EQ(std::make_tuple(st.st_mode & 07777, st.st_mtim.tv_sec),
              std::make_tuple(0640u, 1000000000l));
    EXPECT_EQ(test::FilesIn(dir_.Path()), std::vector<std::string>{"take 1.wav"});

    // Nothing left to cut: the file is not rewritten at all.
    outcome = Trim();
    struct stat after {};
    ASSERT_EQ(stat(path_.c_str(), &after), 0);
    EXPECT_EQ(std::make_tuple(outcome.status, outcome.replaced, after.st_ino),
              std::make_tuple(TrimStatus::Ok, false, st.st_ino));

    // Nor is an empty one.
    ASSERT_TRUE(test::WriteRecording(path_, Signal{2, {}}));
    original_ = test::ReadFile(path_);
    outcome = Trim();
    EXPECT_EQ(outcome.status, TrimStatus::Ok);
    ExpectUntouched(outcome);
}

TEST_F(RecordingTrimTest, FailuresLeaveTheRecordingAndSayWhere) {
    // Not audio the decoder knows.
    ASSERT_TRUE(test::WriteFile(path_, "RIF"));
    original_ = "RIF";
    ExpectFailure(Trim(), "TrimSilence", "OpenSourceFailed");

    // Decoded, but the file itself cannot be opened (it is gone).
    TrimFileIo io = RealTrimFileIo();
    const std::string gone = dir_.File("gone.wav");
    io.openSource = [](const std::string&, std::string&) {
        return LSoundSource(std::make_shared<test::MemorySource>(Signal{1, {0, 0, 0}}));
    };
    TrimOutcome outcome = TrimRecording(gone, settings_, io, {});
    EXPECT_EQ(std::make_tuple(outcome.status, outcome.section, outcome.tag),
              std::make_tuple(TrimStatus::Failed, "TrimSilence", "OpenFileFailed"));

    // The recording cannot be read to the end (a damaged file).
    ASSERT_TRUE(test::WriteRecording(path_, test::SignalOf("L1000 S1000 L1000 S2000 L300", 2)));
    original_ = test::ReadFile(path_);
    std::shared_ptr<test::MemorySource> memory;
    auto openMemory = [&](uint64_t failReadAt) {
        return [&, failReadAt](const std::string& path, std::string&) {
            memory = std::make_shared<test::MemorySource>(test::ReadRecording(path));
            memory->failReadAt = failReadAt;
            return LSoundSource(memory);
        };
    };
    io.openSource = openMemory(Ms(2500));
    ExpectFailure(Trim({}, io), "TrimSilnce", "CutListFailed");

    // Readable for the search, but not when the edited audio is read back.
    io.openSource = openMemory(UINT64_MAX);
    for (bool seek : {true, false})
        ExpectFailure(Trim(OnPass([&](const std::string& text) {
                               if (text != kTrimRemoveText) return;
                               (seek ? memory->failSeek = true : memory->failReadAt = Ms(2000));
                           }),
                           io),
                      "TrimSilnce", "OpenTrimmedSourceFailed");

    // A disk that fills up half way through the new file.
    signal(SIGXFSZ, SIG_IGN);  // over the limit, write() fails instead of killing us
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit full{original_.size() / 2, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    outcome = Trim();
    setrlimit(RLIMIT_FSIZE, &old);
    ExpectFailure(outcome, "TrimSilnce", "OpenTrimmedSinkFailed");

    // The user saved another file over the recording while it was being trimmed.
    auto replace = OnPass([&](const std::string& text) {
        if (text != kTrimRemoveText) return;
        test::WriteRecording(dir_.File("new.wav"), Signal{1, {0.25f}});
        rename(dir_.File("new.wav").c_str(), path_.c_str());
        original_ = test::ReadFile(path_);
    });
    ExpectFailure(Trim(replace), "TrimSilnce", "OpenFileFailed");
}

TEST_F(RecordingTrimTest, CancellingAnyStepLeavesTheRecording) {
    // Cancel at the n-th progress report of the removal, which covers the
    // region edits and then the writing of the new file.
    for (int cancelAt : {1, 2, 3, 5, 8}) {
        int reports = 0;
        bool removing = false;
        TrimProgress progress;
        progress.passStarted = [&](const char* text) {
            removing = text == std::string(kTrimRemoveText);
        };
        progress.progress = [&](double) { reports += removing; };
        progress.cancelRequested = [&] { return reports >= cancelAt; };
        TrimOutcome outcome = Trim(progress);
        EXPECT_EQ(outcome.status, TrimStatus::Cancelled) << cancelAt;
        ExpectUntouched(outcome);
    }
    TrimProgress atOnce;
    atOnce.cancelRequested = [] { return true; };
    ExpectUntouched(Trim(atOnce));
}

TEST_F(RecordingTrimTest, LeftoversOfAKilledTrimAreRemovedNextTime) {
    const std::string leftover = dir_.File(".vctrim-Ab12Cd.wav");
    const std::string live = dir_.File(".vctrim-Xy34Zw.wav");
    ASSERT_TRUE(test::WriteFile(leftover, "half a file"));
    ASSERT_TRUE(test::WriteFile(live, "being written"));
    ASSERT_TRUE(test::WriteFile(dir_.File(".vctrim"), "not ours"));
    int liveFd = open(live.c_str(), O_RDONLY);
    ASSERT_EQ(flock(liveFd, LOCK_EX), 0);  // another trim is writing this one

    EXPECT_EQ(Trim().status, TrimStatus::Ok);
    EXPECT_EQ(test::FilesIn(dir_.Path()),
              (std::vector<std::string>{".vctrim", ".vctrim-Xy34Zw.wav", "take 1.wav"}));
    close(liveFd);
    EXPECT_EQ(SweepStaleTrimFiles(dir_.Path()), 1);
}

}  // namespace
}  // namespace vocarta
