#include "audio/playback/tone_player.h"

#include <deque>
#include <memory>

#include "audio/playback/memory_source.h"
#include "audio/playback/playback_wait.h"
#include "audio/playback/sound_player.h"
#include "toolkit/llock_object.h"
#include "toolkit/log.h"
#include "toolkit/lthread.h"

namespace vocarta {

namespace {

// More beeps than this waiting means the device is stuck: drop the newest.
constexpr size_t kMaxQueuedTones = 4;
// Longest a single tone may take before the next one goes ahead.
constexpr int kToneTimeoutMs = 3000;

class LTonePlayer : public LThread {
  public:
    LTonePlayer() : LThread("LTonePlayer") { idle_.Set(); }
    ~LTonePlayer() override { Stop(); }

    void Queue(LToneKind kind);
    bool WaitIdle(int timeoutMs) { return idle_.Wait(timeoutMs); }
    std::string LastError() {
        LAutoLock lock(lock_);
        return lastError_;
    }

  protected:
    void Run() override;

  private:
    bool Next(LToneKind* kind);
    void PlayOne(LSoundPlayer& player, LToneKind kind);

    LLockObject lock_;
    std::deque<LToneKind> queue_;  // guarded by lock_
    std::string lastError_;        // guarded by lock_
    LSignalObject queued_;         // set while the queue is not empty
    LSignalObject idle_;           // set while nothing is queued or playing
    LSignalObject toneEnded_;      // tone thread
};

void LTonePlayer::Queue(LToneKind kind) {
    {
        LAutoLock lock(lock_);
        if (queue_.size() >= kMaxQueuedTones) {
            LogEvent("Tone dropped: %zu tones are already waiting", queue_.size());
            return;
        }
        queue_.push_back(kind);
        idle_.Reset();
        queued_.Set();
        if (!IsRunning() && !Start()) {
            queue_.clear();
            idle_.Set();
        }
    }
}

bool LTonePlayer::Next(LToneKind* kind) {
    LAutoLock lock(lock_);
    if (queue_.empty()) {
        queued_.Reset();
        idle_.Set();
        return false;
    }
    *kind = queue_.front();
    queue_.pop_front();
    return true;
}

void LTonePlayer::Run() {
    // One player for every tone; each tone opens its own short stream.
    std::unique_ptr<LSoundPlayer> player = CreateSoundPlayer(LPlaybackRole::Event);
    player->SetEndCallback([this](bool) { toneEnded_.Set(); });
    while (!StopRequested()) {
        LToneKind kind;
        if (Next(&kind)) {
            PlayOne(*player, kind);
            continue;
        }
        WaitForAnySignal({&queued_, &StopSignal()}, -1);
    }
    player->Stop();
    LAutoLock lock(lock_);
    queue_.clear();
    idle_.Set();
}

void LTonePlayer::PlayOne(LSoundPlayer& player, LToneKind kind) {
    toneEnded_.Reset();
    LSoundSource tone(MakeMemorySource(GenerateTone(kind), kToneSampleRate, 1));
    std::string error;
    if (!player.Play(tone)) {
        error = player.LastErrorText();
    } else if (WaitForAnySignal({&toneEnded_, &StopSignal()}, kToneTimeoutMs) != 0) {
        if (!StopRequested()) error = "the tone did not finish in time";
    } else if (player.HasFailed()) {
        error = player.LastErrorText();
    }
    player.Stop();
    if (!error.empty())
        LogError("LTonePlayer::PlayTone %s tone FAILED: %s", ToneName(kind), error.c_str());
    LAutoLock lock(lock_);
    lastError_ = error;
}

LLockObject gToneLock;
std::unique_ptr<LTonePlayer> gTones;  // guarded by gToneLock

LTonePlayer& Tones() {
    LAutoLock lock(gToneLock);
    if (!gTones) gTones = std::make_unique<LTonePlayer>();
    return *gTones;
}

}  // namespace

void PlayTone(LToneKind kind) {
    Tones().Queue(kind);
}
void PlayStartTone() {
    PlayTone(LToneKind::Start);
}
void PlayStopTone() {
    PlayTone(LToneKind::Stop);
}
void PlayIntervalTone() {
    PlayTone(LToneKind::Interval);
}

bool WaitForTones(int timeoutMs) {
    return Tones().WaitIdle(timeoutMs);
}
std::string LastToneError() {
    return Tones().LastError();
}

void ShutdownTones() {
    LAutoLock lock(gToneLock);
    gTones.reset();
}

}  // namespace vocarta
