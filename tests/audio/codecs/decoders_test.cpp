#include <gtest/gtest.h>

#include <random>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/sink_factory.h"
#include "audio/wav/wav_sink.h"
#include "support/audio_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

struct Written {
    std::string path;
    std::string description;  // what OpenSoundSource must say
    bool lossless;
};

// One second of a 1 kHz tone at 0.5, stereo 44100 Hz, in every format.
std::vector<Written> WriteEveryFormat(const TempDir& dir) {
    std::vector<Written> files = {
        {dir.File("t.wav"), "Microsoft PCM Format", true},
        {dir.File("t.mp3"), "MPEG Layer 3, 192 kbps, 44100 Hz, Stereo", false},
        {dir.File("t.aiff"), "AIFF, 16 bit, 44100 Hz, Stereo", true},
        {dir.File("t.aif"), "AIFC, uLaw 2:1, 44100 Hz, Stereo", false},
        {dir.File("t.flac"), "FLAC, 16 bit, 44100 Hz, Stereo", true}};
    std::shared_ptr<LSoundSinkBase> sinks[] = {
        OpenWavSink(files[0].path, LSoundFormat(44100, 2, 16), nullptr),
        OpenMp3Sink(files[1].path, Mp3Settings(), 44100, 2, nullptr),
        OpenAiffSink(files[2].path, AiffEncoding::Pcm16, 44100, 2, nullptr),
        OpenAiffSink(files[3].path, AiffEncoding::ULaw, 44100, 2, nullptr),
        OpenFlacSink(files[4].path, FlacSettings(), 44100, 2, nullptr)};
    for (auto& sink : sinks) EXPECT_TRUE(sink && WriteTone(*sink, 1000, 0.5, 1.0) && sink->Close());
    return files;
}

}  // namespace

// A file of every format reads back whole with its length and tone; random cuts
// and byte flips of it, and of WAV files of every codec, give a clear error or a
// file that reads to an end, never a crash.
TEST(Decoders, EveryFormatReadsBackAndDamagedFilesGiveErrorsNotCrashes) {
    TempDir dir;
    std::string missing;
    EXPECT_FALSE(OpenSoundSource(dir.File("none.mp3"), &missing));
    EXPECT_NE(missing.find("does not exist"), std::string::npos) << missing;
    std::vector<std::string> files;
    for (const Written& w : WriteEveryFormat(dir)) {
        SCOPED_TRACE(w.path);
        files.push_back(w.path);
        auto source = OpenSoundSource(w.path, nullptr);
        ASSERT_TRUE(source);
        EXPECT_EQ(std::make_tuple(source->SampleRate(), source->Channels(), source->TotalFrames(),
                                  source->Length()),
                  std::make_tuple(44100u, 2, 44100u, LSoundTime(1000)));
        EXPECT_TRUE(source->FormatDescription().starts_with(w.description))
            << source->FormatDescription();
        std::vector<float> pcm;
        ASSERT_EQ(ReadToEnd(*source, &pcm), 44100);
        ToneMeasure tone = MeasureTone(pcm, 2, 44100);
        EXPECT_NEAR(tone.hz, 1000, 1);
        EXPECT_NEAR(tone.peak, 0.5, 0.05);
        float frame[2];
        ASSERT_TRUE(source->Seek(30000) && source->Read(frame, 1) == 1);
        EXPECT_NEAR(frame[0], Tone(1000, 0.5, 44100, 1, 1, 30000)[0], w.lossless ? 1e-4 : 0.1);
    }
    for (auto [tag, bits] : {std::pair{1, 8}, {1, 24}, {3, 32}, {6, 8}, {49, 0}}) {
        LSoundFormat format(8000, 1, uint16_t(bits));
        format.formatTag = uint16_t(tag);
        files.push_back(dir.File("c" + std::to_string(tag) + "-" + std::to_string(bits) + ".wav"));
        auto sink = OpenWavSink(files.back(), format, nullptr);
        ASSERT_TRUE(sink && WriteTone(*sink, 300, 0.7, 0.1) && sink->Close());
    }
    std::mt19937 random(20240601);
    int opened = 0;
    for (const std::string& path : files) {
        SCOPED_TRACE(path);
        const std::string good = ReadFile(path);
        const std::string damaged = dir.File("damaged" + path.substr(path.rfind('.')));
        for (int round = 0; round < 150; ++round) {
            std::string bytes = good;
            if (round % 2 == 0) {
                // Cut anywhere, the header included; the first round leaves nothing.
                bytes.resize(
                    round == 0 ? 0
                               : std::uniform_int_distribution<size_t>(0, good.size() - 1)(random));
            } else {
                // Flip bytes, often near the start where the headers are.
                int flips = std::uniform_int_distribution<int>(1, 24)(random);
                size_t span = round % 4 == 1 ? std::min<size_t>(good.size(), 512) : good.size();
                for (int i = 0; i < flips; ++i)
                    bytes[std::uniform_int_distribution<size_t>(0, span - 1)(random)] ^=
                        char(std::uniform_int_distribution<int>(1, 255)(random));
            }
            WriteFile(damaged, bytes);
            std::string error;
            auto source = OpenSoundSource(damaged, &error);
            EXPECT_TRUE(round > 0 || !source) << "an empty file is no recording";
            if (!source) {
                EXPECT_FALSE(error.empty());
                continue;
            }
            ++opened;
            // Our WAV reader reads no more than it announced.
            EXPECT_TRUE(ReadToEnd(*source) <= int64_t(source->TotalFrames()) ||
                        !path.ends_with(".wav"));
            source->Seek(100);
            ReadToEnd(*source);
        }
    }
    EXPECT_GT(opened, 300) << "the damage is not only ever caught at the door";
}
