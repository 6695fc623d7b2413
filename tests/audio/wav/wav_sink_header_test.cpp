// Header bytes, sample conversions, pad byte, SetFormat and truncation of the
// WAV sinks, compared byte for byte with what the file must hold.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "toolkit/paths.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

// Every codec's file byte for byte: header, sample conversion and the pad byte
// after odd data ("" leaves a part unchecked).
TEST(WavSinkHeader, HeadersSamplesAndPadByte) {
    TempDir dir;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> tenZeros(10, 0.0f);
    auto v = [](auto... x) { return std::vector<float>{float(x)...}; };
    struct {
        LSoundFormat format;
        std::vector<float> samples;
        std::size_t headerSize, fileSize;
        const char *header, *data;
    } cases[] = {
        {Format(1, 8000, 1, 16), tenZeros, 46, 66,
         "52494646 3a000000 57415645 666d7420 12000000 01000100 401f0000 803e0000 "
         "02001000 00006461 74611400 0000",
         "00000000 00000000 00000000 00000000 00000000"},
        // 8 bits: truncate(x*127+128); odd data gets a zero pad byte.
        {Format(1, 8000, 1, 8), v(1, -1, 0), 46, 50,
         "52494646 29000000 57415645 666d7420 12000000 01000100 401f0000 401f0000 "
         "01000800 00006461 74610300 0000",
         "ff018000"},
        // 24 bits packed in three bytes: 0.5 -> 0x40000000 -> 00 00 40; 1.0 -> 7fffffff.
        {Format(1, 48000, 2, 24), v(0.5, -0.5, 0, 1), 46, 58,
         "52494646 32000000 57415645 666d7420 12000000 01000200 80bb0000 00650400 "
         "06001800 00006461 74610c00 0000",
         "00004000 00c00000 00ffff7f"},
        {Format(1, 44100, 2, 32), v(1, -1), 46, 54,
         "52494646 2e000000 57415645 666d7420 12000000 01000200 44ac0000 20620500 "
         "08002000 00006461 74610800 0000",
         "ffffff7f 01000080"},
        // Float: tag 3, samples copied as they are.
        {Format(3, 22050, 1, 32), v(0.25, -2), 46, 54,
         "52494646 2e000000 57415645 666d7420 12000000 03000100 22560000 88580100 "
         "04002000 00006461 74610800 0000",
         "0000803e 000000c0"},
        // 16 bits: ±1 -> ±32767, ±0.25 round away from zero to ±8192, beyond ±1
        // saturates instead of wrapping, NaN is silence.
        {Format(1, 8000, 1, 16), v(1, -1, 0.25, -0.25, 1.5, -1.5, 40, nan), 46, 62, "",
         "ff7f0180 002000e0 ff7f0080 ff7f0000"},
        {Format(1, 8000, 1, 8), v(0.5, -0.5, 3, -3), 46, 50, "", "bf40ff00"},
        {Format(1, 8000, 1, 32), v(1.5, -1.5), 46, 54, "", "ffffff7f 00000080"},
        // G.711 with a fact chunk; silence is 0xD5 (A-law) and 0xFF (µ-law).
        {Format(6, 8000, 1, 8), tenZeros, 58, 68,
         "52494646 3c000000 57415645 666d7420 12000000 06000100 401f0000 401f0000 "
         "08000800 00006661 63740400 00000a00 00006461 74610a00 0000",
         "d5d5d5d5 d5d5d5d5 d5d5"},
        {Format(7, 16000, 2, 8), tenZeros, 58, 68,
         "52494646 3c000000 57415645 666d7420 12000000 07000200 803e0000 803e0000 "
         "08000800 00006661 63740400 00000500 00006461 74610a00 0000",
         "ffffffff ffffffff ffff"},
        // GSM: 300 frames make one block of 65 bytes and a zero pad byte.
        {Format(49, 8000, 1, 0), Tone(440, 0.5, 8000, 1, 300), 48, 114,
         "52494646 69000000 57415645 666d7420 14000000 31000100 401f0000 59060000 "
         "41000000 02004001 64617461 41000000",
         ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.format.formatTag) + " " +
                     std::to_string(c.format.bitsPerSample));
        ASSERT_TRUE(WriteWav(dir.File("f.wav"), c.format, c.samples));
        std::string f = ReadFile(dir.File("f.wav"));
        ASSERT_EQ(f.size(), c.fileSize);
        EXPECT_EQ(*c.header ? ToHex(f.substr(0, c.headerSize)) : "", c.header);
        EXPECT_EQ(*c.data ? ToHex(f.substr(c.headerSize)) : "", c.data);
        EXPECT_TRUE(c.format.formatTag != 49 || f.back() == '\0') << "the pad byte";
    }
}

