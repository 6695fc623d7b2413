#pragma once
// What every low-level capture layer shares: the ring, the format chosen for the
// sink, the device's stable name and channel, and the last error.
//
// A capture layer LLC used by LSoundRecorderTemplate<LLC> derives from this and
// provides, all called on the recorder's worker thread:
//   bool Open(const LSoundRecordDevice&, LSoundSinkBase& sink);  // error 1: rate
//   uint32_t NearestDeviceRate(uint32_t rate) const;
//   bool Start();  // the callback begins to fill the ring
//   void Stop();   // no more callbacks; a part-filled buffer is handed over
//   void Close();  // frees the ring and the device
// and, on any thread, SetHandOverMs(ms) (this class's, or one that also tells
// the device).

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/capture/capture_ring.h"
#include "audio/sound_sink.h"
#include "toolkit/llock_object.h"

namespace vocarta {

class LCaptureBase {
  public:
    LCaptureRing& Ring() { return ring_; }
    const LCaptureRing& Ring() const { return ring_; }

    // Any thread. The first error since ClearError() is kept.
    int32_t LastError() const { return lastError_.load(std::memory_order_acquire); }
    std::string LastErrorText() const;
    void SetLastError(int32_t error, const std::string& detail = {});
    void ClearError();

    // Any thread: how much sound reaches the worker at a time, in milliseconds,
    // rounded to whole buffers; kept across Open/Close.
    void SetHandOverMs(uint32_t ms);
    // Frames of one hand-over of the open ring (0 before Open).
    uint32_t HandOverFrames() const;

    // Worker thread, after Open.
    const std::string& DeviceName() const { return deviceName_; }
    int32_t DeviceChannel() const { return deviceChannel_; }
    bool DuplicateLeft() const { return duplicateLeft_; }
    uint32_t Rate() const { return rate_; }
    uint8_t Channels() const { return channels_; }

  protected:
    // Picks the device rate nearest the sink's from `offered` (empty: any rate)
    // and tells the sink when it differs; error 1 when the sink cannot take it.
    bool ChooseFormat(LSoundSinkBase& sink, const std::vector<uint32_t>& offered);
    // Frames per buffer and buffer count for the chosen rate, then the ring.
    bool AllocateRing(uint32_t deviceMinFrames, uint32_t deviceMaxFrames);
    void FreeRing();

    LCaptureRing ring_;
    std::string deviceName_;
    int32_t deviceChannel_ = -1;
    bool duplicateLeft_ = false;
    uint32_t rate_ = 0;
    uint8_t channels_ = 0;

  private:
    void ApplyHandOver();  // with handOverLock_ held

    mutable LLockObject handOverLock_;
    uint32_t handOverMs_ = 200;  // guarded by handOverLock_
    uint32_t ringRate_ = 0;      // guarded by handOverLock_: the rate the ring was sized for

    std::atomic<int32_t> lastError_{0};
    mutable LLockObject errorLock_;
    std::string errorDetail_;  // guarded by errorLock_
};

}  // namespace vocarta
