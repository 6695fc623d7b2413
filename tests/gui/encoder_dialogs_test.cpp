// The MP3, AIFF and FLAC option dialogs, run offscreen: each shows the stored
// record, keeps its lists consistent, and saves exactly what was chosen.

#include <tuple>

#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/lame_library.h"
#include "gui/aiff_options_dialog.h"
#include "gui/flac_options_dialog.h"
#include "gui/gui_test_support.h"
#include "gui/mp3_options_dialog.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(EncoderDialogs, Mp3ShowsAndSavesTheRecord) {
    EnsureApplication();
    DeleteSettingTree("MP3Encoder");
    Mp3Settings stored;
    stored.constantBitRate = false, stored.cbrBitRate = 100;  // not a standard rate: kept as is
    stored.vbrMinBitRate = 64, stored.vbrMaxBitRate = 256, stored.vbrQuality = 2;
    stored.channelMode = kMp3Mono, stored.errorProtection = true, stored.lowpass = 16;
    SaveMp3Settings(stored);

    Mp3OptionsDialog dialog;
    ExpectShown(dialog,
                "vbr=1;cbrRate.enabled=0;cbrRate=100 kbps;vbrMax=256 kbps;vbrQuality=2;"
                "channelMode=Mono;crc=1");
    EXPECT_NE(Shown(dialog, "library").find("LAME"), std::string::npos);
    // Cancel stores nothing; OK stores the choice and passes unshown fields through.
    Enter(dialog, "cbr=1");
    ExpectShown(dialog, "cbrRate.enabled=1");
    dialog.reject();
    Mp3Settings after;
    EXPECT_FALSE((LoadMp3Settings(after), after.constantBitRate));
    Enter(dialog, "cbrRate=320 kbps;channelMode=Joint;crc=0");
    dialog.accept();
    LoadMp3Settings(after);
    EXPECT_EQ(std::tuple(after.constantBitRate, after.cbrBitRate, after.channelMode,
                         after.errorProtection, after.vbrMinBitRate, after.lowpass),
              std::tuple(true, 320, kMp3Joint, false, 64, 16));
    EXPECT_EQ(after.versionStr, Mp3LibraryVersion());
}

TEST(EncoderDialogs, AiffKeepsSizeAndCompressionTogether) {
    EnsureApplication();
    DeleteSettingTree("AIFFEncode");
    SetSettings("AIFFEncode", "Channels=1;SampleRate=12345");  // odd but usable: offered as is
    AiffOptionsDialog dialog;
    ExpectShown(dialog, "sampleSize=16 bits Integer;channels=Mono;sampleRate=12345 Hz");
    Enter(dialog, "compression=ALaw 2:1");
    ExpectShown(dialog, "sampleSize=16 bits Integer;sampleSize.enabled=0");
    Enter(dialog, "compression=not compressed");
    ExpectShown(dialog, "sampleSize.enabled=1");
    Enter(dialog, "sampleSize=64 bits Floating Point");
    ExpectShown(dialog, "compression=64-bit floating point");
    Enter(dialog, "compression=32-bit floating point");
    ExpectShown(dialog, "sampleSize=32 bits Floating Point");

    Enter(dialog, "channels=Match Source");
    dialog.accept();
    AiffSettings saved;
    LoadAiffSettings(saved, 0, 0, 0, 0);
    // The stored count stays for when matching is turned off.
    EXPECT_EQ(std::tuple(saved.format, saved.sampleSize, saved.matchSourceChannels, saved.channels,
                         saved.sampleRate, saved.matchSourceSampleRate),
              std::tuple(kAiffFloat32, 32, true, 1, 12345, false));
}

TEST(EncoderDialogs, FlacShowsAndSavesTheRecord) {
    EnsureApplication();
    DeleteSettingTree("FlacEncoder");
    FlacSettings stored;
    stored.compression = 3, stored.bitDepth = 24, stored.sampleRate = 48000, stored.channels = 1;
    SaveFlacSettings(stored);
    FlacOptionsDialog dialog;
    EXPECT_EQ(Items(Child<QComboBox>(dialog, "compression")).size(), 9);
    ExpectShown(dialog, "compression=3;bitDepth=24 bits;channels=Mono;sampleRate=48000 Hz");
    Enter(dialog,
          "compression=8 (Smallest);bitDepth=16 bits;sampleRate=Match Source;channels=Stereo");
    dialog.accept();
    FlacSettings saved;
    LoadFlacSettings(saved, 0, 0);
    EXPECT_EQ(std::tuple(saved.compression, saved.bitDepth, saved.matchSourceSampleRate,
                         saved.sampleRate, saved.channels, saved.matchSourceChannels),
              std::tuple(8, 16, true, 48000, 2, false));
}
