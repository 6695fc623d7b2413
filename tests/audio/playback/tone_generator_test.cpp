// The generated tones: the right notes, in order, for the right time, and no
// click at any edge.

#include "audio/playback/tone_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "playback_test_support.h"

namespace vocarta {
namespace {

using test::AmplitudeAt;

TEST(ToneGenerator, EachToneHasItsNotesInOrderAndLength) {
    struct Case {
        LToneKind kind;
        std::vector<double> notes;
        uint32_t ms;
    } cases[] = {{LToneKind::Start, {880, 1320}, 120},
                 {LToneKind::Stop, {1320, 880}, 120},
                 {LToneKind::Interval, {1000}, 50}};
    for (const Case& c : cases) {
        SCOPED_TRACE(ToneName(c.kind));
        for (uint32_t rate : {8000u, 44100u, 48000u}) {
            std::vector<float> s = GenerateTone(c.kind, rate);
            ASSERT_EQ(s.size(), size_t(c.ms) * rate / 1000);
            // Each note dominates its own part of the tone.
            const size_t part = s.size() / c.notes.size();
            for (size_t n = 0; n < c.notes.size(); ++n) {
                double own = AmplitudeAt(s, n * part, part, c.notes[n], rate);
                EXPECT_GT(own, 0.2) << "note " << n << " at " << rate;
                for (size_t other = 0; other < c.notes.size(); ++other)
                    if (other != n) {
                        EXPECT_LT(AmplitudeAt(s, n * part, part, c.notes[other], rate), own / 4);
                    }
            }
        }
    }
    EXPECT_TRUE(GenerateTone(LToneKind::Start, 0).empty());
}

TEST(ToneGenerator, FadesLeaveNoClickAtAnyEdge) {
    for (LToneKind kind : {LToneKind::Start, LToneKind::Stop, LToneKind::Interval}) {
        SCOPED_TRACE(ToneName(kind));
        std::vector<float> s = GenerateTone(kind, 48000);
        EXPECT_LT(std::fabs(s.front()), 1e-3);
        EXPECT_LT(std::fabs(s.back()), 0.01);
        float peak = 0, jump = 0;
        for (size_t i = 0; i < s.size(); ++i) {
            peak = std::max(peak, std::fabs(s[i]));
            if (i > 0) jump = std::max(jump, std::fabs(s[i] - s[i - 1]));
        }
        EXPECT_LE(peak, kToneAmplitude + 1e-6f);
        EXPECT_GT(peak, kToneAmplitude * 0.95f);
        // The steepest step a 1320 Hz sine of this amplitude takes; a note
        // boundary without its fade would jump far more.
        EXPECT_LT(jump, kToneAmplitude * 2 * 3.1416f * 1320 / 48000 * 1.05f);
        // Silent at the joint of two notes (both fade there).
        if (kind != LToneKind::Interval) {
            EXPECT_LT(std::fabs(s[s.size() / 2]), 0.01);
        }
    }
}

}  // namespace
}  // namespace vocarta
