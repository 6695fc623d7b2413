#include "toolkit/lfile.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <numeric>

#include "support/temp_dir.h"
#include "toolkit/process_helpers.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// A child that holds a flock of `kind` on `path` until the parent closes the
// pipe (or dies).
struct LockHolder {
    TestPipe ready, release;
    pid_t pid = -1;

    LockHolder(const std::string& path, int kind) {
        pid = ForkChild([&] {
            release.CloseWrite();
            LFile file;
            if (!file.Open(path, LFile::Mode::OpenOrCreate) || flock(file.Descriptor(), kind) != 0)
                return 1;
            ready.Send("L");
            release.ReceiveByte();  // returns when the parent closes its end
            return 0;
        });
        release.CloseRead();
        ready.CloseWrite();
    }
    bool Locked() { return ready.ReceiveByte() == 'L'; }
    int Release() {
        release.CloseWrite();
        return WaitChild(pid);
    }
};

}  // namespace

TEST(LFile, LockWaitSleepsTheWholeScheduleAndReadersShareButKeepWritersOut) {
    EXPECT_EQ(LFile::LockWaitSchedule(5000), (std::vector<int>{157, 314, 628, 1256, 2512}));
    EXPECT_EQ(LFile::LockWaitSchedule(10000), (std::vector<int>{313, 626, 1252, 2504, 5008}));
    EXPECT_EQ(LFile::LockWaitSchedule(0), std::vector<int>{});
    TempDir dir;
    std::string path = dir.File("locked");
    LFile reader, writer;
    {
        LockHolder holder(path, LOCK_EX);
        ASSERT_TRUE(holder.Locked());
        ASSERT_TRUE(writer.Open(path, LFile::Mode::ReadWrite));
        std::vector<int> sleeps = LFile::LockWaitSchedule(500);
        auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(writer.LockWait(LFile::LockKind::Exclusive, 500));
        // Giving up early would turn a busy file into a failed save.
        EXPECT_GE(std::chrono::steady_clock::now() - start,
                  std::chrono::milliseconds(std::accumulate(sleeps.begin(), sleeps.end(), 0)));
        EXPECT_FALSE(writer.LockWait(LFile::LockKind::Shared, 40))
            << "a reader got in past a writer";
        EXPECT_EQ(holder.Release(), 0);
        EXPECT_TRUE(writer.LockWait(LFile::LockKind::Exclusive, 5000));
        writer.Unlock();
    }
    LockHolder holder(path, LOCK_SH);
    ASSERT_TRUE(holder.Locked());
    ASSERT_TRUE(reader.Open(path, LFile::Mode::Read));
    // A limit of 0 allows one try and no sleep: the reader must get in at once.
    EXPECT_TRUE(reader.LockWait(LFile::LockKind::Shared, 0)) << "the reader had to wait";
    EXPECT_FALSE(writer.LockWait(LFile::LockKind::Exclusive, 100));
    reader.Unlock();
    EXPECT_FALSE(writer.LockWait(LFile::LockKind::Exclusive, 100)) << "the other reader holds it";
    EXPECT_EQ(holder.Release(), 0);
    EXPECT_TRUE(writer.LockWait(LFile::LockKind::Exclusive, 5000));
}

TEST(LFile, WriteAtomicallyReplacesWholeFilesAndLeavesNoTemporaries) {
    TempDir dir;
    std::string path = dir.File("prefs.conf"), text;
    ASSERT_TRUE(LFile::WriteAtomically(path, "old", 0600));
    ASSERT_TRUE(LFile::WriteAtomically(path, std::string(100000, 'n'), 0640));
    EXPECT_TRUE(LFile::ReadAll(path, text) && text == std::string(100000, 'n'));
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
    // A folder that does not exist: refused, nothing half-made.
    EXPECT_FALSE(LFile::WriteAtomically(dir.File("missing/x"), "y"));
    auto entries = std::filesystem::directory_iterator(dir.Path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "a temporary file was left";
    EXPECT_TRUE(!LFile::ReadAll(dir.File("absent"), text) &&
                LFile::GetFileSizeBytes64(dir.File("absent")) == -1);
    LFile exclusive;
    EXPECT_FALSE(exclusive.Open(path, LFile::Mode::CreateExclusive));
}
