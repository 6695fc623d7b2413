#pragma once
// LSoundPlayerTemplate<LLP>: the player over a low-level output layer LLP (the
// PulseAudio stream, the null output). A feeder thread ("LSoundPlayer") decodes
// the source into the ring; the layer's own thread copies out of the ring to
// the device. Stop() ends the feeder through its stop signal and closes the
// layer, so it never waits on the decoder or the sound server for long.

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/playback/playback_output.h"
#include "audio/playback/playback_wait.h"
#include "audio/playback/sound_player.h"
#include "audio/ring_buffer.h"
#include "toolkit/llock_object.h"
#include "toolkit/log.h"
#include "toolkit/lthread.h"

namespace vocarta {

// Audio the ring holds ahead of the device, and the most the feeder decodes at once.
inline constexpr uint32_t kPlaybackRingMs = 1000;
inline constexpr uint64_t kPlaybackChunkFrames = 4096;
// How often a feeder waiting for room looks at its stop request and the stream's end.
inline constexpr int kFeederWakeMs = 20;

template <LPlaybackOutputLayer LLP>
class LSoundPlayerTemplate : public LSoundPlayer {
  public:
    explicit LSoundPlayerTemplate(LPlaybackRole role = LPlaybackRole::Media)
        : role_(role), feeder_(*this) {}
    ~LSoundPlayerTemplate() override { Stop(); }

    bool Play(LSoundSource source, LSoundTime startAt = LSoundTime()) override;
    bool Pause() override { return SetPaused(true); }
    bool Resume() override { return SetPaused(false); }
    void Stop() override;
    bool Restart() override;

    bool IsPlaying() const override { return state_.load() == State::Playing; }
    bool IsPaused() const override { return state_.load() == State::Paused; }
    bool HasEnded() const override {
        State s = state_.load();
        return s == State::Ended || s == State::Failed;
    }
    bool HasFailed() const override { return state_.load() == State::Failed; }

    LSoundTime Position() override;
    LSoundTime Length() const override { return length_; }
    std::string LastErrorText() const override {
        LAutoLock lock(outputLock_);
        return lastError_;
    }
    void SetEndCallback(std::function<void(bool failed)> onEnd) override {
        LAutoLock lock(outputLock_);
        onEnd_ = std::move(onEnd);
    }

    // The layer itself, for tests of the layer.
    LLP& Output() { return output_; }

  private:
    enum class State { Idle, Playing, Paused, Ended, Failed };

    class Feeder : public LThread {
      public:
        explicit Feeder(LSoundPlayerTemplate& owner) : LThread("LSoundPlayer"), owner_(owner) {}
        ~Feeder() override { Stop(); }

      protected:
        void Run() override { owner_.RunFeeder(); }

      private:
        LSoundPlayerTemplate& owner_;
    };

    bool Fail(const std::string& text) {
        LAutoLock lock(outputLock_);
        lastError_ = text;
        return false;
    }
    // Decodes into the ring until it holds `frames` or the source ends. False on
    // a decoding error (decodeError_ says why).
    bool Decode(uint64_t frames);
    bool SetPaused(bool paused);
    void RunFeeder();
    void FinishPlayback();
    uint64_t HeardFrames();  // outputLock_ held

    const LPlaybackRole role_;
    LSoundSource source_;         // owner thread; read by the feeder while it runs
    LSoundTime length_;           // owner thread
    uint32_t rate_ = 0;           // set by Play before the feeder starts
    uint64_t startFrame_ = 0;     // set by Play before the feeder starts
    std::vector<float> scratch_;  // the feeder's (and Play's before it starts)
    bool sourceDone_ = false;     // the feeder's (and Play's before it starts)
    std::string decodeError_;     // the feeder's (and Play's before it starts)
    std::atomic<uint64_t> framesFed_{0};
    std::atomic<State> state_{State::Idle};
    // Made by Play for the source's channels; replaced only while the feeder and
    // the output are stopped.
    std::unique_ptr<LCARingBuffer> ring_;

