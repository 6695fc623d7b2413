// End to end over a private PulseAudio daemon: real sources (a sine source, the
// monitor of a null sink with files played into it, remapped sources carrying a
// bus and a channel map), real WAV files, checked with sox and soxi.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>

#include "audio/capture/device_list.h"
#include "audio/capture/device_listing.h"
#include "audio/capture/sound_recorder.h"
#include "audio/sound_format.h"
#include "audio/wav/wav_sink.h"
#include "memory_sink.h"
#include "sim_recorder_fixture.h"
#include "support/audio_test_util.h"
#include "support/pulse_daemon.h"
#include "support/temp_dir.h"

namespace vocarta::test {
namespace {

using namespace std::chrono_literals;

// One recording of a test: from which source and channel, while `during`
// runs; it stops when `until` holds.
struct Take {
    std::string source;
    int channel = -1;
    std::function<void()> during;
    std::function<bool(LSoundRecorder&)> until;
};

class PulseEndToEnd : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new TempDir("vocarta-pulse");
        pulse_ = new PulseDaemon();
        std::string error;
        ASSERT_TRUE(pulse_->Start(dir_->Path(), &error)) << error;
        const std::pair<const char*, const char*> modules[] = {
            {"module-null-sink", "sink_name=nul rate=48000 channels=2"},
            {"module-sine-source", "source_name=sine frequency=440 rate=48000"},
            {"module-remap-source",
             "source_name=usbmic master=nul.monitor channels=2 "
             "channel_map=mono,aux0 source_properties=device.bus=usb"},
            {"module-remap-source",
             "source_name=pcimic master=sine source_properties=device.bus=pci"},
            {"module-remap-source",
             "source_name=usbmic2 master=nul.monitor source_properties=device.bus=usb"}};
        for (const auto& [module, arguments] : modules)
            ASSERT_GE(pulse_->LoadModule(module, arguments), 0) << arguments;
    }
    static void TearDownTestSuite() {
        if (pulse_ && !pulse_->IsAlive()) {
            std::string log = ReadFile(pulse_->LogPath());
            ADD_FAILURE() << "the sound server died; its log ends:\n"
                          << log.substr(log.size() > 4000 ? log.size() - 4000 : 0);
        }
        delete pulse_;
        delete dir_;
    }

    // Records into a 48 kHz stereo 16-bit WAV file, polling like the user
    // interface does, while `during` runs on another thread; stops when `until`
    // holds (after `during` has ended), 20 s at most.
    std::string Record(const std::string& file, const Take& take) {
        int index = LSoundDeviceList::QueryInputs().IndexOfName(take.source);
        EXPECT_GE(index, 0) << take.source;
        std::string path = dir_->File(file);
        auto sink = OpenWavSink(path, LSoundFormat(48000, 2, 16), nullptr);
        auto recorder = CreateSoundRecorder();
        EXPECT_TRUE(
            recorder->Start({.device = {index, take.channel, 0}}, LSoundSink(sink), &events_))
            << recorder->LastErrorText();
        std::atomic<bool> done{false};
        std::thread side([&] {
            if (take.during) take.during();
            done = true;
        });
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!(done && (!take.until || take.until(*recorder))) &&
               std::chrono::steady_clock::now() < deadline) {
            recorder->Poll();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        side.join();
        recorder->Poll();
        if (events_.finishedResult < 0) recorder->Stop();
        sink->Close();
        return path;
    }
    // A 48 kHz stereo WAV of a half-scale tone, after 1 s of silence: a stream
    // that starts into a running null sink may lose its first moments to the
    // sink's rewind, so the sound must not start at once.
    static std::string PlayedFile(const std::string& name, double seconds, double leftHz,
                                  double rightHz) {
        std::vector<float> frames(2 * 48000, 0.0f);
        for (int f = 0; f < int(seconds * 48000); ++f)
            for (double hz : {leftHz, rightHz})
                frames.push_back(float(0.5 * std::sin(2 * M_PI * hz * f / 48000)));
        std::string path = dir_->File(name), error;
        auto file = OpenWavSink(path, LSoundFormat(48000, 2, 16), &error);
        EXPECT_TRUE(file && file->Write(frames.data(), frames.size() / 2) > 0 && file->Close());
        return path;
    }
    // Frequency of one channel of a decoded stereo file.
    static double Hz(const std::vector<float>& s, unsigned channel) {
        return MeasureTone(s, 2, 48000, channel).hz;
    }

