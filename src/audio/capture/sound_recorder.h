#pragma once
// The recorder as the recording session sees it: records from one input device
// into one sink, meters the levels, runs voice activation, and reports through
// LSoundRecorderNotify when polled.
//
// Contract (every member is called on the user-interface thread, the one that
// owns the recorder, unless marked otherwise):
// - Start opens the device, starts the worker thread and returns once the device
//   runs (or, with kStartPaused, is open and waits for Resume). False when the
//   device could not be opened; LastErrorText() then says why and nothing was
//   written to the sink. With a voice level the recorder starts in state 1
//   (waiting for sound) and writes nothing until the level is reached; without
//   one it starts in state 2 (recording).
// - The sink is borrowed: the recorder holds its handle from Start until Stop,
//   Pause, or the finished notification; the caller closes the sink afterwards.
// - Pause ends capture like Stop but sends no notification and leaves the sink's
//   frames alone apart from the same 50 ms cut; a later Start on the same sink
//   appends. IsPaused() is true and State() is 1 until the next Start or Stop.
// - Stop ends capture, cuts the sink back to the recorded length + 0.05 s when it
//   holds more (never lengthens it), lets go of the sink and sends "stopped".
// - Poll turns what the worker raised into notifications: finished (with the
//   capture error) when the device failed, Stop when the maximum time was
//   reached, time and levels updates, and the state changes (waiting for sound,
//   recording (re)started). Call it from a timer (every 10..100 ms) or when
//   WakeSignal() becomes readable.
// - Notifications arrive only from Poll and Stop, on the calling thread.
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
};

// Option bits of Start.
inline constexpr uint16_t kRecorderStartPaused = 1;       // open, then wait for Resume()
inline constexpr uint16_t kRecorderKeepFirstBuffers = 2;  // do not drop the first 5 buffers

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

    // `voiceLevel`: resume from waiting at this level (none: no voice activation).
    // `soundThreshold`: a buffer at or above it counts as sound while recording.
    // `maxTime`: 0 for no limit. `silenceTimeout`: silence after which the
    // recorder goes back to waiting.
    virtual bool Start(const LSoundRecordDevice& device, LSoundSink sink,
                       LSoundRecorderNotify* notify, int64_t userValue,
                       std::optional<LdBLevel> voiceLevel, LdBLevel soundThreshold,
                       LSoundTime maxTime, LSoundTime silenceTimeout, uint16_t options) = 0;
    virtual void Stop() = 0;
    virtual void Pause() = 0;
    // Lets a recorder started with kRecorderStartPaused start the device.
    virtual void Resume() = 0;
    virtual void Poll() = 0;

    // 0 stopped, 1 waiting for sound or paused, 2 recording. Any thread.
    virtual int32_t State() const = 0;
    virtual bool IsPaused() const = 0;
    // Sink position after the last buffer plus the time since that buffer (while
    // recording), for a clock that moves smoothly. Any thread.
    virtual LSoundTime Position() const = 0;
    // True once a buffer at or above the sound threshold went into the sink since
    // Start. Any thread.
    virtual bool SoundCaptured() const = 0;
    virtual LLevels Levels() const = 0;
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
