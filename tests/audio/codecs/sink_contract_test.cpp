// What every sink owes the recorder, run against the MP3, FLAC and AIFF sinks:
// the device's format taken before the first frame only, cutting back where the
// format allows it, no writes after Close, and no file left when opening fails.

#include <gtest/gtest.h>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/sink_factory.h"
#include "support/audio_test_util.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Opener = std::shared_ptr<LSoundSinkBase> (*)(const std::string&, uint8_t, std::string*);
struct SinkCase {
    const char* file;
    Opener open;          // at 44100 Hz with the channels given
    uint8_t maxChannels;  // what the format holds
    bool cutsBack;
};

const SinkCase kSinks[] = {
    {"c.mp3", [](auto& p, uint8_t ch, auto* e) { return OpenMp3Sink(p, {}, 44100, ch, e); }, 2,
     false},
    {"c.flac", [](auto& p, uint8_t ch, auto* e) { return OpenFlacSink(p, {}, 44100, ch, e); }, 8,
     false},
    {"c.aiff",
     [](auto& p, uint8_t ch, auto* e) {
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
        ASSERT_TRUE(sink);
        EXPECT_FALSE(sink->SetFormat(44100, uint8_t(c.maxChannels + 1)));
        ASSERT_TRUE(sink->SetFormat(22050, 1)) << "the device delivers mono at 22050 Hz";
        ASSERT_TRUE(WriteTone(*sink, 500, 0.5, 1.0));
        EXPECT_FALSE(sink->SetFormat(44100, 2)) << "frames were written";
        EXPECT_FALSE(sink->TruncateTo(LSoundTime(5000))) << "beyond what was written";
        EXPECT_EQ(sink->TruncateTo(LSoundTime(400)), c.cutsBack);
        EXPECT_TRUE(!c.cutsBack || Soxi("-s", path) == "8820") << "sizes follow the cut at once";
        const uint64_t kept = c.cutsBack ? 8820 : 22050;
        std::vector<float> quiet(2205, 0.0f);
        ASSERT_EQ(sink->Write(quiet.data(), 2205), 2205) << "writing goes on after a cut";
        EXPECT_TRUE(sink->Close() && sink->Close()) << "Close twice is harmless";
        EXPECT_LT(sink->Write(quiet.data(), 10), 0);
        EXPECT_EQ(Soxi("-r", path) + " " + Soxi("-c", path), "22050 1");
        EXPECT_EQ(OpenSoundSource(path, nullptr)->TotalFrames(), kept + 2205);
        if (c.cutsBack) {
            std::vector<float> pcm = Decode(path);
            ASSERT_EQ(pcm.size(), kept + 2205);
            float before = 0;
            for (uint64_t f = kept - 50; f < kept; ++f)
                before = std::max(before, std::fabs(pcm[f]));
            EXPECT_GT(before, 0.4f) << "the tone up to the cut";
            EXPECT_TRUE(std::all_of(pcm.begin() + kept, pcm.end(), [](float v) { return v == 0; }))
                << "then the new frames";
        }

        const std::string refused = dir.File(std::string("refused-") + c.file);
        EXPECT_FALSE(c.open(refused, uint8_t(c.maxChannels + 1), &error));
        EXPECT_FALSE(error.empty());
        EXPECT_FALSE(FileExists(refused)) << "a refused sink leaves no file";
        error.clear();
        EXPECT_FALSE(c.open(dir.File("no/such/folder/") + c.file, 2, &error));
        EXPECT_NE(error.find("Cannot create"), std::string::npos) << error;
    }
}
