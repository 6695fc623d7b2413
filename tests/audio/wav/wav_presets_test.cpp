// The "Wave Encoder Options" logic without the window: presets derived from the
// controls, the controls a preset sets, and what OK stores; and the record it
// stores in, WavCodec.wff, damaged.

#include "audio/wav/wav_presets.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "wav_test_util.h"

using namespace vocarta;
using vocarta::test::Fields;

namespace {

const std::tuple<int, uint32_t, int, int> kAutomaticFormat{1, 44100, 2, 32};

WavEncoderChoice Fixed(int codec, uint16_t channels, uint32_t rate, uint16_t bits) {
    WavEncoderChoice c;
    c.codecIndex = codec;
    c.matchChannels = c.matchRate = false;
    c.channels = channels;
    c.sampleRate = rate;
    c.bits = bits;
    return c;
}

}  // namespace

// The names in the lists are the window's own text; what is tested is the
// logic: which entry a stored tag selects, and a source's rate among the offers.
TEST(WavPresets, EncodingOfATagAndRatesOffered) {
    EXPECT_EQ(WavEncodingIndexOfTag(7), 3);
    EXPECT_EQ(WavEncodingIndexOfTag(3), 0);  // float shows as PCM
    auto rates = WavSampleRates(12345);
    EXPECT_TRUE(std::is_sorted(rates.begin(), rates.end()));
    EXPECT_EQ(std::count(rates.begin(), rates.end(), 12345u), 1);
    EXPECT_EQ(WavSampleRates(44100).size(), rates.size() - 1);
}

