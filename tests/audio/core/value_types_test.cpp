// The audio value types at their edges: the format record's layout (stored as
// it is in WavCodec.wff) and constructor, millisecond times without overflow,
// and the decibel scale. The sink base's cut back to a time is proven through
// the real sinks.

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "audio/level.h"
#include "audio/sound_format.h"
#include "audio/sound_time.h"

using namespace vocarta;

TEST(SoundFormat, LaidOutAsTheWaveHeader) {
    using F = LSoundFormat;
    EXPECT_EQ(std::vector<size_t>({sizeof(F), offsetof(F, channels), offsetof(F, sampleRate),
                                   offsetof(F, avgBytesPerSec), offsetof(F, blockAlign),
                                   offsetof(F, bitsPerSample), offsetof(F, extraSize),
                                   offsetof(F, extra)}),
              std::vector<size_t>({1028, 2, 4, 8, 12, 14, 16, 18}));
    LSoundFormat f24(48000, 2, 24);  // 24 bits get 4 bytes from the constructor
    EXPECT_EQ(std::make_tuple(f24.formatTag, f24.blockAlign, f24.avgBytesPerSec, f24.extraSize),
              std::make_tuple(1, 8, 48000u * 4 * 2, 0));
    // The byte-sized channel count at its top last.
    EXPECT_EQ(std::vector<int>({F(8000, 1, 8).blockAlign, F(8000, 3, 12).blockAlign,
                                F(8000, 1, 17).blockAlign, F(8000, 255, 32).blockAlign}),
              std::vector<int>({1, 6, 4, 1020}));
}

TEST(SoundTime, SecondsMillisecondsAndFrames) {
    EXPECT_EQ(LSoundTime::FromSeconds(0.4509).Milliseconds(), 450);
    EXPECT_EQ(LSoundTime::FromSeconds(-0.4509).Milliseconds(), -450);  // toward zero
    EXPECT_EQ(LSoundTime::FromWholeSeconds(216000).Milliseconds(), 216000000);
    EXPECT_EQ((LSoundTime(5) - LSoundTime(7)).Milliseconds(), -2);
    EXPECT_TRUE(LSoundTime(-1) < LSoundTime(0));
    EXPECT_TRUE(LSoundTime().IsZero());

    // (f / r) × 1000 + ((f mod r) × 1000) / r: no overflow where f × 1000 would.
    const uint64_t huge = uint64_t(1) << 62;
    EXPECT_EQ(LSoundTime::FromFrames(huge, 48000).Milliseconds(),
              int64_t(huge / 48000 * 1000 + (huge % 48000) * 1000 / 48000));
    EXPECT_EQ(LSoundTime::FromFrames(44099, 44100).Milliseconds(), 999);
    EXPECT_EQ(LSoundTime::FromFrames(12345, 0).Milliseconds(), 0);
    EXPECT_EQ(LSoundTime::FromFrames(12345, -8000).Milliseconds(), 0);
    EXPECT_EQ(std::make_tuple(LSoundTime(1500).ToFrames(44100), LSoundTime(-1500).ToFrames(44100)),
              std::make_tuple(66150u, 0u));
}

TEST(Levels, ScaleFloorAndCombinedLevel) {
    EXPECT_EQ(LdBLevel::FromPeak(0.25118864).Value(), 0);
    EXPECT_EQ(LdBLevel::FromPeak(1.0).Value(), 12);
    for (double floor : {1.0e-7, 0.0, -0.5}) EXPECT_EQ(LdBLevel::FromPeak(floor).Value(), -127);
    EXPECT_EQ(LdBLevel::FromPeak(2.0).Value(), 18);  // above full scale is not cut at +12
    // Rounded to the nearest whole decibel on both sides of the reference.
    EXPECT_EQ(LdBLevel::FromPeak(0.25118864 * std::pow(10.0, 0.6 / 20)).Value(), 1);
    EXPECT_EQ(LdBLevel::FromPeak(0.25118864 * std::pow(10.0, -0.6 / 20)).Value(), -1);
    EXPECT_EQ(LdBLevel::FromPeak(0.25118864 * std::pow(10.0, -0.4 / 20)).Value(), 0);

    LLevels levels;
    EXPECT_EQ(levels.Combined().Value(), -127);  // no channels
    levels.SetCount(1);
    levels[0] = LdBLevel(-20);
    levels[1] = LdBLevel(5);  // beyond the count: ignored
    EXPECT_EQ(levels.Combined().Value(), -20);
    levels.SetCount(3);
    levels[2] = LdBLevel(12);  // a third channel never raises the combined level
    EXPECT_EQ(levels.Combined().Value(), 5);

    EXPECT_FLOAT_EQ(DbToGain(0), 1.0f);
    EXPECT_NEAR(DbToGain(-6.0206), 0.5f, 1e-4);
    EXPECT_NEAR(LevelToAmplitude(12), 1.0f, 1e-4);
}
