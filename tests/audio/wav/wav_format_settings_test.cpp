// The chosen WAV format: WavCodec.wff and the "WavSettings" override keys. A
// damaged record must fall back to the automatic format and say so in the log.

#include <gtest/gtest.h>
#include <unistd.h>

#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void ExpectAutomatic(const LSoundFormat& f) {
    EXPECT_EQ(f.formatTag, 1);
    EXPECT_EQ(f.sampleRate, 44100u);
    EXPECT_EQ(f.channels, 2);
    EXPECT_EQ(f.bitsPerSample, 32);
}

}  // namespace

TEST(WavFormatSettings, DamagedRecordFallsBackWithALogLine) {
    DeleteSettingTree("WavSettings");
    unlink(WavCodecPath().c_str());
    ExpectAutomatic(LoadWavFormat());  // missing: the automatic format, quietly

    std::string garbage(1028, '\xAB');
    std::string tooLong(2000, '\0');
    struct Case {
        const char* what;
        std::string bytes;
    } cases[] = {{"empty", ""}, {"short", "RIFF0123"}, {"garbage", garbage}, {"too long", tooLong}};
    ASSERT_TRUE(MakeDirs(AppConfigDir()));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        unlink(ErrorLogPath().c_str());
        ASSERT_TRUE(WriteFile(WavCodecPath(), c.bytes));
        ExpectAutomatic(LoadWavFormat());
        std::string log = ReadFile(ErrorLogPath());
        EXPECT_NE(log.find("WavCodec.wff"), std::string::npos) << "no log line: " << log;
    }
}

TEST(WavFormatSettings, StoredRecordAndOverrideKeys) {
    DeleteSettingTree("WavSettings");
    LSoundFormat alaw;
    ASSERT_TRUE(MakeWavFormat(6, 8000, 1, 8, alaw));
    ASSERT_TRUE(SaveWavFormat(alaw));
    LSoundFormat f = LoadWavFormat();
    EXPECT_EQ(f.formatTag, 6);
    EXPECT_EQ(f.sampleRate, 8000u);
    EXPECT_EQ(f.channels, 1);

    SetSettingBool("WavSettings", "FormatAuto", true);
    f = LoadWavFormat();
    EXPECT_EQ(f.formatTag, 1);
    EXPECT_EQ(f.bitsPerSample, 8);
    SetSettingBool("WavSettings", "SampleRateAuto", true);
    SetSettingBool("WavSettings", "BPSAuto", true);
    SetSettingBool("WavSettings", "ChansAuto", true);
    ExpectAutomatic(LoadWavFormat());
    DeleteSettingTree("WavSettings");

    // GSM's 0 bits turned to PCM by FormatAuto become 16 bits.
    LSoundFormat gsm;
    ASSERT_TRUE(MakeWavFormat(49, 8000, 1, 0, gsm));
    ASSERT_TRUE(SaveWavFormat(gsm));
    SetSettingBool("WavSettings", "FormatAuto", true);
    f = LoadWavFormat();
    EXPECT_EQ(f.formatTag, 1);
    EXPECT_EQ(f.bitsPerSample, 16);
    DeleteSettingTree("WavSettings");
}
