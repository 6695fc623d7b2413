// The WAV sink at its limits: a file that outgrows 4 GB (several data chunks,
// built sparse so the test needs no disk) and a file system that refuses more
// bytes. A writer killed mid-recording is the session's end-to-end kill test, and
// what our reader makes of the file it leaves is WavReader.FilesLeftByACrash.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstring>

#include "audio/wav/wav_reader.h"
#include "audio/wav/wav_sinks.h"
#include "toolkit/lfile.h"
#include "wav_test_util.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr uint64_t kFirstChunkFrames = 0xFFFFFFD8ull / 4;  // 16-bit stereo
constexpr uint64_t kNextChunkFrames = 0xFFFFFFF0ull / 4;

// Frames whose every sample is different, so a misplaced byte shows.
std::vector<float> Pattern(uint64_t frames, int seed) {
    std::vector<float> v(frames * 2);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = float((int(i) * 37 + seed * 1001) % 60000 - 30000) / 32767.0f;
    return v;
}

std::vector<float> ReadAt(LSoundSourceBase& source, uint64_t frame, uint64_t frames) {
    std::vector<float> v(frames * source.Channels());
    EXPECT_TRUE(source.Seek(frame));
    EXPECT_EQ(source.Read(v.data(), frames), int64_t(frames));
    return v;
}

std::string BytesAt(const std::string& path, uint64_t offset, int64_t size) {
    LFile file;
    std::string out(size_t(size), '\0');
    if (!file.Open(path, LFile::Mode::Read) ||
        file.ReadAt(int64_t(offset), out.data(), size) != size)
        return "(unreadable)";
    return ToHex(out);
}

}  // namespace

// Data beyond 4 GB goes into further "data" chunks. Three regions of real frames
// straddle the two chunk boundaries; the rest is a hole of silence.
TEST(WavSinkLimits, SparseFileBeyondFourGigabytes) {
    TempDir dir;
    const uint64_t straddle1 = kFirstChunkFrames - 500;
    const uint64_t boundary2 = kFirstChunkFrames + kNextChunkFrames;
    const uint64_t straddle2 = boundary2 - 300;
    const uint64_t total = straddle2 + 1000;
    auto a = Pattern(1000, 1), b = Pattern(1000, 2), c = Pattern(1000, 3);
    for (bool finish : {true, false}) {
        SCOPED_TRACE(finish ? "closed" : "left unfinished, as by a crash");
        std::string path = dir.File(finish ? "big.wav" : "crashed.wav");
        auto sink = std::make_shared<wav::WavPcmSink>(path, 8000, 2, wav::WavPcmSink::Width::S16);
        ASSERT_TRUE(sink->Open()) << sink->LastError();
        sink->Write(a.data(), 1000);
        sink->SkipSilentFramesSparse(straddle1 - 1000);
        sink->Write(b.data(), 1000);
        sink->SkipSilentFramesSparse(straddle2 - straddle1 - 1000);
        sink->Write(c.data(), 1000);
        EXPECT_EQ(std::make_tuple(sink->FramesWritten(), sink->Position().Milliseconds()),
                  std::make_tuple(total, int64_t(total * 1000 / 8000)));
        finish ? sink->Close() : (sink->Abort(), true);

        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_EQ(uint64_t(st.st_size), 46 + total * 4 + 16);
        EXPECT_LT(uint64_t(st.st_blocks) * 512, 64u << 20) << "the test file is not sparse";
        // Sizes saturate rather than wrap; each further chunk has its own header.
        const uint64_t chunk2 = 46 + 0xFFFFFFD8ull, chunk3 = chunk2 + 8 + 0xFFFFFFF0ull;
        EXPECT_EQ(BytesAt(path, 4, 4), "ffffffff");
        EXPECT_EQ(BytesAt(path, 38, 8), finish ? "64617461 d8ffffff" : "64617461 d9ffffff");
        EXPECT_EQ(BytesAt(path, chunk2, 8), finish ? "64617461 f0ffffff" : "64617461 00000000");
        EXPECT_EQ(BytesAt(path, chunk3, 8), finish ? "64617461 f00a0000" : "64617461 00000000");

        auto source = OpenWavSource(path, nullptr);
        ASSERT_TRUE(source);
        EXPECT_EQ(source->TotalFrames(), total);
        EXPECT_EQ(ReadAt(*source, 0, 1000), a);
        EXPECT_EQ(ReadAt(*source, straddle1, 1000), b);
        EXPECT_EQ(ReadAt(*source, straddle2, 1000), c);
        EXPECT_EQ(ReadAt(*source, straddle1 + 1000, 2), std::vector<float>(4, 0.0f));
        ASSERT_TRUE(source->Seek(total - 1));
        float tail[4];
        EXPECT_EQ(source->Read(tail, 2), 1);  // nothing after the last frame
    }
}

