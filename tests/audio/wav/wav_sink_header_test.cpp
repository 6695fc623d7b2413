// Header bytes, sample conversions, pad byte, SetFormat and truncation of the
// WAV sinks, compared byte for byte with what the file must hold.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "audio/wav/wav_sink.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string WriteAndRead(const std::string& path, const LSoundFormat& format,
                         const std::vector<float>& samples) {
    std::string error;
    auto sink = OpenWavSink(path, format, &error);
    EXPECT_TRUE(sink) << error;
    if (!sink) return {};
    uint64_t frames = samples.size() / format.channels;
    EXPECT_EQ(sink->Write(samples.data(), frames), int64_t(frames));
    EXPECT_TRUE(sink->Close());
    return ReadFile(path);
}

}  // namespace

TEST(WavSinkHeader, PcmHeadersAndPadByte) {
    TempDir dir;
    // 10-frame mono 16-bit: 46-byte header, data 20, RIFF 58, no pad.
    std::string f = WriteAndRead(dir.File("a.wav"), Format(1, 8000, 1, 16),
                                 std::vector<float>(10, 0.0f));
    ASSERT_EQ(f.size(), 46u + 20u);
    EXPECT_EQ(ToHex(f.substr(0, 46)),
              "52494646 3a000000 57415645 666d7420 12000000 01000100 401f0000 803e0000 "
              "02001000 00006461 74611400 0000");

    // 8-bit mono, 3 frames: odd data size gets one zero pad byte after the data.
    f = WriteAndRead(dir.File("b.wav"), Format(1, 8000, 1, 8), {1.0f, -1.0f, 0.0f});
    ASSERT_EQ(f.size(), 46u + 3u + 1u);
    EXPECT_EQ(ToHex(f.substr(0, 46)),
              "52494646 29000000 57415645 666d7420 12000000 01000100 401f0000 401f0000 "
              "01000800 00006461 74610300 0000");
    EXPECT_EQ(ToHex(f.substr(46)), "ff018000");  // 255, 1, 128, pad

    // 24-bit stereo: packed three bytes, block align 6.
    f = WriteAndRead(dir.File("c.wav"), Format(1, 48000, 2, 24), {0.5f, -0.5f, 0.0f, 1.0f});
    ASSERT_EQ(f.size(), 46u + 12u);
    EXPECT_EQ(ToHex(f.substr(0, 46)),
              "52494646 32000000 57415645 666d7420 12000000 01000200 80bb0000 00650400 "
              "06001800 00006461 74610c00 0000");
    // 0.5 -> 0x40000000 -> 00 00 40; -0.5 -> 0xC0000000 -> 00 00 c0; 1.0 -> 7fffffff.
    EXPECT_EQ(ToHex(f.substr(46)), "00004000 00c00000 00ffff7f");

    f = WriteAndRead(dir.File("d.wav"), Format(1, 44100, 2, 32), {1.0f, -1.0f});
    EXPECT_EQ(ToHex(f),
              "52494646 2e000000 57415645 666d7420 12000000 01000200 44ac0000 20620500 "
              "08002000 00006461 74610800 0000ffff ff7f0100 0080");

    // Float: the same layout with tag 3; samples copied as they are.
    f = WriteAndRead(dir.File("e.wav"), Format(3, 22050, 1, 32), {0.25f, -2.0f});
    EXPECT_EQ(ToHex(f),
              "52494646 2e000000 57415645 666d7420 12000000 03000100 22560000 88580100 "
              "04002000 00006461 74610800 00000000 803e0000 00c0");
}

