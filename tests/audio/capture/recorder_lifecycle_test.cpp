// Start, pause, resume, stop, maximum time, device loss, sink failure and the
// rate-converting retry, on the simulated layer.
#include "sim_recorder_fixture.h"

namespace vocarta::test {
namespace {

// The rule itself is CaptureRing.BufferSizeRule; here that the recorder gives it
// the device's rate and its limit.
TEST_F(SimRecorderTest, BufferSizesFollowTheRateAndTheDevicesLimit) {
    LSimulationConfig config;
    config.maxFrames = 1024;
    Use(std::make_shared<LSineGenerator>(440.0, 0.1), 44100, 2, config);
    ASSERT_TRUE(Start());
    auto& ring = recorder.Capture().Ring();
    EXPECT_EQ(std::make_tuple(ring.FramesPerBuffer(), ring.BufferCount()),
              std::make_tuple(1024u, 173u));
    recorder.Stop();
}

TEST_F(SimRecorderTest, PauseKeepsTheSinkAStartAppendsAndStartPausedWaitsForResume) {
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    ASSERT_TRUE(Start());
    Pump(8, 3);
    recorder.Pause();
    EXPECT_EQ(std::make_tuple(recorder.IsPaused(), recorder.State(), sink->FramesWritten(),
                              recorder.Position().Milliseconds()),
              std::make_tuple(true, LRecorderState::kWaiting, 3 * kBuffer, int64_t(300)));
    ASSERT_TRUE(Start());
    EXPECT_FALSE(recorder.IsPaused());
    Pump(7, 2);
    recorder.Stop();
    EXPECT_EQ(std::make_tuple(sink->FramesWritten(), recorder.State(), events.log.back()),
              std::make_tuple(5 * kBuffer, LRecorderState::kStopped, "stopped 77"));

    // Started paused: open, but nothing flows until Resume.
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    ASSERT_TRUE(Start({.flags = kRecorderStartPaused}));
    EXPECT_FALSE(recorder.Capture().WaitStarted(200));  // open, but not started
    EXPECT_FALSE(recorder.Capture().Pump(kBuffer));
    recorder.Resume();
    ASSERT_TRUE(recorder.Capture().WaitStarted(5000));
    Pump(6, 1);
    recorder.Stop();
    EXPECT_EQ(sink->FramesWritten(), kBuffer);

    // Stopped before it was resumed: nothing written, no thread left behind.
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    ASSERT_TRUE(Start({.flags = kRecorderStartPaused}));
    recorder.Stop();
    EXPECT_FALSE(recorder.IsRunning() || sink->FramesWritten() > 0);
}

TEST_F(SimRecorderTest, MaximumTimeStopsAtTheNextPollAndNothingBeyondItIsWritten) {
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    ASSERT_TRUE(Start({.maxTimeMs = 250}));
    Pump(7, 2);
    recorder.Poll();
    EXPECT_EQ(recorder.State(), LRecorderState::kRecording);  // 200 ms is not beyond 250
    Pump(1, 1);
    recorder.Poll();
    EXPECT_EQ(std::make_tuple(recorder.State(), events.log.back(), sink->FramesWritten()),
              std::make_tuple(LRecorderState::kStopped, "stopped 77", uint64_t(kRate / 4)));
}

TEST_F(SimRecorderTest, DeviceLossAndSinkFailureEndCleanlyAndKeepTheAudio) {
    LSimulationConfig config;
    config.loseDeviceAfterFrames = 10 * kBuffer + 123;
    Use(std::make_shared<LSineGenerator>(440.0, 0.5), kRate, 1, config);
    ASSERT_TRUE(Start());
    Pump(5, 0);
    Pump(5, 5);
    EXPECT_FALSE(recorder.Capture().Pump(kBuffer));  // the device goes in the middle
    WaitFinished();
    // Everything up to the loss, the part-filled buffer included; the sink let go.
    EXPECT_EQ(std::make_tuple(events.finishedResult, recorder.State(), recorder.IsRunning(),
                              sink->FramesWritten(), sink.use_count()),
              std::make_tuple(kCaptureDeviceLost, LRecorderState::kStopped, false,
                              5 * kBuffer + 123, 1l));
    EXPECT_NE(recorder.LastErrorText().find("disconnected"), std::string::npos);

    events = {};
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    sink->SetFailAfter(2 * kBuffer);
    ASSERT_TRUE(Start());
    Pump(8, 3);
    WaitFinished();
    EXPECT_EQ(std::make_tuple(events.finishedResult, sink->FramesWritten()),
              std::make_tuple(kCaptureSinkFailed, 2 * kBuffer));
    EXPECT_NE(recorder.LastErrorText().find("disk full"), std::string::npos);
}

TEST_F(SimRecorderTest, NoSuchDeviceFailsTheStart) {
    Use(std::make_shared<LSineGenerator>(440.0, 0.5));
    EXPECT_FALSE(Start({.device = {3, -1, 0}}));
    recorder.Poll();  // a failed start is reported by Start alone
    EXPECT_EQ(std::make_tuple(recorder.LastError(), recorder.IsRunning(), sink.use_count(),
                              events.log.size()),
              std::make_tuple(kCaptureNoDevice, false, 1l, 0ul));
}

TEST_F(SimRecorderTest, UnofferedRateGoesThroughTheConverter) {
    LSimulationConfig config;
    config.offeredRates = {48000};
    // A fresh sink simply takes the device's rate...
    Use(std::make_shared<LSineGenerator>(1000.0, 0.5), 44100, 1, config);
    ASSERT_TRUE(Start());
    recorder.Stop();
    EXPECT_EQ(sink->SampleRate(), 48000u);
    // ...one that cannot change gets the sound converted to its own rate.
    Use(std::make_shared<LSineGenerator>(1000.0, 0.5), 44100, 1, config);
    sink->SetFixedFormat(true);
    ASSERT_TRUE(Start());
    EXPECT_EQ(recorder.Capture().Rate(), 48000u);
    Pump(25, 20);  // 20 buffers of 4800 frames: 2 s, at 44100 Hz
    recorder.Stop();
    EXPECT_EQ(sink->SampleRate(), 44100u);
    EXPECT_NEAR(double(sink->FramesWritten()), 88200.0, 20.0);
    // Still a 1 kHz sine of amplitude 0.5: count rising zero crossings mid-file.
    int crossings = 0;
    float peak = 0;
    for (uint64_t f = 10000; f < 54100; ++f) {
        if (sink->At(f - 1, 0) < 0 && sink->At(f, 0) >= 0) ++crossings;
        peak = std::max(peak, std::fabs(sink->At(f, 0)));
    }
    EXPECT_NEAR(crossings, 1000, 2);
    EXPECT_NEAR(peak, 0.5f, 0.01f);
}

// The environment's choice of the simulated layer is what the application's
// tests record through; here only a source description it refuses.
TEST(SimulatedCapture, UnknownSourceDescriptionIsRefusedWithAReason) {
    std::string error;
    EXPECT_NE(GeneratorFromSpec("sine:440:0.5", error), nullptr) << error;
    EXPECT_EQ(GeneratorFromSpec("nonsense", error), nullptr);
    EXPECT_NE(error.find("not a capture source"), std::string::npos);
}

}  // namespace
}  // namespace vocarta::test