    mutable LLockObject outputLock_;
    LLP output_;                       // guarded by outputLock_
    bool outputOpen_ = false;          // guarded by outputLock_
    uint64_t finalFrames_ = 0;         // guarded by outputLock_
    std::string lastError_;            // guarded by outputLock_
    std::function<void(bool)> onEnd_;  // guarded by outputLock_
    Feeder feeder_;
};

template <LPlaybackOutputLayer LLP>
bool LSoundPlayerTemplate<LLP>::Play(LSoundSource source, LSoundTime startAt) {
    Stop();
    source_ = std::move(source);
    decodeError_.clear();
    sourceDone_ = false;
    framesFed_.store(0);
    {
        LAutoLock lock(outputLock_);
        lastError_.clear();
        finalFrames_ = 0;
    }
    if (!source_) return Fail("There is no recording to play.");
    rate_ = source_->SampleRate();
    length_ = source_->Length();
    LPlaybackRequest request{rate_, source_->Channels(), ChosenPlayDevice(), role_,
                             source_->FormatDescription()};
    if (std::string bad = CheckPlaybackFormat(request); !bad.empty()) return Fail(bad);
    startFrame_ = startAt.ToFrames(rate_);
    // A source played before starts over; one that cannot seek is taken as it is
    // when it is to play from its start.
    if (!source_->Seek(startFrame_) && startFrame_ > 0)
        return Fail("Cannot move to the chosen position in this recording.");
    ring_ = std::make_unique<LCARingBuffer>(
        std::max<uint64_t>(uint64_t(rate_) * kPlaybackRingMs / 1000, 2 * kPlaybackChunkFrames),
        request.channels);
    ring_->Reset(int64_t(startFrame_));
    scratch_.assign(kPlaybackChunkFrames * request.channels, 0.0f);
    // Half a ring decoded before the stream opens: a file that cannot be decoded
    // is refused here, and the device never starts on an empty ring.
    if (!Decode(ring_->CapacityFrames() / 2))
        return Fail("Cannot play this recording: " + decodeError_);
    LAutoLock lock(outputLock_);
    std::string error;
    if (!output_.Open(request, *ring_, &error)) {
        lastError_ = error;
        return false;
    }
    outputOpen_ = true;
    state_.store(State::Playing);
    if (!feeder_.Start()) {
        output_.Close();
        outputOpen_ = false;
        state_.store(State::Idle);
        lastError_ = "Cannot start the playback thread.";
        return false;
    }
    return true;
}

template <LPlaybackOutputLayer LLP>
bool LSoundPlayerTemplate<LLP>::Decode(uint64_t frames) {
    while (!sourceDone_ && ring_->FilledFrames() < frames) {
        uint64_t room = std::min<uint64_t>(ring_->FreeFrames(), kPlaybackChunkFrames);
        if (room == 0) break;
        int64_t got = source_->Read(scratch_.data(), room);
        if (got < 0) {
            decodeError_ =
                source_->LastError().empty() ? "the file is damaged." : source_->LastError();
            return false;
        }
        if (got == 0) {
            sourceDone_ = true;
            break;
        }
        ring_->Write(scratch_.data(), uint64_t(got));
        framesFed_.fetch_add(uint64_t(got));
    }
    return true;
}

template <LPlaybackOutputLayer LLP>
void LSoundPlayerTemplate<LLP>::RunFeeder() {
    bool decoded = true;
    const uint64_t batch = std::min(kPlaybackChunkFrames, ring_->CapacityFrames() / 4);
    while (!feeder_.StopRequested() && !sourceDone_ && !output_.Ended().IsSet()) {
        if (ring_->FreeFrames() < batch) {
            ring_->WaitForSpace(batch, kFeederWakeMs);
            continue;
        }
        decoded = Decode(ring_->FilledFrames() + batch);
        LAutoLock lock(outputLock_);
        output_.Kick();
        if (!decoded) break;
    }
    if (feeder_.StopRequested()) return;
    {
        LAutoLock lock(outputLock_);
        output_.MarkEndOfData();
    }
    WaitForAnySignal({&output_.Ended(), &feeder_.StopSignal()}, -1);
    if (!feeder_.StopRequested()) FinishPlayback();
}

template <LPlaybackOutputLayer LLP>
void LSoundPlayerTemplate<LLP>::FinishPlayback() {
    std::function<void(bool)> onEnd;
    bool failed = false;
    {
        LAutoLock lock(outputLock_);
        failed = output_.Failed() || !decodeError_.empty();
        if (output_.Failed())
            lastError_ = output_.ErrorText();
        else if (!decodeError_.empty())
            lastError_ = "Playback stopped: " + decodeError_;
        finalFrames_ = failed ? startFrame_ + HeardFrames() : startFrame_ + framesFed_.load();
        output_.Close();
        outputOpen_ = false;
        state_.store(failed ? State::Failed : State::Ended);
        onEnd = onEnd_;
    }
    if (failed) LogError("LSoundPlayer::Play FAILED: %s", LastErrorText().c_str());
    if (onEnd) onEnd(failed);
}

template <LPlaybackOutputLayer LLP>
void LSoundPlayerTemplate<LLP>::Stop() {
    feeder_.Stop();
    LAutoLock lock(outputLock_);
    if (outputOpen_) output_.Close();
    outputOpen_ = false;
    finalFrames_ = 0;
    state_.store(State::Idle);
}

template <LPlaybackOutputLayer LLP>
bool LSoundPlayerTemplate<LLP>::Restart() {
    if (!source_) return Fail("There is no recording to play.");
    LSoundSource source = source_;
    return Play(source);
}

template <LPlaybackOutputLayer LLP>
bool LSoundPlayerTemplate<LLP>::SetPaused(bool paused) {
    LAutoLock lock(outputLock_);
    const State from = paused ? State::Playing : State::Paused;
    if (!outputOpen_ || state_.load() != from) return false;
    if (!output_.SetPaused(paused)) {
        lastError_ = paused ? "Cannot pause playback." : "Cannot resume playback.";
        return false;
    }
    state_.store(paused ? State::Paused : State::Playing);
    return true;
}

template <LPlaybackOutputLayer LLP>
uint64_t LSoundPlayerTemplate<LLP>::HeardFrames() {
    // The device may report a little beyond what was fed while it plays silence.
    return std::min(output_.PlayedFrames(), framesFed_.load());
}

template <LPlaybackOutputLayer LLP>
LSoundTime LSoundPlayerTemplate<LLP>::Position() {
    LAutoLock lock(outputLock_);
    uint64_t frames = outputOpen_ ? startFrame_ + HeardFrames() : finalFrames_;
    return LSoundTime::FromFrames(frames, rate_);
}

}  // namespace vocarta
