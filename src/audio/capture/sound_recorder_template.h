#pragma once
// LSoundRecorderTemplate<LLC>: records from one input device into one sink over a
// low-level capture layer LLC (see capture_base.h). The worker thread
// ("LSoundRecorder<T>") takes the ring's buffers, applies the record gain,
// meters per-channel peaks, runs voice activation and writes the sink.
//
// Threads: the capture callback fills the ring (LLC's own thread); the worker
// drains it, meters and writes the sink; the user-interface thread calls Start,
// Stop, Pause, Resume, Poll and SetLevelsWanted. Worker and user interface share
// the state, the times and the event flags as single-writer atomics (the worker
// raises a flag, Poll clears it) and the levels under levelsLock_. The sink is
// written only by the worker while it runs and touched by Stop/Pause/Poll only
// after it ended.
//
// One chain of wake-ups: the callback wakes the worker once per hand-over, and
// the worker wakes the user interface (WakeSignal) once per hand-over at most,
// after the last buffer of it, when it raised something.
// The definitions are in sound_recorder_template_impl.h, instantiated once per
// capture layer.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "audio/capture/sound_recorder.h"
#include "audio/sound_devices.h"
#include "toolkit/llock_object.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

namespace vocarta {

template <class LLC>
class LSoundRecorderTemplate : public LThread, public LSoundRecorder {
  public:
    LSoundRecorderTemplate();
    ~LSoundRecorderTemplate() override;

    bool Start(const LRecorderStartOptions& options, LSoundSink sink,
               LSoundRecorderNotify* notify) override;
    void Stop() override;
    void Pause() override;
    void Resume() override;
    void Poll() override;
    void SetLevelsWanted(bool wanted) override;

    LRecorderState State() const override;
    bool IsPaused() const override { return paused_.load(); }
    LSoundTime Position() const override;
    bool SoundCaptured() const override { return soundCaptured_.load(); }
    LLevels Levels() const override;
    LSoundTime AudioLost() const override;
    int32_t LastError() const override { return capture_.LastError(); }
    std::string LastErrorText() const override { return capture_.LastErrorText(); }
    const LSignalObject& WakeSignal() const override { return wake_; }
    bool IsIdle() const { return State() == LRecorderState::kStopped; }

    // The capture layer, to configure before Start (simulated layer) or inspect.
    LLC& Capture() { return capture_; }
    // Recorded length: the sink position after the last buffer that counted.
    LSoundTime RecordedLength() const { return LSoundTime(recordedMs_.load()); }
    // Buffers metered since Start (the discarded ones not counted). Any thread.
    uint64_t BuffersProcessed() const { return buffersProcessed_.load(); }

  protected:
    void Run() override;
    // Runs on the worker when the capture layer reported an error.
    virtual void OnCaptureError();

  private:
    bool OpenCapture();
    bool StartDevice();
    void CaptureLoop();
    int64_t TakeBuffer(int timeoutMs);
    bool ProcessBuffer(uint64_t frames);
    bool WhileWaiting(uint64_t frames, LdBLevel combined);
    bool WhileRecording(uint64_t frames, LdBLevel combined);
    void CountLevelNotification();
    void RaiseForPoll(std::atomic<bool>& flag, bool now);
    void WakeAfterHandOver();
    void DrainQueued();
    void FinishRun();
    bool WriteFrames(const float* samples, uint64_t frames);
    void KeepAsPrevious(uint64_t frames);
    void EndCapture(bool notifyStopped);

    LLC capture_;
    LSoundRecorderNotify* notify_;
    int64_t userValue_ = 0;
    std::atomic<LRecorderState> state_{LRecorderState::kStopped};
    std::atomic<bool> paused_{false};
    LSoundSink sink_;        // the caller's sink (UI thread; worker while it runs)
    LSoundSink workerSink_;  // what the worker writes: sink_ or a rate converter
    LSoundRecordDevice device_;
    std::atomic<int64_t> recordedMs_{0};
    std::atomic<int64_t> lastLoudMs_{0};
    LSignalObject started_;
    LSignalObject resume_;
    LSignalObject wake_;
    mutable LLockObject levelsLock_;
    LLevels levels_;  // guarded by levelsLock_
    LdBLevel voiceThreshold_;
    LdBLevel soundThreshold_;
    LSoundTime maxTime_;
    LSoundTime silenceTimeout_;
    std::atomic<bool> maxTimeReached_{false};
    std::atomic<bool> levelsChanged_{false};
    std::atomic<bool> stateChanged_{false};
    std::atomic<bool> errorPending_{false};
    std::atomic<bool> openFailed_{false};
    std::atomic<bool> soundCaptured_{false};
    uint16_t options_ = 0;
    std::atomic<bool> levelsWanted_{true};
    std::atomic<uint32_t> captureRate_{0};  // for AudioLost, once the device is open
    uint64_t lostReported_ = 0;             // UI thread: dropped frames told by Poll
    // Worker only.
    std::unique_ptr<float[]> current_;
    std::unique_ptr<float[]> previous_;
    uint64_t previousFrames_ = 0;  // 0: no previous buffer held
    bool wakePending_ = false;     // something was raised in this hand-over
    uint32_t quietCount_ = 0;      // buffers since the last time update without levels
    // For Position(): sink position and steady-clock time of the last buffer.
    std::atomic<int64_t> positionMs_{0};
    std::atomic<int64_t> lastBufferTick_{0};
    std::atomic<int64_t> handOverMs_{0};
    std::atomic<uint64_t> buffersProcessed_{0};
};

// Levels reach the user interface once every n + 2 buffers (n = rate / frames /
// 20), counted by one counter shared by every recorder of the process.
std::atomic<int>& SharedLevelNotificationCounter();

}  // namespace vocarta
