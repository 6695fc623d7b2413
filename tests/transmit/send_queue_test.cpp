// The send queue and its thread: what the file holds after each record, the
// resume rule at start-up, bad queue files, several processes at once, a
// sender killed mid-send, and stops and cancels.

#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/send_queue_file.h"
#include "transmit/transmit_thread.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Result = TransmitResult;

TransmitDispatcher Fakes(std::vector<std::string>& journal, FakeMethod::Send_ send = {}) {
    std::vector<std::unique_ptr<TransmitMethod>> methods;
    methods.push_back(std::make_unique<FakeMethod>(TransmitMethodKind::Folder, journal, send));
    return TransmitDispatcher(std::move(methods));
}

bool ErrorLogHas(const std::string& text) {
    return ReadFile(ErrorLogPath()).find(text) != std::string::npos;
}

class SendQueueTest : public ::testing::Test {
  protected:
    SendQueueTest() {
        DeleteSettingTree("Settings");
        SetSettingBool("Settings", "bPromptTransmit", false);
    }
    // A thread that takes up the queue left by an earlier run, until it is done.
    void Resume(TransmitDispatcher dispatcher) {
        TransmitThread thread(ui, std::move(dispatcher), queue);
        thread.ResumeQueue();
        EXPECT_TRUE(thread.WaitIdle(10000));
    }
    TempDir dir;
    const std::string queue = dir.File("bgsend.lst");
    FakeTransmitUi ui;
    std::vector<std::string> journal;
};

}  // namespace

TEST_F(SendQueueTest, ThreeQueuedRecordsLeaveTheRestAfterEachAndNoFileAfterTheLast) {
    std::vector<TransmitRecord> records;
    for (const char* name : {"a.wav", "b.wav", "c.wav"})
        records.push_back({Recording(dir, name), 0x1122334455667788});
    ASSERT_TRUE(WriteFile(queue, QueueBytes(0, records)));
    std::vector<std::string> seen;
    TransmitThread thread(ui,
                          Fakes(journal,
                                [&](const TransmitRecord&, TransmitContext&) {
                                    seen.push_back(ReadFile(queue));
                                    return Result::Ok;
                                }),
                          queue);
    thread.ResumeQueue();
    ASSERT_TRUE(thread.WaitIdle(10000));
    EXPECT_EQ(seen, (std::vector<std::string>{QueueBytes(1, records),  // resumed once
                                              QueueBytes(0, {records[1], records[2]}),
                                              QueueBytes(0, {records[2]})}));
    EXPECT_FALSE(FileExists(queue));
    EXPECT_EQ(journal,
              (std::vector<std::string>{"folder " + records[0].path, "folder " + records[1].path,
                                        "folder " + records[2].path}));
    EXPECT_TRUE(ui.titles.empty()) << "a record of an earlier run has no window to retitle";
    EXPECT_EQ(thread.Mode(), TransmitThread::kResumedMode);
}

TEST_F(SendQueueTest, RecordsOfThisWindowRetitleItAndProgressCountsTheWholeRun) {
    LSignalObject bothQueued;
    TransmitThread thread(ui,
                          Fakes(journal,
                                [&](const TransmitRecord&, TransmitContext& c) {
                                    bothQueued.Wait(10000);
                                    c.SetProgress(0.5);
                                    return Result::Ok;
                                }),
                          queue);
    ASSERT_TRUE(thread.Enqueue(Recording(dir, "a.wav")));
    ASSERT_TRUE(thread.Enqueue(Recording(dir, "b.wav")));
    bothQueued.Set();
    ASSERT_TRUE(thread.WaitIdle(10000));
    EXPECT_EQ(ui.progress, (std::vector<double>{0.25, 0.5, 0.75, 1.0, 0.0}));
    EXPECT_EQ(ui.titles, (std::vector<std::string>{"Vocarta Sound Recorder v 9.00", "<usual>",
                                                   "Vocarta Sound Recorder v 9.00", "<usual>"}));
    EXPECT_EQ(thread.QueuedCount() + thread.DoneCount(), 0.0);
    EXPECT_EQ(ui.statuses.back(), "");
    // Too short to keep, and too long to store whole: never queued.
    const std::string tiny = dir.File("tiny.wav");
    ASSERT_TRUE(WriteFile(tiny, std::string(1023, 'x')));
    EXPECT_EQ(thread.Enqueue(tiny).Error().Code(), LErrorCode::kInvalid);
    const std::string deep = dir.File(std::string(150, 'd'));
    ASSERT_TRUE(MakeDirs(deep));
    const std::string longPath = JoinPath(deep, std::string(100, 'n') + ".wav");
    WriteWav(longPath, 8000, 8000);
    EXPECT_EQ(thread.Enqueue(longPath).Error().Code(), LErrorCode::kInvalid);
    EXPECT_EQ(thread.Enqueue(dir.File("missing.wav")).Error().Code(), LErrorCode::kNotFound);
    EXPECT_FALSE(FileExists(queue));
}

