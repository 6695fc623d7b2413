// The chosen WAV format: WavCodec.wff and the "WavSettings" override keys. A
// damaged record must fall back to the automatic format and say so in the log.

#include <gtest/gtest.h>
#include <unistd.h>

#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
const std::tuple<int, uint32_t, int, int> kAutomatic{1, 44100, 2, 32};
}  // namespace

TEST(WavFormatSettings, DamagedRecordFallsBackWithALogLine) {
    DeleteSettingTree("WavSettings");
    unlink(WavCodecPath().c_str());
    EXPECT_EQ(Fields(LoadWavFormat()), kAutomatic);  // missing: the automatic format, quietly
    ASSERT_TRUE(MakeDirs(AppConfigDir()));
    for (const std::string& bytes : {std::string(), std::string("RIFF0123"),
                                     std::string(1028, '\xAB'), std::string(2000, '\0')}) {
        SCOPED_TRACE(bytes.size());
        unlink(ErrorLogPath().c_str());
        ASSERT_TRUE(WriteFile(WavCodecPath(), bytes));
        EXPECT_EQ(Fields(LoadWavFormat()), kAutomatic);
        std::string log = ReadFile(ErrorLogPath());
        EXPECT_NE(log.find("WavCodec.wff"), std::string::npos) << "no log line: " << log;
    }
}

TEST(WavFormatSettings, StoredRecordAndOverrideKeys) {
    DeleteSettingTree("WavSettings");
    LSoundFormat alaw;
    ASSERT_TRUE(MakeWavFormat(6, 8000, 1, 8, alaw));
    ASSERT_TRUE(SaveWavFormat(alaw));
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(6, 8000u, 1, 8));
    SetSettingBool("WavSettings", "FormatAuto", true);
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 8000u, 1, 8));
    for (const char* key : {"SampleRateAuto", "BPSAuto", "ChansAuto"})
        SetSettingBool("WavSettings", key, true);
    EXPECT_EQ(Fields(LoadWavFormat()), kAutomatic);
    DeleteSettingTree("WavSettings");

    // GSM's 0 bits turned to PCM by FormatAuto become 16 bits.
    LSoundFormat gsm;
    ASSERT_TRUE(MakeWavFormat(49, 8000, 1, 0, gsm));
    ASSERT_TRUE(SaveWavFormat(gsm));
    SetSettingBool("WavSettings", "FormatAuto", true);
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 8000u, 1, 16));
    DeleteSettingTree("WavSettings");
}
