#pragma once
// The null output: plays into nothing at the speed of a real device, so that
// the session's tests see playback take its time, pause, end and report its
// position exactly as with a sound server, on machines that have none.
// Chosen with VOCARTA_PLAYBACK=null. Satisfies LPlaybackOutputLayer.
//
// Its clock thread stands in for the device callback: every few milliseconds
// it takes the frames that would have been played since the last tick out of
// the ring and throws them away.

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/playback/playback_output.h"
#include "toolkit/lthread.h"

namespace vocarta {

class LSoundPlayerLLNull {
  public:
    LSoundPlayerLLNull();
    ~LSoundPlayerLLNull() { Close(); }
    LSoundPlayerLLNull(const LSoundPlayerLLNull&) = delete;
    LSoundPlayerLLNull& operator=(const LSoundPlayerLLNull&) = delete;

    bool Open(const LPlaybackRequest& request, LCARingBuffer& ring, std::string* error);
    void Kick() {}
    void MarkEndOfData() { endMarked_.store(true, std::memory_order_release); }
    bool SetPaused(bool paused);
    void Close();
    uint64_t PlayedFrames() { return played_.load(std::memory_order_acquire); }

    const LSignalObject& Ended() const { return ended_; }
    bool Failed() const { return false; }
    std::string ErrorText() const { return {}; }

  private:
    class Clock : public LThread {
      public:
        explicit Clock(LSoundPlayerLLNull& owner) : LThread("NullPlayback"), owner_(owner) {}
        ~Clock() override { Stop(); }

      protected:
        void Run() override { owner_.RunClock(); }

      private:
        LSoundPlayerLLNull& owner_;
    };

    // The clock thread's loop.
    void RunClock();

    Clock clock_;
    LCARingBuffer* ring_ = nullptr;  // set by Open before the clock starts
    uint32_t rate_ = 0;
    std::vector<float> scratch_;  // clock thread only
    std::atomic<bool> paused_{false};
    std::atomic<bool> endMarked_{false};
    std::atomic<uint64_t> played_{0};
    LSignalObject ended_;
};

static_assert(LPlaybackOutputLayer<LSoundPlayerLLNull>);

}  // namespace vocarta