TEST_F(SendQueueTest, StartUpResumesAQueueAtMostFailCountTimesAndDeletesOthers) {
    using R = SendQueueFile::Resume;
    SendQueueFile file(queue);
    const TransmitRecord r{Recording(dir, "a.wav"), 0};
    ASSERT_TRUE(WriteFile(queue, QueueBytes(0, {r})));
    EXPECT_EQ(file.ResumeAtStartUp(1), R::Resumed);
    EXPECT_EQ(file.ResumeAtStartUp(1), R::Resumed);
    EXPECT_EQ(ReadFile(queue), QueueBytes(2, {r}));
    EXPECT_EQ(file.ResumeAtStartUp(1), R::Deleted) << "the third start-up";
    EXPECT_FALSE(FileExists(queue));
    EXPECT_EQ(file.ResumeAtStartUp(1), R::NoQueue);

    const std::string headerless[] = {std::string("\1\0\0", 3), std::string("\2\0\0\0\20\1\0\0", 8),
                                      std::string("\1\0\0\0\0\1\0\0", 8)};
    for (const std::string& bad : headerless) {
        ASSERT_TRUE(WriteFile(queue, bad + std::string(272, 'p')));
        EXPECT_EQ(file.ResumeAtStartUp(1), R::Deleted);
        EXPECT_FALSE(FileExists(queue));
    }
    EXPECT_TRUE(ErrorLogHas("has version 2 and record size 272; deleted unsent"));
    EXPECT_TRUE(ErrorLogHas("has version 1 and record size 256; deleted unsent"));

    // {1, 2, 272} with FailCount 1: deleted at start-up without sending.
    ASSERT_TRUE(WriteFile(queue, QueueBytes(2, {r})));
    Resume(Fakes(journal));
    EXPECT_TRUE(journal.empty());
    EXPECT_FALSE(FileExists(queue));
    EXPECT_TRUE(ErrorLogHas("was resumed 2 times without sending a record (FailCount 1)"));

    SetSettingInt("Settings", "FailCount", 3);
    ASSERT_TRUE(WriteFile(queue, QueueBytes(3, {r})));
    EXPECT_EQ(file.ResumeAtStartUp(3), R::Resumed);
    EXPECT_EQ(file.ResumeAtStartUp(3), R::Deleted);
}

