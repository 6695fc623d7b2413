#include "audio/codecs/sink_factory.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "audio/codecs/encoder_settings.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "support/audio_test_util.h"
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
std::shared_ptr<LSoundSourceBase> RecordAndOpen(OutputFormat format, const std::string& path) {
    auto opened = OpenRecordingSink(LoadRecordingSpec(format), path);
    EXPECT_TRUE(opened) << (opened ? "" : opened.Error().Message());
    if (!opened || !WriteTone(*opened.Value(), 1000, 0.5, 0.5) || !opened.Value()->Close())
        return nullptr;
    return OpenSoundSource(path, nullptr);
}

}  // namespace

// Each row changes the settings of the row before it (values of "Section/Key").
TEST(SinkFactory, DisplayTextFollowsTheStoredSettings) {
    ResetEncoderSettings();
    ASSERT_TRUE(SaveWavFormat(LSoundFormat(22050, 1, 16)));
    using Values = std::vector<std::pair<std::string, int>>;
    const std::tuple<OutputFormat, Values, const char*> rows[] = {
        {OutputFormat::kMp3, {}, "192 kbps Stereo"},
        {OutputFormat::kMp3,
         {{"MP3Encoder/CBRBitRate", 128}, {"MP3Encoder/ChannelMode", kMp3Joint}},
         "128 kbps Joint Stereo"},
        {OutputFormat::kMp3,
         {{"MP3Encoder/ConstantBitRate", 0},
          {"MP3Encoder/VBRMinBitRate", 64},
          {"MP3Encoder/VBRMaxBitRate", 256},
          {"MP3Encoder/ChannelMode", kMp3Mono}},
         "64-256 kbps Mono"},
        {OutputFormat::kMp3, {{"MP3Encoder/ChannelMode", kMp3Force}}, "64-256 kbps Force Stereo"},
        {OutputFormat::kWav, {}, "22050Hz 16 Bit Mono"},
        {OutputFormat::kAiff, {}, "16 Bit Stereo 44100Hz AIFF"},
        {OutputFormat::kAiff,
         {{"AIFFEncode/Format", kAiffULaw},
          {"AIFFEncode/SampleRate", 8000},
          {"AIFFEncode/Channels", 1}},
         "uLaw Mono 8000Hz AIFF"},
        {OutputFormat::kFlac,
         {{"FlacEncoder/BitDepth", 24},
          {"FlacEncoder/SampleRate", 96000},
          {"FlacEncoder/MatchSourceChannels", 1},
          {"FlacEncoder/Channels", 1}},
         "24 Bit Stereo 96000Hz Flac"}};
    for (const auto& [format, values, text] : rows) {
        StoreOutputFormat(format);
        for (const auto& [key, value] : values)
            SetSettingInt(key.substr(0, key.find('/')), key.substr(key.find('/') + 1), value);
        EXPECT_EQ(CurrentFormatDisplayText(), text);
    }
}

TEST(SinkFactory, MissingLameRefusesMp3AndLeavesNoFile) {
    ResetEncoderSettings();
    TempDir dir;
    setenv("VOCARTA_LAME_LIBRARY", dir.File("libmp3lame.so.0").c_str(), 1);
    const std::string path = dir.File("never.mp3");
    auto refused = OpenRecordingSink(LoadRecordingSpec(OutputFormat::kMp3), path);
    unsetenv("VOCARTA_LAME_LIBRARY");
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.Error().Message().find("libmp3lame0"), std::string::npos)
        << refused.Error().Message();
    EXPECT_FALSE(FileExists(path));
    // The other formats do not need it, and the failure is not kept once the library is there.
    EXPECT_TRUE(RecordAndOpen(OutputFormat::kFlac, dir.File("still.flac")));
    EXPECT_TRUE(RecordAndOpen(OutputFormat::kMp3, dir.File("now.mp3")));
}

TEST(SinkFactory, RecordsFollowTheSettingsAndRewritesFollowTheFile) {
    ResetEncoderSettings();
    TempDir dir;
    SetSettingInt("AIFFEncode", "Format", kAiffFloat64);
    SetSettingInt("AIFFEncode", "SampleRate", 22050);
    SetSettingInt("AIFFEncode", "Channels", 1);
    SetSettingInt("FlacEncoder", "BitDepth", 8);
    SetSettingInt("FlacEncoder", "SampleRate", 0);  // as "-record flac -m 1" leaves it
    SetSettingInt("FlacEncoder", "Channels", 1);
    SetSettingInt("FlacEncoder", "Compression", 42);
    LSoundFormat alaw;
    ASSERT_TRUE(MakeWavFormat(kWaveFormatALaw, 16000, 1, 8, alaw));
    ASSERT_TRUE(SaveWavFormat(alaw));
    SetSettingInt("MP3Encoder", "ChannelMode", kMp3Mono);
    SetSettingInt("MP3Encoder", "CBRBitRate", 32);
    struct Case {
        OutputFormat format;
        const char* name;
        const char* description;
    } cases[] = {{OutputFormat::kAiff, "r.aif", "AIFC, 64-bit floating point, 22050 Hz, Mono"},
                 {OutputFormat::kFlac, "r.flac", "FLAC, 8 bit, 44100 Hz, Mono"},
                 {OutputFormat::kWav, "r.wav", "Microsoft ALAW"},
                 {OutputFormat::kMp3, "r.mp3", "MPEG-2 Layer 3, 32 kbps, 22050 Hz, Mono"}};
    std::vector<std::shared_ptr<LSoundSourceBase>> recorded;
    for (const Case& c : cases) {
        recorded.push_back(RecordAndOpen(c.format, dir.File(c.name)));
        ASSERT_TRUE(recorded.back());
        EXPECT_EQ(recorded.back()->FormatDescription().rfind(c.description, 0), 0u)
            << recorded.back()->FormatDescription();
    }
    // Settings changed since: a rewrite (after trimming) still matches the file.
    ResetEncoderSettings();
    for (size_t i = 0; i < recorded.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        std::string error;
        const std::string rewritten = dir.File(std::string("new-") + cases[i].name);
        auto sink = OpenSinkLike(dir.File(cases[i].name), *recorded[i], rewritten, &error);
        ASSERT_TRUE(sink && WriteTone(*sink, 1000, 0.5, 0.5) && sink->Close()) << error;
        auto back = OpenSoundSource(rewritten, &error);
        ASSERT_TRUE(back) << error;
        EXPECT_EQ(std::make_tuple(back->FormatDescription(), back->TotalFrames()),
                  std::make_tuple(recorded[i]->FormatDescription(), recorded[i]->TotalFrames()));
    }
}
