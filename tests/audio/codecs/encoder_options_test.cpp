#include "audio/codecs/encoder_options.h"

#include <gtest/gtest.h>

#include "audio/codecs/encoder_settings.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"

using namespace vocarta;

namespace {

// The program's own words, as the command line gives them.
bool IsOwn(std::string_view word) {
    for (const char* own : {"-ms", "-stop", "-outdir", "-exitifstop", "-recordfile"})
        if (word == own) return true;
    return false;
}

struct Parsed {
    std::optional<EncoderOptions> options;
    int end = 0;  // index of the last word taken, counted after "-record <word>"
};

Parsed Parse(OutputFormat format, std::vector<std::string> tail) {
    std::vector<std::string> args = {"vocarta", "-record", "word"};
    args.insert(args.end(), tail.begin(), tail.end());
    Parsed p;
    int index = 2;
    p.options = ParseEncoderOptions(format, args, index, IsOwn);
    p.end = index - 2;
    return p;
}

// The stored MP3 record after applying and saving the options.
Mp3Settings AppliedMp3(const Parsed& p) {
    RecordingSpec spec = LoadRecordingSpec(OutputFormat::kMp3);
    EXPECT_TRUE(p.options.has_value());
    if (!p.options) return spec.mp3;
    EXPECT_TRUE(ApplyEncoderOptions(*p.options, spec));
    SaveEncoderOptions(*p.options, spec);
    Mp3Settings stored;
    LoadMp3Settings(stored);
    return stored;
}

}  // namespace

TEST(EncoderOptions, Mp3FixedPositionsAndFieldsNotNamedKeepTheirValues) {
    DeleteSettingTree("MP3Encoder");
    Parsed cbr = Parse(OutputFormat::kMp3, {"-cbr", "-b", "128", "-h", "-m", "j", "-p"});
    EXPECT_EQ(cbr.end, 7);  // left on "-p", the last word taken
    Mp3Settings r = AppliedMp3(cbr);
    EXPECT_EQ(std::make_tuple(r.constantBitRate, r.cbrBitRate, r.highQuality, r.channelMode,
                              r.errorProtection),
              std::make_tuple(true, 128, true, kMp3Joint, true));

    r = AppliedMp3(
        Parse(OutputFormat::kMp3, {"-VBR", "-b", "64", "-B", "256", "-q", "2", "-m", "m", "-p"}));
    EXPECT_EQ(std::make_tuple(r.constantBitRate, r.cbrBitRate, r.highQuality, r.channelMode,
                              r.vbrMinBitRate, r.vbrMaxBitRate, r.vbrQuality),
              std::make_tuple(false, 128, true, kMp3Mono, 64, 256, 2));
}

// Each row: a list that ends too early, by the end of the line or by one of the
// program's own switches, stores nothing and leaves that switch for the loop.
TEST(EncoderOptions, TruncatedListsGiveNothingAndNeverSwallowTheProgramsSwitches) {
    struct Row {
        OutputFormat format;
        std::vector<std::string> tail;
        int end;
    } rows[] = {
        {OutputFormat::kMp3, {"-cbr", "-b", "128", "-h", "-m", "j"}, 6},
        {OutputFormat::kMp3, {}, 0},
        {OutputFormat::kMp3, {"-ms", "5000"}, 0},
        {OutputFormat::kMp3, {"-vbr", "-b", "64", "-ms", "5000"}, 3},
        {OutputFormat::kWav, {"-s", "8000", "-m", "1"}, 4},
        {OutputFormat::kWav, {"-ms", "5000"}, 0},
        {OutputFormat::kWav, {"-s", "22050", "-m", "1", "-ms", "2500"}, 4},
        {OutputFormat::kAiff, {"-s", "8000"}, 2},
        {OutputFormat::kAiff, {"-s", "8000", "-stop"}, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.tail));
        Parsed p = Parse(row.format, row.tail);
        EXPECT_FALSE(p.options.has_value());
        EXPECT_EQ(p.end, row.end);
    }
}

