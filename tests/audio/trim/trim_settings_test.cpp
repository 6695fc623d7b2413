// The trim options as read from the settings store: defaults, clamping of
// damaged values, and the threshold of the trim after a recording.

#include "audio/trim/trim_settings.h"

#include <gtest/gtest.h>

#include "audio/trim/recording_trim.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "trim_test_audio.h"

namespace vocarta {
namespace {

void Clear() {
    for (const char* key :
         {"AutoTrimThreshold", "AutoTrimThresholdIsAbsolute", "AutoTrimShortestSilence",
          "AutoTrimNewFixedLength", "AutoTrimNewLengthFraction", "AutoTrimStartAndEndOnly",
          "VoiceActivateLevel"})
        DeleteSetting("Settings", key);
}

// Threshold, absolute, shortest silence, fixed length, fraction, start and end only.
auto Fields(const TrimSettings& s) {
    return std::make_tuple(s.thresholdDb, s.thresholdIsAbsolute, s.shortestSilenceMs,
                           s.newFixedLengthMs, s.newLengthFractionThousandths, s.startAndEndOnly);
}

TEST(TrimSettings, DefaultsAndClamping) {
    Clear();
    EXPECT_EQ(Fields(ReadTrimSettings()), std::make_tuple(-20, false, 200, 400, 0, false));

    // Values out of range, as a hand-edited preferences file may hold them;
    // "yes" is true (false only when the text begins with "0").
    const char* keys[] = {"AutoTrimThreshold", "AutoTrimShortestSilence", "AutoTrimNewFixedLength",
                          "AutoTrimNewLengthFraction", "AutoTrimStartAndEndOnly"};
    const char* oneWay[] = {"-300", "3", "-40", "99999999999", "yes"};
    const char* otherWay[] = {"400", "60000", "10001", "-1", "0"};
    for (int i = 0; i < 5; ++i) SetSettingString("Settings", keys[i], oneWay[i]);
    EXPECT_EQ(Fields(ReadTrimSettings()), std::make_tuple(-127, false, 25, 0, 10000, true));
    EXPECT_DOUBLE_EQ(ReadTrimSettings().NewLengthFraction(), 10.0);
    for (int i = 0; i < 5; ++i) SetSettingString("Settings", keys[i], otherWay[i]);
    EXPECT_EQ(Fields(ReadTrimSettings()), std::make_tuple(127, false, 10000, 10000, 0, false));

    // Storing clamps too.
    StoreTrimSettings(TrimSettings{-33, true, 50, 12000, 250, true});
    EXPECT_EQ(Fields(ReadTrimSettings()), std::make_tuple(-33, true, 50, 10000, 250, true));
    Clear();
}

TEST(TrimSettings, AfterRecordingThresholdFollowsVoiceActivation) {
    Clear();
    EXPECT_EQ(AfterRecordingThresholdDb(), -19);
    SetSettingString("Settings", "AutoTrimThreshold", "-40");
    SetSettingString("Settings", "AutoTrimShortestSilence", "300");
    // Not the user's trim threshold; relative or absolute and the rest as the user set them.
    EXPECT_EQ(Fields(ReadAfterRecordingTrimSettings()),
              std::make_tuple(-19, false, 300, 400, 0, false));
    SetSettingBool("Settings", "AutoTrimThresholdIsAbsolute", true);
    EXPECT_TRUE(ReadAfterRecordingTrimSettings().thresholdIsAbsolute);
    DeleteSetting("Settings", "AutoTrimThresholdIsAbsolute");

    // No wrap-around below the minimum.
    for (auto [level, db] :
         {std::pair{"-30", -31}, {"-127", -127}, {"1000", 127}, {"-2147483648", -127}}) {
        SetSettingString("Settings", "VoiceActivateLevel", level);
        EXPECT_EQ(AfterRecordingThresholdDb(), db) << level;
    }

    Clear();
}

// A quiet recording (speech peaking at 0.02, below the absolute level of -19 dB,
// 0.028) trimmed after recording with the default relative threshold: the peak
// pass runs and only the pauses are shortened. An absolute threshold, when the
// user chose it, takes the whole quiet file for silence.
TEST(TrimSettings, AfterRecordingTrimOfAQuietRecordingKeepsItsSpeech) {
    Clear();
    test::TempDir dir;
    const std::string path = dir.File("quiet.wav");
    test::Signal quiet{1, {}};
    quiet.Add(test::Ms(1000), 0.02f).Silent(test::Ms(2000)).Add(test::Ms(1000), 0.02f);
    ASSERT_TRUE(test::WriteRecording(path, quiet));
    std::vector<std::string> passes;
    TrimProgress progress;
    progress.passStarted = [&](const char* text) { passes.push_back(text); };

    TrimAfterRecording(path, progress);
    EXPECT_EQ(passes, (std::vector<std::string>{kTrimPeakText, kTrimSearchText, kTrimRemoveText}));
    EXPECT_EQ(test::RunsOf(test::ReadRecording(path).samples, 1, 0.001f),
              test::StretchRuns("L1000 S400 L1000"));

    SetSettingBool("Settings", "AutoTrimThresholdIsAbsolute", true);
    ASSERT_TRUE(test::WriteRecording(path, quiet));
    TrimOutcome outcome = TrimAfterRecording(path, {});
    EXPECT_EQ(outcome.status, TrimStatus::Ok) << outcome.error;
    EXPECT_LT(outcome.framesAfter, test::Ms(500)) << "an absolute -19 dB hears nothing here";
    Clear();
}

}  // namespace
}  // namespace vocarta
