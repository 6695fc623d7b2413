// Our WAV reader on files left by a crash, ordinary files from elsewhere, and
// damaged input (which must give an error). The files of every codec are read
// back in wav_sox_test.cpp, and fuzzed with the other formats' in the codec tests.

#include "audio/wav/wav_reader.h"

#include <gtest/gtest.h>

#include <cmath>

#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string Le32(uint64_t n) {
    return {char(n & 0xFF), char((n >> 8) & 0xFF), char((n >> 16) & 0xFF), char(n >> 24)};
}

std::string Chunk(const std::string& id, const std::string& body) {
    return id + Le32(body.size()) + body + (body.size() % 2 ? std::string(1, '\0') : "");
}

std::string WavFile(std::initializer_list<std::string> chunks) {
    std::string body = "WAVE";
    for (const auto& c : chunks) body += c;
    return "RIFF" + Le32(body.size()) + body;
}

}  // namespace

TEST(WavReader, EightAndSixteenBitSurviveReadAndRewriteUnchanged) {
    TempDir dir;
    std::string data8, data16;
    for (int v = 0; v < 256; ++v) data8 += char(v);
    for (int v = 0; v < 65536; ++v) data16 += std::string{char(v & 0xFF), char(v >> 8)};
    const std::string fmt8 = FromHex("01000100 401f0000 401f0000 01000800");
    const std::string fmt16 = FromHex("01000100 401f0000 803e0000 02001000");
    for (auto [fmt, data, bits] : {std::tuple{fmt8, data8, 8}, std::tuple{fmt16, data16, 16}}) {
        WriteFile(dir.File("in.wav"), WavFile({Chunk("fmt ", fmt), Chunk("data", data)}));
        auto source = OpenWavSource(dir.File("in.wav"), nullptr);
        ASSERT_TRUE(source);
        WriteWav(dir.File("out.wav"), Format(1, 8000, 1, uint16_t(bits)), ReadAll(*source));
        EXPECT_TRUE(ReadFile(dir.File("out.wav")).substr(46) == data) << bits << " bits changed";
    }
}

TEST(WavReader, FilesLeftByACrash) {
    TempDir dir;
    std::string error;
    // PCM: Abort leaves the provisional sizes; a torn last frame is ignored.
    // GSM: whole blocks only; the samples still held by the encoder are lost.
    auto tone = Tone(440, 0.5, 8000, 2, 1234);
    for (auto [format, frames, tail, read] :
         {std::tuple{Format(1, 8000, 2, 16), 1234, std::string("\x01\x02"), 1234u},
          std::tuple{Format(49, 8000, 1, 0), 1000, std::string(30, '\x55'), 960u}}) {
        const std::string path = dir.File("crashed.wav");
        auto sink = OpenWavSink(path, format, &error);
        ASSERT_EQ(sink->Write(tone.data(), frames), frames);
        sink->Abort();
        WriteFile(path, ReadFile(path) + tail);
        auto source = OpenWavSource(path, &error);
        ASSERT_TRUE(source) << error;
        EXPECT_EQ(source->TotalFrames(), read);
        auto back = ReadAll(*source);
        EXPECT_EQ(back.size(), read * format.channels);
        if (format.channels == 2) EXPECT_LE(MaxError(back, tone), 1.0f / 32767);
    }
}

TEST(WavReader, OrdinaryFilesFromElsewhere) {
    TempDir dir;
    std::string error;
    // Extensible 24-bit stereo PCM with a LIST chunk before the data and an odd
    // "junk" chunk that carries a pad byte.
    std::string ext = FromHex(
        "feff0200 80bb0000 00650400 06001800 1600 1800 03000000"
        "01000000 00001000 800000aa 00389b71");
    std::string samples = FromHex("00004000 00c0ffff 7f000080");  // 0.5 -0.5 / 1.0 -1.0
    std::string file =
        WavFile({Chunk("fmt ", ext), Chunk("LIST", std::string("INFOISFT\x04\0\0\0abc\0", 16)),
                 Chunk("junk", "odd"), Chunk("data", samples)});
    WriteFile(dir.File("e.wav"), file);
    auto source = OpenWavSource(dir.File("e.wav"), &error);
    ASSERT_TRUE(source) << error;
    EXPECT_EQ(source->FormatDescription(), "Extensible wave format, 24 bit, 48000 Hz, Stereo");
    auto back = ReadAll(*source);
    EXPECT_EQ(back.size(), 4u);
    EXPECT_LE(MaxError(back, {0.5f, -0.5f, 1.0f, -1.0f}), 1e-6f);

    // Extensible float, 64-bit doubles.
    std::string ext64 = FromHex(
        "feff0100 44ac0000 20620500 08004000 1600 4000 04000000"
        "03000000 00001000 800000aa 00389b71");
    std::string doubles = FromHex("00000000 0000e03f 00000000 0000e0bf");  // 0.5, -0.5
    WriteFile(dir.File("d.wav"), WavFile({Chunk("fmt ", ext64), Chunk("data", doubles)}));
    EXPECT_EQ(ReadAll(*OpenWavSource(dir.File("d.wav"), &error)),
              (std::vector<float>{0.5f, -0.5f}));

    // A file sox wrote (extensible 24-bit with a "fact" chunk).
    Tool({"sox", "-n", "-r", "48000", "-c", "2", "-b", "24", dir.File("s.wav"), "synth", "0.5",
          "sine", "1000"});
    source = OpenWavSource(dir.File("s.wav"), &error);
    EXPECT_EQ(std::make_tuple(source->TotalFrames(), source->Channels()),
              std::make_tuple(24000u, 2));
}

TEST(WavReader, DamagedFilesGiveErrors) {
    TempDir dir;
    const std::string fmt16 = FromHex("01000100 401f0000 803e0000 02001000");
    struct Case {
        const char* what;
        std::string bytes;
        const char* expect;
    } cases[] = {
        {"empty", "", "not a WAV file"},
        {"text", "hello, this is not audio at all", "not a WAV file"},
        {"no format", WavFile({Chunk("data", "abcd")}), "before its format"},
        {"no data", WavFile({Chunk("fmt ", fmt16)}), "no audio data"},
        {"short format",
         WavFile({Chunk("fmt ", std::string("\x01\0\x01\0", 4)), Chunk("data", "ab")}),
         "too short"},
        {"no channels",
         WavFile(
             {Chunk("fmt ", FromHex("01000000 401f0000 803e0000 02001000")), Chunk("data", "ab")}),
         "0 channels"},
        {"zero block align",
         WavFile(
             {Chunk("fmt ", FromHex("01000100 401f0000 803e0000 00001000")), Chunk("data", "ab")}),
         "inconsistent"},
        {"ADPCM",
         WavFile(
             {Chunk("fmt ", FromHex("02000100 401f0000 803e0000 00010400")), Chunk("data", "ab")}),
         "Microsoft ADPCM Format"},
    };
    for (const auto& c : cases) {
        WriteFile(dir.File("x.wav"), c.bytes);
        std::string error;
        EXPECT_FALSE(OpenWavSource(dir.File("x.wav"), &error)) << c.what;
        EXPECT_NE(error.find(c.expect), std::string::npos) << c.what << ": " << error;
    }
    std::string error;
    EXPECT_FALSE(OpenWavSource(dir.File("missing.wav"), &error));
    EXPECT_NE(error.find("Cannot open"), std::string::npos) << error;
}
