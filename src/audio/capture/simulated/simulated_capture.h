#pragma once
// A capture layer without a sound server: the same ring and the same callback
// thread model as a real device, fed by a generator. Tests use it to drive voice
// activation, pre-roll, the discarded buffers and the level arithmetic
// deterministically; the simulated recorder (VOCARTA_CAPTURE=simulated) uses it
// so that the session can be tested without sound hardware.
//
// Modes: Clocked delivers in real time from its own callback thread (and drops
// what finds the ring full); Free delivers as fast as the worker takes buffers;
// Manual has no thread: the test calls Pump() and the callback runs on the
// test's thread (never at the same time as the recorder's Stop/Pause).
//
// Devices are those of the simulated enumerator (device_list.h).

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/capture/capture_base.h"
#include "audio/capture/simulated/generators.h"
#include "audio/sound_devices.h"
#include "toolkit/llock_object.h"
#include "toolkit/lthread.h"

namespace vocarta {

enum class LSimulationMode { Clocked, Free, Manual };

inline constexpr int kPumpRoomWaitMs = 20000;

struct LSimulationConfig {
    std::shared_ptr<LCaptureGenerator> generator;  // null: silence
    LSimulationMode mode = LSimulationMode::Clocked;
    std::vector<uint32_t> offeredRates;  // empty: every rate
    uint32_t minFrames = 1;              // the device's buffer size range
    uint32_t maxFrames = 1u << 20;
    uint32_t chunkFrames = 0;  // frames per callback; 0: rate / 100
    // The device disappears after this many frames (-1: never); a generator
    // whose sound ends is followed by silence.
    int64_t loseDeviceAfterFrames = -1;
};

class LSimulatedCapture : public LCaptureBase {
  public:
    LSimulatedCapture();
    ~LSimulatedCapture();

    // Before the recorder's Start (owner's thread).
    void Configure(LSimulationConfig config);

    bool Open(const LSoundRecordDevice& device, LSoundSinkBase& sink);
    uint32_t NearestDeviceRate(uint32_t rate) const;
    bool Start();
    void Stop();
    void Close();

    // Manual mode: delivers `frames` frames in callback-sized pieces on the
    // calling thread, then hands over every full buffer whatever the hand-over
    // size. With `waitForRoom` each piece waits (up to 20 s) until the worker has
    // made room for it; without, a full ring drops it as a device's callback
    // would. False when the device is not running (or was lost).
    bool Pump(uint64_t frames, bool waitForRoom = true);
    // Waits until the device has been started (for Manual-mode tests).
    bool WaitStarted(int timeoutMs) const { return startedSignal_.Wait(timeoutMs); }
    uint64_t FramesDelivered() const { return delivered_.load(); }

  private:
    class CallbackThread;
    bool Deliver(uint64_t frames);  // one callback
    void LoseDevice();
    void StopDelivering();

    LSimulationConfig config_;
    std::unique_ptr<CallbackThread> thread_;
    std::unique_ptr<int32_t[]> chunk_;
    uint32_t chunkFrames_ = 0;
    bool opened_ = false;
    std::atomic<bool> running_{false};
    std::atomic<bool> lost_{false};
    std::atomic<uint64_t> delivered_{0};
    LSignalObject startedSignal_;
    // Manual mode: keeps a Pump on the test's thread from overlapping Stop/Close
    // on the worker, as a sound server's lock does for a real device.
    LLockObject pumpLock_;
};

}  // namespace vocarta