TEST(EncoderOptions, WavNamesTheFormatOutrightAndLeavesTheAutoKeysAlone) {
    Parsed p = Parse(OutputFormat::kWav, {"-s", "8000", "-m", "1", "-b", "8"});
    ASSERT_TRUE(p.options);
    SetSettingBool("WavSettings", "SampleRateAuto", true);
    RecordingSpec spec = LoadRecordingSpec(OutputFormat::kWav);
    EXPECT_TRUE(ApplyEncoderOptions(*p.options, spec));
    EXPECT_EQ(std::make_tuple(spec.wav.sampleRate, spec.wav.channels, spec.wav.bitsPerSample),
              std::make_tuple(8000u, uint16_t(1), uint16_t(8)));
    SaveEncoderOptions(*p.options, spec);
    EXPECT_TRUE(GetSettingBool("WavSettings", "SampleRateAuto", false));
    SetSettingBool("WavSettings", "SampleRateAuto", false);
    EXPECT_EQ(LoadWavFormat().sampleRate, 8000u);

    // A position without its switch word still takes a pair and the value is 0:
    // no format, so the recording settings and the store stay as they were.
    p = Parse(OutputFormat::kWav, {"-x", "16000", "-m", "1", "-b", "8"});
    ASSERT_TRUE(p.options);
    RecordingSpec kept = LoadRecordingSpec(OutputFormat::kWav);
    EXPECT_FALSE(ApplyEncoderOptions(*p.options, kept));
    EXPECT_EQ(kept.wav.sampleRate, 8000u);
}

TEST(EncoderOptions, FlacAnyOrderAndLevelAboveEightIgnored) {
    DeleteSettingTree("FlacEncoder");
    SetSettingInt("FlacEncoder", "Compression", 3);
    Parsed p = Parse(OutputFormat::kFlac, {"-c", "9", "-s", "44100", "-m", "2", "-stop"});
    EXPECT_EQ(p.end, 6);  // "-stop" is left for the command line
    RecordingSpec spec = LoadRecordingSpec(OutputFormat::kFlac);
    ASSERT_TRUE(p.options && ApplyEncoderOptions(*p.options, spec));
    SaveEncoderOptions(*p.options, spec);
    FlacSettings r;
    LoadFlacSettings(r, 48000, 1);
    EXPECT_EQ(std::make_tuple(r.sampleRate, int(r.channels), r.compression),
              std::make_tuple(44100, 2, 3));
    // The value position of an option never takes one of the program's switches.
    p = Parse(OutputFormat::kFlac, {"-s", "-ms", "100"});
    EXPECT_EQ(p.end, 0);
}

TEST(EncoderSettings, Mp3LoadingQuirks) {
    SetSettingInt("MP3Encoder", "VBRMaxBitRate", 320);
    SetSettingInt("MP3Encoder", "VBRMinBitRate", 8);
    SetSettingInt("MP3Encoder", "ABRBitRate", 320);
    Mp3Settings r;
    LoadMp3Settings(r);
    EXPECT_EQ(std::make_tuple(r.vbrMinBitRate, r.abrBitRate), std::make_tuple(32, 64));
    SetSettingInt("MP3Encoder", "VBRMaxBitRate", 160);
    LoadMp3Settings(r);
    EXPECT_EQ(r.vbrMinBitRate, 8);
}

TEST(OutputFormat, StoreAndReadBoundsDiffer) {
    StoreOutputFormatNumber(4);
    EXPECT_EQ(std::make_tuple(GetSettingInt("Settings", "Format", 1), ReadOutputFormat()),
              std::make_tuple(4, OutputFormat::kWav));
    StoreOutputFormatNumber(5);
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 0);
    StoreOutputFormat(OutputFormat::kFlac);
    EXPECT_EQ(ReadOutputFormat(), OutputFormat::kFlac);
    EXPECT_EQ(OutputFormatFromPath("/x/a.AIF"), OutputFormat::kAiff);
    EXPECT_EQ(OutputFormatFromPath("/x/a.ogg"), std::nullopt);
    EXPECT_EQ(OutputFormatFromWord("MP3"), OutputFormat::kMp3);
}
