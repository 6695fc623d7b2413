// The worker loop on the simulated layer: discarded first buffers, voice
// activation with its pre-roll, the silence cut, Stop's 50 ms, level arithmetic.
#include "audio/capture/record_volume.h"
#include "sim_recorder_fixture.h"

namespace vocarta::test {
namespace {

using Seg = LSegmentGenerator::Segment;

TEST_F(SimRecorderTest, FirstFiveBuffersNeverReachTheSinkUnlessKept) {
    auto segments = std::vector<Seg>{{5 * kBuffer, 0.9}, {3 * kBuffer, 0.1}};
    auto peak = [this](uint64_t from, uint64_t to) {
        float p = 0;
        for (uint64_t f = from; f < to; ++f) p = std::max(p, std::fabs(sink->At(f, 0)));
        return p;
    };
    Take(std::make_shared<LSegmentGenerator>(segments), {}, 8, 3);
    ASSERT_EQ(sink->FramesWritten(), 3 * kBuffer);
    EXPECT_LE(peak(0, 3 * kBuffer), 0.1001f);
    Take(std::make_shared<LSegmentGenerator>(segments), {.flags = kRecorderKeepFirstBuffers}, 8, 8);
    ASSERT_EQ(sink->FramesWritten(), 8 * kBuffer);
    EXPECT_GT(peak(0, kBuffer), 0.85f);  // the first buffer, kept
}

TEST_F(SimRecorderTest, SilenceIsNeverWrittenWhileWaiting) {
    // Just under the voice level (-20 dB reads -21 here) for 60 buffers: more
    // than the ring holds, so the worker keeps up while writing nothing.
    Use(std::make_shared<LSineGenerator>(440.0, LevelToAmplitude(-21.0)));
    ASSERT_TRUE(Start({.voice = -20}));
    Pump(5, 0);
    Pump(60, 60);
    EXPECT_EQ(
        std::make_tuple(recorder.State(), recorder.SoundCaptured(), recorder.Levels()[0].Value()),
        std::make_tuple(LRecorderState::kWaiting, false, -21));
    recorder.Poll();
    EXPECT_EQ(events.log, std::vector<std::string>{"waiting"});
    recorder.Stop();
    EXPECT_EQ(std::make_tuple(sink->FramesWritten(), sink->Truncations()), std::make_tuple(0ul, 0));
}

// Buffer 0 quiet ramp (below the voice level), buffer 1 loud from `onset`.
std::vector<float> RampThenSound(uint64_t onset) {
    std::vector<float> samples(5 * 800, 0.0f);
    for (uint64_t f = 0; f < 800; ++f) samples.push_back(float(f) * 1e-5f);
    for (uint64_t f = 0; f < 800; ++f) samples.push_back(f >= onset ? 0.9f : 0.001f);
    return samples;
}

TEST_F(SimRecorderTest, PreRollOnlyForSoundInTheFirstHalf) {
    Take(std::make_shared<LSamplesGenerator>(RampThenSound(300), 1), {.voice = 0}, 7, 2);
    // Half a buffer of pre-roll (the ramp's second half), then the whole buffer.
    ASSERT_EQ(sink->FramesWritten(), 400u + 800u);
    EXPECT_FLOAT_EQ(sink->At(0, 0), 400 * 1e-5f);
    EXPECT_FLOAT_EQ(sink->At(399, 0), 799 * 1e-5f);
    EXPECT_NEAR(sink->At(400, 0), 0.001f, 1e-6);
    EXPECT_NEAR(sink->At(400 + 300, 0), 0.9f, 1e-6);

    // Sound only in the second half: no pre-roll.
    Take(std::make_shared<LSamplesGenerator>(RampThenSound(400), 1), {.voice = 0}, 7, 2);
    ASSERT_EQ(sink->FramesWritten(), 800u);
    EXPECT_NEAR(sink->At(0, 0), 0.001f, 1e-6);
    EXPECT_NEAR(sink->At(400, 0), 0.9f, 1e-6);
}

TEST_F(SimRecorderTest, SoundSilenceSoundGivesThePredictedRegions) {
    auto segments = Discarded();
    segments.insert(
        segments.end(),
        {{10 * kBuffer, 0.5}, {20 * kBuffer, 0.0}, {10 * kBuffer, 0.5}, {5 * kBuffer, 0.0}});
    Use(std::make_shared<LSegmentGenerator>(segments));
    ASSERT_TRUE(Start({.voice = -6, .silenceMs = 1000}));
    Pump(5, 0);
    Pump(10, 10);
    recorder.Poll();
    Pump(20, 20);
    EXPECT_EQ(recorder.State(), LRecorderState::kWaiting);
    recorder.Poll();
    Pump(15, 15);
    recorder.Poll();
    recorder.Stop();
    // Sound 1 s; silence until the wait ran out (1.1 s); half a buffer of the
    // held silence as pre-roll; sound 1 s; 0.5 s of silence before the stop.
    auto runs = LoudRuns(0.01f, 100);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_LE(runs[0].first, 2u);  // the sine starts at a zero crossing
    EXPECT_NEAR(double(runs[0].second), 8000.0, 2.0);
    EXPECT_NEAR(double(runs[1].first), 8000.0 + 8800 + 400, 2.0);
    EXPECT_NEAR(double(runs[1].second), 8000.0 + 8800 + 400 + 8000, 2.0);
    EXPECT_EQ(sink->FramesWritten(), 8000u + 8800 + 400 + 8000 + 4000);
    EXPECT_EQ(events.log,
              (std::vector<std::string>{"started", "waiting", "started", "stopped 77"}));
    EXPECT_TRUE(recorder.SoundCaptured());
}

TEST_F(SimRecorderTest, StopAddsFiftyMillisecondsAndOnlyShortens) {
    auto segments = Discarded();
    segments.insert(segments.end(), {{3 * kBuffer, 0.9}, {30 * kBuffer, 0.0}});
    Use(std::make_shared<LSegmentGenerator>(segments));
    ASSERT_TRUE(Start({.voice = 0, .silenceMs = 200}));
    Pump(5, 0);
    Pump(13, 13);
    // Sound to 300 ms; the silence counted as recorded to 500 ms; at 600 ms the
    // wait ran out and the recorder went back to waiting.
    EXPECT_EQ(recorder.State(), LRecorderState::kWaiting);
    EXPECT_EQ(recorder.RecordedLength().Milliseconds(), 500);
    EXPECT_EQ(sink->FramesWritten(), 6 * kBuffer);
    recorder.Stop();
    EXPECT_EQ(sink->FramesWritten(), 550u * 8);

    // Recording straight through: the recorded length is the sink's end, and
    // Stop never adds to it.
    Take(std::make_shared<LSineGenerator>(440.0, 0.5), {}, 8, 3);
    EXPECT_EQ(std::make_tuple(sink->FramesWritten(), sink->Truncations()),
              std::make_tuple(3 * kBuffer, 0));
}

TEST_F(SimRecorderTest, LevelsPerChannelWithGainAndDuplicateLeft) {
    // Channel 0 at the reference amplitude (0 dB), channel 1 at full scale (+12).
    std::vector<float> frames;
    for (int f = 0; f < 8 * 800; ++f) {
        frames.push_back(f % 2 ? -float(kLevelReference) : float(kLevelReference));
        frames.push_back(f % 3 ? 1.0f : -1.0f);
    }
    Use(std::make_shared<LSamplesGenerator>(frames, 2), kRate, 2);
    LRecordVolumeTable::Instance().Clear();
    ASSERT_TRUE(Start());
    Pump(6, 1);
    auto levels = [this] {
        const LLevels& l = recorder.Levels();
        return std::make_tuple(l.Count(), l[0].Value(), l[1].Value(), l.Combined().Value());
    };
    EXPECT_EQ(levels(), std::make_tuple(2, 0, 12, 12));
    // -6 dB in the volume table for this device, heard from the next buffer on.
    LRecordVolumeTable::Instance().Set("simulated.mic", -1, LdBLevel(-6));
    Pump(1, 1);
    EXPECT_EQ(levels(), std::make_tuple(2, -6, 6, 6));
    EXPECT_NEAR(sink->At(kBuffer, 1), -DbToGain(-6), 1e-6);
    recorder.Stop();

    // One channel chosen: channel 0 is copied into channel 1.
    Take(std::make_shared<LSamplesGenerator>(frames, 2), {.device = {0, 1, 0}}, 6, 1, 2);
    EXPECT_EQ(recorder.Levels()[1].Value(), 0);
    EXPECT_EQ(sink->At(1, 0), sink->At(1, 1));
    LRecordVolumeTable::Instance().Clear();
}

}  // namespace
}  // namespace vocarta::test