    RecordedEvents events_;
    static TempDir* dir_;
    static PulseDaemon* pulse_;
};
TempDir* PulseEndToEnd::dir_ = nullptr;
PulseDaemon* PulseEndToEnd::pulse_ = nullptr;

TEST_F(PulseEndToEnd, DevicesInServerOrderWithPrefixesAndChannels) {
    auto list = LSoundDeviceList::QueryInputs();
    ASSERT_TRUE(list.Ok()) << list.Error();
    std::vector<std::string> names;
    for (const auto& e : list.Entries()) names.push_back(e.raw.name + "=" + e.displayName);
    ASSERT_EQ(names.size(), 5u);
    // The monitor is an input too; a source without a bus gets no prefix.
    const char* prefixes[] = {"nul.monitor=Monitor of ", "sine=", "usbmic=[USB 0] ",
                              "pcimic=[PCI 0] ", "usbmic2=[USB 1] "};
    for (size_t i = 0; i < names.size(); ++i) EXPECT_TRUE(names[i].starts_with(prefixes[i])) << i;
    EXPECT_FALSE(names[1].starts_with("sine=[")) << names[1];
    std::vector<std::vector<std::string>> channels(3);
    for (int i = 0; i < 3; ++i)
        for (const auto& ch : list.Channels(i)) channels[i].push_back(ch.displayName);
    EXPECT_EQ(channels, (std::vector<std::vector<std::string>>{
                            {"Front Left (Channel 1)", "Front Right (Channel 2)"},
                            {"Default"},                    // mono counts as unnamed
                            {"Channel 1", "Channel 2"}}));  // mono, aux0
    // The output list holds the sink and none of the sources.
    auto outputs = LSoundDeviceList::QueryOutputs();
    EXPECT_TRUE(outputs.Count() == 1 && outputs.Entry(0).raw.name == "nul");

    std::string listing = dir_->File("devices.txt");
    FILE* out = std::fopen(listing.c_str(), "w");
    EXPECT_EQ(PrintInputDeviceList(out), 0);
    std::fclose(out);
    std::string text = ReadFile(listing);
    EXPECT_NE(text.find("[USB 1] "), std::string::npos) << text;
    EXPECT_NE(text.find("Front Right (Channel 2) [nul.monitor#2]"), std::string::npos) << text;
}

TEST_F(PulseEndToEnd, NoServerGivesAClearErrorAndExitStatus) {
    std::string saved = getenv("PULSE_SERVER");
    setenv("PULSE_SERVER", ("unix:" + dir_->File("nothing-here")).c_str(), 1);
    std::string listing = dir_->File("none.txt");
    FILE* out = std::fopen(listing.c_str(), "w");
    EXPECT_EQ(PrintInputDeviceList(out), 1);
    std::fclose(out);
    EXPECT_NE(ReadFile(listing).find("no sound server answered"), std::string::npos);
    auto recorder = CreateSoundRecorder();
    auto sink = std::make_shared<MemorySink>(48000, 2);
    EXPECT_FALSE(recorder->Start({.silenceTimeout = LSoundTime(1000)}, LSoundSink(sink), nullptr));
    EXPECT_EQ(recorder->LastError(), kCaptureNoServer);
    setenv("PULSE_SERVER", saved.c_str(), 1);
}

TEST_F(PulseEndToEnd, ChosenChannelFeedsBothChannels) {
    // Left 440 Hz, right 880 Hz; the right channel alone is chosen.
    std::string file = PlayedFile("lr.wav", 2.0, 440, 880);
    std::string path = Record("right.wav", {.source = "nul.monitor", .channel = 1, .during = [&] {
                                                EXPECT_TRUE(pulse_->Play(file, "nul"));
                                            }});
    std::vector<float> s = Decode(path);
    EXPECT_NEAR(Hz(s, 0), 880.0, 10.0);
    EXPECT_NEAR(Hz(s, 1), 880.0, 10.0);
}

