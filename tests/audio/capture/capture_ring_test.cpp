// The ring between capture callback and worker: sizes, gathering pieces into
// whole buffers, hand-over on stop and on device loss, conversion.
#include "audio/capture/capture_ring.h"

#include <gtest/gtest.h>

#include <thread>

namespace vocarta {
namespace {

TEST(CaptureRing, BufferSizeRule) {
    struct Case {
        uint32_t rate, deviceMin, deviceMax, frames, count;
    } cases[] = {{44100, 1, 1u << 20, 4410, 40},
                 {8000, 1, 1u << 20, 800, 40},
                 {192000, 1, 1u << 20, 8192, 94},
                 {4000, 1, 1u << 20, 512, 32},  // clamped up
                 // The device's range wins over the rule.
                 {44100, 1024, 2048, 2048, 87},
                 {8000, 1024, 4096, 1024, 32}};
    for (const Case& c : cases) {
        EXPECT_EQ(FramesPerBufferFor(c.rate, c.deviceMin, c.deviceMax), c.frames) << c.rate;
        EXPECT_EQ(BufferCountFor(c.frames, c.rate), c.count) << c.rate;
    }
}

TEST(CaptureRing, GathersPiecesAndHandsOverPartialOnStop) {
    LCaptureRing ring;
    ASSERT_TRUE(ring.Allocate(4, 10, 2));
    LSignalObject stop;
    std::vector<int32_t> piece(2 * 7);
    for (size_t i = 0; i < piece.size(); ++i) piece[i] = int32_t(i) * 1000;
    ASSERT_TRUE(ring.Append(piece.data(), 7));
    EXPECT_FALSE(ring.HasQueued());  // 7 of 10 frames: not handed over yet
    ASSERT_TRUE(ring.Append(piece.data(), 7));
    ASSERT_TRUE(ring.HasQueued());
    std::vector<float> out(20);
    ASSERT_EQ(ring.Read(out.data(), stop, 1.0f, false), 10);
    EXPECT_FLOAT_EQ(out[14], float(0 * 1000 / 2147483647.0));  // frame 7 = piece frame 0
    EXPECT_FLOAT_EQ(out[13], float(13000 / 2147483647.0));
    ring.Append(nullptr, 1);  // a hole is silence
    ring.CommitPartial();
    ASSERT_EQ(ring.Read(out.data(), stop, 1.0f, false), 5);
    EXPECT_EQ(out[8], 0.0f);
    // Nothing queued: a stop request ends the wait at once.
    stop.Set();
    EXPECT_EQ(ring.Read(out.data(), stop, 1.0f, false), LCaptureRing::kReadStopped);
}

TEST(CaptureRing, FailureDeliversWhatCameBeforeThenFails) {
    LCaptureRing ring;
    ASSERT_TRUE(ring.Allocate(3, 4, 1));
    LSignalObject stop;
    std::vector<int32_t> data = {1, 2, 3, 4, 5, 6};
    std::vector<float> out(4);
    std::thread reader([&] {
        EXPECT_EQ(ring.Read(out.data(), stop, 1.0f, false), 4);
        EXPECT_EQ(ring.Read(out.data(), stop, 1.0f, false), 2);
        EXPECT_EQ(ring.Read(out.data(), stop, 1.0f, false), LCaptureRing::kReadFailed);
    });
    ring.Append(data.data(), 6);
    ring.CommitPartial();
    ring.MarkFailed();
    reader.join();
    EXPECT_EQ(ring.Read(out.data(), stop, 1.0f, false, 10), LCaptureRing::kReadFailed);
}

// The recorder's tests check the count and the report; here only that the
// owner is told once per stretch of loss, and again after sound flowed.
TEST(CaptureRing, FullRingTellsTheOwnerOncePerStretchOfLoss) {
    LCaptureRing ring;
    ASSERT_TRUE(ring.Allocate(2, 2, 1));
    LSignalObject loss, stop;
    ring.SetLossSignal(&loss);
    std::vector<int32_t> data = {1, 2, 3, 4, 5, 6};
    EXPECT_FALSE(ring.Append(data.data(), 6));  // two buffers fit, two frames do not
    EXPECT_TRUE(loss.IsSet());
    loss.Reset();
    EXPECT_FALSE(ring.Append(data.data(), 3) || loss.IsSet());
    std::vector<float> out(2);
    ASSERT_EQ(ring.Read(out.data(), stop, 1.0f, false), 2);
    EXPECT_TRUE(ring.Append(data.data(), 2));
    EXPECT_FALSE(ring.Append(data.data(), 1));
    EXPECT_EQ(std::make_tuple(loss.IsSet(), ring.DroppedFrames()), std::make_tuple(true, 6ul));
}

TEST(CaptureRing, WorkerIsWokenOncePerHandOverNotPerPiece) {
    LCaptureRing ring;
    ASSERT_TRUE(ring.Allocate(8, 10, 1));
    ring.SetHandOverBuffers(50);
    EXPECT_EQ(ring.HandOverBuffers(), 4u);  // at most half the ring
    ring.SetHandOverBuffers(3);
    LSignalObject stop;
    std::vector<int32_t> piece(5, 9);
    for (int i = 0; i < 4; ++i) {  // two buffers in pieces, each piece published
        ring.Append(piece.data(), 5);
        ring.Publish();
    }
    EXPECT_FALSE(ring.WorkerSignalled()) << "woken before a whole hand-over was there";
    ring.Append(piece.data(), 5);
    ring.Append(piece.data(), 5);
    ring.Publish();
    EXPECT_TRUE(ring.WorkerSignalled());
    EXPECT_EQ(ring.Wait(stop, 0), 10);
}

TEST(CaptureRing, ConversionGainAndDuplicateLeft) {
    std::vector<int32_t> in = {2147483647, -2147483647, 1073741824, 0, -1, 5};
    std::vector<float> out(6);
    ConvertS32ToFloat(in.data(), out.data(), in.size(), 1.0f);
    EXPECT_EQ(std::vector<float>(out.begin(), out.begin() + 3), (std::vector<float>{1, -1, 0.5f}));
    std::vector<int32_t> many(19, 1073741824);
    std::vector<float> manyOut(19);
    ConvertS32ToFloat(many.data(), manyOut.data(), many.size(), 0.5f);  // unrolled part and tail
    EXPECT_EQ(manyOut, std::vector<float>(19, 0.25f));
    std::vector<float> frames = {1, 2, 3, 4, 5, 6};
    DuplicateLeftChannel(frames.data(), 2, 3);
    EXPECT_EQ(frames, (std::vector<float>{1, 1, 3, 4, 4, 6}));
}

}  // namespace
}  // namespace vocarta
