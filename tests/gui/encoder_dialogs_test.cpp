// The MP3, AIFF and FLAC option dialogs, run offscreen: each shows the stored
// record, keeps its lists consistent, and saves exactly what was chosen.

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QRadioButton>

#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/lame_library.h"
#include "gui/aiff_options_dialog.h"
#include "gui/flac_options_dialog.h"
#include "gui/gui_test_support.h"
#include "gui/mp3_options_dialog.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(EncoderDialogs, Mp3ShowsAndSavesTheRecord) {
    EnsureApplication();
    DeleteSettingTree("MP3Encoder");
    Mp3Settings stored;
    stored.constantBitRate = false;
    stored.cbrBitRate = 100;  // not a standard rate: kept as it is
    stored.vbrMinBitRate = 64;
    stored.vbrMaxBitRate = 256;
    stored.vbrQuality = 2;
    stored.channelMode = kMp3Mono;
    stored.errorProtection = true;
    stored.lowpass = 16;
    SaveMp3Settings(stored);

    Mp3OptionsDialog dialog;
    QComboBox* cbrRate = Child<QComboBox>(dialog, "cbrRate");
    QComboBox* channelMode = Child<QComboBox>(dialog, "channelMode");
    EXPECT_TRUE(Child<QRadioButton>(dialog, "vbr")->isChecked());
    EXPECT_FALSE(cbrRate->isEnabled());
    EXPECT_EQ(cbrRate->currentText(), "100 kbps");
    EXPECT_EQ(Child<QComboBox>(dialog, "vbrMax")->currentText(), "256 kbps");
    EXPECT_EQ(Child<QComboBox>(dialog, "vbrQuality")->currentText(), "2");
    EXPECT_EQ(channelMode->currentText(), "Mono");
    EXPECT_TRUE(Child<QCheckBox>(dialog, "crc")->isChecked());
    EXPECT_TRUE(Child<QLabel>(dialog, "library")->text().contains("LAME"));

    // Cancel stores nothing; OK stores the choice and passes unshown fields through.
    Child<QRadioButton>(dialog, "cbr")->setChecked(true);
    EXPECT_TRUE(cbrRate->isEnabled());
    dialog.reject();
    Mp3Settings after;
    LoadMp3Settings(after);
    EXPECT_FALSE(after.constantBitRate);
    cbrRate->setCurrentText("320 kbps");
    channelMode->setCurrentText("Joint");
    Child<QCheckBox>(dialog, "crc")->setChecked(false);
    dialog.accept();
    LoadMp3Settings(after);
    EXPECT_TRUE(after.constantBitRate);
    EXPECT_EQ(after.cbrBitRate, 320);
    EXPECT_EQ(after.channelMode, kMp3Joint);
    EXPECT_FALSE(after.errorProtection);
    EXPECT_EQ(after.vbrMinBitRate, 64);
    EXPECT_EQ(after.lowpass, 16);
    EXPECT_EQ(after.versionStr, Mp3LibraryVersion());
}

TEST(EncoderDialogs, AiffKeepsSizeAndCompressionTogether) {
    EnsureApplication();
    DeleteSettingTree("AIFFEncode");
    SetSettingInt("AIFFEncode", "Channels", 1);
    SetSettingInt("AIFFEncode", "SampleRate", 12345);  // odd but usable: offered as it is
    AiffOptionsDialog dialog;
    QComboBox* size = Child<QComboBox>(dialog, "sampleSize");
    QComboBox* compression = Child<QComboBox>(dialog, "compression");
    EXPECT_EQ(size->currentText(), "16 bits Integer");
    EXPECT_EQ(Child<QComboBox>(dialog, "channels")->currentText(), "Mono");
    EXPECT_EQ(Child<QComboBox>(dialog, "sampleRate")->currentText(), "12345 Hz");

    compression->setCurrentText("ALaw 2:1");
    EXPECT_EQ(size->currentText(), "16 bits Integer");
    EXPECT_FALSE(size->isEnabled());
    compression->setCurrentText("not compressed");
    EXPECT_TRUE(size->isEnabled());
    size->setCurrentText("64 bits Floating Point");
    EXPECT_EQ(compression->currentText(), "64-bit floating point");
    compression->setCurrentText("32-bit floating point");
    EXPECT_EQ(size->currentText(), "32 bits Floating Point");

    Child<QComboBox>(dialog, "channels")->setCurrentText("Match Source");
    dialog.accept();
    AiffSettings saved;
    LoadAiffSettings(saved, 0, 0, 0, 0);
    EXPECT_EQ(saved.format, kAiffFloat32);
    EXPECT_EQ(saved.sampleSize, 32);
    EXPECT_TRUE(saved.matchSourceChannels);
    EXPECT_EQ(saved.channels, 1) << "the stored count stays for when matching is turned off";
    EXPECT_EQ(saved.sampleRate, 12345);
    EXPECT_FALSE(saved.matchSourceSampleRate);
}

TEST(EncoderDialogs, FlacShowsAndSavesTheRecord) {
    EnsureApplication();
    DeleteSettingTree("FlacEncoder");
    FlacSettings stored;
    stored.compression = 3;
    stored.bitDepth = 24;
    stored.sampleRate = 48000;
    stored.channels = 1;
    SaveFlacSettings(stored);
    FlacOptionsDialog dialog;
    const auto combo = [&](const char* name) { return Child<QComboBox>(dialog, name); };
    EXPECT_EQ(Items(combo("compression")).size(), 9);
    EXPECT_EQ(combo("compression")->currentText(), "3");
    EXPECT_EQ(combo("bitDepth")->currentText(), "24 bits");
    EXPECT_EQ(combo("channels")->currentText(), "Mono");
    EXPECT_EQ(combo("sampleRate")->currentText(), "48000 Hz");

    combo("compression")->setCurrentText("8 (Smallest)");
    combo("bitDepth")->setCurrentText("16 bits");
    combo("sampleRate")->setCurrentText("Match Source");
    combo("channels")->setCurrentText("Stereo");
    dialog.accept();
    FlacSettings saved;
    LoadFlacSettings(saved, 0, 0);
    EXPECT_EQ(saved.compression, 8);
    EXPECT_EQ(saved.bitDepth, 16);
    EXPECT_TRUE(saved.matchSourceSampleRate);
    EXPECT_EQ(saved.sampleRate, 48000);
    EXPECT_EQ(saved.channels, 2);
    EXPECT_FALSE(saved.matchSourceChannels);
}
