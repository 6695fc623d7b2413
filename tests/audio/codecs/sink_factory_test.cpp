#include <gtest/gtest.h>

#include <cstdlib>

#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "codec_test_util.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void ResetEncoderSettings() {
    for (const char* section : {"MP3Encoder", "AIFFEncode", "FlacEncoder", "WavSettings"})
        DeleteSettingTree(section);
}

// Records through the factory, as the session does, and reads the file back.
std::shared_ptr<LSoundSourceBase> RecordAndOpen(int format, const std::string& path) {
    std::string error;
    auto sink = OpenRecordingSink(format, path, &error);
    EXPECT_TRUE(sink) << error;
    if (!sink) return nullptr;
    EXPECT_TRUE(WriteTone(*sink, 1000, 0.5, 0.5));
    EXPECT_TRUE(sink->Close());
    auto source = OpenSoundSource(path, &error);
    EXPECT_TRUE(source) << error;
    return source;
}

}  // namespace

TEST(SinkFactory, DisplayTextFollowsTheStoredSettings) {
    ResetEncoderSettings();
    StoreOutputFormat(kFormatMp3);
    EXPECT_EQ(CurrentFormatDisplayText(), "192 kbps Stereo");
    SetSettingInt("MP3Encoder", "CBRBitRate", 128);
    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Joint);
    EXPECT_EQ(CurrentFormatDisplayText(), "128 kbps Joint Stereo");
    SetSettingBool("MP3Encoder", "ConstantBitRate", false);
    SetSettingInt("MP3Encoder", "VBRMinBitRate", 64);
    SetSettingInt("MP3Encoder", "VBRMaxBitRate", 256);
    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Mono);
    EXPECT_EQ(CurrentFormatDisplayText(), "64-256 kbps Mono");
    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Force);
    EXPECT_EQ(CurrentFormatDisplayText(), "64-256 kbps Force Stereo");

    StoreOutputFormat(kFormatWav);
    ASSERT_TRUE(SaveWavFormat(LSoundFormat(22050, 1, 16)));
    EXPECT_EQ(CurrentFormatDisplayText(), "22050Hz 16 Bit Mono");

    StoreOutputFormat(kFormatAiff);
    EXPECT_EQ(CurrentFormatDisplayText(), "16 Bit Stereo 44100Hz AIFF");
    SetSettingInt("AIFFEncode", "Format", kAiffULaw);
    SetSettingInt("AIFFEncode", "SampleRate", 8000);
    SetSettingInt("AIFFEncode", "Channels", 1);
    EXPECT_EQ(CurrentFormatDisplayText(), "uLaw Mono 8000Hz AIFF");

    StoreOutputFormat(kFormatFlac);
    SetSettingInt("FlacEncoder", "BitDepth", 24);
    SetSettingInt("FlacEncoder", "SampleRate", 96000);
    SetSettingBool("FlacEncoder", "MatchSourceChannels", true);
    SetSettingInt("FlacEncoder", "Channels", 1);
    EXPECT_EQ(CurrentFormatDisplayText(), "24 Bit Stereo 96000Hz Flac");
}

TEST(SinkFactory, RecordingSinksUseTheStoredRecords) {
    ResetEncoderSettings();
    TempDir dir;
    SetSettingInt("AIFFEncode", "SampleRate", 22050);
    SetSettingInt("AIFFEncode", "Channels", 1);
    SetSettingInt("AIFFEncode", "SampleSize", 24);
    auto aiff = RecordAndOpen(kFormatAiff, dir.File("r.aiff"));
    ASSERT_TRUE(aiff);
    EXPECT_EQ(aiff->SampleRate(), 22050u);
    EXPECT_EQ(aiff->Channels(), 1);
    EXPECT_EQ(aiff->FormatDescription(), "AIFF, 24 bit, 22050 Hz, Mono");

    // A rate of 0 (a command line without "-s") records at the default rate.
    SetSettingInt("FlacEncoder", "SampleRate", 0);
    SetSettingInt("FlacEncoder", "Compression", 42);
    auto flac = RecordAndOpen(kFormatFlac, dir.File("r.flac"));
    ASSERT_TRUE(flac);
    EXPECT_EQ(flac->SampleRate(), 44100u);
    EXPECT_EQ(flac->Channels(), 2);

    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Mono);
    auto mp3 = RecordAndOpen(kFormatMp3, dir.File("r.mp3"));
    ASSERT_TRUE(mp3);
    EXPECT_EQ(mp3->Channels(), 1);
    EXPECT_EQ(mp3->TotalFrames(), 22050u);

    ASSERT_TRUE(SaveWavFormat(LSoundFormat(16000, 1, 8)));
    auto wav = RecordAndOpen(kFormatWav, dir.File("r.wav"));
    ASSERT_TRUE(wav);
    EXPECT_EQ(wav->SampleRate(), 16000u);
    EXPECT_EQ(wav->TotalFrames(), 8000u);

    std::string error;
    EXPECT_FALSE(OpenRecordingSink(7, dir.File("x.bin"), &error));
    EXPECT_FALSE(error.empty());
}

