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
    EXPECT_EQ(sizeof(LSoundFormat), 1028u);
    EXPECT_EQ(offsetof(LSoundFormat, channels), 2u);
    EXPECT_EQ(offsetof(LSoundFormat, sampleRate), 4u);
    EXPECT_EQ(offsetof(LSoundFormat, avgBytesPerSec), 8u);
    EXPECT_EQ(offsetof(LSoundFormat, blockAlign), 12u);
    EXPECT_EQ(offsetof(LSoundFormat, bitsPerSample), 14u);
    EXPECT_EQ(offsetof(LSoundFormat, extraSize), 16u);
    EXPECT_EQ(offsetof(LSoundFormat, extra), 18u);

    LSoundFormat f24(48000, 2, 24);  // 24 bits get 4 bytes from the constructor
    EXPECT_EQ(f24.formatTag, 1);
    EXPECT_EQ(f24.blockAlign, 8);
    EXPECT_EQ(f24.avgBytesPerSec, 48000u * 4 * 2);
    EXPECT_EQ(f24.extraSize, 0);
    EXPECT_EQ(LSoundFormat(8000, 1, 8).blockAlign, 1);
    EXPECT_EQ(LSoundFormat(8000, 3, 12).blockAlign, 6);
    EXPECT_EQ(LSoundFormat(8000, 1, 17).blockAlign, 4);
    EXPECT_EQ(LSoundFormat(8000, 255, 32).blockAlign, 1020);  // the byte-sized count at its top
}

TEST(SoundTime, SecondsMillisecondsAndFrames) {
    EXPECT_EQ(LSoundTime::FromSeconds(0.4509).Milliseconds(), 450);
    EXPECT_EQ(LSoundTime::FromSeconds(0.45).Milliseconds(), 450);
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
    EXPECT_EQ(LSoundTime(1500).ToFrames(44100), 66150u);
    EXPECT_EQ(LSoundTime(-1500).ToFrames(44100), 0u);
}

TEST(Levels, ScaleFloorAndCombinedLevel) {
    EXPECT_EQ(LdBLevel::FromPeak(0.25118864).Value(), 0);
    EXPECT_EQ(LdBLevel::FromPeak(1.0).Value(), 12);
    EXPECT_EQ(LdBLevel::FromPeak(1.0e-7).Value(), -127);
    EXPECT_EQ(LdBLevel::FromPeak(0.0).Value(), -127);
    EXPECT_EQ(LdBLevel::FromPeak(-0.5).Value(), -127);
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
