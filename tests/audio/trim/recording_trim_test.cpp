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
        EXPECT_EQ(outcome.status, TrimStatus::Failed);
        EXPECT_EQ(outcome.section, section);
        EXPECT_EQ(outcome.tag, tag);
        EXPECT_EQ(GetSettingString("UsageStats", "LastFailed"), section);
        EXPECT_EQ(GetSettingString("UsageStats", "LastFailedReason"), tag);
        ExpectUntouched(outcome);
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
    TrimProgress progress;
    progress.passStarted = [&](const char* text) { passes.push_back(text); };
    TrimOutcome outcome = TrimRecording(path_, settings_, RealTrimFileIo(), progress);
    ASSERT_EQ(outcome.status, TrimStatus::Ok) << outcome.error;
    EXPECT_TRUE(outcome.replaced);
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimPeakText, kTrimSearchText, kTrimRemoveText}));

    Signal trimmed = test::ReadRecording(path_);
    EXPECT_EQ(trimmed.channels, 2u);
    EXPECT_EQ(test::RunsOf(trimmed.samples, 2, 0.001f),
              test::StretchRuns("L1000 S400 L1000 S400 L300"));
    EXPECT_EQ(outcome.framesBefore, Ms(5300));
    EXPECT_EQ(outcome.framesAfter, Ms(3100));

    struct stat st {};
    ASSERT_EQ(stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);  // still dated when it was recorded
    EXPECT_EQ(test::FilesIn(dir_.Path()), std::vector<std::string>{"take 1.wav"});

    // Nothing left to cut: the file is not rewritten at all.
    ASSERT_EQ(stat(path_.c_str(), &st), 0);
    outcome = TrimRecording(path_, settings_, RealTrimFileIo(), {});
    EXPECT_EQ(outcome.status, TrimStatus::Ok);
    EXPECT_FALSE(outcome.replaced);
    struct stat after {};
    ASSERT_EQ(stat(path_.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, st.st_ino);

    // Nor is an empty one.
    ASSERT_TRUE(test::WriteRecording(path_, Signal{2, {}}));
    original_ = test::ReadFile(path_);
    outcome = TrimRecording(path_, settings_, RealTrimFileIo(), {});
    EXPECT_EQ(outcome.status, TrimStatus::Ok);
    ExpectUntouched(outcome);
}

TEST_F(RecordingTrimTest, FailuresWhileOpening) {
    // Not audio the decoder knows.
    ASSERT_TRUE(test::WriteFile(path_, "RIF"));
    original_ = "RIF";
    ExpectFailure(TrimRecording(path_, settings_, RealTrimFileIo(), {}), "TrimSilence",
                  "OpenSourceFailed");

    // Decoded, but the file itself cannot be opened (it is gone).
    TrimFileIo io = RealTrimFileIo();
    const std::string gone = dir_.File("gone.wav");
    io.openSource = [](const std::string&, std::string&) {
        return LSoundSource(std::make_shared<test::MemorySource>(Signal{1, {0, 0, 0}}));
    };
    TrimOutcome outcome = TrimRecording(gone, settings_, io, {});
    EXPECT_EQ(outcome.status, TrimStatus::Failed);
    EXPECT_EQ(outcome.section, "TrimSilence");
    EXPECT_EQ(outcome.tag, "OpenFileFailed");
}

TEST_F(RecordingTrimTest, FailuresOfTheTrimItself) {
    // The recording cannot be read to the end (a damaged file).
    TrimFileIo io = RealTrimFileIo();
    std::shared_ptr<test::MemorySource> memory;
    auto openMemory = [&](uint64_t failReadAt) {
        return [&, failReadAt](const std::string& path, std::string&) {
            memory = std::make_shared<test::MemorySource>(test::ReadRecording(path));
            memory->failReadAt = failReadAt;
            return LSoundSource(memory);
        };
    };
    io.openSource = openMemory(Ms(2500));
    ExpectFailure(TrimRecording(path_, settings_, io, {}), "TrimSilnce", "CutListFailed");

    // Readable for the search, but not when the edited audio is read back.
    io.openSource = openMemory(UINT64_MAX);
    TrimProgress breakAtRemoval;
    breakAtRemoval.passStarted = [&](const char* text) {
        if (std::string(text) == kTrimRemoveText) memory->failSeek = true;
    };
    ExpectFailure(TrimRecording(path_, settings_, io, breakAtRemoval), "TrimSilnce",
                  "OpenTrimmedSourceFailed");
    breakAtRemoval.passStarted = [&](const char* text) {
        if (std::string(text) == kTrimRemoveText) memory->failReadAt = Ms(2000);
    };
    ExpectFailure(TrimRecording(path_, settings_, io, breakAtRemoval), "TrimSilnce",
                  "OpenTrimmedSourceFailed");

    // A disk that fills up half way through the new file.
    signal(SIGXFSZ, SIG_IGN);  // over the limit, write() fails instead of killing us
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit full{original_.size() / 2, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    TrimOutcome outcome = TrimRecording(path_, settings_, RealTrimFileIo(), {});
    setrlimit(RLIMIT_FSIZE, &old);
    ExpectFailure(outcome, "TrimSilnce", "OpenTrimmedSinkFailed");
}

TEST_F(RecordingTrimTest, ARecordingReplacedMeanwhileIsNotOverwritten) {
    // The user saved another file over the recording while it was being trimmed.
    TrimProgress progress;
    progress.passStarted = [&](const char* text) {
        if (std::string(text) != kTrimRemoveText) return;
        ASSERT_TRUE(test::WriteRecording(dir_.File("new.wav"), Signal{1, {0.25f}}));
        ASSERT_EQ(rename(dir_.File("new.wav").c_str(), path_.c_str()), 0);
        original_ = test::ReadFile(path_);
    };
    ExpectFailure(TrimRecording(path_, settings_, RealTrimFileIo(), progress), "TrimSilnce",
                  "OpenFileFailed");
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
        TrimOutcome outcome = TrimRecording(path_, settings_, RealTrimFileIo(), progress);
        EXPECT_EQ(outcome.status, TrimStatus::Cancelled) << cancelAt;
        ExpectUntouched(outcome);
    }
    TrimProgress atOnce;
    atOnce.cancelRequested = [] { return true; };
    ExpectUntouched(TrimRecording(path_, settings_, RealTrimFileIo(), atOnce));
}

TEST_F(RecordingTrimTest, LeftoversOfAKilledTrimAreRemovedNextTime) {
    const std::string leftover = dir_.File(".vctrim-Ab12Cd.wav");
    const std::string live = dir_.File(".vctrim-Xy34Zw.wav");
    ASSERT_TRUE(test::WriteFile(leftover, "half a file"));
    ASSERT_TRUE(test::WriteFile(live, "being written"));
    ASSERT_TRUE(test::WriteFile(dir_.File(".vctrim"), "not ours"));
    int liveFd = open(live.c_str(), O_RDONLY);
    ASSERT_EQ(flock(liveFd, LOCK_EX), 0);  // another trim is writing this one

    TrimOutcome outcome = TrimRecording(path_, settings_, RealTrimFileIo(), {});
    EXPECT_EQ(outcome.status, TrimStatus::Ok);
    EXPECT_EQ(test::FilesIn(dir_.Path()),
              (std::vector<std::string>{".vctrim", ".vctrim-Xy34Zw.wav", "take 1.wav"}));
    close(liveFd);
    EXPECT_EQ(SweepStaleTrimFiles(dir_.Path()), 1);
}

}  // namespace
}  // namespace vocarta