TEST_F(PulseEndToEnd, UnloadedSourceEndsTheRecordingWithItsAudio) {
    int module = pulse_->LoadModule("module-remap-source", "source_name=doomed master=nul.monitor");
    ASSERT_GE(module, 0);
    std::string file = PlayedFile("a440.wav", 4.0, 440, 440);
    const std::string path = dir_->File("lost.wav");
    // The module goes once 1.5 s of audio has reached the file, however long the
    // monitor takes to start delivering: all of it must still be there after the loss.
    const off_t before = 46 + off_t(1.5 * 48000) * 2 * 2;
    pid_t player = -1;
    Record("lost.wav",
           {.source = "doomed",
            .during =
                [&] {
                    player = pulse_->PlayInBackground(file, "nul");
                    struct stat st {};
                    for (int i = 0;
                         i < 1000 && (stat(path.c_str(), &st) != 0 || st.st_size < before); ++i)
                        std::this_thread::sleep_for(10ms);
                    EXPECT_TRUE(pulse_->UnloadModule(module));
                },
            .until = [&](LSoundRecorder&) { return events_.finishedResult >= 0; }});
    EXPECT_EQ(events_.finishedResult, kCaptureDeviceLost);
    PulseDaemon::WaitFor(player);
    // A valid file (sox reads it) that kept the audio written before the loss and
    // what was still in flight, and the sound in it.
    EXPECT_NEAR(std::atof(Soxi("-D", path).c_str()), 2.0, 0.5);
    EXPECT_NEAR(MeasureTone(Decode(path), 2, 48000).peak, 0.5, 0.01);
}

TEST_F(PulseEndToEnd, HandOverSizeChangesWhileRecordingWithoutAGap) {
    // 1 s of silence, then 4 s of a half-scale tone, recorded while the levels
    // are switched off and on (window hidden and shown) every 1.2 s.
    std::string file = PlayedFile("switch.wav", 4.0, 440, 440);
    int index = LSoundDeviceList::QueryInputs().IndexOfName("nul.monitor");
    ASSERT_GE(index, 0);
    auto sink = std::make_shared<MemorySink>(48000, 2);
    auto recorder = CreateSoundRecorder();
    recorder->SetLevelsWanted(false);
    ASSERT_TRUE(recorder->Start({.device = {index, -1, 0}}, LSoundSink(sink), &events_))
        << recorder->LastErrorText();
    pid_t player = pulse_->PlayInBackground(file, "nul");
    const auto start = std::chrono::steady_clock::now();
    bool wanted = false;
    int levelsWhileShown = 0;
    for (auto now = start; now - start < 7s; now = std::chrono::steady_clock::now()) {
        recorder->WakeSignal().Wait(100);
        int before = events_.levelsUpdates;
        recorder->Poll();
        if (wanted) levelsWhileShown += events_.levelsUpdates - before;
        bool shown = (now - start) / 1200ms % 2 == 1;
        if (shown != wanted) recorder->SetLevelsWanted(wanted = shown);
    }
    EXPECT_EQ(PulseDaemon::WaitFor(player), 0);
    recorder->Stop();
    EXPECT_EQ(std::make_tuple(levelsWhileShown > 0, recorder->AudioLost(), events_.lostMs.size()),
              std::make_tuple(true, LSoundTime(0), 0ul));
    // The tone is all there, 4 s long, and never falls silent for more than a
    // moment (a sine at half scale stays under 0.01 for a fraction of a sample).
    const auto& s = sink->Samples();
    size_t first = 0, last = 0, quietRun = 0, longestQuiet = 0;
    for (size_t f = 0; f < s.size() / 2; ++f) {
        if (std::fabs(s[2 * f]) > 0.1f) {
            if (last > 0) longestQuiet = std::max(longestQuiet, quietRun);  // since the last sound
            first = last > 0 ? first : f, last = f;
        }
        quietRun = std::fabs(s[2 * f]) < 0.01f ? quietRun + 1 : 0;
    }
    EXPECT_NEAR(double(last - first) / 48000, 4.0, 0.05);
    EXPECT_LE(longestQuiet, 4u);
}

}  // namespace
}  // namespace vocarta::test
