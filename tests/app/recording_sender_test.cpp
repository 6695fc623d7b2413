// The running copy's sending: a kept recording handed on by the after-recording
// step reaches the mirror folder, with the send thread's question, status,
// progress and title shown by the view on the main thread; quitting while a
// question is open asks nothing more and leaves the record queued; a recording
// still waiting at the end is queued all the same.
#include "app/recording_sender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "app/session/after_recording_queue.h"
#include "app_fakes.h"
#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr int64_t kHeader = 8, kRecord = 272;

// One second of 16-bit mono silence at 8 kHz: long enough to be sent.
std::string Recording(const TempDir& dir, const std::string& name) {
    static const char kWav[] =  // RIFF size 16036, PCM, 1 channel, 8000 Hz, data 16000 bytes
        "RIFF\xa4\x3e\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1f\0\0\x80\x3e\0\0\x02\0\x10\0"
        "data\x80\x3e\0\0";
    const std::string path = dir.File(name);
    WriteFile(path, std::string(kWav, 44) + std::string(16000, '\0'));
    return path;
}

// Runs posted calls as the main loop would, until `done` (false after 20 s).
bool Pump(FakeMainLoop& loop, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        loop.RunPosted(1, 20);
    }
    loop.RunPosted(0, 0);
    return true;
}

// Sends to the folder "mirror" in `dir`; returns its path.
std::string SendToFolder(const TempDir& dir, bool prompt) {
    const std::string mirror = dir.File("mirror");
    MakeDirs(mirror);
    DeleteSettingTree("Settings");
    SetSettingBool("Settings", "SendFolder", true);
    SetSettingString("Settings", "SendFolderDir", mirror);
    SetSettingBool("Settings", "bPromptTransmit", prompt);
    return mirror;
}

TEST(RecordingSender, AKeptRecordingReachesTheMirrorWithTheViewAskingOnTheMainThread) {
    TempDir dir("vocarta-sender");
    const std::string mirror = SendToFolder(dir, true);
    const std::string take = Recording(dir, "Take 1.wav");
    FakeMainLoop loop;
    FakeView view;
    view.answers = {0};  // "Yes"
    RecordingSender sender(view, loop, dir.File("bgsend.lst"));
    sender.Resume();

    const AfterRecordingStep step = SendOnStep(sender.Thread());
    EXPECT_TRUE(step.runsWhenStopping);
    ASSERT_TRUE(WriteFile(dir.File("tiny.wav"), std::string(1023, 'x')));
    step.run(dir.File("tiny.wav"), {});
    EXPECT_FALSE(FileExists(dir.File("bgsend.lst"))) << "a file under 1024 bytes is not queued";
    step.run(take, {});
    ASSERT_TRUE(Pump(
        loop, [&] { return FileExists(mirror + "/Take 1.wav") && !sender.Thread().IsSending(); }));

    EXPECT_EQ(ReadFile(mirror + "/Take 1.wav"), ReadFile(take));
    ASSERT_EQ(view.messages.size(), 1u);
    // Its texts: transmit_dispatcher_test.cpp.
    const MessageBoxRequest& question = view.messages[0];
    // Headless, the question sends; Escape skips the method.
    EXPECT_TRUE(question.UnattendedChoice() == 0 && question.SafeChoice() == 1);
    EXPECT_EQ(view.sendTitles, (std::vector<std::string>{"Vocarta Sound Recorder v 9.00", ""}));
    ASSERT_FALSE(view.sendStatuses.empty() || view.sendProgress.empty());
    EXPECT_TRUE(view.sendStatuses.front() == "Copying to " + mirror &&
                view.sendStatuses.back() == "");
    EXPECT_TRUE(std::count(view.sendProgress.begin(), view.sendProgress.end(), 1.0) > 0 &&
                view.sendProgress.back() == 0.0);
    EXPECT_FALSE(FileExists(dir.File("bgsend.lst"))) << "the emptied queue is deleted";
}

TEST(RecordingSender, QuittingWhileAQuestionIsOpenAsksNothingMoreAndKeepsTheRecordQueued) {
    TempDir dir("vocarta-sender");
    const std::string mirror = SendToFolder(dir, true);
    const std::string take = Recording(dir, "take.wav");
    const std::string queue = dir.File("bgsend.lst");
    FakeMainLoop loop;
    FakeView view;  // the user quits the program from the question box, which says "Yes"
    view.answers = {0};
    RecordingSender sender(view, loop, queue);
    view.onMessage = [&] { sender.Shutdown(); };
    ASSERT_TRUE(sender.Thread().Enqueue(take));
    ASSERT_TRUE(Pump(loop, [&] { return !view.messages.empty() && !sender.Thread().IsSending(); }));
    EXPECT_TRUE(view.messages.size() == 1u && !FileExists(mirror + "/take.wav"));
    EXPECT_EQ(LFile::GetFileSizeBytes64(queue), kHeader + kRecord) << "left for the next start";
    EXPECT_TRUE(sender.Thread().Enqueue(take)) << "still appended after the end";
    EXPECT_EQ(LFile::GetFileSizeBytes64(queue), kHeader + 2 * kRecord);
}

TEST(RecordingSender, RecordingsStillInTheAfterRecordingQueueAtTheEndAreQueuedForSending) {
    TempDir dir("vocarta-sender");
    SendToFolder(dir, false);
    const std::string queue = dir.File("bgsend.lst");
    FakeMainLoop loop;
    FakeView view;
    RecordingSender sender(view, loop, queue);
    sender.Shutdown();  // nothing is sent: the queue file shows what was handed on
    std::atomic<bool> entered{false};
    AfterRecordingStep slowTrim{"slow", [&](const std::string&, const AfterRecordingContext& c) {
                                    entered = true;
                                    while (!c.stopRequested())
                                        std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                }};
    LAfterRecordingQueue steps({slowTrim, SendOnStep(sender.Thread())}, nullptr);
    const std::string first = Recording(dir, "first.wav"), second = Recording(dir, "second.wav");
    steps.Add(first);
    steps.Add(second);
    while (!entered) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    steps.Shutdown(0);  // the trim is stopped, the second file never reached it
    const std::string bytes = ReadFile(queue);
    ASSERT_EQ(int64_t(bytes.size()), kHeader + 2 * kRecord);
    EXPECT_EQ(bytes.compare(kHeader, first.size() + 1, first.c_str(), first.size() + 1), 0);
    EXPECT_EQ(
        bytes.compare(kHeader + kRecord, second.size() + 1, second.c_str(), second.size() + 1), 0);
}

}  // namespace