TEST(WavSinkHeader, SixteenBitRoundingAndOutOfRange) {
    TempDir dir;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // 1.0 -> 32767, -1.0 -> -32767; ±0.25 (±8191.75) round away from zero to
    // ±8192; beyond ±1 saturates instead of wrapping; NaN is silence.
    std::vector<float> in = {1.0f, -1.0f, 0.25f, -0.25f, 1.5f, -1.5f, 40.0f, nan};
    std::string f = WriteAndRead(dir.File("a.wav"), Format(1, 8000, 1, 16), in);
    ASSERT_EQ(f.size(), 46u + 16u);
    EXPECT_EQ(ToHex(f.substr(46)), "ff7f0180 002000e0 ff7f0080 ff7f0000");

    // 8 bits: truncate(x*127+128), saturated at 0 and 255.
    f = WriteAndRead(dir.File("b.wav"), Format(1, 8000, 1, 8), {0.5f, -0.5f, 3.0f, -3.0f});
    EXPECT_EQ(ToHex(f.substr(46)), "bf40ff00");  // 191.5 -> 191, 64.5 -> 64

    // 32 bits: 1.5 saturates at 0x7fffffff rather than wrapping to a negative value.
    f = WriteAndRead(dir.File("c.wav"), Format(1, 8000, 1, 32), {1.5f, -1.5f});
    EXPECT_EQ(ToHex(f.substr(46)), "ffffff7f 00000080");
}

TEST(WavSinkHeader, G711AndGsmHeaders) {
    TempDir dir;
    std::string f = WriteAndRead(dir.File("a.wav"), Format(6, 8000, 1, 8),
                                 std::vector<float>(10, 0.0f));
    ASSERT_EQ(f.size(), 58u + 10u);
    EXPECT_EQ(ToHex(f.substr(0, 58)),
              "52494646 3c000000 57415645 666d7420 12000000 06000100 401f0000 401f0000 "
              "08000800 00006661 63740400 00000a00 00006461 74610a00 0000");
    EXPECT_EQ(uint8_t(f[58]), 0xD5);  // A-law silence

    f = WriteAndRead(dir.File("u.wav"), Format(7, 16000, 2, 8), std::vector<float>(10, 0.0f));
    ASSERT_EQ(f.size(), 58u + 10u);
    EXPECT_EQ(ToHex(f.substr(0, 58)),
              "52494646 3c000000 57415645 666d7420 12000000 07000200 803e0000 803e0000 "
              "08000800 00006661 63740400 00000500 00006461 74610a00 0000");
    EXPECT_EQ(uint8_t(f[58]), 0xFF);  // µ-law silence

    // GSM: 300 frames make one block, the rest of it padded with silence; 65 data
    // bytes are odd, so a pad byte follows.
    f = WriteAndRead(dir.File("g.wav"), Format(49, 8000, 1, 0), Tone(300, 1, 440, 0.5, 8000));
    ASSERT_EQ(f.size(), 48u + 65u + 1u);
    EXPECT_EQ(ToHex(f.substr(0, 48)),
              "52494646 69000000 57415645 666d7420 14000000 31000100 401f0000 59060000 "
              "41000000 02004001 64617461 41000000");
    EXPECT_EQ(f.back(), '\0');
}

TEST(WavSinkHeader, ProvisionalSizesWhileRecording) {
    TempDir dir;
    std::string error;
    auto pcm = OpenWavSink(dir.File("p.wav"), Format(1, 44100, 2, 16), &error);
    ASSERT_TRUE(pcm) << error;
    EXPECT_EQ(ToHex(ReadFile(dir.File("p.wav"))),
              "52494646 ffffffff 57415645 666d7420 12000000 01000200 44ac0000 10b10200 "
              "04001000 00006461 7461d9ff ffff");
    // A-law: data + 50 would wrap past 32 bits; it saturates instead.
    auto alaw = OpenWavSink(dir.File("a.wav"), Format(6, 8000, 1, 8), &error);
    ASSERT_TRUE(alaw) << error;
    EXPECT_EQ(ToHex(ReadFile(dir.File("a.wav"))),
              "52494646 ffffffff 57415645 666d7420 12000000 06000100 401f0000 401f0000 "
              "08000800 00006661 63740400 00000000 00006461 7461d9ff ffff");
    auto gsm = OpenWavSink(dir.File("g.wav"), Format(49, 8000, 1, 0), &error);
    ASSERT_TRUE(gsm) << error;
    EXPECT_EQ(ToHex(ReadFile(dir.File("g.wav"))),
              "52494646 ffffffff 57415645 666d7420 14000000 31000100 401f0000 59060000 "
              "41000000 02004001 64617461 d7ffffff");
    // Closing twice is harmless and gives the same answer.
    EXPECT_TRUE(pcm->Close());
    EXPECT_TRUE(pcm->Close());
    EXPECT_EQ(ReadFile(dir.File("p.wav")).size(), 46u);
}

