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
using test::SignalOf;
using test::StretchRuns;

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

// What is left of each pause, frame for frame, read whole or in short pieces.
TEST(SilenceSearch, PausesComeOutAtTheirNewLength) {
    TrimSettings half;
    half.newFixedLengthMs = 0;
    half.newLengthFractionThousandths = 500;
    TrimSettings capped;  // 400 ms plus ten times the pause: no more than the pause
    capped.newLengthFractionThousandths = 10000;
    Signal oneChannel = SignalOf("L500", 2);
    for (uint64_t f = 0; f < Ms(1000); ++f)
        oneChannel.samples.insert(oneChannel.samples.end(), {0.0f, kLoud});
    oneChannel.Loud(Ms(500));
    struct {
        const char* what;
        Signal signal;
        TrimSettings settings;
        const char* runs;
    } cases[] = {
        {"150 ms stays, 1 s becomes 400 ms",
         SignalOf("L1000 S150 L1000 S1000 L1000"),
         {},
         "L1000 S150 L1000 S400 L1000"},
        {"a short start is committed but capped", SignalOf("S150 L500"), {}, "S150 L500"},
        {"2 s at the start become 400 ms", SignalOf("S2000 L500"), {}, "S400 L500"},
        // The frame past the end counts in the region's length.
        {"the end", SignalOf("L500 S1000"), {}, "L500 S400-1"},
        {"a short end is committed but capped", SignalOf("L500 S100"), {}, "L500 S100"},
        {"half the length", SignalOf("L500 S2000 L500"), half, "L500 S1000 L500"},
        {"fixed and fraction capped", SignalOf("L500 S2000 L500"), capped, "L500 S2000 L500"},
        {"one loud channel makes the frame loud", oneChannel, {}, "L2000"},
        {"nothing at all", Signal(), {}, ""},
        {"pauses at both ends and a tiny sound",
         SignalOf("S700 L300 S900 L20 S400"),
         {},
         "S400 L300 S400 L20 S400-1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Trim(c.signal, c.settings).runs, StretchRuns(c.runs)) << c.what;
        auto dribbling = std::make_shared<test::MemorySource>(c.signal);
        dribbling->maxFramesPerRead = 1151;  // an MP3 decoder's frame, roughly
        EXPECT_EQ(Trim(c.signal, c.settings, dribbling).runs, StretchRuns(c.runs))
            << c.what << ", short reads";
    }

    // Where the cuts fall: in the middle of a pause, 200 ms kept on either side.
    auto gap = [](const Trimmed& t) {
        return t.kept.size() == 2 ? std::make_pair(t.kept[0].sourceEnd, t.kept[1].sourceStart)
                                  : std::make_pair(uint64_t(0), uint64_t(0));
    };
    Trimmed t = Trim(cases[0].signal);
    const uint64_t pause = Ms(2150);
    EXPECT_EQ(t.cuts.regions, (std::vector<SilentRegion>{{pause, pause + Ms(1000), Ms(400)}}));
    EXPECT_EQ(gap(t), std::make_pair(pause + Ms(200), pause + Ms(800)));
    EXPECT_EQ(gap(Trim(cases[2].signal)), std::make_pair(Ms(200), Ms(1800)));
    // Committed although shorter than the shortest silence.
    EXPECT_EQ(Trim(cases[1].signal).cuts.regions,
              (std::vector<SilentRegion>{{0, Ms(150), Ms(150)}}));
    t = Trim(cases[3].signal);
    EXPECT_EQ(t.cuts.regions, (std::vector<SilentRegion>{{Ms(500), Ms(1500) + 1, Ms(400)}}));
    EXPECT_EQ(t.cuts.totalFrames, Ms(1500));
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
    Signal s = SignalOf("S1000 L1000 S1000");
    for (int i = 0; i < 20; ++i) s.Loud(Ms(1000)).Silent(Ms(1000));  // long interior
    s.Silent(Ms(1000));
    const uint64_t total = s.Frames();
    const uint64_t lastLoudEnd = total - Ms(2000);

    auto source = std::make_shared<test::MemorySource>(s);
    Trimmed t = Trim(s, settings, source);
    EXPECT_EQ(t.cuts.regions, (std::vector<SilentRegion>{{0, Ms(1000), Ms(400)},
                                                         {lastLoudEnd, total + 1, Ms(400)}}));
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
    EXPECT_EQ(Trim(SignalOf("S3000"), settings).cuts.regions,
              (std::vector<SilentRegion>{{0, Ms(3000) + 1, Ms(400)}}));
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
    EXPECT_EQ(BuildCutList(*source, {}, CancelIn("none", passes), cuts, error), TrimStatus::Ok);
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
    BuildCutList(again, absolute, CancelIn("none", passes), cuts, error);
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimSearchText}));
}

TEST(SilenceSearch, BrokenSourcesFail) {
    const Signal s = SignalOf("L500 S1000 L500");
    test::MemorySource failing(s), unseekable(s), zeroRate(s, 0);
    failing.failReadAt = Ms(700);
    unseekable.failSeek = true;
    for (auto [source, message] : {std::pair{&failing, "simulated read error"},
                                   {&unseekable, "simulated seek error"},
                                   {&zeroRate, "no usable format"}}) {
        std::string error;
        CutList cuts;
        EXPECT_EQ(BuildCutList(*source, {}, {}, cuts, error), TrimStatus::Failed);
        EXPECT_NE(error.find(message), std::string::npos) << error;
    }
}

TEST(SilenceSearch, RemovalRefusesACutListThatDoesNotFit) {
    const Signal s = SignalOf("L3000");
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
