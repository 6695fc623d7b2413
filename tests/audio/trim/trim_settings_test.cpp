// The trim options as read from the settings store: defaults, clamping of
// damaged values, and the threshold of the trim after a recording.

#include "audio/trim/trim_settings.h"

#include <gtest/gtest.h>

#include "settings/settings.h"

namespace vocarta {
namespace {

void Clear() {
    for (const char* key :
         {"AutoTrimThreshold", "AutoTrimThresholdIsAbsolute", "AutoTrimShortestSilence",
          "AutoTrimNewFixedLength", "AutoTrimNewLengthFraction", "AutoTrimStartAndEndOnly",
          "VoiceActivateLevel"})
        DeleteSetting("Settings", key);
}

TEST(TrimSettings, DefaultsAndClamping) {
    Clear();
    TrimSettings s = ReadTrimSettings();
    EXPECT_EQ(s.thresholdDb, -20);
    EXPECT_FALSE(s.thresholdIsAbsolute);
    EXPECT_EQ(s.shortestSilenceMs, 200);
    EXPECT_EQ(s.newFixedLengthMs, 400);
    EXPECT_EQ(s.newLengthFractionThousandths, 0);
    EXPECT_FALSE(s.startAndEndOnly);

    // Values out of range, as a hand-edited preferences file may hold them.
    SetSettingString("Settings", "AutoTrimThreshold", "-300");
    SetSettingString("Settings", "AutoTrimShortestSilence", "3");
    SetSettingString("Settings", "AutoTrimNewFixedLength", "-40");
    SetSettingString("Settings", "AutoTrimNewLengthFraction", "99999999999");
    SetSettingString("Settings", "AutoTrimStartAndEndOnly", "yes");
    s = ReadTrimSettings();
    EXPECT_EQ(s.thresholdDb, -127);
    EXPECT_EQ(s.shortestSilenceMs, 25);
    EXPECT_EQ(s.newFixedLengthMs, 0);
    EXPECT_EQ(s.newLengthFractionThousandths, 10000);
    EXPECT_DOUBLE_EQ(s.NewLengthFraction(), 10.0);
    EXPECT_TRUE(s.startAndEndOnly);  // false only when the text begins with "0"

    SetSettingString("Settings", "AutoTrimThreshold", "400");
    SetSettingString("Settings", "AutoTrimShortestSilence", "60000");
    SetSettingString("Settings", "AutoTrimNewFixedLength", "10001");
    s = ReadTrimSettings();
    EXPECT_EQ(s.thresholdDb, 127);
    EXPECT_EQ(s.shortestSilenceMs, 10000);
    EXPECT_EQ(s.newFixedLengthMs, 10000);

    // Storing clamps too, and what is stored reads back.
    TrimSettings wanted{-33, true, 50, 12000, 250, true};
    StoreTrimSettings(wanted);
    s = ReadTrimSettings();
    EXPECT_EQ(s.thresholdDb, -33);
    EXPECT_TRUE(s.thresholdIsAbsolute);
    EXPECT_EQ(s.shortestSilenceMs, 50);
    EXPECT_EQ(s.newFixedLengthMs, 10000);
    EXPECT_EQ(s.newLengthFractionThousandths, 250);
    Clear();
}

TEST(TrimSettings, AfterRecordingThresholdFollowsVoiceActivation) {
    Clear();
    EXPECT_EQ(AfterRecordingThresholdDb(), -19);
    SetSettingString("Settings", "AutoTrimThreshold", "-40");
    SetSettingString("Settings", "AutoTrimShortestSilence", "300");
    TrimSettings s = ReadAfterRecordingTrimSettings();
    EXPECT_EQ(s.thresholdDb, -19);  // not the user's trim threshold
    EXPECT_TRUE(s.thresholdIsAbsolute);
    EXPECT_EQ(s.shortestSilenceMs, 300);  // the rest as the user set it

    SetSettingInt("Settings", "VoiceActivateLevel", -30);
    EXPECT_EQ(AfterRecordingThresholdDb(), -31);
    SetSettingInt("Settings", "VoiceActivateLevel", -127);
    EXPECT_EQ(AfterRecordingThresholdDb(), -127);
    SetSettingInt("Settings", "VoiceActivateLevel", 1000);
    EXPECT_EQ(AfterRecordingThresholdDb(), 127);
    SetSettingString("Settings", "VoiceActivateLevel", "-2147483648");
    EXPECT_EQ(AfterRecordingThresholdDb(), -127);  // no wrap-around below the minimum

    DeleteSetting("Recorder", "Autotrim");
    EXPECT_FALSE(AfterRecordingTrimEnabled());
    SetSettingBool("Recorder", "Autotrim", true);
    EXPECT_TRUE(AfterRecordingTrimEnabled());
    DeleteSetting("Recorder", "Autotrim");
    Clear();
}

}  // namespace
}  // namespace vocarta
