// The generated tones: the right length, and no click at any edge.

#include "audio/playback/tone_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace vocarta {
namespace {

// Which notes are heard, in which order, is checked on a real sound server in
// pulse_playback_test.cpp; here the length at any rate and the edges.
TEST(ToneGenerator, LengthAtAnyRateAndNoClickAtAnyEdge) {
    for (uint32_t rate : {8000u, 44100u}) {
        EXPECT_EQ(GenerateTone(LToneKind::Start, rate).size(), 120 * rate / 1000);
        EXPECT_EQ(GenerateTone(LToneKind::Interval, rate).size(), 50 * rate / 1000);
    }
    EXPECT_TRUE(GenerateTone(LToneKind::Stop, 0).empty());
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