TEST(SinkFactory, MissingLameRefusesMp3AndLeavesNoFile) {
    ResetEncoderSettings();
    TempDir dir;
    setenv("VOCARTA_LAME_LIBRARY", dir.File("libmp3lame.so.0").c_str(), 1);
    std::string error;
    const std::string path = dir.File("never.mp3");
    EXPECT_FALSE(OpenRecordingSink(kFormatMp3, path, &error));
    unsetenv("VOCARTA_LAME_LIBRARY");
    EXPECT_NE(error.find("libmp3lame0"), std::string::npos) << error;
    EXPECT_FALSE(FileExists(path));
    // The other formats do not need it.
    EXPECT_TRUE(RecordAndOpen(kFormatFlac, dir.File("still.flac")));
}

TEST(SinkFactory, SinkLikeKeepsTheEncodingOfTheFile) {
    ResetEncoderSettings();
    TempDir dir;
    struct Case {
        int format;
        const char* name;
        const char* expected;  // start of the rewritten file's description
    } cases[] = {{kFormatAiff, "like.aif", "AIFC, 64-bit floating point, 22050 Hz, Mono"},
                 {kFormatFlac, "like.flac", "FLAC, 8 bit, 22050 Hz, Mono"},
                 {kFormatWav, "like.wav", "Microsoft ALAW"},
                 {kFormatMp3, "like.mp3", "MPEG-2 Layer 3, 32 kbps, 22050 Hz, Mono"}};
    SetSettingInt("AIFFEncode", "Format", kAiffFloat64);
    SetSettingInt("AIFFEncode", "SampleRate", 22050);
    SetSettingInt("AIFFEncode", "Channels", 1);
    SetSettingInt("FlacEncoder", "BitDepth", 8);
    SetSettingInt("FlacEncoder", "SampleRate", 22050);
    SetSettingInt("FlacEncoder", "Channels", 1);
    LSoundFormat alaw;
    ASSERT_TRUE(MakeWavFormat(kWaveFormatALaw, 22050, 1, 8, alaw));
    ASSERT_TRUE(SaveWavFormat(alaw));
    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Mono);
    SetSettingInt("MP3Encoder", "CBRBitRate", 32);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        auto sink = OpenRecordingSink(c.format, dir.File(c.name), &error);
        ASSERT_TRUE(sink) << error;
        ASSERT_TRUE(sink->SetFormat(22050, 1));
        ASSERT_TRUE(WriteTone(*sink, 1000, 0.5, 0.5));
        ASSERT_TRUE(sink->Close());
        auto like = OpenSoundSource(dir.File(c.name), &error);
        ASSERT_TRUE(like) << error;
        // The settings change afterwards; the rewrite still follows the file.
        ResetEncoderSettings();
        const std::string rewritten = dir.File(std::string("new-") + c.name);
        auto copy = OpenSinkLike(dir.File(c.name), *like, rewritten, &error);
        ASSERT_TRUE(copy) << error;
        ASSERT_TRUE(WriteTone(*copy, 1000, 0.5, 0.5));
        ASSERT_TRUE(copy->Close());
        auto back = OpenSoundSource(rewritten, &error);
        ASSERT_TRUE(back) << error;
        EXPECT_EQ(back->FormatDescription().rfind(c.expected, 0), 0u) << back->FormatDescription();
        SetSettingInt("AIFFEncode", "Format", kAiffFloat64);
        SetSettingInt("FlacEncoder", "BitDepth", 8);
        SetSettingInt("MP3Encoder", "ChannelMode", kMp3Mono);
        SetSettingInt("MP3Encoder", "CBRBitRate", 32);
    }
}
