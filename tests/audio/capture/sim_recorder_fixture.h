#pragma once
// A recorder over the simulated capture layer in Manual mode: the test pumps
// whole buffers through the callback and waits until the worker has metered them.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "audio/capture/simulated/simulated_recorder.h"
#include "memory_sink.h"

namespace vocarta::test {

struct RecordedEvents : LSoundRecorderNotify {
    std::vector<std::string> log;
    int levelsUpdates = 0;
    int timeUpdates = 0;
    std::vector<int64_t> lostMs;
    int32_t finishedResult = -1;
    LLevels lastLevels;
    void OnRecordingStarted(int64_t) override { log.push_back("started"); }
    void OnWaitingForSound(int64_t) override { log.push_back("waiting"); }
    void OnStopped(int64_t user) override { log.push_back("stopped " + std::to_string(user)); }
    void OnTimeUpdate(LSoundTime, int64_t) override { ++timeUpdates; }
    void OnAudioLost(LSoundTime total, int64_t) override { lostMs.push_back(total.Milliseconds()); }
    void OnLevelsUpdate(const LLevels& levels, int64_t) override {
        ++levelsUpdates;
        lastLevels = levels;
    }
    void OnFinished(int32_t result, int64_t) override {
        finishedResult = result;
        log.push_back("finished " + std::to_string(result));
    }
};

// What a test changes of the recorder's start.
struct StartOptions {
    std::optional<int> voice;  // voice activation at this level, which is also the sound level
    int64_t maxTimeMs = 0;
    int64_t silenceMs = 216000000;
    uint16_t flags = 0;
    LSoundRecordDevice device = {};
};

class SimRecorderTest : public ::testing::Test {
  protected:
    static constexpr uint32_t kRate = 8000;  // 800 frames (100 ms) per buffer
    static constexpr uint64_t kBuffer = 800;

    LSimulatedSoundRecorder recorder;
    std::shared_ptr<MemorySink> sink;
    RecordedEvents events;

    void Use(std::shared_ptr<LCaptureGenerator> generator, uint32_t rate = kRate,
             uint8_t channels = 1, LSimulationConfig config = {}) {
        config.generator = std::move(generator);
        config.mode = LSimulationMode::Manual;
        recorder.Capture().Configure(config);
        sink = std::make_shared<MemorySink>(rate, channels);
    }
    bool Start(StartOptions o = {}) {
        LRecorderStartOptions options;
        options.device = o.device;
        if (o.voice) options.voiceLevel = options.soundThreshold = LdBLevel(*o.voice);
        options.maxTime = LSoundTime(o.maxTimeMs);
        options.silenceTimeout = LSoundTime(o.silenceMs);
        options.options = o.flags;
        options.userValue = 77;
        return recorder.Start(options, LSoundSink(sink), &events);
    }
    // A whole take: `pumped` buffers of `generator` pumped, `metered` of them metered, stopped.
    void Take(std::shared_ptr<LCaptureGenerator> generator, StartOptions o, uint64_t pumped,
              uint64_t metered, uint8_t channels = 1) {
        Use(std::move(generator), kRate, channels);
        ASSERT_TRUE(Start(o));
        Pump(pumped, metered);
        recorder.Stop();
    }
    // Pumps `buffers` whole buffers and waits until `metered` more were metered.
    void Pump(uint64_t buffers, uint64_t metered) {
        uint64_t before = recorder.BuffersProcessed();
        ASSERT_TRUE(recorder.Capture().Pump(buffers * recorder.Capture().Ring().FramesPerBuffer()));
        WaitMetered(before + metered);
    }
    void WaitMetered(uint64_t count) {
        for (int i = 0; i < 500 && recorder.BuffersProcessed() < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_EQ(recorder.BuffersProcessed(), count);
    }
    // Polls like the user interface until the recorder reports its end.
    void WaitFinished() {
        for (int i = 0; i < 500 && events.finishedResult < 0; ++i) {
            recorder.Poll();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    static std::vector<LSegmentGenerator::Segment> Discarded() {
        return {{5 * kBuffer, 0.0}};  // what the recorder drops at every start
    }
    // Frames of the sink whose magnitude is above `floor`, as [begin, end) runs.
    std::vector<std::pair<uint64_t, uint64_t>> LoudRuns(float floor, uint64_t minGap) const {
        std::vector<std::pair<uint64_t, uint64_t>> runs;
        const auto& s = sink->Samples();
        uint8_t ch = sink->Channels();
        for (uint64_t f = 0; f < s.size() / ch; ++f) {
            if (std::fabs(s[f * ch]) <= floor) continue;
            if (!runs.empty() && f - runs.back().second <= minGap)
                runs.back().second = f + 1;
            else
                runs.push_back({f, f + 1});
        }
        return runs;
    }
};

}  // namespace vocarta::test