TEST_F(SendQueueTest, BadQueueFilesNeverCrashAndNothingOutsideTheQueueIsTouched) {
    SendQueueFile file(queue);
    const TransmitRecord good{Recording(dir, "kept.wav"), 0};
    // A cut record ends the queue; the next append drops it.
    ASSERT_TRUE(WriteFile(queue, QueueBytes(0, {good}) + std::string(100, 'x')));
    auto head = file.ReadHead();
    EXPECT_TRUE(head && DecodeTransmitRecord(head->data()) == good);
    EXPECT_TRUE(file.Append(good));
    EXPECT_EQ(ReadFile(queue), QueueBytes(0, {good, good}));
    WriteFile(queue, "abc");
    EXPECT_TRUE(file.Append(good));
    EXPECT_EQ(ReadFile(queue), QueueBytes(0, {good}));

    // A path without its terminator ends at byte 259; a record naming a missing
    // file is skipped (no length) and removed like any other.
    const std::string unterminated(272, 'x');
    EXPECT_EQ(
        DecodeTransmitRecord(reinterpret_cast<const unsigned char*>(unterminated.data())).path,
        std::string(259, 'x'));
    ASSERT_TRUE(WriteFile(queue, QueueBytes(0, {}) + unterminated +
                                     QueueBytes(0, {{dir.File("gone.wav"), 0}, good}).substr(8)));
    Resume(Fakes(journal));
    EXPECT_EQ(journal, std::vector<std::string>{"folder " + good.path});
    EXPECT_FALSE(FileExists(queue));
    EXPECT_TRUE(ErrorLogHas("the length of " + dir.File("gone.wav") + " cannot be read"));

    // A link at the queue's place goes; what it points to stays as it was.
    const std::string precious = dir.File("precious");
    ASSERT_TRUE(WriteFile(precious, QueueBytes(0, {good})));
    ASSERT_EQ(symlink(precious.c_str(), queue.c_str()), 0);
    EXPECT_EQ(file.ResumeAtStartUp(1), SendQueueFile::Resume::NoQueue);
    ASSERT_EQ(symlink(precious.c_str(), queue.c_str()), 0);
    EXPECT_TRUE(file.Append(good));
    struct stat st {};
    lstat(queue.c_str(), &st);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(ReadFile(precious), QueueBytes(0, {good}));
    EXPECT_TRUE(ErrorLogHas("is a symbolic link, not a send queue"));

    // A folder at the queue's place is left alone, with what it holds.
    unlink(queue.c_str());
    ASSERT_TRUE(MakeDirs(queue) && WriteFile(queue + "/inside", "mine"));
    EXPECT_EQ(file.Append(good).Error().Code(), LErrorCode::kInvalid);
    EXPECT_EQ(file.ResumeAtStartUp(1), SendQueueFile::Resume::NoQueue);
    EXPECT_FALSE(TransmitThread(ui, Fakes(journal), queue).Enqueue(good.path));
    Resume(Fakes(journal));
    EXPECT_EQ(ReadFile(queue + "/inside"), "mine");
}

