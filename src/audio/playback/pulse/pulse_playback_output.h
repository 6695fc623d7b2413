#pragma once
// The low-level PulseAudio player: one playback stream of 32-bit float frames on
// the chosen sink, fed from the player's ring by the stream's write callback.
// Satisfies LPlaybackOutputLayer (see playback_output.h for the threading contract).
//
// The stream asks for about 100 ms of audio ahead, so pause and stop are heard
// at once and the position follows what is heard, not what is queued. The write
// callback copies what the ring holds and no more; the feeder's Kick writes what
// a request that found the ring dry is still owed.

#include <pulse/pulseaudio.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "audio/capture/pulse/pulse_connection.h"
#include "audio/playback/playback_output.h"
#include "toolkit/llock_object.h"
#include "toolkit/lsignal_object.h"

namespace vocarta {

class LSoundPlayerLLPulse {
  public:
    LSoundPlayerLLPulse() = default;
    ~LSoundPlayerLLPulse() { Close(); }
    LSoundPlayerLLPulse(const LSoundPlayerLLPulse&) = delete;
    LSoundPlayerLLPulse& operator=(const LSoundPlayerLLPulse&) = delete;

    bool Open(const LPlaybackRequest& request, LCARingBuffer& ring, std::string* error);
    void Kick();
    void MarkEndOfData();
    bool SetPaused(bool paused);
    void Close();
    uint64_t PlayedFrames();

    const LSignalObject& Ended() const { return ended_; }
    bool Failed() const { return failed_.load(std::memory_order_acquire); }
    std::string ErrorText() const;

  private:
    bool ConnectStream(const LPlaybackRequest& request, std::string* error);
    // The stable name of the sink to play on, "" for the default (without the lock).
    std::string ChooseDevice(const std::string& wanted);
    // Waits for an operation whose callback does not wake the waiter itself.
    bool Await(pa_operation* op);
    // Copies up to `bytes` from the ring into the stream. Main-loop lock held.
    void Fill(size_t bytes);
    // Fills what the server is owed now, or starts the drain at the end. Lock held.
    void FillWritable();
    void IssueDrain();
    void Fail(const std::string& text);

    static void OnStreamState(pa_stream* stream, void* self);
    static void OnWrite(pa_stream* stream, size_t bytes, void* self);
    static void OnDrained(pa_stream* stream, int success, void* self);

    // The sound server connection of one playback; null while closed. The members
    // below up to `ready_` are guarded by its main-loop lock.
    std::unique_ptr<LPulseConnection> connection_;
    pa_stream* stream_ = nullptr;
    LCARingBuffer* ring_ = nullptr;
    uint32_t rate_ = 0;
    size_t frameBytes_ = 0;
    std::string deviceName_;  // "" for the default device
    bool endMarked_ = false;
    bool drainIssued_ = false;
    bool closing_ = false;
    bool ready_ = false;  // the stream has started; later failures are reported

    uint64_t lastPlayed_ = 0;  // owner thread (under the player's output lock)
    std::atomic<bool> failed_{false};
    LSignalObject ended_;
    mutable LLockObject errorLock_;
    std::string error_;  // guarded by errorLock_
};

static_assert(LPlaybackOutputLayer<LSoundPlayerLLPulse>);

}  // namespace vocarta
