// The after-recording queue (background thread, order of steps, program end),
// the silence-trim step on a real file, the Trash and the free-space figure.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "app/session/after_recording_queue.h"
#include "app/session/disk_space.h"
#include "app_fakes.h"
#include "audio/codecs/sink_factory.h"
#include "audio/recorder_settings.h"
#include "audio/trim/trim_progress.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

struct StepLog {
    std::mutex lock;
    std::vector<std::string> lines;  // guarded by lock
    void Add(const std::string& line) {
        std::lock_guard<std::mutex> hold(lock);
        lines.push_back(line);
    }
    std::vector<std::string> Lines() {
        std::lock_guard<std::mutex> hold(lock);
        return lines;
    }
};

TEST(AfterRecordingQueue, RunsEveryStepInOrderOffTheCallingThread) {
    StepLog steps;
    const pthread_t caller = pthread_self();
    std::atomic<bool> onCaller{false};
    auto step = [&](const char* name) {
        return AfterRecordingStep{
            name, [&, name](const std::string& path, const AfterRecordingContext& context) {
                if (pthread_equal(pthread_self(), caller)) onCaller = true;
                context.setStatus(std::string(name) + " " + path);
                steps.Add(std::string(name) + " " + path);
            }};
    };
    StepLog statuses;
    LAfterRecordingQueue queue({step("trim"), step("send")},
                               [&](const std::string& text) { statuses.Add(text); });
    EXPECT_EQ(queue.Pending(), 0u);
    queue.Add("a.wav");
    queue.Add("b.wav");
    ASSERT_TRUE(queue.WaitIdle(10000));
    EXPECT_EQ(steps.Lines(),
              (std::vector<std::string>{"trim a.wav", "send a.wav", "trim b.wav", "send b.wav"}));
    EXPECT_EQ(statuses.Lines(), steps.Lines());
    EXPECT_TRUE(!onCaller && queue.Pending() == 0u);
}

TEST(AfterRecordingQueue, ProgramEndStopsTheRunningStepAndDropsTheRest) {
    LogTail log;
    std::atomic<bool> entered{false}, sawStop{false};
    StepLog ran;
    AfterRecordingStep slow{"slow", [&](const std::string& path, const AfterRecordingContext& c) {
                                ran.Add(path);
                                entered = true;
                                while (!c.stopRequested())
                                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                sawStop = true;
                            }};
    AfterRecordingStep after{"after", [&](const std::string& path, const AfterRecordingContext&) {
                                 ran.Add("after " + path);
                             }};
    LAfterRecordingQueue queue({slow, after}, nullptr);
    queue.Add("first.wav");
    queue.Add("second.wav");
    while (!entered) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(queue.Pending(), 2u);
    queue.Shutdown(50);  // the grace runs out: the step is told to stop
    EXPECT_TRUE(sawStop);
    EXPECT_EQ(ran.Lines(), std::vector<std::string>{"first.wav"});
    for (const char* line :
         {"After-recording step after not run at program end: first.wav kept as it is",
          "After-recording steps not run at program end: second.wav kept as recorded"})
        EXPECT_TRUE(log.Has(line)) << line;
    EXPECT_TRUE(!queue.Add("third.wav") && queue.Pending() == 0u);
}

