// The edit list: reading the kept audio back after many removals, odd ranges
// among them (reversed, negative, empty, past the end), checked against a plain
// copy of the audio cut by the same rules.

#include "audio/trim/edit_list.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "trim_test_audio.h"

namespace vocarta {
namespace {

// A mono source whose sample at frame f is f itself (exact in a float up to 2^24).
std::shared_ptr<test::MemorySource> Counting(uint64_t frames) {
    test::Signal s;
    for (uint64_t f = 0; f < frames; ++f) s.samples.push_back(float(f));
    return std::make_shared<test::MemorySource>(s);
}

std::vector<float> Kept(LEditList& edit) {
    EXPECT_TRUE(edit.Rewind());
    return test::ReadAll(edit);
}

TEST(EditList, MatchesACopyCutTheSameWay) {
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        const uint64_t frames = 1 + random() % 50000;
        auto source = Counting(frames);
        source->maxFramesPerRead = 1 + random() % 5000;
        std::vector<float> model = test::ReadAll(*source);
        LEditList edit(LSoundSource(source), frames);
        for (int cut = 0; cut < 30; ++cut) {
            const int64_t length = int64_t(model.size());
            int64_t start = int64_t(random() % uint64_t(length + 20)) - 10;
            int64_t end = start + int64_t(random() % 3000) - 100;
            edit.RemoveRange(start, end);
            if (end < start || end < 0) continue;
            start = std::max<int64_t>(start, 0);
            end = std::min(end, length);
            if (start < end) model.erase(model.begin() + start, model.begin() + end);
        }
        ASSERT_EQ(edit.Length(), model.size()) << "round " << round;
        ASSERT_EQ(Kept(edit), model) << "round " << round;
        // Seeking into the middle reads on from there.
        if (!model.empty()) {
            const uint64_t at = random() % model.size();
            ASSERT_TRUE(edit.Seek(at));
            std::vector<float> rest = test::ReadAll(edit);
            ASSERT_EQ(rest, std::vector<float>(model.begin() + int64_t(at), model.end()));
        }
        // Memory goes with the cuts made, not with the audio.
        EXPECT_LE(edit.RangeCount(), 31u);
    }
}

TEST(EditList, ASourceThatFailsOrEndsEarlyIsAnError) {
    auto source = Counting(10000);
    source->failReadAt = 6000;
    LEditList edit(LSoundSource(source), 10000);
    edit.RemoveRange(1000, 2000);
    ASSERT_TRUE(edit.Rewind());
    std::vector<float> block(20000);
    EXPECT_LT(edit.Read(block.data(), 9000), 0);
    EXPECT_EQ(edit.LastError(), "simulated read error");

    // The recording is shorter than the list believes (a truncated file).
    auto shorter = Counting(8000);
    LEditList beyond(LSoundSource(shorter), 10000);
    ASSERT_TRUE(beyond.Rewind());
    EXPECT_LT(beyond.Read(block.data(), 10000), 0);
    EXPECT_NE(beyond.LastError().find("ends at frame 8000"), std::string::npos)
        << beyond.LastError();

    auto unseekable = Counting(100);
    LEditList cut(LSoundSource(unseekable), 100);
    cut.RemoveRange(0, 10);
    unseekable->failSeek = true;
    EXPECT_FALSE(cut.Rewind());
}

}  // namespace
}  // namespace vocarta
