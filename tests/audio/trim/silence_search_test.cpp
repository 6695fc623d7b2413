// The search and removal passes on in-memory audio: the lengths silences are
// shortened to, where the cut falls, the commit rule at the edges of the file,
// start-and-end-only, thresholds, cancellation and decoders that misbehave.

#include "audio/trim/silence_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "audio/trim/edit_list.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

using test::kLoud;
using test::Ms;
using test::Runs;
using test::Signal;

struct Trimmed {
    CutList cuts;
    std::vector<LEditList::Range> kept;
    Runs runs;
};

// The three passes over `signal`, and what the edited audio holds.
Trimmed Trim(const Signal& signal, const TrimSettings& settings = {},
             std::shared_ptr<test::MemorySource> source = nullptr) {
    if (!source) source = std::make_shared<test::MemorySource>(signal);
    Trimmed t;
    std::string error;
    EXPECT_EQ(BuildCutList(*source, settings, {}, t.cuts, error), TrimStatus::Ok) << error;
    LEditList edit(LSoundSource(source), t.cuts.totalFrames);
    EXPECT_EQ(RemoveSilence(t.cuts, edit, {}, error), TrimStatus::Ok) << error;
    EXPECT_TRUE(edit.Rewind());
    t.kept = edit.Ranges();
    t.runs = test::RunsOf(test::ReadAll(edit), signal.channels, 0.001f);
    return t;
}

TEST(SilenceSearch, InteriorPausesWithDefaultSettings) {
    Signal s;
    s.Loud(Ms(1000)).Silent(Ms(150)).Loud(Ms(1000)).Silent(Ms(1000)).Loud(Ms(1000));
    Trimmed t = Trim(s);
    // The 150 ms pause is below the shortest silence and stays; the 1 s pause
    // becomes 400 ms.
    const uint64_t pause = Ms(2150);
    ASSERT_EQ(t.cuts.regions.size(), 1u);
    EXPECT_EQ(t.cuts.regions[0], (SilentRegion{pause, pause + Ms(1000), Ms(400)}));
    EXPECT_EQ(t.runs, (Runs{{true, Ms(1000)},
                            {false, Ms(150)},
                            {true, Ms(1000)},
                            {false, Ms(400)},
                            {true, Ms(1000)}}));
    // Centred: 200 ms of the pause are kept before the cut and 200 ms after it.
    ASSERT_EQ(t.kept.size(), 2u);
    EXPECT_EQ(t.kept[0].sourceEnd, pause + Ms(200));
    EXPECT_EQ(t.kept[1].sourceStart, pause + Ms(1000) - Ms(200));
}

TEST(SilenceSearch, LeadingSilenceIsCommittedButCapped) {
    Signal shortStart;
    shortStart.Silent(Ms(150)).Loud(Ms(500));
    Trimmed t = Trim(shortStart);
    // Committed although shorter than the shortest silence, with a new length
    // capped at its own: nothing is removed.
    ASSERT_EQ(t.cuts.regions.size(), 1u);
    EXPECT_EQ(t.cuts.regions[0], (SilentRegion{0, Ms(150), Ms(150)}));
    EXPECT_EQ(t.runs, (Runs{{false, Ms(150)}, {true, Ms(500)}}));

    Signal longStart;
    longStart.Silent(Ms(2000)).Loud(Ms(500));
    t = Trim(longStart);
    EXPECT_EQ(t.runs, (Runs{{false, Ms(400)}, {true, Ms(500)}}));
    ASSERT_EQ(t.kept.size(), 2u);
    EXPECT_EQ(t.kept[0].sourceEnd, Ms(200));
    EXPECT_EQ(t.kept[1].sourceStart, Ms(1800));
}

TEST(SilenceSearch, TrailingSilenceEndsOnePastTheFile) {
    Signal s;
    s.Loud(Ms(500)).Silent(Ms(1000));
    Trimmed t = Trim(s);
    ASSERT_EQ(t.cuts.regions.size(), 1u);
    EXPECT_EQ(t.cuts.regions[0], (SilentRegion{Ms(500), Ms(1500) + 1, Ms(400)}));
    EXPECT_EQ(t.cuts.totalFrames, Ms(1500));
    // The frame past the end counts in the region's length, so one frame less
    // than 400 ms of silence remains.
    EXPECT_EQ(t.runs, (Runs{{true, Ms(500)}, {false, Ms(400) - 1}}));

    // A short trailing silence is committed like a leading one, and capped.
    Signal shortEnd;
    shortEnd.Loud(Ms(500)).Silent(Ms(100));
    t = Trim(shortEnd);
    ASSERT_EQ(t.cuts.regions.size(), 1u);
    EXPECT_EQ(t.runs, (Runs{{true, Ms(500)}, {false, Ms(100)}}));
}

