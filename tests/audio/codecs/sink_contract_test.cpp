// What every sink owes the recorder, run against the MP3, FLAC and AIFF sinks:
// the device's format taken before the first frame only, cutting back where the
// format allows it, no writes after Close, and no file left when opening fails.

#include <gtest/gtest.h>

#include <functional>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/sink_factory.h"
#include "codec_test_util.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Opener =
    std::function<std::shared_ptr<LSoundSinkBase>(const std::string&, uint8_t, std::string*)>;
struct SinkCase {
    const char* file;
    Opener open;          // at 44100 Hz with the channels given
    uint8_t maxChannels;  // what the format holds
    bool cutsBack;
};

const SinkCase kSinks[] = {
    {"c.mp3",
     [](const std::string& p, uint8_t ch, std::string* e) {
         return OpenMp3Sink(p, Mp3Settings(), 44100, ch, e);
     },
     2, false},
    {"c.flac",
     [](const std::string& p, uint8_t ch, std::string* e) {
         return OpenFlacSink(p, FlacSettings(), 44100, ch, e);
     },
     8, false},
    {"c.aiff",
     [](const std::string& p, uint8_t ch, std::string* e) {
         return OpenAiffSink(p, AiffEncoding::Pcm24, 44100, ch, e);
     },
     64, true},
};

}  // namespace

TEST(SinkContract, DeviceFormatCutBackCloseAndRefusal) {
    TempDir dir;
    for (const SinkCase& c : kSinks) {
        SCOPED_TRACE(c.file);
        const std::string path = dir.File(c.file);
        std::string error;
        auto sink = c.open(path, 2, &error);
        ASSERT_TRUE(sink) << error;
        EXPECT_FALSE(sink->SetFormat(44100, uint8_t(c.maxChannels + 1)));
        ASSERT_TRUE(sink->SetFormat(22050, 1)) << "the device delivers mono at 22050 Hz";
        ASSERT_TRUE(WriteTone(*sink, 500, 0.5, 1.0));
        EXPECT_FALSE(sink->SetFormat(44100, 2)) << "frames were written";
        EXPECT_EQ(sink->TruncateTo(LSoundTime(400)), c.cutsBack);
        EXPECT_FALSE(sink->TruncateTo(LSoundTime(5000))) << "beyond what was written";
        ASSERT_TRUE(sink->Close());
        EXPECT_TRUE(sink->Close()) << "Close twice is harmless";
        EXPECT_LT(sink->Write(Tone(500, 0.5, 22050, 1, 10).data(), 10), 0);

        EXPECT_EQ(Soxi("-r", path), "22050");
        EXPECT_EQ(Soxi("-c", path), "1");
        auto source = OpenSoundSource(path, &error);
        ASSERT_TRUE(source) << error;
        EXPECT_EQ(source->TotalFrames(), c.cutsBack ? 8820u : 22050u);

        const std::string refused = dir.File(std::string("refused-") + c.file);
        EXPECT_FALSE(c.open(refused, uint8_t(c.maxChannels + 1), &error));
        EXPECT_FALSE(error.empty());
        EXPECT_FALSE(FileExists(refused)) << "a refused sink leaves no file";
        error.clear();
        EXPECT_FALSE(c.open(dir.File("no/such/folder/") + c.file, 2, &error));
        EXPECT_NE(error.find("Cannot create"), std::string::npos) << error;
    }
}
