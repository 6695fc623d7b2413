// A damaged WavCodec.wff must fall back to the automatic format and say so in
// the log. (The record and its override keys are checked with the presets.)

#include "audio/wav/wav_format_settings.h"

#include <gtest/gtest.h>
#include <unistd.h>

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
