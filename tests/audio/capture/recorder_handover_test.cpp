// How sound and news cross the threads: a sink that stalls never stalls the
// capture callback (the sound that finds the ring full is dropped, counted and
// reported), and whether levels are wanted sets how often the worker and the
// user interface wake.
#include <condition_variable>
#include <future>
#include <mutex>

#include "sim_recorder_fixture.h"

namespace vocarta::test {
namespace {

using namespace std::chrono_literals;

// A sink whose Write blocks while stalled, as a disk that stops answering.
class StallingSink : public MemorySink {
  public:
    using MemorySink::MemorySink;
    int64_t Write(const float* samples, uint64_t frames) override {
        std::unique_lock<std::mutex> lock(mutex_);
        if (stalled_) {
            blocked_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return !stalled_; });
        }
        lock.unlock();
        return MemorySink::Write(samples, frames);
    }
    void Stall() {
        std::lock_guard<std::mutex> lock(mutex_);
        stalled_ = true;
    }
    void Release() {
        std::lock_guard<std::mutex> lock(mutex_);
        stalled_ = false;
        changed_.notify_all();
    }
    bool WaitBlocked() {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, 20s, [this] { return blocked_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stalled_ = false;
    bool blocked_ = false;
};

TEST_F(SimRecorderTest, StalledSinkDropsSoundAtOnceAndReportsTheLoss) {
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    auto stalling = std::make_shared<StallingSink>(kRate, 1);
    sink = stalling;
    ASSERT_TRUE(Start({.flags = kRecorderKeepFirstBuffers}));
    stalling->Stall();
    ASSERT_TRUE(recorder.Capture().Pump(kBuffer));  // the worker takes it and hangs in Write
    ASSERT_TRUE(stalling->WaitBlocked());
    // 40 buffers fill the ring; the next 5 find it full. Had the callback waited
    // for room, it would still be waiting: nothing empties the ring.
    auto pumped = std::async(std::launch::async,
                             [this] { return recorder.Capture().Pump(45 * kBuffer, false); });
    ASSERT_EQ(pumped.wait_for(15s), std::future_status::ready)
        << "the capture callback waited for the stalled sink";
    EXPECT_EQ(std::make_tuple(pumped.get(), recorder.Capture().Ring().DroppedFrames(),
                              recorder.AudioLost()),
              std::make_tuple(true, 5 * kBuffer, LSoundTime(500)));
    // The owner hears of it while the worker is still stuck, once per new loss.
    EXPECT_TRUE(recorder.WakeSignal().IsSet());
    recorder.Poll();
    recorder.Poll();
    EXPECT_EQ(events.lostMs, std::vector<int64_t>{500});

    // Counted from before the release: the worker may drain the queue before
    // the next pump begins.
    const uint64_t processed = recorder.BuffersProcessed();
    stalling->Release();
    ASSERT_TRUE(recorder.Capture().Pump(3 * kBuffer));
    WaitMetered(processed + 44);  // the held buffer, the 40 queued, 3 new
    EXPECT_EQ(recorder.State(), LRecorderState::kRecording);
    recorder.Poll();
    recorder.Stop();
    EXPECT_EQ(std::make_tuple(sink->FramesWritten(), events.lostMs.size(), events.log.back()),
              std::make_tuple(44 * kBuffer, 1ul, "stopped 77"));
    // A new start counts afresh.
    ASSERT_TRUE(Start());
    EXPECT_EQ(recorder.AudioLost(), LSoundTime(0));
    recorder.Stop();
}

TEST_F(SimRecorderTest, WithoutLevelsTheSoundAndTheTimeComeOnceASecond) {
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    recorder.SetLevelsWanted(false);
    ASSERT_TRUE(Start({.flags = kRecorderKeepFirstBuffers}));
    EXPECT_EQ(recorder.Capture().Ring().HandOverBuffers(), 10u);  // 1 s of 100 ms buffers
    for (int i = 0; i < 20; ++i) {
        Pump(1, 1);
        recorder.Poll();
    }
    EXPECT_EQ(std::make_tuple(events.timeUpdates, events.levelsUpdates), std::make_tuple(2, 2));
    // Shown again while recording: 200 ms hand-overs and levels every n + 2
    // buffers, n = 8000 / 800 / 20 = 0: every second buffer.
    recorder.SetLevelsWanted(true);
    EXPECT_EQ(recorder.Capture().Ring().HandOverBuffers(), 2u);
    SharedLevelNotificationCounter() = 0;
    std::string pattern;
    for (int i = 0; i < 10; ++i) {
        int before = events.levelsUpdates;
        Pump(1, 1);
        recorder.Poll();
        pattern += events.levelsUpdates > before ? 'L' : '.';
    }
    EXPECT_EQ(pattern, ".L.L.L.L.L");
    EXPECT_EQ(events.lastLevels[0].Value(), 6);  // a sine at 0.5
    recorder.Stop();
    EXPECT_EQ(sink->FramesWritten(), 30 * kBuffer);
}

}  // namespace
}  // namespace vocarta::test
