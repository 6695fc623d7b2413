// The float ring buffers: cursor arithmetic across the wrap, partial writes and
// reads at full and empty, channel mapping, silence on underrun, and one
// producer and one consumer thread passing a long numbered stream.

#include "audio/ring_buffer.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

using namespace vocarta;

TEST(RingBufferThreadUnsafe, CursorsAcrossTheWrap) {
    LRingBufferThreadUnsafe<float> ring(5);
    float in[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    float out[8] = {};
    EXPECT_EQ(ring.Write(in, 3), 3u);
    EXPECT_EQ(ring.Read(out, 2), 2u);      // read 2, write 3
    EXPECT_EQ(ring.Write(in + 3, 8), 4u);  // only 4 of 5 places are free
    EXPECT_EQ(std::make_tuple(ring.Filled(), ring.Free(), ring.Write(in, 1)),
              std::make_tuple(5u, 0u, 0u));
    EXPECT_EQ(ring.Peek(out, 8), 5u);
    EXPECT_EQ(std::vector<float>(out, out + 5), (std::vector<float>{3, 4, 5, 6, 7}));
    EXPECT_EQ(ring.Skip(1), 1u);
    EXPECT_EQ(ring.Read(out, 8), 4u);  // wraps around the end of the storage
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{4, 5, 6, 7}));
    // Cursors are totals, not storage indexes.
    EXPECT_EQ(std::make_tuple(ring.Read(out, 1), ring.ReadCursor(), ring.WriteCursor()),
              std::make_tuple(0u, 7u, 7u));
    ring.Write(in, 2);
    ring.Clear();
    EXPECT_EQ(ring.Filled(), 0u);

    LRingBufferThreadUnsafe<float> empty(0);  // a zero capacity takes nothing
    EXPECT_EQ(empty.Write(in, 1) + empty.Read(out, 1), 0u);
}

TEST(CARingBuffer, ChannelsUnderrunAndPositions) {
    LCARingBuffer ring(4, 2);
    float mono[3] = {0.1f, 0.2f, 0.3f};
    EXPECT_EQ(ring.WriteFromChannels(mono, 3, 1), 3u);  // copied to both channels
    float out[8];
    EXPECT_EQ(ring.Read(out, 1), 1u);
    EXPECT_EQ(std::make_tuple(out[0], out[1]), std::make_tuple(0.1f, 0.1f));
    float three[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(ring.WriteFromChannels(three, 2, 3), 2u);  // the third channel dropped
    EXPECT_EQ(ring.FreeFrames() + ring.WriteFromChannels(three, 1, 3), 0u);

    // To a mono device: the first channel; past the end, silence.
    float dev[6];
    std::fill(dev, dev + 6, 9.0f);
    EXPECT_EQ(ring.ReadInto(dev, 6, 1), 4u);
    EXPECT_EQ(std::vector<float>(dev, dev + 6), (std::vector<float>{0.2f, 0.3f, 1, 4, 0, 0}));
    EXPECT_EQ(std::make_tuple(ring.FramesQueued(), ring.FramesPlayed()), std::make_tuple(5ul, 5ul));

    ring.Reset(1000);  // a seek: positions start again from the new source frame
    EXPECT_EQ(std::make_tuple(ring.FilledFrames(), ring.PlayedPosition()),
              std::make_tuple(0ul, 1000l));
    float frame[2] = {0.5f, -0.5f};
    ring.Write(frame, 1);
    EXPECT_EQ(std::make_tuple(ring.QueuedPosition(), ring.PlayedPosition()),
              std::make_tuple(1001l, 1000l));
    EXPECT_FALSE(ring.WaitForData(2, 20));  // only one frame queued: times out
    EXPECT_TRUE(ring.WaitForData(1, 0) && ring.WaitForSpace(3, 0));
    EXPECT_FALSE(ring.WaitForSpace(4, 20));
}

TEST(CARingBuffer, ProducerAndConsumerThreadsKeepEveryFrameInOrder) {
    constexpr uint64_t kFrames = 200000;
    LCARingBuffer ring(64, 2);
    std::thread producer([&] {
        std::vector<float> chunk(2 * 37);
        for (uint64_t next = 0; next < kFrames;) {
            uint64_t n = std::min<uint64_t>(37, kFrames - next);
            for (uint64_t i = 0; i < n; ++i) chunk[2 * i] = chunk[2 * i + 1] = float(next + i);
            uint64_t done = 0;
            while (done < n) {
                if (!ring.WaitForSpace(1, 5000)) return;
                done += ring.Write(chunk.data() + 2 * done, n - done);
            }
            next += n;
        }
    });
    uint64_t expected = 0;
    bool inOrder = true;
    std::vector<float> buf(2 * 50);
    while (expected < kFrames && inOrder) {
        if (!ring.WaitForData(1, 5000)) break;
        uint64_t n = ring.Read(buf.data(), 50);
        for (uint64_t i = 0; i < n; ++i, ++expected)
            inOrder = inOrder && buf[2 * i] == float(expected) && buf[2 * i + 1] == float(expected);
    }
    producer.join();
    EXPECT_TRUE(inOrder) << "out of order near frame " << expected;
    EXPECT_EQ(expected, kFrames);
    EXPECT_EQ(ring.FramesPlayed(), kFrames);
}