TEST(SilenceSearch, FractionOfTheLength) {
    TrimSettings settings;
    settings.newFixedLengthMs = 0;
    settings.newLengthFractionThousandths = 500;
    Signal s;
    s.Loud(Ms(500)).Silent(Ms(2000)).Loud(Ms(500));
    EXPECT_EQ(Trim(s, settings).runs, (Runs{{true, Ms(500)}, {false, Ms(1000)}, {true, Ms(500)}}));

    // Fixed and proportional parts add up, capped at the silence's length.
    settings.newFixedLengthMs = 400;
    settings.newLengthFractionThousandths = 10000;
    EXPECT_EQ(Trim(s, settings).runs, (Runs{{true, Ms(500)}, {false, Ms(2000)}, {true, Ms(500)}}));
}

TEST(SilenceSearch, OneLoudChannelMakesTheFrameLoud) {
    Signal s;
    s.channels = 2;
    s.Loud(Ms(500));
    for (uint64_t f = 0; f < Ms(1000); ++f) {
        s.samples.push_back(0.0f);
        s.samples.push_back(kLoud);  // right channel carries sound, left is silent
    }
    s.Loud(Ms(500));
    Trimmed t = Trim(s);
    EXPECT_TRUE(t.cuts.regions.empty());
    EXPECT_EQ(t.runs, (Runs{{true, Ms(2000)}}));
}

TEST(SilenceSearch, ThresholdIsInclusiveAndRelativeToThePeak) {
    TrimSettings absolute;
    absolute.thresholdIsAbsolute = true;
    const float t = LinearThreshold(absolute.thresholdDb, 1.0f);
    EXPECT_NEAR(t, 0.25118864f * 0.1f, 1e-6f);  // -20 on the level scale

    Signal atThreshold;
    atThreshold.Loud(Ms(500)).Add(Ms(1000), t).Loud(Ms(500));
    EXPECT_EQ(Trim(atThreshold, absolute).cuts.regions.size(), 1u);  // at most t is silent
    Signal justAbove;
    justAbove.Loud(Ms(500)).Add(Ms(1000), std::nextafter(t, 1.0f)).Loud(Ms(500));
    EXPECT_TRUE(Trim(justAbove, absolute).cuts.regions.empty());

    // Relative: the peak is 0.1, so the threshold is t × 0.1 and a murmur at
    // 0.005 is sound, though it is far below the absolute threshold.
    Signal quiet;
    quiet.Add(Ms(500), 0.1f).Add(Ms(1000), 0.005f).Add(Ms(500), 0.1f);
    EXPECT_TRUE(Trim(quiet, TrimSettings{}).cuts.regions.empty());
    EXPECT_EQ(Trim(quiet, absolute).cuts.regions.size(), 1u);
}

TEST(SilenceSearch, StartAndEndOnly) {
    TrimSettings settings;
    settings.startAndEndOnly = true;
    settings.thresholdIsAbsolute = true;  // no peak pass reading the whole file
    Signal s;
    s.Silent(Ms(1000)).Loud(Ms(1000)).Silent(Ms(1000));
    for (int i = 0; i < 20; ++i) s.Loud(Ms(1000)).Silent(Ms(1000));  // long interior
    s.Silent(Ms(1000));
    const uint64_t total = s.Frames();
    const uint64_t lastLoudEnd = total - Ms(2000);

    auto source = std::make_shared<test::MemorySource>(s);
    Trimmed t = Trim(s, settings, source);
    ASSERT_EQ(t.cuts.regions.size(), 2u);
    EXPECT_EQ(t.cuts.regions[0], (SilentRegion{0, Ms(1000), Ms(400)}));
    EXPECT_EQ(t.cuts.regions[1], (SilentRegion{lastLoudEnd, total + 1, Ms(400)}));
    EXPECT_EQ(t.runs.front(), (std::pair<bool, uint64_t>{false, Ms(400)}));
    EXPECT_EQ(t.runs.back(), (std::pair<bool, uint64_t>{false, Ms(400) - 1}));
    EXPECT_EQ(t.runs.size(), 2u + 2 * 21 - 1);  // every interior pause kept
    // The middle was never read by the search: the trailing silence was found
    // from the end. (Reading the edited audio back reads nearly all of it.)
    EXPECT_LT(source->framesRead, total + 8 * kTrimBlockFrames);

    // A decoder whose total is an estimate, too short or too long, finds the
    // same regions.
    for (int64_t error : {-5000, -20000, 3000, 50000}) {
        auto estimated = std::make_shared<test::MemorySource>(s);
        estimated->SetReportedTotal(uint64_t(int64_t(total) + error));
        Trimmed e = Trim(s, settings, estimated);
        EXPECT_EQ(e.cuts.regions, t.cuts.regions) << "estimate off by " << error;
        EXPECT_EQ(e.cuts.totalFrames, total) << "estimate off by " << error;
    }

    // All silent: one region to the end, no backward scan needed.
    Signal silent;
    silent.Silent(Ms(3000));
    t = Trim(silent, settings);
    ASSERT_EQ(t.cuts.regions.size(), 1u);
    EXPECT_EQ(t.cuts.regions[0], (SilentRegion{0, Ms(3000) + 1, Ms(400)}));
}