// While recording the sizes say "as long as can be"; closing an empty file puts
// in the real ones, and closing twice is harmless and gives the same answer.
TEST(WavSinkHeader, ProvisionalSizesWhileRecording) {
    TempDir dir;
    const std::pair<LSoundFormat, const char*> cases[] = {
        {Format(1, 44100, 2, 16),
         "52494646 ffffffff 57415645 666d7420 12000000 01000200 44ac0000 10b10200 "
         "04001000 00006461 7461d9ff ffff"},
        // A-law: data + 50 would wrap past 32 bits; it saturates instead.
        {Format(6, 8000, 1, 8),
         "52494646 ffffffff 57415645 666d7420 12000000 06000100 401f0000 401f0000 "
         "08000800 00006661 63740400 00000000 00006461 7461d9ff ffff"},
        {Format(49, 8000, 1, 0),
         "52494646 ffffffff 57415645 666d7420 14000000 31000100 401f0000 59060000 "
         "41000000 02004001 64617461 d7ffffff"}};
    for (const auto& [format, header] : cases) {
        SCOPED_TRACE(format.formatTag);
        std::string path = dir.File("p.wav");
        auto sink = OpenWavSink(path, format, nullptr);
        EXPECT_EQ(ToHex(ReadFile(path)), header);
        EXPECT_TRUE(sink->Close() && sink->Close());
        const std::string closed = ReadFile(path);
        EXPECT_EQ(closed.size(), FromHex(header).size());
        EXPECT_NE(ToHex(closed.substr(4, 4)), "ffffffff");
    }
}

TEST(WavSinkHeader, SetFormatBeforeTheFirstFrameAndTruncateToFrame) {
    TempDir dir;
    auto sink = OpenWavSink(dir.File("s.wav"), Format(1, 44100, 2, 16), nullptr);
    ASSERT_TRUE(sink->SetFormat(8000, 1));
    EXPECT_EQ(ToHex(ReadFile(dir.File("s.wav")).substr(20, 16)),
              "01000100 401f0000 803e0000 02001000");
    std::vector<float> one(3, 0.25f);
    ASSERT_EQ(sink->Write(one.data(), 3), 3);  // 3 mono frames: channel count took effect
    EXPECT_FALSE(sink->SetFormat(44100, 2));   // too late once a frame is written
    sink->Close();
    EXPECT_EQ(ToHex(ReadFile(dir.File("s.wav")).substr(42)), "06000000 00200020 0020");

    sink = OpenWavSink(dir.File("t.wav"), Format(1, 1000, 2, 16), nullptr);
    auto tone = Tone(50, 0.5, 1000, 2, 1000);
    ASSERT_EQ(sink->Write(tone.data(), 1000), 1000);
    EXPECT_FALSE(sink->TruncateToFrame(1001));  // beyond what was written: nothing changes
    EXPECT_TRUE(sink->TruncateTo(LSoundTime(250)));
    EXPECT_EQ(sink->FramesWritten(), 250u);
    EXPECT_TRUE(sink->TruncateTo(LSoundTime(-5)));  // a negative time counts as 0
    EXPECT_EQ(sink->FramesWritten(), 0u);
    ASSERT_EQ(sink->Write(tone.data(), 7), 7);  // writing goes on at the cut
    sink->Close();
    std::string f = ReadFile(dir.File("t.wav"));
    EXPECT_EQ(ToHex(f.substr(42, 6)) + " " + std::to_string(f.size()),
              "1c000000 0000 74");  // data size 28, first sample 0

    // GSM cuts in whole blocks; a cut inside the buffered block keeps the blocks.
    auto gsm = OpenWavSink(dir.File("g.wav"), Format(49, 8000, 1, 0), nullptr);
    auto speech = Tone(300, 0.3, 8000, 1, 1000);
    ASSERT_EQ(gsm->Write(speech.data(), 1000), 1000);  // 3 blocks encoded, 40 frames held
    EXPECT_TRUE(gsm->TruncateToFrame(970));
    EXPECT_EQ(gsm->FramesWritten(), 970u);
    EXPECT_TRUE(gsm->TruncateToFrame(700));
    EXPECT_EQ(gsm->FramesWritten(), 640u);  // back to the start of the block holding 700
    gsm->Close();
    EXPECT_EQ(ReadFile(dir.File("g.wav")).size(), 48u + 130u);
}

TEST(WavSinkHeader, RefusesWhatItCannotWrite) {
    TempDir dir;
    std::string error;
    EXPECT_FALSE(OpenWavSink(dir.File("x.wav"), Format(2, 8000, 1, 4), &error));
    EXPECT_NE(error.find("Microsoft ADPCM Format"), std::string::npos) << error;
    EXPECT_FALSE(OpenWavSink(dir.File("y.wav"), Format(1, 0, 1, 16), &error));
    EXPECT_FALSE(OpenWavSink(dir.File("z.wav"), Format(3, 8000, 1, 16), &error));
    EXPECT_FALSE(OpenWavSink(dir.File("missing/dir/w.wav"), Format(1, 8000, 1, 16), &error));
    EXPECT_NE(error.find("Cannot create"), std::string::npos) << error;
    EXPECT_FALSE(FileExists(dir.File("x.wav")));
}
