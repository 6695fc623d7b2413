#pragma once
// The recorder as the recording session sees it: records from one input device
// into one sink, meters the levels, runs voice activation, and reports through
// LSoundRecorderNotify when polled.
//
// Contract (every member is called on the user-interface thread, the one that
// owns the recorder, unless marked otherwise):
// - Start opens the device, starts the worker thread and returns once the device
//   runs (or, with kRecorderStartPaused, is open and waits for Resume). False
//   when the device could not be opened; LastErrorText() then says why and
//   nothing was written to the sink. With a voice level the recorder starts
//   waiting for sound (kWaiting) and writes nothing until the level is reached;
//   without one it starts recording (kRecording).
// - The sink is borrowed: the recorder holds its handle from Start until Stop,
//   Pause, or the finished notification; the caller closes the sink afterwards.
// - Pause ends capture like Stop but sends no notification and leaves the sink's
//   frames alone apart from the same 50 ms cut; a later Start on the same sink
//   appends. IsPaused() is true and State() is kWaiting until the next Start or
//   Stop.
// - Stop ends capture, cuts the sink back to the recorded length + 0.05 s when it
//   holds more (never lengthens it), lets go of the sink and sends "stopped".
// - Poll turns what the worker raised into notifications: finished (with the
//   capture error) when the device failed, Stop when the maximum time was
//   reached, audio lost, time and levels updates, and the state changes
//   (waiting for sound, recording (re)started). Call it when WakeSignal()
//   becomes readable; the worker sets it once per hand-over at most, so the
//   caller wakes no more often than the levels (or the time) change. A slow
//   timer besides it is harmless.
// - Notifications arrive only from Poll and Stop, on the calling thread.
// - When the device or the sink fails, State() keeps its value until Poll has
//   sent "finished", so that the failure is never taken for a normal end.
// - Hand-overs: while levels are wanted (the default) the sound reaches the
//   worker every 200 ms and levels come five times a second; without them the
//   sound comes once a second and so does the time update, which costs far
//   fewer wake-ups. A program killed outright loses the hand-over in flight.
// - The capture callback never waits: when the worker (the sink, the disk)
//   falls 4 s behind, new sound is dropped and counted, and Poll reports it
//   with OnAudioLost.
// - The record gain comes from the record-volume table (record_volume.h) by the
//   device's name and channel; PrepareRecordDevice() (device_choice.h) resolves
//   the stored choice into the device record for Start and registers its volume.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "audio/level.h"
#include "audio/sound_devices.h"
#include "audio/sound_sink.h"
#include "audio/sound_time.h"
#include "toolkit/lsignal_object.h"

namespace vocarta {

class LSoundRecorderNotify {
  public:
    virtual ~LSoundRecorderNotify() = default;
    // Recording (re)started after waiting for sound (and at a start without voice
    // activation).
    virtual void OnRecordingStarted(int64_t userValue) {}
    virtual void OnWaitingForSound(int64_t userValue) {}
    virtual void OnStopped(int64_t userValue) {}
    virtual void OnTimeUpdate(LSoundTime recordedLength, int64_t userValue) {}
    virtual void OnLevelsUpdate(const LLevels& levels, int64_t userValue) {}
    // The worker ended by itself; `result` is the capture error (0: clean end).
    virtual void OnFinished(int32_t result, int64_t userValue) {}
    // Sound was dropped because the worker could not keep up (a stalled disk);
    // `lostTotal` counts everything lost since Start. Sent by Poll whenever the
    // total has grown since the last report.
    virtual void OnAudioLost(LSoundTime lostTotal, int64_t userValue) {}
};

// Option bits of Start.
inline constexpr uint16_t kRecorderStartPaused = 1;       // open, then wait for Resume()
inline constexpr uint16_t kRecorderKeepFirstBuffers = 2;  // do not drop the first 5 buffers

// What the recorder does with its input.
enum class LRecorderState : int32_t {
    kStopped = 0,
    kWaiting = 1,  // writes nothing: waiting for sound (voice activation) or paused
    kRecording = 2,
};

struct LRecorderStartOptions {
    LSoundRecordDevice device;
    // Resume from waiting at this level; none: no voice activation.
    std::optional<LdBLevel> voiceLevel;
    // A buffer at or above it counts as sound while recording.
    LdBLevel soundThreshold{-127};
    // The recorder stops itself (at the next Poll) beyond it; 0: no limit.
    LSoundTime maxTime{0};
    // Silence after which a recording goes back to waiting for sound.
    LSoundTime silenceTimeout{216000000};
    uint16_t options = 0;  // kRecorderStartPaused, kRecorderKeepFirstBuffers
    // Passed back with every notification.
    int64_t userValue = 0;
};

// Capture errors (LastError()).
enum LCaptureError : int32_t {
    kCaptureOk = 0,
    kCaptureRateUnavailable = 1,  // the device cannot deliver the sink's rate
    kCaptureNoDevice = 2,         // index outside the device list
    kCaptureOpenFailed = 3,       // the server refused the stream
    kCaptureDeviceLost = 4,       // the device went away while recording
    kCaptureStalled = 5,          // no sound for 3 s
    kCaptureSinkFailed = 6,       // the sink could not take the frames
    kCaptureNoServer = 7,         // no sound server answered
};

class LSoundRecorder {
  public:
    virtual ~LSoundRecorder() = default;

    // `notify` may be null (no notifications).
    virtual bool Start(const LRecorderStartOptions& options, LSoundSink sink,
                       LSoundRecorderNotify* notify) = 0;
    virtual void Stop() = 0;
    virtual void Pause() = 0;
    // Lets a recorder started with kRecorderStartPaused start the device.
    virtual void Resume() = 0;
    virtual void Poll() = 0;
    // Whether anything shows the levels (a visible window, a status line on a
    // terminal). Without, the sound is handed over once a second instead of five
    // times, and the time and levels updates come once a second. Takes effect at
    // once, also while recording; kept across Starts. True until first called.
    virtual void SetLevelsWanted(bool wanted) = 0;

    // Any thread.
    virtual LRecorderState State() const = 0;
    virtual bool IsPaused() const = 0;
    // Sink position after the last buffer plus the time since that buffer (while
    // recording), for a clock that moves smoothly. Any thread.
    virtual LSoundTime Position() const = 0;
    // True once a buffer at or above the sound threshold went into the sink since
    // Start. Any thread.
    virtual bool SoundCaptured() const = 0;
    virtual LLevels Levels() const = 0;
    // Sound dropped since Start because the worker could not keep up. Any thread.
    virtual LSoundTime AudioLost() const = 0;
    virtual int32_t LastError() const = 0;
    virtual std::string LastErrorText() const = 0;
    // Set by the worker when it has something for Poll.
    virtual const LSignalObject& WakeSignal() const = 0;
};

// The platform's recorder, or the simulated one when VOCARTA_CAPTURE=simulated
// (its sound comes from VOCARTA_CAPTURE_SOURCE; see docs/capture.md).
std::unique_ptr<LSoundRecorder> CreateSoundRecorder();
std::unique_ptr<LSoundRecorder> CreatePlatformSoundRecorder();
std::unique_ptr<LSoundRecorder> CreateSimulatedSoundRecorder();

// Text for a capture error code.
const char* CaptureErrorText(int32_t error);

}  // namespace vocarta
