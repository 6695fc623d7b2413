#pragma once
// The low-level PulseAudio capture layer: a record stream on the chosen source
// at the chosen rate and channel count, format S32NE, whose read callback copies
// into the ring and signals, nothing else. A source that disappears (unplugged,
// module unloaded) or a server that goes away ends the capture: what was
// captured is handed over and the ring reports the failure.
//
// The server hands over as much sound at a time as the ring's hand-over
// (fragsize), changed at run time by SetHandOverMs.
//
// Threading: Open/Start/Stop/Close on the recorder's worker; SetHandOverMs on
// any thread (it waits while the worker creates or ends the stream, a few
// milliseconds); the callbacks run on the connection's main-loop thread with
// its lock held.

#include <pulse/pulseaudio.h>

#include <atomic>
#include <memory>

#include "audio/capture/capture_base.h"
#include "audio/capture/pulse/pulse_connection.h"
#include "audio/sound_devices.h"
#include "toolkit/llock_object.h"

namespace vocarta {

class LPulseCapture : public LCaptureBase {
  public:
    LPulseCapture() = default;
    ~LPulseCapture();

    bool Open(const LSoundRecordDevice& device, LSoundSinkBase& sink);
    uint32_t NearestDeviceRate(uint32_t rate) const;
    bool Start();
    void Stop();
    void Close();
    void SetHandOverMs(uint32_t ms);

  private:
    bool FindDevice(const LSoundRecordDevice& device, LRawDevice& found, pa_channel_map& map);
    bool CreateStream(const LRawDevice& source, const pa_channel_map& sourceMap);
    pa_channel_map StreamChannelMap(const pa_channel_map& sourceMap) const;
    void TakeReadable();
    void Lose(const char* why);
    pa_buffer_attr BufferAttributes() const;
    static void ReadCallback(pa_stream* stream, size_t bytes, void* self);
    static void StreamStateCallback(pa_stream* stream, void* self);
    static void ContextStateCallback(pa_context* context, void* self);

    // Changed by the worker and, for SetHandOverMs, looked at by other threads
    // under streamLock_ (taken before the main loop's lock).
    LLockObject streamLock_;
    std::unique_ptr<LPulseConnection> connection_;
    pa_stream* stream_ = nullptr;
    bool stopping_ = false;  // guarded by the main loop's lock
    bool lost_ = false;      // guarded by the main loop's lock
};

}  // namespace vocarta
