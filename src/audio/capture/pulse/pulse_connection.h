#pragma once
// One connection to the PulseAudio server (which also serves PipeWire through
// pipewire-pulse) over a threaded main loop: connect, ask, wait with a time
// limit. Never starts a server of its own.
//
// Threading: the main loop runs its own thread and calls every callback there
// with the loop's lock held. Callers take the lock (LPulseLock) around every
// call into the context or a stream, and WaitUntil only with it held.

#include <pulse/pulseaudio.h>

#include <functional>
#include <string>
#include <vector>

#include "audio/capture/device_list.h"

namespace vocarta {

inline constexpr int kPulseTimeoutMs = 5000;

class LPulseConnection {
  public:
    LPulseConnection() = default;
    ~LPulseConnection();
    LPulseConnection(const LPulseConnection&) = delete;
    LPulseConnection& operator=(const LPulseConnection&) = delete;

    bool Connect(std::string& error);
    pa_threaded_mainloop* Loop() const { return loop_; }
    pa_context* Context() const { return context_; }
    bool IsReady() const;
    // The server's text for the context's last error.
    std::string ErrorText() const;

    // With the lock held: waits until `done` is true, the context fails, or
    // `timeoutMs` has passed. True when `done`.
    bool WaitUntil(const std::function<bool()>& done, int timeoutMs = kPulseTimeoutMs);
    // With the lock held: waits for an operation to complete; unrefs it.
    bool WaitOperation(pa_operation* operation);
    // Wakes a waiting WaitUntil (from callbacks).
    void Signal() const { pa_threaded_mainloop_signal(loop_, 0); }
    // A success callback for stream operations that wakes WaitUntil; pass the
    // connection as its data.
    static void SignalOnSuccess(pa_stream*, int success, void* connection);

    // Without the lock: the server's sources (Input) or sinks (Output) in the
    // server's order.
    bool ListDevices(LDeviceDirection direction, std::vector<LRawDevice>& out, std::string& error);

  private:
    static void ContextStateCallback(pa_context* context, void* self);

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    bool started_ = false;
};

class LPulseLock {
  public:
    explicit LPulseLock(pa_threaded_mainloop* loop) : loop_(loop) {
        pa_threaded_mainloop_lock(loop_);
    }
    ~LPulseLock() { pa_threaded_mainloop_unlock(loop_); }
    LPulseLock(const LPulseLock&) = delete;
    LPulseLock& operator=(const LPulseLock&) = delete;

  private:
    pa_threaded_mainloop* loop_;
};

// Channel names from a channel map: the position's pretty name, or an empty
// text (unnamed) for a mono or aux position.
std::vector<std::string> ChannelNamesOf(const pa_channel_map& map);

}  // namespace vocarta
