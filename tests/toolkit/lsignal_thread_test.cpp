#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

using namespace vocarta;
using Clock = std::chrono::steady_clock;

static long long MsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// A lost byte in the pipe (double Set, Reset without Set) would make a later Wait
// return at once or never.
TEST(LSignalObject, ManualResetWaitAndTimeOut) {
    LSignalObject signal;
    ASSERT_TRUE(signal.IsValid());
    auto start = Clock::now();
    EXPECT_FALSE(signal.Wait(60));
    EXPECT_GE(MsSince(start), 55);  // poll may round the time-out to its clock

    signal.Set();
    signal.Set();  // stays one byte in the pipe
    EXPECT_TRUE(signal.Wait(0));
    EXPECT_TRUE(signal.Wait(-1));  // manual reset: still set
    signal.Reset();
    EXPECT_FALSE(signal.IsSet());
    EXPECT_FALSE(signal.Wait(0));
    pollfd fd{signal.Descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&fd, 1, 0), 0) << "Reset left a byte in the pipe";
    signal.Reset();  // a Reset of a clear signal must not block

    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        signal.Set();
    });
    EXPECT_TRUE(signal.Wait(10000));
    setter.join();
}

TEST(LSignalObject, WaitEitherNamesTheSignalThatWasSet) {
    LSignalObject a, b;
    EXPECT_EQ(a.WaitEither(b, 20), -1);
    b.Set();
    EXPECT_EQ(a.WaitEither(b, 0), 1);
    a.Set();
    EXPECT_EQ(a.WaitEither(b, 0), 0);  // both set: the object itself first
    a.Reset();
    b.Reset();
    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        a.Set();
    });
    EXPECT_EQ(b.WaitEither(a, 10000), 1);
    setter.join();
}

namespace {

// Runs until asked to stop, waiting on its stop signal as a worker does.
class WaitingThread : public LThread {
  public:
    WaitingThread() : LThread("test-waiting-thread-long-name") {}
    ~WaitingThread() override { Stop(); }
    std::atomic<int> runs{0};
    std::atomic<bool> sawStop{false};

  protected:
    void Run() override {
        ++runs;
        StopSignal().Wait(-1);
        sawStop = StopRequested();
    }
};

class ShortThread : public LThread {
  public:
    ShortThread() : LThread("short") {}
    ~ShortThread() override { Stop(); }
    std::atomic<int> runs{0};

  protected:
    void Run() override { ++runs; }
};

}  // namespace

TEST(LThread, StopRequestReachesRunAndThreadCanRestart) {
    WaitingThread thread;
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.Start()) << "a running thread must not start twice";
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_FALSE(thread.Wait(50)) << "Wait returned before Run ended";
    EXPECT_TRUE(thread.Stop(10000));
    EXPECT_TRUE(thread.sawStop);
    EXPECT_FALSE(thread.IsRunning());

    // A second run starts with a cleared stop request.
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.Wait(50));
    EXPECT_TRUE(thread.Stop(10000));
    EXPECT_EQ(thread.runs, 2);
}

TEST(LThread, ThreadThatEndsByItselfIsJoinedAndStartsAgain) {
    ShortThread thread;
    EXPECT_TRUE(thread.Wait(0)) << "a thread never started counts as ended";
    ASSERT_TRUE(thread.Start());
    EXPECT_TRUE(thread.Wait(10000));
    ASSERT_TRUE(thread.Start());  // restart after a natural end, without Stop()
    EXPECT_TRUE(thread.Wait(10000));
    EXPECT_EQ(thread.runs, 2);
    EXPECT_FALSE(thread.SetPriority(LThread::Priority::Low)) << "not running any more";
}