TEST(WavSinkHeader, SetFormatBeforeFirstFrameRewritesHeader) {
    TempDir dir;
    std::string error;
    auto sink = OpenWavSink(dir.File("s.wav"), Format(1, 44100, 2, 16), &error);
    ASSERT_TRUE(sink) << error;
    ASSERT_TRUE(sink->SetFormat(8000, 1));
    std::string f = ReadFile(dir.File("s.wav"));
    EXPECT_EQ(ToHex(f.substr(20, 16)), "01000100 401f0000 803e0000 02001000");
    std::vector<float> one(3, 0.25f);
    ASSERT_EQ(sink->Write(one.data(), 3), 3);  // 3 mono frames: channel count took effect
    EXPECT_FALSE(sink->SetFormat(44100, 2));   // too late once a frame is written
    ASSERT_TRUE(sink->Close());
    f = ReadFile(dir.File("s.wav"));
    EXPECT_EQ(f.size(), 46u + 6u);
    EXPECT_EQ(ToHex(f.substr(42, 6)), "06000000 0020");
}

TEST(WavSinkHeader, TruncateToFrame) {
    TempDir dir;
    std::string error;
    auto sink = OpenWavSink(dir.File("t.wav"), Format(1, 1000, 2, 16), &error);
    ASSERT_TRUE(sink) << error;
    auto tone = Tone(1000, 2, 50, 0.5, 1000);
    ASSERT_EQ(sink->Write(tone.data(), 1000), 1000);
    EXPECT_FALSE(sink->TruncateToFrame(1001));  // beyond what was written: nothing changes
    EXPECT_TRUE(sink->TruncateTo(LSoundTime(250)));
    EXPECT_EQ(sink->FramesWritten(), 250u);
    EXPECT_TRUE(sink->TruncateTo(LSoundTime(-5)));  // a negative time counts as 0
    EXPECT_EQ(sink->FramesWritten(), 0u);
    ASSERT_EQ(sink->Write(tone.data(), 7), 7);  // writing goes on at the cut
    ASSERT_TRUE(sink->Close());
    std::string f = ReadFile(dir.File("t.wav"));
    ASSERT_EQ(f.size(), 46u + 28u);
    EXPECT_EQ(ToHex(f.substr(42, 6)), "1c000000 0000");  // data size 28, first sample 0

    // GSM cuts in whole blocks; a cut inside the buffered block keeps the blocks.
    auto gsm = OpenWavSink(dir.File("g.wav"), Format(49, 8000, 1, 0), &error);
    ASSERT_TRUE(gsm) << error;
    auto speech = Tone(1000, 1, 300, 0.3, 8000);
    ASSERT_EQ(gsm->Write(speech.data(), 1000), 1000);  // 3 blocks encoded, 40 frames held
    EXPECT_TRUE(gsm->TruncateToFrame(970));
    EXPECT_EQ(gsm->FramesWritten(), 970u);
    EXPECT_TRUE(gsm->TruncateToFrame(700));
    EXPECT_EQ(gsm->FramesWritten(), 640u);  // back to the start of the block holding 700
    ASSERT_TRUE(gsm->Close());
    EXPECT_EQ(ReadFile(dir.File("g.wav")).size(), 48u + 130u);
}

TEST(WavSinkHeader, RefusesWhatItCannotWrite) {
    TempDir dir;
    std::string error;
    EXPECT_FALSE(OpenWavSink(dir.File("x.wav"), Format(2, 8000, 1, 4), &error));
    EXPECT_NE(error.find("Microsoft ADPCM Format"), std::string::npos) << error;
    EXPECT_FALSE(OpenWavSink(dir.File("y.wav"), Format(1, 0, 1, 16), &error));
    EXPECT_FALSE(OpenWavSink(dir.File("z.wav"), Format(3, 8000, 1, 64), &error));
    EXPECT_FALSE(OpenWavSink(dir.File("missing/dir/w.wav"), Format(1, 8000, 1, 16), &error));
    EXPECT_NE(error.find("Cannot create"), std::string::npos) << error;
    EXPECT_FALSE(FileExists(dir.File("x.wav")));
}
