// The "Wave Encoder Options" dialog, run offscreen: the preset that follows the
// controls, and what OK stores. The preset rules themselves: wav_presets_test.cpp.

#include "gui/wave_encoder_options_dialog.h"

#include <QStandardItemModel>

#include "audio/wav/wav_format_settings.h"
#include "gui/gui_test_support.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

QComboBox* Combo(QWidget& dialog, const char* name) {
    return Child<QComboBox>(dialog, name);
}

// Picks an item as a user would (the dialog reacts to activation only).
void Pick(QComboBox* combo, const QString& text) {
    int index = combo->findText(text);
    ASSERT_GE(index, 0) << text.toStdString();
    combo->setCurrentIndex(index);
    emit combo->activated(index);
}

bool ItemEnabled(QComboBox* combo, const QString& text) {
    auto* model = qobject_cast<QStandardItemModel*>(combo->model());
    return model->item(combo->findText(text))->isEnabled();
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
    QComboBox* preset = Combo(dialog, "preset");
    QComboBox* encoding = Combo(dialog, "encoding");
    QComboBox* channels = Combo(dialog, "channels");
    QComboBox* rate = Combo(dialog, "sampleRate");
    QComboBox* size = Combo(dialog, "sampleSize");
    EXPECT_EQ(
        Items(preset),
        (QStringList{"Auto (Preserves Original Format)", "Custom", "High Quality (CD/DVD Quality)",
                     "Medium Quality (AM Radio Quality)", "Low Quality (Telephone Quality)"}));
    EXPECT_EQ(rate->currentText(), "44100 Hz");
    EXPECT_EQ(preset->currentText(), "High Quality (CD/DVD Quality)");  // derived from the record

    // A preset sets the controls; a control change makes the preset follow.
    Pick(preset, "Low Quality (Telephone Quality)");
    EXPECT_EQ(channels->currentText(), "Mono");
    EXPECT_EQ(rate->currentText(), "8000 Hz");
    EXPECT_EQ(size->currentText(), "8 bits Integer");
    Pick(size, "16 bits Integer");
    EXPECT_EQ(preset->currentText(), "Custom");
    Pick(size, "8 bits Integer");
    EXPECT_EQ(preset->currentText(), "Low Quality (Telephone Quality)");

    // GSM 6.10: mono only, no sample size, and nothing follows the source.
    Pick(encoding, "GSM 6.10");
    EXPECT_EQ(preset->currentText(), "Custom");
    EXPECT_FALSE(size->isEnabled());
    EXPECT_FALSE(ItemEnabled(channels, "Match Source"));
    EXPECT_FALSE(ItemEnabled(rate, "Match Source"));
    dialog.accept();
    EXPECT_EQ(GetSettingInt(kWavSettingsSection, "Preset", -1), 1);
    EXPECT_EQ(GetSettingInt(kWavSettingsSection, "CodecIndex", -1), 1);
    EXPECT_EQ(LoadWavFormat().formatTag, 49);
    EXPECT_EQ(LoadWavFormat().sampleRate, 8000u);

    // Auto: PCM following the source; OK sets the automatic keys.
    WaveEncoderOptionsDialog again;
    EXPECT_EQ(Combo(again, "encoding")->currentText(), "GSM 6.10");  // opens on what was stored
    Pick(Combo(again, "preset"), "Auto (Preserves Original Format)");
    EXPECT_EQ(Combo(again, "channels")->currentText(), "Match Source");
    EXPECT_EQ(Combo(again, "sampleRate")->currentText(), "Match Source");
    EXPECT_TRUE(Combo(again, "sampleSize")->isEnabled());
    again.accept();
    EXPECT_EQ(GetSettingInt(kWavSettingsSection, "Preset", -1), 0);
    EXPECT_TRUE(GetSettingBool(kWavSettingsSection, kWavFormatAutoKey, false));
    EXPECT_TRUE(GetSettingBool(kWavSettingsSection, kWavChansAutoKey, false));
    EXPECT_EQ(LoadWavFormat().bitsPerSample, 16);
    DeleteSettingTree(kWavSettingsSection);
}