TEST(AfterRecordingQueue, TrimStepRunsOnlyWithAutotrimAndShowsItsStatus) {
    DeleteSettingTree("Recorder");
    LSoundFormat format;
    MakeWavFormat(1, 8000, 1, 16, format);
    SaveWavFormat(format);
    TempDir folder("vocarta-queue");
    const std::string path = folder.File("take.wav");
    auto opened = OpenRecordingSink(LoadRecordingSpec(OutputFormat::kWav), path);
    ASSERT_TRUE(opened);
    const std::shared_ptr<LSoundSinkBase>& sink = opened.Value();
    std::vector<float> samples(8000 * 5, 0.0f);  // 1 s of tone, 3 s of silence, 1 s of tone
    for (int i = 0; i < 8000 * 5; ++i)
        if (i < 8000 || i >= 8000 * 4) samples[i] = 0.5f * float(std::sin(i * 0.3));
    sink->Write(samples.data(), samples.size());
    sink->Close();
    const std::size_t before = ReadFile(path).size();
    StepLog statuses;
    const auto runQueue = [&] {
        LAfterRecordingQueue queue({TrimSilenceStep()},
                                   [&](const std::string& text) { statuses.Add(text); });
        queue.Add(path);
        EXPECT_TRUE(queue.WaitIdle(20000));
        return ReadFile(path).size();
    };
    EXPECT_EQ(runQueue(), before) << "Autotrim is off by default";
    EXPECT_TRUE(statuses.Lines().empty());
    SetSettingBool(kRecorderSection, kAutotrimKey, true);
    EXPECT_LT(runQueue(), before - 8000 * 2) << "the 3 s pause was shortened";
    EXPECT_EQ(statuses.Lines(), (std::vector<std::string>{kTrimStatusText, ""}));
    DeleteSettingTree("Recorder");
}

TEST(Trash, EmptyingRemovesFilesAndRecordsButNeverFollowsALink) {
    const std::string trash = HomeTrashFolder();
    MakeDirs(trash + "/files/folder/inner");
    MakeDirs(trash + "/info");
    WriteFile(trash + "/files/old.wav", std::string(5000, 'x'));
    WriteFile(trash + "/files/folder/inner/deep.txt", "x");
    WriteFile(trash + "/info/old.wav.trashinfo", "[Trash Info]\nPath=/x/old.wav\n");
    WriteFile(trash + "/directorysizes", "4096 1 folder\n");
    TempDir outside("vocarta-outside");
    WriteFile(outside.File("keep.txt"), "mine");
    ASSERT_EQ(symlink(outside.Path().c_str(), (trash + "/files/link").c_str()), 0);

    // The home Trash is on the file system of a folder beside it.
    auto emptied = EmptyTrashFor(outside.Path());
    ASSERT_TRUE(emptied) << emptied.Error().Message();
    const TrashEmptied& e = emptied.Value();
    EXPECT_EQ(e.trashes, std::vector<std::string>{trash});
    EXPECT_TRUE(e.items == 3u && e.bytes == 5001u && e.complete) << e.items << " " << e.bytes;
    for (const char* gone : {"/files/old.wav", "/files/folder", "/info/old.wav.trashinfo",
                             "/directorysizes", "/files/link"})
        EXPECT_FALSE(FileExists(trash + gone)) << gone;
    EXPECT_TRUE(DirExists(trash + "/files")) << "the Trash itself stays";
    EXPECT_EQ(ReadFile(outside.File("keep.txt")), "mine") << "a link is removed, not followed";

    RemoveTree(trash);
    emptied = EmptyTrashFor(outside.Path());
    EXPECT_TRUE(emptied && emptied.Value().trashes.empty()) << "no Trash at all is an empty one";
    EXPECT_FALSE(EmptyTrashFor(outside.File("missing")));
}

TEST(FreeDiskBytes, RealFigureOrTheTestFile) {
    TempDir folder("vocarta-free");
    unsetenv("VOCARTA_FREE_BYTES_FILE");
    EXPECT_GT(FreeDiskBytes(folder.Path()).value_or(0), 0u);
    EXPECT_FALSE(FreeDiskBytes(folder.File("missing/deeper")).has_value());
    const std::string figure = folder.File("free");
    setenv("VOCARTA_FREE_BYTES_FILE", figure.c_str(), 1);
    WriteFile(figure, "12345\n");
    EXPECT_EQ(FreeDiskBytes(folder.Path()), std::optional<uint64_t>(12345));
    for (const char* bad : {"", "-5", "12 MB", "99999999999999999999999"}) {
        WriteFile(figure, bad);
        const auto figure = FreeDiskBytes(folder.Path());
        EXPECT_TRUE(figure.has_value() && *figure != 12345u) << "not ignored: \"" << bad << "\"";
    }
    unsetenv("VOCARTA_FREE_BYTES_FILE");
}

}  // namespace
