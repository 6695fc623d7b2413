// The "Wave Encoder Options" dialog, run offscreen: the preset that follows the
// controls, and what OK stores. The preset rules themselves: wav_presets_test.cpp.

#include "gui/wave_encoder_options_dialog.h"

#include <QStandardItemModel>

#include "audio/wav/wav_format_settings.h"
#include "gui/gui_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

bool ItemEnabled(QObject& dialog, const char* combo, const QString& text) {
    auto* box = Child<QComboBox>(dialog, combo);
    return qobject_cast<QStandardItemModel*>(box->model())->item(box->findText(text))->isEnabled();
}

}  // namespace

TEST(WaveEncoderOptionsDialog, ListsPresetsAndStoresTheChoice) {
    EnsureApplication();
    DeleteSettingTree(kWavSettingsSection);
    LSoundFormat high;
    ASSERT_TRUE(MakeWavFormat(1, 44100, 2, 16, high));
    ASSERT_TRUE(SaveWavFormat(high));

    WaveEncoderOptionsDialog dialog;
    EXPECT_EQ(dialog.windowTitle(), "Wave Encoder Options");
    EXPECT_EQ(
        Items(Child<QComboBox>(dialog, "preset")),
        (QStringList{"Auto (Preserves Original Format)", "Custom", "High Quality (CD/DVD Quality)",
                     "Medium Quality (AM Radio Quality)", "Low Quality (Telephone Quality)"}));
    // The preset is derived from the record.
    ExpectShown(dialog, "sampleRate=44100 Hz;preset=High Quality (CD/DVD Quality)");

    // A preset sets the controls; a control change makes the preset follow.
    Enter(dialog, "preset=Low Quality (Telephone Quality)");
    ExpectShown(dialog, "channels=Mono;sampleRate=8000 Hz;sampleSize=8 bits Integer");
    Enter(dialog, "sampleSize=16 bits Integer");
    ExpectShown(dialog, "preset=Custom");
    Enter(dialog, "sampleSize=8 bits Integer");
    ExpectShown(dialog, "preset=Low Quality (Telephone Quality)");

    // GSM 6.10: mono only, no sample size, and nothing follows the source.
    Enter(dialog, "encoding=GSM 6.10");
    ExpectShown(dialog, "preset=Custom;sampleSize.enabled=0");
    EXPECT_FALSE(ItemEnabled(dialog, "channels", "Match Source"));
    EXPECT_FALSE(ItemEnabled(dialog, "sampleRate", "Match Source"));
    dialog.accept();
    ExpectSettings(kWavSettingsSection, "Preset=1;CodecIndex=1");
    EXPECT_EQ(LoadWavFormat().formatTag, 49);
    EXPECT_EQ(LoadWavFormat().sampleRate, 8000u);

    // Auto: PCM following the source; OK sets the automatic keys.
    WaveEncoderOptionsDialog again;
    ExpectShown(again, "encoding=GSM 6.10");  // opens on what was stored
    Enter(again, "preset=Auto (Preserves Original Format)");
    ExpectShown(again, "channels=Match Source;sampleRate=Match Source;sampleSize.enabled=1");
    again.accept();
    EXPECT_EQ(GetSettingInt(kWavSettingsSection, "Preset", -1), 0);
    EXPECT_TRUE(GetSettingBool(kWavSettingsSection, kWavFormatAutoKey, false));
    EXPECT_TRUE(GetSettingBool(kWavSettingsSection, kWavChansAutoKey, false));
    EXPECT_EQ(LoadWavFormat().bitsPerSample, 16);
    DeleteSettingTree(kWavSettingsSection);
}