TEST(SilenceSearch, ShortReadsFindTheSameRegions) {
    Signal s;
    s.Silent(Ms(700)).Loud(Ms(300)).Silent(Ms(900)).Loud(Ms(20)).Silent(Ms(400));
    Trimmed whole = Trim(s);
    auto dribbling = std::make_shared<test::MemorySource>(s);
    dribbling->maxFramesPerRead = 1151;  // an MP3 decoder's frame, roughly
    Trimmed dribbled = Trim(s, {}, dribbling);
    EXPECT_EQ(dribbled.cuts.regions, whole.cuts.regions);
    EXPECT_EQ(dribbled.runs, whole.runs);
}

// Cancels when the pass named `text` reports its second progress step.
TrimProgress CancelIn(const char* text, std::vector<std::string>& passes) {
    auto steps = std::make_shared<int>(0);
    TrimProgress p;
    p.passStarted = [&passes, steps](const char* t) {
        passes.push_back(t);
        *steps = 0;
    };
    p.progress = [steps](double) { ++*steps; };
    p.cancelRequested = [&passes, steps, text] { return passes.back() == text && *steps >= 2; };
    return p;
}

TEST(SilenceSearch, EachPassCanBeCancelled) {
    Signal s;
    for (int i = 0; i < 10; ++i) s.Loud(Ms(500)).Silent(Ms(1000));
    std::string error;
    for (const char* text : {kTrimPeakText, kTrimSearchText}) {
        test::MemorySource source(s);
        std::vector<std::string> passes;
        CutList cuts;
        EXPECT_EQ(BuildCutList(source, {}, CancelIn(text, passes), cuts, error),
                  TrimStatus::Cancelled);
        EXPECT_EQ(passes.back(), text);
        // Ended at once: at the second progress step, after one block.
        const uint64_t before = text == kTrimPeakText ? 0 : s.Frames();
        EXPECT_EQ(source.framesRead, before + kTrimBlockFrames);
    }
    auto source = std::make_shared<test::MemorySource>(s);
    std::vector<std::string> passes;
    CutList cuts;
    ASSERT_EQ(BuildCutList(*source, {}, CancelIn("none", passes), cuts, error), TrimStatus::Ok);
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimPeakText, kTrimSearchText}));
    LEditList edit(LSoundSource(source), cuts.totalFrames);
    EXPECT_EQ(RemoveSilence(cuts, edit, CancelIn(kTrimRemoveText, passes), error),
              TrimStatus::Cancelled);
    ASSERT_EQ(cuts.regions.size(), 10u);
    EXPECT_EQ(edit.Length(), s.Frames() - Ms(600));  // one region done, then stopped

    // An absolute threshold needs no peak.
    passes.clear();
    TrimSettings absolute;
    absolute.thresholdIsAbsolute = true;
    test::MemorySource again(s);
    ASSERT_EQ(BuildCutList(again, absolute, CancelIn("none", passes), cuts, error), TrimStatus::Ok);
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimSearchText}));
}

TEST(SilenceSearch, EmptyAndBrokenSources) {
    Signal empty;
    Trimmed t = Trim(empty);
    EXPECT_TRUE(t.cuts.regions.empty());
    EXPECT_EQ(t.cuts.totalFrames, 0u);
    EXPECT_TRUE(t.runs.empty());

    Signal s;
    s.Loud(Ms(500)).Silent(Ms(1000)).Loud(Ms(500));
    std::string error;
    CutList cuts;
    test::MemorySource failing(s);
    failing.failReadAt = Ms(700);
    EXPECT_EQ(BuildCutList(failing, {}, {}, cuts, error), TrimStatus::Failed);
    EXPECT_NE(error.find("simulated read error"), std::string::npos) << error;

    test::MemorySource unseekable(s);
    unseekable.failSeek = true;
    EXPECT_EQ(BuildCutList(unseekable, {}, {}, cuts, error), TrimStatus::Failed);

    test::MemorySource zeroRate(s, 0);
    EXPECT_EQ(BuildCutList(zeroRate, {}, {}, cuts, error), TrimStatus::Failed);
    EXPECT_NE(error.find("no usable format"), std::string::npos) << error;
}

TEST(SilenceSearch, RemovalRefusesACutListThatDoesNotFit) {
    Signal s;
    s.Loud(Ms(3000));
    auto source = std::make_shared<test::MemorySource>(s);
    std::string error;
    for (CutList bad : {CutList{{{Ms(2000), Ms(2500), 0}, {Ms(1000), Ms(1500), 0}}, s.Frames()},
                        CutList{{{Ms(1000), Ms(1500), Ms(600)}}, s.Frames()},
                        CutList{{{Ms(2000), Ms(4000), 0}}, s.Frames()}}) {
        LEditList edit(LSoundSource(source), s.Frames());
        EXPECT_EQ(RemoveSilence(bad, edit, {}, error), TrimStatus::Failed);
        EXPECT_EQ(edit.Length(), s.Frames()) << "nothing may be cut from a list that does not fit";
    }
}

}  // namespace
}  // namespace vocarta