TEST_F(SendQueueTest, TwoProcessesEnqueueingAtOnceLoseNoRecord) {
    constexpr int kEach = 30;
    std::vector<std::string> mine, theirs, expected;
    for (int i = 0; i < kEach; ++i) {
        mine.push_back(Recording(dir, "p" + std::to_string(i) + ".wav"));
        theirs.push_back(Recording(dir, "c" + std::to_string(i) + ".wav"));
        expected.insert(expected.end(), {"folder " + mine.back(), "folder " + theirs.back()});
    }
    TestPipe locked;
    const pid_t child = ForkChild([&] {
        locked.CloseRead();
        {
            LFile held;
            if (!held.Open(queue, LFile::Mode::OpenOrCreate) ||
                flock(held.Descriptor(), LOCK_EX) != 0)
                return 1;
            locked.Send("L");
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
        SendQueueFile file(queue);
        for (const std::string& path : theirs)
            if (!file.Append({path, 0})) return 2;
        return 0;
    });
    locked.CloseWrite();
    ASSERT_EQ(locked.ReceiveByte(), 'L');
    TransmitThread thread(ui, Fakes(journal), queue);
    for (const std::string& path : mine) ASSERT_TRUE(thread.Enqueue(path));
    ASSERT_EQ(WaitChild(child), 0);
    // What the other process added after this thread had finished waits in the
    // file: the next record takes it along.
    const std::string last = Recording(dir, "last.wav");
    ASSERT_TRUE(thread.Enqueue(last));
    ASSERT_TRUE(thread.WaitIdle(20000));

    expected.push_back("folder " + last);
    std::sort(expected.begin(), expected.end());
    std::sort(journal.begin(), journal.end());
    EXPECT_EQ(journal, expected);
    EXPECT_FALSE(FileExists(queue));
}

TEST_F(SendQueueTest, ASenderKilledMidSendLeavesItsRecordForTheNextProcess) {
    const std::string script = dir.File("deliver.sh");
    WriteFile(script, "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + dir.File("runs") + "'\nif [ -e '" +
                          dir.File("slow") + "' ]; then echo $$ > '" + dir.File("sleeper") +
                          "'; exec sleep 30; fi\n");
    chmod(script.c_str(), 0755);
    WriteFile(dir.File("slow"), "");
    SetSettingBool("Settings", "SendRun", true);
    SetSettingString("Settings", "SendRunExe", "\"" + script + "\" \"%s\"");
    const std::string recording = Recording(dir, "take 1.wav");

    const pid_t sender = ForkChild([&] {
        HeadlessTransmitUi headless(nullptr);
        TransmitThread thread(headless, TransmitDispatcher::Default(), queue);
        if (!thread.Enqueue(recording)) return 1;
        while (true) pause();
    });
    for (int i = 0; i < 1000 && ReadFile(dir.File("sleeper")).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_FALSE(ReadFile(dir.File("sleeper")).empty()) << "the program never ran";
    kill(sender, SIGKILL);
    EXPECT_EQ(WaitChild(sender), 128 + SIGKILL);
    kill(pid_t(std::stoi(ReadFile(dir.File("sleeper")))), SIGKILL);
    unlink(dir.File("slow").c_str());
    EXPECT_EQ(SendQueueFile(queue).Count(), 1u);
    Resume(TransmitDispatcher::Default());
    EXPECT_EQ(ReadFile(dir.File("runs")), recording + "\n" + recording + "\n");
    EXPECT_FALSE(FileExists(queue));
}

TEST_F(SendQueueTest, AStopBetweenMethodsLeavesTheRecordAtTheHead) {
    LSignalObject inside;
    std::vector<std::unique_ptr<TransmitMethod>> methods;
    methods.push_back(std::make_unique<FakeMethod>(TransmitMethodKind::Folder, journal,
                                                   [&](const TransmitRecord&, TransmitContext& c) {
                                                       inside.Set();
                                                       c.StopSignal()->Wait(10000);
                                                       return Result::Ok;
                                                   }));
    methods.push_back(std::make_unique<FakeMethod>(TransmitMethodKind::Run, journal));
    TransmitThread thread(ui, TransmitDispatcher(std::move(methods)), queue);
    const std::string a = Recording(dir, "a.wav"), b = Recording(dir, "b.wav");
    ASSERT_TRUE(thread.Enqueue(a));
    ASSERT_TRUE(inside.Wait(10000));
    const std::string before = ReadFile(queue);
    EXPECT_TRUE(thread.Shutdown(10000));
    EXPECT_EQ(journal, std::vector<std::string>{"folder " + a});
    EXPECT_EQ(ReadFile(queue), before);
    EXPECT_EQ(thread.Mode(), TransmitThread::kNormalMode);
    // After the shutdown a recording is still queued for the next start.
    ASSERT_TRUE(thread.Enqueue(b));
    EXPECT_EQ(SendQueueFile(queue).Count(), 2u);
    EXPECT_EQ(journal.size(), 1u);
}

TEST_F(SendQueueTest, AMethodsOwnCancelKeepsTheQueueInANormalRunAndDropsAResumedOne) {
    int cancels = 1;
    auto send = [&](const TransmitRecord&, TransmitContext&) {
        return cancels-- > 0 ? Result::Cancelled : Result::Ok;
    };
    const std::string a = Recording(dir, "a.wav"), b = Recording(dir, "b.wav");
    {
        TransmitThread thread(ui, Fakes(journal, send), queue);
        ASSERT_TRUE(thread.Enqueue(a));
        ASSERT_TRUE(thread.WaitIdle(10000));
        EXPECT_EQ(SendQueueFile(queue).Count(), 1u);
        ASSERT_TRUE(thread.Enqueue(b));
        ASSERT_TRUE(thread.WaitIdle(10000));
    }
    EXPECT_EQ(journal, (std::vector<std::string>{"folder " + a, "folder " + a, "folder " + b}));
    EXPECT_FALSE(FileExists(queue));

    journal.clear();
    cancels = 1;
    ASSERT_TRUE(WriteFile(queue, QueueBytes(0, {{a, 0}, {b, 0}})));
    Resume(Fakes(journal, send));
    EXPECT_EQ(journal, std::vector<std::string>{"folder " + a});
    EXPECT_FALSE(FileExists(queue));
}
