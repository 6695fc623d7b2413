#include "audio/codecs/encoder_options.h"

#include <gtest/gtest.h>

#include "audio/codecs/encoder_settings.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"

using namespace vocarta;

namespace {

// Runs the options that follow "-record <word>" and reports where the index ended.
bool Parse(int format, std::vector<std::string> tail, int* end = nullptr) {
    std::vector<std::string> args = {"vocarta", "-record", "word"};
    args.insert(args.end(), tail.begin(), tail.end());
    int index = 2;
    bool ok = ParseEncoderOptions(format, args, index);
    if (end) *end = index;
    return ok;
}

// (CBR, CBR rate, high quality, channel mode, CRC, VBR min, VBR max, VBR quality)
auto StoredMp3() {
    Mp3Settings r;
    LoadMp3Settings(r);
    return std::make_tuple(r.constantBitRate, r.cbrBitRate, r.highQuality, r.channelMode,
                           r.errorProtection, r.vbrMinBitRate, r.vbrMaxBitRate, r.vbrQuality);
}

}  // namespace

TEST(EncoderOptions, Mp3ConstantAndVariableBitRates) {
    DeleteSettingTree("MP3Encoder");
    int end = 0;
    ASSERT_TRUE(Parse(kFormatMp3, {"-cbr", "-b", "128", "-h", "-m", "j", "-p"}, &end));
    EXPECT_EQ(end, 9);  // left on "-p", the last word taken
    auto [cbr, rate, high, mode, crc, min, max, quality] = StoredMp3();
    EXPECT_EQ(std::make_tuple(cbr, rate, high, mode, crc),
              std::make_tuple(true, 128, true, kMp3Joint, true));

    // Fields not named keep their stored values.
    ASSERT_TRUE(Parse(kFormatMp3, {"-VBR", "-b", "64", "-B", "256", "-q", "2", "-m", "m", "-p"}));
    EXPECT_EQ(StoredMp3(), std::make_tuple(false, 128, true, kMp3Mono, true, 64, 256, 2));
}

TEST(EncoderOptions, TruncatedListsStoreNothing) {
    DeleteSettingTree("MP3Encoder");
    EXPECT_FALSE(Parse(kFormatMp3, {"-cbr", "-b", "128", "-h", "-m", "j"}));
    EXPECT_FALSE(SettingExists("MP3Encoder", "CBRBitRate"));
    EXPECT_FALSE(Parse(kFormatMp3, {}));

    SaveWavFormat(LSoundFormat(22050, 1, 16));
    EXPECT_FALSE(Parse(kFormatWav, {"-s", "8000", "-m", "1"}));
    EXPECT_EQ(LoadWavFormat().sampleRate, 22050u);
    EXPECT_FALSE(Parse(kFormatAiff, {"-s", "8000"}));
    EXPECT_FALSE(SettingExists("AIFFEncode", "SampleRate"));
}

TEST(EncoderOptions, WavPairsAreFixedPositions) {
    ASSERT_TRUE(Parse(kFormatWav, {"-s", "8000", "-m", "1", "-b", "8"}));
    LSoundFormat f = LoadWavFormat();
    EXPECT_EQ(f.sampleRate, 8000u);
    EXPECT_EQ(f.channels, 1);
    EXPECT_EQ(f.bitsPerSample, 8);
    // A position without its switch word still takes a pair, and the value is 0:
    // a rate of 0 is no format, so nothing is stored.
    EXPECT_FALSE(Parse(kFormatWav, {"-x", "8000", "-m", "1", "-b", "8"}));
    EXPECT_EQ(LoadWavFormat().sampleRate, 8000u);
}

TEST(EncoderOptions, FlacAnyOrderAndLevelAboveEightIgnored) {
    DeleteSettingTree("FlacEncoder");
    SetSettingInt("FlacEncoder", "Compression", 3);
    int end = 0;
    ASSERT_TRUE(Parse(kFormatFlac, {"-c", "9", "-s", "44100", "-m", "2", "-stop"}, &end));
    FlacSettings r;
    LoadFlacSettings(r, 48000, 1);
    EXPECT_EQ(r.sampleRate, 44100);
    EXPECT_EQ(r.channels, 2);
    EXPECT_EQ(r.compression, 3);
    EXPECT_EQ(end, 8);  // "-stop" is left for the command line
    ASSERT_TRUE(Parse(kFormatFlac, {"-c", "8"}));
    LoadFlacSettings(r, 48000, 1);
    EXPECT_EQ(r.compression, 8);
}

TEST(EncoderSettings, Mp3LoadingQuirks) {
    SetSettingInt("MP3Encoder", "VBRMaxBitRate", 320);
    SetSettingInt("MP3Encoder", "VBRMinBitRate", 8);
    SetSettingInt("MP3Encoder", "ABRBitRate", 320);
    Mp3Settings r;
    LoadMp3Settings(r);
    EXPECT_EQ(r.vbrMinBitRate, 32);
    EXPECT_EQ(r.abrBitRate, 64);
    SetSettingInt("MP3Encoder", "VBRMaxBitRate", 160);
    LoadMp3Settings(r);
    EXPECT_EQ(r.vbrMinBitRate, 8);
}

TEST(OutputFormat, StoreAndReadBoundsDiffer) {
    StoreOutputFormat(4);
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 4);
    EXPECT_EQ(ReadOutputFormat(), 0);
    StoreOutputFormat(5);
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 0);
    StoreOutputFormat(3);
    EXPECT_EQ(ReadOutputFormat(), 3);
    EXPECT_EQ(OutputFormatFromPath("/x/a.AIF"), kFormatAiff);
    EXPECT_EQ(OutputFormatFromPath("/x/a.ogg"), -1);
}
