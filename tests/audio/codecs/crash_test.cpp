// A writer killed with SIGKILL, or stopped by a full disk, must leave a file that
// decodes up to (nearly) the moment it stopped.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/sink_factory.h"
#include "support/audio_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::shared_ptr<LSoundSinkBase> OpenByExtension(const std::string& path, std::string* error) {
    if (path.ends_with(".mp3")) return OpenMp3Sink(path, Mp3Settings(), 44100, 2, error);
    if (path.ends_with(".flac")) return OpenFlacSink(path, FlacSettings(), 44100, 2, error);
    return OpenAiffSink(path, AiffEncoding::Pcm16, 44100, 2, error);
}

// Forks a writer that records a tone into `path` and kills it once it has
// written `killAfter` frames. Returns the frames whose Write had returned.
uint64_t RecordUntilKilled(const std::string& path, uint64_t killAfter) {
    auto* written = static_cast<std::atomic<uint64_t>*>(mmap(nullptr, sizeof(std::atomic<uint64_t>),
                                                             PROT_READ | PROT_WRITE,
                                                             MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    new (written) std::atomic<uint64_t>(0);
    pid_t pid = fork();
    if (pid == 0) {
        std::string error;
        auto sink = OpenByExtension(path, &error);
        if (!sink) _exit(2);
        for (uint64_t at = 0;; at += 4410) {
            auto frames = Tone(440, 0.5, 44100, 2, 4410, at);
            if (sink->Write(frames.data(), 4410) != 4410) _exit(3);
            written->store(at + 4410);
        }
    }
    while (written->load() < killAfter) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << status;
    uint64_t result = written->load();
    munmap(written, sizeof(std::atomic<uint64_t>));
    return result;
}

// Frames our decoder gives before the end, or before an error at a torn last
// block (a full disk can leave one).
uint64_t FramesOurDecoderReads(const std::string& path) {
    auto source = OpenSoundSource(path, nullptr);
    EXPECT_TRUE(source);
    if (!source) return 0;
    std::vector<float> pcm;
    ReadToEnd(*source, &pcm);
    EXPECT_EQ(pcm.size() / 2, source->TotalFrames()) << "the stated length is what decodes";
    return pcm.size() / 2;
}

}  // namespace

TEST(Crash, KilledWriterLeavesAudioThatDecodesUpToTheKill) {
    TempDir dir;
    // The kill may land after a write but before its count is stored: one write
    // of 4410 frames more than counted may be in the file.
    constexpr uint64_t kInFlight = 4410;
    struct {
        const char* name;
        uint64_t behind, ahead;  // frames the decoded length may fall short of / exceed the writes
        double ourTolerance;     // between our decoder's length and the outside one's
    } cases[] = {
        {"killed.flac", 4608 + 4096, kInFlight, 0},  // the encoder holds back a block and a chunk
        {"killed.mp3", 4 * 1152, kInFlight + 1152, 1152},  // LAME's look-ahead of a few MPEG frames
        {"killed.aiff", 4410, kInFlight, 0},               // header sizes follow each write
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.File(c.name);
        uint64_t written = RecordUntilKilled(path, 3 * 44100);
        if (path.ends_with(".flac")) Tool({"flac", "-t", "-s", path});
        std::vector<float> pcm = Decode(path);
        uint64_t decoded = pcm.size() / 2;
        EXPECT_TRUE(decoded <= written + c.ahead && decoded + c.behind >= written) << decoded;
        EXPECT_NEAR(MeasureTone(pcm, 2, 44100).hz, 440, 1);
        EXPECT_NEAR(double(FramesOurDecoderReads(path)), double(decoded), c.ourTolerance);
    }
}

TEST(Crash, FullDiskStopsTheWriterWithAnErrorAndAReadableFile) {
    TempDir dir;
    for (const char* name : {"full.flac", "full.mp3", "full.aiff"}) {
        SCOPED_TRACE(name);
        const std::string path = dir.File(name);
        pid_t pid = fork();
        if (pid == 0) {
            // A file size limit stands in for a full disk: write() comes back short.
            signal(SIGXFSZ, SIG_IGN);
            rlimit limit{300000, 300000};
            setrlimit(RLIMIT_FSIZE, &limit);
            std::string error;
            auto sink = OpenByExtension(path, &error);
            if (!sink) _exit(2);
            for (uint64_t at = 0; at < 60 * 44100; at += 4410) {
                auto frames = Tone(440, 0.5, 44100, 2, 4410, at);
                if (sink->Write(frames.data(), 4410) < 0) {
                    bool named = sink->LastError().find(path) != std::string::npos;
                    sink->Close();
                    _exit(named ? 0 : 4);
                }
            }
            _exit(5);  // never ran out of room
        }
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        // No torn last block: an outside decoder takes the whole file.
        if (path.ends_with(".flac")) Tool({"flac", "-t", "-s", path});
        EXPECT_GT(FramesOurDecoderReads(path), 44100u) << "what fitted is still there";
    }
}