TEST(WavPresets, PresetDerivedFromTheControls) {
    WavEncoderChoice autoChoice, bits24, matching = Fixed(0, 2, 44100, 16);  // PCM, Match Source
    bits24.bits = 24;
    matching.matchChannels = true;
    // One control off makes it Custom (the last: A-law, not PCM).
    const std::pair<WavEncoderChoice, WavPreset> rows[] = {
        {autoChoice, WavPreset::Auto},
        {Fixed(0, 2, 44100, 16), WavPreset::High},
        {Fixed(0, 2, 22050, 16), WavPreset::Medium},
        {Fixed(0, 1, 8000, 8), WavPreset::Low},
        {bits24, WavPreset::Custom},
        {matching, WavPreset::Custom},
        {Fixed(0, 1, 44100, 16), WavPreset::Custom},
        {Fixed(0, 2, 48000, 16), WavPreset::Custom},
        {Fixed(0, 1, 8000, 16), WavPreset::Custom},
        {Fixed(2, 1, 8000, 8), WavPreset::Custom}};
    for (size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(DeriveWavPreset(rows[i].first), rows[i].second) << i;

    // Choosing a preset sets controls that derive to it again; Custom keeps them.
    WavEncoderChoice gsm = ConformWavChoice(Fixed(1, 1, 8000, 0));
    for (WavPreset p : {WavPreset::Auto, WavPreset::High, WavPreset::Medium, WavPreset::Low})
        EXPECT_EQ(DeriveWavPreset(ApplyWavPreset(p, gsm)), p);
    EXPECT_EQ(ApplyWavPreset(WavPreset::Custom, gsm), gsm);
    // Auto keeps the numbers under "Match Source" for later.
    WavEncoderChoice fromLow = ApplyWavPreset(WavPreset::Auto, Fixed(0, 1, 8000, 8));
    EXPECT_TRUE(fromLow.matchChannels && fromLow.matchRate);
    EXPECT_EQ(fromLow.sampleRate, 8000u);
}

TEST(WavPresets, ControlsFollowTheEncoding) {
    WavEncoderChoice c;  // PCM following the source
    c.codecIndex = 1;    // GSM 6.10
    EXPECT_EQ(ConformWavChoice(c), Fixed(1, 1, 8000, 0));
    EXPECT_TRUE(WavSampleSizes(1).empty());
    c = ConformWavChoice(Fixed(3, 2, 22050, 24));  // µ-law keeps rate and channels
    EXPECT_EQ(c, Fixed(3, 2, 22050, 8));

    c.codecIndex = 0;  // back to PCM: 8 bits are offered, so they stay
    EXPECT_EQ(ConformWavChoice(c).bits, 8);
    EXPECT_EQ(ConformWavChoice(Fixed(0, 2, 8000, 0)).bits, 16);               // from GSM's none
    EXPECT_EQ(ConformWavChoice(Fixed(9, 7, 0, 16)), Fixed(0, 2, 44100, 16));  // junk repaired
}

// What "OK" stores: (Preset, FormatAuto, SampleRateAuto, ChansAuto) and the record.
TEST(WavPresets, OkStoresKeysAndRecord) {
    const char* s = kWavSettingsSection;
    DeleteSettingTree(s);
    SetSettingBool(s, kWavBpsAutoKey, false);
    auto keys = [s] {
        return std::make_tuple(GetSettingInt(s, "Preset", -1),
                               GetSettingBool(s, kWavFormatAutoKey, false),
                               GetSettingBool(s, kWavSampleRateAutoKey, false),
                               GetSettingBool(s, kWavChansAutoKey, false));
    };

    // Auto: the three automatic keys, and a PCM 16-bit record.
    ASSERT_TRUE(SaveWavEncoderChoice(WavPreset::Auto, ApplyWavPreset(WavPreset::Auto, {})));
    EXPECT_EQ(keys(), std::make_tuple(0, true, true, true));
    EXPECT_EQ(GetSettingInt(s, "CodecIndex", -1), 0);
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 44100u, 2, 16));
    EXPECT_EQ(DeriveWavPreset(LoadWavEncoderChoice()), WavPreset::Auto);

    // Custom PCM with channels following the source: only ChansAuto.
    WavEncoderChoice custom = Fixed(0, 1, 48000, 24);
    custom.matchChannels = true;
    ASSERT_TRUE(SaveWavEncoderChoice(WavPreset::Custom, custom));
    EXPECT_EQ(keys(), std::make_tuple(1, false, false, true));
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 48000u, 2, 24));
    WavEncoderChoice loaded = LoadWavEncoderChoice();
    EXPECT_TRUE(loaded.matchChannels && !loaded.matchRate && loaded.sampleRate == 48000u);

    // Custom GSM 6.10: no automatic keys even where a control followed the source.
    WavEncoderChoice gsm;
    gsm.codecIndex = 1;
    ASSERT_TRUE(SaveWavEncoderChoice(WavPreset::Custom, gsm));
    EXPECT_EQ(keys(), std::make_tuple(1, false, false, false));
    EXPECT_EQ(GetSettingInt(s, "CodecIndex", -1), 1);
    EXPECT_EQ(std::tuple_cat(Fields(LoadWavFormat()), std::make_tuple(LoadWavFormat().blockAlign)),
              std::make_tuple(49, 8000u, 1, 0, 65));
    EXPECT_EQ(LoadWavEncoderChoice(), ConformWavChoice(gsm));
    // FormatAuto alone turns the record into PCM; GSM's 0 bits become 16.
    SetSettingBool(s, kWavFormatAutoKey, true);
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 8000u, 1, 16));

    // Low: the record takes the preset's values, every automatic key cleared.
    ASSERT_TRUE(SaveWavEncoderChoice(WavPreset::Low, ApplyWavPreset(WavPreset::Low, gsm)));
    EXPECT_EQ(keys(), std::make_tuple(4, false, false, false));
    EXPECT_EQ(Fields(LoadWavFormat()), std::make_tuple(1, 8000u, 1, 8));
    EXPECT_EQ(DeriveWavPreset(LoadWavEncoderChoice()), WavPreset::Low);
    DeleteSettingTree(s);
}

TEST(WavFormatSettings, DamagedRecordFallsBackWithALogLine) {
    DeleteSettingTree("WavSettings");
    unlink(WavCodecPath().c_str());
    EXPECT_EQ(Fields(LoadWavFormat()), kAutomaticFormat);  // missing: the automatic format, quietly
    ASSERT_TRUE(MakeDirs(AppConfigDir()));
    for (const std::string& bytes : {std::string(), std::string("RIFF0123"),
                                     std::string(1028, '\xAB'), std::string(2000, '\0')}) {
        SCOPED_TRACE(bytes.size());
        unlink(ErrorLogPath().c_str());
        ASSERT_TRUE(test::WriteFile(WavCodecPath(), bytes));
        EXPECT_EQ(Fields(LoadWavFormat()), kAutomaticFormat);
        std::string log = test::ReadFile(ErrorLogPath());
        EXPECT_NE(log.find("WavCodec.wff"), std::string::npos) << "no log line: " << log;
    }
}
