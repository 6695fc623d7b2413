#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

using namespace vocarta;

namespace {

void SetLater(LSignalObject& signal, std::thread& setter) {
    setter = std::thread([&signal] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        signal.Set();
    });
}

}  // namespace

// A lost byte in the pipe (double Set, Reset without Set) would make a later Wait
// return at once or never.
TEST(LSignalObject, ManualResetWaitTimeOutAndWaitEither) {
    LSignalObject signal, other;
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(signal.Wait(60));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(55));
    signal.Set();
    signal.Set();                                    // stays one byte in the pipe
    EXPECT_TRUE(signal.Wait(0) && signal.Wait(-1));  // manual reset: still set
    signal.Reset();
    EXPECT_FALSE(signal.Wait(0));
    pollfd fd{signal.Descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&fd, 1, 0), 0) << "Reset left a byte in the pipe";
    signal.Reset();  // a Reset of a clear signal must not block
    std::thread setter;
    SetLater(signal, setter);
    EXPECT_TRUE(signal.Wait(10000));
    setter.join();

    signal.Reset();
    EXPECT_EQ(signal.WaitEither(other, 20), -1);
    other.Set();
    EXPECT_EQ(signal.WaitEither(other, 0), 1);
    signal.Set();
    EXPECT_EQ(signal.WaitEither(other, 0), 0);  // both set: the object itself first
    signal.Reset();
    other.Reset();
    SetLater(signal, setter);
    EXPECT_EQ(other.WaitEither(signal, 10000), 1);
    setter.join();
}

namespace {

// Either waits on its stop signal as a worker does, or returns at once.
class TestThread : public LThread {
  public:
    explicit TestThread(bool waitForStop) : LThread("test-thread-long-name"), wait_(waitForStop) {}
    ~TestThread() override { Stop(); }
    std::atomic<int> runs{0};
    std::atomic<bool> sawStop{false};

  protected:
    void Run() override {
        ++runs;
        if (wait_) StopSignal().Wait(-1);
        sawStop = StopRequested();
    }
    const bool wait_;
};

}  // namespace

TEST(LThread, StopRequestReachesRunAndThreadsRestart) {
    TestThread thread(true);
    for (int round = 1; round <= 2; ++round) {  // a second run starts with a cleared request
        thread.sawStop = false;
        ASSERT_TRUE(thread.Start());
        EXPECT_FALSE(thread.Start()) << "a running thread must not start twice";
        EXPECT_TRUE(thread.IsRunning());
        EXPECT_FALSE(thread.Wait(50)) << "Wait returned before Run ended";
        EXPECT_TRUE(thread.Stop(10000) && thread.sawStop && !thread.IsRunning());
        EXPECT_EQ(thread.runs, round);
    }

    TestThread brief(false);
    EXPECT_TRUE(brief.Wait(0)) << "a thread never started counts as ended";
    for (int run = 1; run <= 2; ++run) {  // the second after a natural end, without Stop()
        ASSERT_TRUE(brief.Start());
        EXPECT_TRUE(brief.Wait(10000));
    }
    EXPECT_EQ(brief.runs, 2);
    EXPECT_FALSE(brief.SetPriority(LThread::Priority::Low)) << "not running any more";
}