// Cutting back across a chunk boundary removes the further chunk's header too.
TEST(WavSinkLimits, TruncateAcrossAChunkBoundary) {
    TempDir dir;
    std::string path = dir.File("cut.wav");
    auto sink = std::make_shared<wav::WavPcmSink>(path, 8000, 2, wav::WavPcmSink::Width::S16);
    ASSERT_TRUE(sink->Open());
    auto b = Pattern(1000, 4);
    sink->SkipSilentFramesSparse(kFirstChunkFrames - 10);
    ASSERT_EQ(sink->Write(b.data(), 1000), 1000);           // 990 frames into the second chunk
    ASSERT_TRUE(sink->TruncateToFrame(kFirstChunkFrames));  // exactly the first chunk
    EXPECT_EQ(LFile::GetFileSizeBytes64(path), int64_t(46 + 0xFFFFFFD8ull));
    ASSERT_EQ(sink->Write(b.data(), 3), 3);  // opens the second chunk again
    ASSERT_TRUE(sink->TruncateToFrame(kFirstChunkFrames + 2));
    sink->Close();
    EXPECT_EQ(LFile::GetFileSizeBytes64(path), int64_t(46 + 0xFFFFFFD8ull + 8 + 8));
    EXPECT_EQ(BytesAt(path, 46 + 0xFFFFFFD8ull, 8), "64617461 08000000");
    auto source = OpenWavSource(path, nullptr);
    ASSERT_TRUE(source);
    EXPECT_EQ(source->TotalFrames(), kFirstChunkFrames + 2);
    EXPECT_EQ(ReadAt(*source, kFirstChunkFrames, 2), std::vector<float>(b.begin(), b.begin() + 4));
}

// A file system that takes no more: Write fails with the reason, the whole frames
// already written stay, and closing still finishes the header.
TEST(WavSinkLimits, ShortWriteIsReportedAndTheFileStaysValid) {
    TempDir dir;
    signal(SIGXFSZ, SIG_IGN);  // over the limit, write() fails instead of killing us
    struct Case {
        LSoundFormat format;
        uint64_t headerSize, unitBytes;
    } cases[] = {{Format(1, 8000, 2, 16), 46, 4},
                 {Format(7, 8000, 2, 8), 58, 2},
                 {Format(49, 8000, 1, 0), 48, 65}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format.formatTag);
        std::string path = dir.File("full.wav");
        auto sink = OpenWavSink(path, c.format, nullptr);
        auto tone = Tone(440, 0.5, 8000, c.format.channels, 300);
        int64_t result = 0;
        rlimit old{};
        getrlimit(RLIMIT_FSIZE, &old);
        rlimit lower = {1001, old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lower);  // a refused write then fails with EFBIG
        for (int writes = 0; writes < 1000 && (result = sink->Write(tone.data(), 300)) > 0;)
            ++writes;
        setrlimit(RLIMIT_FSIZE, &old);
        ASSERT_LT(result, 0) << "the limit never stopped the sink";
        EXPECT_NE(sink->LastError().find("File too large"), std::string::npos) << sink->LastError();
        const uint64_t units = (1001 - c.headerSize) / c.unitBytes;
        EXPECT_TRUE(sink->Close());
        EXPECT_EQ(LFile::GetFileSizeBytes64(path),
                  int64_t(c.headerSize + units * c.unitBytes + (units * c.unitBytes) % 2));
        auto source = OpenWavSource(path, nullptr);
        ASSERT_TRUE(source);
        EXPECT_EQ(source->TotalFrames(), c.unitBytes == 65 ? units * 320 : units);
        EXPECT_EQ(sink->FramesWritten(), source->TotalFrames());
    }
}
