#pragma once
// A recording session under test: MainDialog with the fake view and loop, the
// simulated recorder in Manual mode (the test pumps the sound), real 8000 Hz mono
// 16-bit WAV files in a temporary folder, a free-space figure the test sets, and
// logs of tones, Trash emptying and files handed to the after-recording queue.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "app/session/after_recording_queue.h"
#include "app/session/main_dialog.h"
#include "app/session/session_dispatcher.h"
#include "app/session/session_services.h"
#include "app_fakes.h"
#include "audio/capture/simulated/simulated_recorder.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"

namespace vocarta::test {

// A sine whose loudness the test switches between buffers (0: silence).
class SwitchedSine final : public LCaptureGenerator {
  public:
    uint64_t Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) override {
        const double amplitude = amplitude_.load();
        for (uint64_t f = 0; f < frames; ++f, ++frame_) {
            const float v = float(amplitude * std::sin(2 * M_PI * 440.0 * double(frame_) / rate));
            for (uint8_t c = 0; c < channels; ++c) out[f * channels + c] = FloatToS32(v);
        }
        return frames;
    }
    void Set(double amplitude) { amplitude_ = amplitude; }

  private:
    std::atomic<double> amplitude_{0.5};
    uint64_t frame_ = 0;
};

class SessionTest : public ::testing::Test {
  protected:
    static constexpr uint32_t kRate = 8000;
    static constexpr uint64_t kBufferFrames = 800;  // 100 ms per buffer at 8000 Hz

    SessionTest() {
        setenv("VOCARTA_CAPTURE", "simulated", 1);
        setenv("VOCARTA_PLAYBACK", "null", 1);
        unsetenv("VOCARTA_FREE_BYTES_FILE");
        for (const char* section : {"Settings", "FindPlay", "UsageStats", "Recorder"})
            DeleteSettingTree(section);
        SetSettingString("FindPlay", "DefaultRecordFolder", folder.Path());
        StoreOutputFormat(OutputFormat::kWav);
        LSoundFormat format;
        MakeWavFormat(1, kRate, 1, 16, format);
        SaveWavFormat(format);
    }
    ~SessionTest() override {
        commands.reset();
        dialog.reset();
    }

    // Creates the controller; settings that the constructor reads must be set first.
    void Open() {
        SessionServices services;
        auto made = std::make_unique<LSimulatedSoundRecorder>();
        recorder = made.get();
        LSimulationConfig config;
        config.generator = sound;
        config.mode = LSimulationMode::Manual;
        config.loseDeviceAfterFrames = loseDeviceAfterFrames;
        recorder->Capture().Configure(config);
        services.recorder = std::move(made);
        services.prepareDevice = [this] {
            LResolvedRecordDevice resolved;
            resolved.device.index = deviceIndex;
            resolved.deviceName = "simulated";
            return resolved;
        };
        services.openSink = &OpenRecordingSink;
        services.freeBytes = [this](const std::string&) -> std::optional<uint64_t> {
            return freeBytes.load();
        };
        services.emptyTrash = [this](const std::string&) -> LResult<TrashEmptied> {
            ++trashEmptied;
            freeBytes = freeBytes.load() + trashHolds;
            return TrashEmptied{};
        };
        services.playTone = [this](LToneKind kind) { tones.push_back(kind); };
        services.makePlayer = [] { return CreateNullSoundPlayer(LPlaybackRole::Media); };
        services.afterRecordingSteps = {
            {"Note", [this](const std::string& path, const AfterRecordingContext&) {
                 std::lock_guard<std::mutex> lock(queuedLock);
                 queued.push_back(path);
             }}};
        dialog = std::make_unique<MainDialog>(view, loop, std::move(services));
        commands = std::make_unique<SessionDispatcher>(*dialog);
    }

    // Pumps `seconds` of sound through the device, polling as the poll timer
    // would after every two buffers, and runs what was posted. Ends early when
    // the recorder no longer runs (stopped, paused).
    void Pump(double seconds) {
        const uint64_t buffers = uint64_t(std::llround(seconds * 10));
        for (uint64_t done = 0; done < buffers; done += 2) {
            if (!dialog->IsRecordingInProgress() || dialog->IsPausedByUser()) return;
            if (!recorder->Capture().Pump(2 * kBufferFrames)) return;
            // The recorder drops the first 5 buffers after each start unseen.
            const uint64_t delivered = recorder->Capture().FramesDelivered() / kBufferFrames;
            WaitMetered(delivered > 5 ? delivered - 5 : 0);
            loop.Fire(MainDialog::kTimerRecorderPoll);
            loop.RunPosted(0, 0);
        }
    }
    void WaitMetered(uint64_t count) {
        for (int i = 0; i < 5000 && recorder->BuffersProcessed() < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ASSERT_GE(recorder->BuffersProcessed(), count) << "the recorder's worker fell behind";
    }
    // Commands as the window's buttons give them.
    void Record() { dialog->Record(MainDialog::kDefaultLimitMs); }
    // A command line as a first or forwarded launch gives it.
    void Run(std::vector<std::string> args) {
        args.insert(args.begin(), "vocarta");
        commands->HandleCommandLine(args, int(args.size()));
    }

    std::vector<std::string> Queued() {
        dialog->AfterRecordingQueue().WaitIdle(10000);
        std::lock_guard<std::mutex> lock(queuedLock);
        return queued;
    }
    // Length in ms of a finished WAV recording at kRate, 16-bit mono.
    static int64_t WavMs(const std::string& path) {
        std::error_code missing;
        const auto size = std::filesystem::file_size(path, missing);
        return missing ? -1 : (int64_t(size) - 44) / 2 * 1000 / kRate;
    }
    void ExpectState(int state, SessionLook look) {
        EXPECT_EQ(dialog->RecorderState(), state);
        EXPECT_EQ(view.look, look);
    }
    static bool Exists(const std::string& path) { return std::filesystem::exists(path); }
    std::string Take(int number) const {
        return folder.File(StringPrintf("Untitled %03d.wav", number));
    }

    TempDir folder{"vocarta-session"};
    FakeView view;
    FakeMainLoop loop;
    LogTail log;
    std::shared_ptr<SwitchedSine> sound = std::make_shared<SwitchedSine>();
    int64_t loseDeviceAfterFrames = -1;
    int deviceIndex = 0;  // -1: no device to open
    std::atomic<uint64_t> freeBytes{uint64_t(1) << 40};
    uint64_t trashHolds = 0;
    int trashEmptied = 0;
    std::vector<LToneKind> tones;
    std::mutex queuedLock;
    std::vector<std::string> queued;  // guarded by queuedLock
    LSimulatedSoundRecorder* recorder = nullptr;
    std::unique_ptr<MainDialog> dialog;
    std::unique_ptr<SessionDispatcher> commands;
};

}  // namespace vocarta::test
